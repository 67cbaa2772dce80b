#include "attrlog/StreamAdapterOf.h"
#include "model/LoamTunnelModel.h"

// A quarter of the stream adapters: together they take a compiler too long.
namespace Hardware::LoamTunnel {

static Kor::AttrLogTypes<
    LifAppConfig, LifAppConfigDir, LifAppStatus, LifAppStatusDir, TagPopPushConfig, TagPopPushStatus,
    TpidRewriteStatus, FapTypeProperties, FapTypeProperties::Properties, FapTypeProperties::AradProperties,
    FapTypeProperties::JerichoProperties, TapAggNormalFapMask, ::TapAggNormalFapMask> const attrLogAtLoad;

} // namespace Hardware::LoamTunnel
