#pragma once

/// The types that the platform brings, in the order in which they are defined.

#include "platform/Bridging/VlanId.h"
#include "platform/Fen/FenCommonSmData.h"
#include "platform/Fen/Tunnel.h"
#include "platform/Hardware/ChipType.h"
#include "platform/Hardware/Loam/DrvHelper/LoamCommonSmData.h"
#include "platform/Hardware/Loam/FapType.h"
#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Hardware/Loam/VlanEdit.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "platform/Lumen/IntfId.h"
#include "platform/Lumen/IpAddr.h"
#include "platform/Sideband/Fapmask.h"
#include "reflect/type/TypeModule.h"

namespace Hardware::Loam {

// clang-format off
using PlatformTypes = Kor::TypeModuleOf<
    ChipType, FapType, VtAppId, IveProfile, VlanTagFormat, FapId, OutAcIndex, EvecIndex, AradIvecIndex,
    IntfTpid, IntfTpidIndex, SystemPhyPortId, PortMap, LagId, LagDestinationId, DrvHelper::PortState,
    Bridging::VlanId, Bridging::VlanIdOrNone, Lumen::IntfId, Lumen::IpAddr, Lumen::EthAddr, Sideband::Fapmask,
    Fen::TunnelType, Fen::TunnelKey, Fen::FenNextHopId, FenTypes::TableAddStatus, FenTypes::FenLagType,
    Fen::HwOperationalMode, Fen::FenPortList, Fen::FenPortVlanTpidData, Fen::FreeMirrorSessionMetadata,
    Fen::ParityEventKey, Fen::ParityEvent, Fen::BriskLogLevels, Lag::Recirc::RecircFeatureSet,
    
    Fen::FenCommonSmData, DrvHelper::LoamCommonSmData, Fen::HwCliConfig, Fen::VlanHelperBase>;
// clang-format on

/// Loads the platform's types. Whoever has types that use them loads them first.
KOR_EXPORT void platformTypesLoad();

} // namespace Hardware::Loam
