#pragma once

/// The state-machine data that all forwarding drivers share: what they are told of interfaces, LAGs and
/// VLANs, and how far they are themselves.
///
///     class Watcher : public Hardware::LoamTunnel::LoamTunnelCommonSmData::Notifiee {
///         void onPortToLag(Lumen::IntfId const& port) override { ... }      // hooks of all levels, in order
///     };
///
/// A driver derives its own data from this. It lives within one process: it has no attribute log.
///
/// `freeMirrorSession` is a queue of sessions under positions that stay. `freeMirrorSessionMetadata` beside
/// it is for whoever fills and empties the queue: no operation of the queue touches it.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "platform/Bridging/VlanId.h"
#include "platform/Fen/SmData.h"
#include "platform/Lumen/EthAddr.h"
#include "platform/SmDataNames.h"

// clang-format off
namespace Fen {

struct FenCommonSmAttributes
    : Kor::AttributeList<
          Kor::Singleton<Kor::name::operationalMode, HwOperationalMode>,
          Kor::SingletonReference<Kor::name::vlanHelper, VlanHelperBase>,
          Kor::ValueMap<Kor::name::intf, Lumen::IntfId, bool>,
          Kor::Singleton<Kor::name::minIntfs, U16>,
          Kor::ValueMap<Kor::name::unusedIntf, Lumen::IntfId, bool>,
          Kor::ValueMap<Kor::name::cpuIntf, Lumen::IntfId, bool>,
          Kor::ValueMap<Kor::name::mlagPeerLinkPort, Lumen::IntfId, bool>,
          Kor::ValueMap<Kor::name::mlagIntfPort, Lumen::IntfId, bool>,
          Kor::ValueMap<Kor::name::lagToPortConfig, Lumen::IntfId, FenPortList>,
          Kor::ValueMap<Kor::name::lagToFeatureSet, Lumen::IntfId, Lag::Recirc::RecircFeatureSet>,
          Kor::Singleton<Kor::name::hasInitialLagColls, bool>,
          Kor::ValueMap<Kor::name::initialPortToLag, Lumen::IntfId, Lumen::IntfId>,
          Kor::ValueMap<Kor::name::initialLagToPort, Lumen::IntfId, FenPortList>,
          Kor::ValueMap<Kor::name::portToLag, Lumen::IntfId, Lumen::IntfId>,
          Kor::ValueMap<Kor::name::lagToPort, Lumen::IntfId, FenPortList>,
          Kor::ValueMap<Kor::name::lagToLagType, Lumen::IntfId, FenTypes::FenLagType>,
          Kor::Singleton<Kor::name::virtualMac, Lumen::EthAddr>,
          Kor::Singleton<Kor::name::peerRouterMac, Lumen::EthAddr>,
          Kor::ValueMap<Kor::name::internalVlan, Lumen::IntfId, U32>,
          Kor::ValueMap<Kor::name::vlanRoutingStatus, Bridging::VlanId, bool>,
          Kor::ValueMap<Kor::name::encapVlan, Lumen::IntfId, Bridging::VlanIdOrNone>,
          Kor::ValueMap<Kor::name::portVlanTpidData, Lumen::IntfId, FenPortVlanTpidData>,
          Kor::SingletonReference<Kor::name::cliConfig, HwCliConfig const>,
          Kor::Singleton<Kor::name::freeMirrorSessionMetadata, FreeMirrorSessionMetadata>,
          Kor::Queue<Kor::name::freeMirrorSession, U8>,
          Kor::Singleton<Kor::name::isFabricSlice, bool>,
          Kor::KeyedMap<Kor::name::parityEvent, ParityEvent, Kor::name::key>,
          Kor::Singleton<Kor::name::verifyData, Kor::Name>,
          Kor::SingletonReference<Kor::name::verifySm, Kor::PtrInterface>,
          Kor::ValueMap<Kor::name::vlanIntf, Lumen::IntfId, bool>,
          Kor::Singleton<Kor::name::briskLogLevels, BriskLogLevels>,
          Kor::FreeId,
          Kor::Singleton<Kor::name::quayFastBoot, bool>,
          Kor::Singleton<Kor::name::quayRenice, bool>,
          Kor::Singleton<Kor::name::quayReniceValue, Kor::S32>,
          Kor::Singleton<Kor::name::initialized, bool>> {};

class FenCommonSmData : public Kor::EntityOf<FenCommonSmData, FenCommonSmAttributes> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The state-machine data that all forwarding drivers share. It stays within one process: it has no attribute log",
        "operationalMode", "What the forwarding hardware is doing; the default is hwModeUnknown",
        "vlanHelper", "The helper of the VLANs; null until it is set",
        "intf", "A flag for this interface; absent reads as false",
        "minIntfs", "The least number of interfaces; the default is 0",
        "unusedIntf", "Whether this interface is unused; absent reads as false",
        "cpuIntf", "Whether this is an interface of the CPU; absent reads as false",
        "mlagPeerLinkPort", "Whether this port belongs to the MLAG peer link; absent reads as false",
        "mlagIntfPort", "Whether this port belongs to an MLAG interface; absent reads as false",
        "lagToPortConfig", "The ports that this LAG is configured with",
        "lagToFeatureSet", "The features for which this LAG sends its packets round again",
        "hasInitialLagColls", "Whether initialPortToLag and initialLagToPort are there; the default is false",
        "initialPortToLag", "The LAG of this port at the start",
        "initialLagToPort", "The ports of this LAG at the start",
        "portToLag", "The LAG that this port belongs to",
        "lagToPort", "The ports that belong to this LAG",
        "lagToLagType", "The kind of this LAG",
        "virtualMac", "The virtual Ethernet address",
        "peerRouterMac", "The Ethernet address of the peer router",
        "internalVlan", "The internal VLAN of this interface",
        "vlanRoutingStatus", "Whether this VLAN is routed; absent reads as false",
        "encapVlan", "The VLAN of this interface's encapsulation; 0 stands for none",
        "portVlanTpidData", "The tags of this port",
        "cliConfig", "The configuration of the command line; null until it is set",
        "freeMirrorSessionMetadata", "Where the queue of free mirror sessions stands. Whoever fills and empties the queue keeps it",
        "freeMirrorSession", "The free mirror sessions in order, each under a position that stays",
        "isFabricSlice", "Whether this is a fabric slice; the default is false",
        "parityEvent", "How often this row was found with wrong parity",
        "verifyData", "The name of what is to be verified; the default is the empty text",
        "verifySm", "The state machine that verifies; null until it is set",
        "vlanIntf", "Whether this is a VLAN interface; absent reads as false",
        "briskLogLevels", "The log levels of the chip's drivers",
        "quayFastBoot", "Field quayFastBoot, on or off; the default is off",
        "quayRenice", "Field quayRenice, on or off; the default is off",
        "quayReniceValue", "The value that belongs to quayRenice; the default is 0",
        "initialized", "Whether the data is complete; the default is false");

    static constexpr bool korHasAttrLog = false;
    using EntityOver::EntityOver;
};
KOR_FACTORY(fenCommonSmDataFactory, FenCommonSmData, Kor::Name)

} // namespace Fen
// clang-format on
