#include "model/LoamTunnelTypeList.h"

#include "attrlog/adapter/WireForm.h"
#include "platform/types/PlatformTypes.h"

namespace Hardware::LoamTunnel {

namespace {

constinit Kor::TypeModule loamTunnelTypes(LoamTunnelTypes::seeds);

struct AtLoad {
    AtLoad() {
        Loam::platformTypesLoad();
        Kor::TypeModule::Load const load(loamTunnelTypes);
    }
    Kor::WireTypes<LoamTunnelTypes> const wire;
} const atLoad;

/// The names for whoever reads the library's file: the last that is defined first, inner types at the end.
[[gnu::section(".kor.type"), gnu::used]] constinit auto const korType =
    LoamTunnelTypes::nameTable<LoamTunnelTypes::nameTableSize()>();

} // namespace

Kor::TypeModule const& loamTunnelModule() {
    return loamTunnelTypes;
}

void korInitLoamTunnelTypes() {
    loamTunnelTypes.init();
}

} // namespace Hardware::LoamTunnel
