#pragma once

/// The vocabulary of TCAM sharing: an application asks for policies on an interface of a chip, and gets a
/// result.
///
///     TcamSharingPolicyId policy;
///     policy.qosPolicyIs(3);
///     TcamSharingRequest request(intf, Hardware::Loam::FapId(0), Bridging::VlanIdOrNone(100));
///
/// All but the policy id are immutable. Nothing here depends on the chip.

#include "platform/Bridging/VlanId.h"
#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Lumen/IntfId.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

enum TcamSharingResult : U32 {
    tcamSharingInsertDefault = 0,
    tcamSharingInsertSuccess = 1,
    tcamSharingInsertFailure = 2,
};
KOR_ENUMERATION(TcamSharingResult)

/// A set of policy numbers in one word. `haloAclLabel` is the low part of `ipv6EgressPolicy`.
class TcamSharingPolicyId
    : public Kor::ValueOf<TcamSharingPolicyId,
          Settable<name::value, U32>,
          Constant<name::null, U32, 0>,
          View<name::qosPolicy, U8, name::value, 0, 4>,
          View<name::pbrPolicy, U8, name::value, 5, 9>,
          View<name::ipv4Policy, U8, name::value, 10, 14>,
          View<name::ipv6Policy, U8, name::value, 15, 15>,
          View<name::ipv6PolicyValid, U8, name::value, 16, 16>,
          View<name::ipv6EgressPolicy, U16, name::value, 17, 26>,
          View<name::haloAclLabel, U8, name::value, 17, 23>>,
      public Kor::Ordered<TcamSharingPolicyId> {
public:
    using ValueOf::ValueOf;
};

/// An interface on a chip, with its L3 flood VLAN. The VLAN does not enter the hash.
class TcamSharingRequest
    : public Kor::ValueOf<TcamSharingRequest,
          Stored<name::intfId, Lumen::IntfId>,
          Stored<name::fapId, Loam::FapId>,
          Stored<name::l3FloodPortVlanId, Bridging::VlanIdOrNone>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<TcamSharingRequest> {
public:
    using ValueOf::ValueOf;

    constexpr U32 hash() const noexcept {
        return Kor::OneAtATime().add(intfId().hash()).add(fapId().value()).finish();
    }
};

/// A request and the policies that it stands for.
class TcamSharingEntry
    : public Kor::ValueOf<TcamSharingEntry,
          Stored<name::request, TcamSharingRequest>,
          Stored<name::policyId, TcamSharingPolicyId>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<TcamSharingEntry> {
public:
    using ValueOf::ValueOf;

    constexpr U32 hash() const noexcept {
        return Kor::OneAtATime().add(request().hash()).add(policyId().value()).finish();
    }
};

/// An entry that waits to be put in, or taken out.
class TcamSharingPendingRequest
    : public Kor::ValueOf<TcamSharingPendingRequest,
          Stored<name::entry, TcamSharingEntry>,
          Stored<name::insert, bool>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<TcamSharingPendingRequest>,
      public Kor::Hashed<TcamSharingPendingRequest> {
public:
    using ValueOf::ValueOf;
};

/// What became of a request.
class TcamSharingResponse
    : public Kor::ValueOf<TcamSharingResponse,
          Stored<name::result, TcamSharingResult>,
          Stored<name::policyId, TcamSharingPolicyId>>,
      public Kor::Ordered<TcamSharingResponse> {
public:
    using ValueOf::ValueOf;
};

/// A VLAN or domain number that was asked for.
class TcamSharingVlanIdOrDomainResponse
    : public Kor::ValueOf<TcamSharingVlanIdOrDomainResponse,
          Stored<name::value, U16>,
          Stored<name::success, bool>> {
public:
    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
