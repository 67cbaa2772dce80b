#pragma once

/// The state-machine data of the drivers of these chips: how ports and LAGs map to the chips' numbers.
///
///     data->intfIdToFapPortIs(Lumen::IntfId::ofName("Ethernet1"), PortMap(FapId(3), 12));
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "platform/Fen/FenCommonSmData.h"
#include "platform/Hardware/Loam/Ports.h"

// clang-format off
namespace Hardware::Loam::DrvHelper {

struct LoamCommonSmAttributes
    : Kor::AttributeList<
          Kor::Singleton<Kor::name::portMapVersionNumberHandled, U32>,
          Kor::ValueMap<Kor::name::portState, SystemPhyPortId, PortState>,
          Kor::ValueMap<Kor::name::intfIdToSppid, Lumen::IntfId, SystemPhyPortId>,
          Kor::ValueMap<Kor::name::intfIdToFapPort, Lumen::IntfId, PortMap>,
          Kor::ValueMap<Kor::name::sppidToIntfId, SystemPhyPortId, Lumen::IntfId>,
          Kor::ValueMap<Kor::name::sppiddToFapPort, SystemPhyPortId, PortMap>,
          Kor::ValueMap<Kor::name::lagToDestId, Lumen::IntfId, LagDestinationId>,
          Kor::ValueMap<Kor::name::lagIdToIntf, LagId, Lumen::IntfId>,
          Kor::ValueMap<Kor::name::fapPortToIntfId, PortMap, Lumen::IntfId>,
          Kor::ValueMap<Kor::name::fapPortTosystemPhyPortId, PortMap, SystemPhyPortId>> {};

class LoamCommonSmData
    : public Kor::EntityOver<LoamCommonSmData, Fen::FenCommonSmData, LoamCommonSmAttributes> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The state-machine data of the drivers of these chips: how ports and LAGs map to the chips' numbers",
        "portMapVersionNumberHandled", "The version of the port map that has been dealt with; the default is 0",
        "portState", "How far the driver has brought this port",
        "intfIdToSppid", "The system port of this interface",
        "intfIdToFapPort", "The chip and the chip's port of this interface",
        "sppidToIntfId", "The interface of this system port",
        "sppiddToFapPort", "The chip and the chip's port of this system port",
        "lagToDestId", "This LAG as the destination of packets",
        "lagIdToIntf", "The interface of the LAG with this number",
        "fapPortToIntfId", "The interface of this chip's port",
        "fapPortTosystemPhyPortId", "The system port of this chip's port");

    using EntityOver::EntityOver;
};
KOR_FACTORY(loamCommonSmDataFactory, LoamCommonSmData, Kor::Name)

} // namespace Hardware::Loam::DrvHelper
// clang-format on
