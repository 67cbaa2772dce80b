#pragma once

/// All types of the library, in the order in which they are defined. What each is follows from its
/// declaration. Heavy: who needs the checksum alone includes model/LoamTunnelModule.h.
///
///     for (Kor::KorType const* type : loamTunnelModule().defined()) {
///         std::puts(type->typeName().charPtr());
///     }
///
/// An enumeration or class that is declared inside another one stands behind it and is defined within it.

#include "model/LoamTunnelModel.h"
#include "model/LoamTunnelModule.h"
#include "values/LoamTunnelTypes.h"

namespace Hardware::LoamTunnel {

// clang-format off
using LoamTunnelTypes = Kor::TypeModuleOf<
    LoamTunnelCommonSmData,
    TunnelTerminationEntry,
    TunnelTerminationConfig,
    TunnelTerminationStatus,
    VtepToNhIdMapConfig,
    VtepToNhIdMapStatusEntry,
    VtepToNhIdMapStatus,
    EedbFormat,
    EedbValue,
    EedbAcConstants,
    OutAcFormat,
    OutAcValue,
    OutAcKey,
    OutAcEntry,
    OutAcAppConfig,
    OutAcAppConfigDir,
    OutAcRequest,
    OutAcConfig,
    OutAcStatus,
    OutAcAppStatus,
    OutAcAppStatusDir,
    EveVlanIdSource,
    EvePcpDeiSource,
    EvecFormat,
    EvecValue,
    EvecKey,
    EvecEntry,
    EvecAppConfig,
    EvecAppConfigDir,
    EvecOwner,
    EvecStatus,
    LifType,
    acType,
    labelLifType,
    AradLifBank,
    AradLifIndex,
    AradLifEntry,
    AradLifAcP2pToAc,
    AradLifAcMp,
    AradLifAcP2pToPwe,
    AradLifPweToP2p,
    AradLifLabelProtocolOrLsp,
    LifAppConfig,
    LifAppConfigDir,
    LifAppStatus,
    LifAppStatusDir,
    IveVlanIdSource,
    IveVlanPcpDeiSource,
    AradIvecKey,
    AradIvecFormat,
    AradIvecFormat::TagsToRemoveOption,
    AradIvecEntry,
    IvecAppConfig,
    IvecAppConfigDir,
    IvecAppStatus,
    IvecAppStatusDir,
    AradIhpIvectIndex,
    IvectAppConfig,
    IvectAppConfigDir,
    IvectAppStatus,
    IvectAppStatusDir,
    HwIvecs,
    TagPopPushConfig,
    TagPopPushStatus,
    TpidRewriteStatus,
    VcableTpidVtConfigEntry,
    TpidVtAppConfigEntry,
    TpidVtAppConfig,
    TpidVtAppConfigDir,
    TcamSharingResult,
    TcamSharingPolicyId,
    TcamSharingRequest,
    TcamSharingResponse,
    TcamSharingEntry,
    TcamSharingPendingRequest,
    TcamSharingConfig,
    TcamSharingStatus,
    TcamSharingVlanIdOrDomainResponse,
    FapTypeProperties,
    FapTypeProperties::Properties,
    FapTypeProperties::AradProperties,
    FapTypeProperties::JerichoProperties,
    TapAggNormalFapMask,
    ::TapAggNormalFapMask>;
// clang-format on

/// Defines the types, unless that has been begun. Loading the library does it.
void korInitLoamTunnelTypes();

} // namespace Hardware::LoamTunnel
