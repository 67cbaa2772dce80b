#include "attrlog/StreamAdapterOf.h"
#include "model/LoamTunnelModel.h"

namespace Hardware::LoamTunnel {

static Kor::AttrLogTypes<IvecAppConfig, IvecAppConfigDir, IvecAppStatus, IvecAppStatusDir, IvectAppConfig,
                         IvectAppConfigDir, IvectAppStatus, IvectAppStatusDir> const attrLogAtLoad;

} // namespace Hardware::LoamTunnel
