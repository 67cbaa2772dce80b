#pragma once

/// The state-machine data of the drivers of tunnels and VLAN edits. It adds nothing to what the platform
/// keeps for all drivers, and is the class under which those drivers know it.
///
///     auto data = loamTunnelCommonSmDataFactory("sm");
///     data->intfIdToFapPortIs(intf, Hardware::Loam::PortMap(Hardware::Loam::FapId(0), 12));
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/DrvHelper/LoamCommonSmData.h"

namespace Hardware::LoamTunnel {

class LoamTunnelCommonSmData final
    : public Kor::EntityOver<LoamTunnelCommonSmData, Loam::DrvHelper::LoamCommonSmData> {
public:
    static constexpr auto korTexts = Kor::texts("", "The state-machine data of the drivers of tunnels and "
                                                    "VLAN edits. It adds nothing to that of all drivers");

    using EntityOver::EntityOver;
};
KOR_FACTORY(loamTunnelCommonSmDataFactory, LoamTunnelCommonSmData, Kor::Name)

} // namespace Hardware::LoamTunnel
