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
    static constexpr bool korHasAttrLog = false;
    using EntityOver::EntityOver;
};

} // namespace Fen
// clang-format on
