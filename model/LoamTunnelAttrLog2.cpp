#include "attrlog/StreamAdapterOf.h"
#include "model/LoamTunnelModel.h"

namespace Hardware::LoamTunnel {

static Kor::AttrLogTypes<EvecAppConfig, EvecAppConfigDir, EvecStatus, HwIvecs, TcamSharingConfig,
                         TcamSharingStatus> const attrLogAtLoad;

} // namespace Hardware::LoamTunnel
