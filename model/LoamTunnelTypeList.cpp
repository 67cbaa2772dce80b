#include "model/LoamTunnelTypeList.h"

#include "attrlog/adapter/WireForm.h"
#include "platform/types/PlatformTypes.h"

#include <algorithm>
#include <array>

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

/// The names for whoever reads the library's file, each with a NUL behind it: the last that is defined first,
/// inner types at the end.
[[gnu::section(".kor.type"), gnu::used]] constinit auto const korType = [] {
    constexpr auto& seeds = LoamTunnelTypes::seeds;
    constexpr std::size_t size = [] {
        std::size_t sum = 0;
        for (Kor::TypeSeed const& each : seeds) {
            sum += each.name.size() + 1;
        }
        return sum;
    }();
    std::array<char, size> table{};
    auto at = table.begin();
    for (bool const inner : {false, true}) {
        for (auto each = seeds.rbegin(); each != seeds.rend(); ++each) {
            if (Kor::isInner(each->name, seeds) == inner) {
                at = std::copy(each->name.begin(), each->name.end(), at) + 1;
            }
        }
    }
    return table;
}();

} // namespace

Kor::TypeModule const& loamTunnelModule() {
    return loamTunnelTypes;
}

void korInitLoamTunnelTypes() {
    loamTunnelTypes.init();
}

} // namespace Hardware::LoamTunnel
