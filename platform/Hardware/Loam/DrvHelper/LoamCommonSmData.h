#pragma once

/// The state-machine data of the drivers of these chips: how ports and LAGs map to the chips' numbers.

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
    using EntityOver::EntityOver;
};

} // namespace Hardware::Loam::DrvHelper
// clang-format on
