#include "attrlog/StreamAdapterOf.h"
#include "model/LoamTunnelModel.h"

namespace Hardware::LoamTunnel {

static Kor::AttrLogTypes<OutAcAppConfig, OutAcAppConfigDir, OutAcRequest, OutAcConfig, OutAcStatus,
                         OutAcAppStatus, OutAcAppStatusDir, TunnelTerminationConfig, TunnelTerminationStatus,
                         VtepToNhIdMapConfig, VtepToNhIdMapStatus> const attrLogAtLoad;

} // namespace Hardware::LoamTunnel
