#pragma once

/// The vocabulary of TCAM sharing: an application asks for policies on an interface of a chip, and gets a
/// result.
///
///     TcamSharingPolicyId policy;
///     policy.qosPolicyIs(3);
///     TcamSharingRequest request(intf, Hardware::Loam::FapId(0), Bridging::VlanIdOrNone(100));
///
/// All but the policy id are immutable. Nothing here depends on the chip.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

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
KOR_ENUMERATION(TcamSharingResult,
    "", "What became of a request for TCAM sharing",
    "tcamSharingInsertDefault", "There is no answer yet",
    "tcamSharingInsertSuccess", "The policies are in",
    "tcamSharingInsertFailure", "The policies could not be put in")

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
    static constexpr auto korTexts = Kor::texts(
        "", "A set of policy numbers in one word",
        "value", "All policy numbers; the default 0 has none. Bits 27 to 31 belong to no field",
        "null", "The value without any policy",
        "qosPolicy", "The number of the QoS policy, 0 to 31",
        "pbrPolicy", "The number of the policy-based routing policy, 0 to 31",
        "ipv4Policy", "The number of the IPv4 policy, 0 to 31",
        "ipv6Policy", "The number of the IPv6 policy, 0 or 1",
        "ipv6PolicyValid", "1 where ipv6Policy counts",
        "ipv6EgressPolicy", "The number of the IPv6 egress policy, 0 to 1023. Setting it changes haloAclLabel",
        "haloAclLabel", "The label of the halo ACL, 0 to 127: the low 7 bits of ipv6EgressPolicy. Setting either changes the other");

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
    static constexpr auto korTexts = Kor::texts(
        "", "An interface on a chip for which policies are to go into the TCAM",
        "intfId", "The interface; the default is the empty one",
        "fapId", "The chip, 0 to 2047; the default 2048 stands for none",
        "l3FloodPortVlanId", "The L3 flood VLAN of the interface, up to 4094; the default 0 stands for none. It does not enter the hash",
        "hash", "One-at-a-time hash of the interface and the chip, by which maps find the request");

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
    static constexpr auto korTexts = Kor::texts(
        "", "A request and the policies that it stands for",
        "request", "The interface and the chip",
        "policyId", "The policies",
        "hash", "One-at-a-time hash of the request's hash and the policies");

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
    static constexpr auto korTexts = Kor::texts(
        "", "An entry that waits to be put in, or taken out",
        "entry", "The request and its policies",
        "insert", "True where the entry is to be put in; the default is false",
        "hash", "One-at-a-time hash of the entry's hash and of insert");

    using ValueOf::ValueOf;
};

/// What became of a request.
class TcamSharingResponse
    : public Kor::ValueOf<TcamSharingResponse,
          Stored<name::result, TcamSharingResult>,
          Stored<name::policyId, TcamSharingPolicyId>>,
      public Kor::Ordered<TcamSharingResponse> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "What became of a request",
        "result", "Whether the policies went in; the default tcamSharingInsertDefault is no answer",
        "policyId", "The policies of the answer; the default 0 has none");

    using ValueOf::ValueOf;
};

/// A VLAN or domain number that was asked for.
class TcamSharingVlanIdOrDomainResponse
    : public Kor::ValueOf<TcamSharingVlanIdOrDomainResponse,
          Stored<name::value, U16>,
          Stored<name::success, bool>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A VLAN id or domain number that was asked for",
        "value", "The number; the default is 0",
        "success", "Whether the number was given; the default is false");

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
