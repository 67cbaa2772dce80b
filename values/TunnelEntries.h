#pragma once

/// Keys and payloads of the tunnel and tag entities: which tunnels end here, which next hop a VTEP has, which
/// tag protocol identifier an interface uses. All are immutable; none depends on the chip.
///
///     TunnelTerminationEntry tunnel(Fen::tunnelTypeVxlan, Lumen::IpAddr(10, 0, 0, 1));
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Fen/Tunnel.h"
#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Lumen/IntfId.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class TunnelTerminationEntry
    : public Kor::ValueOf<TunnelTerminationEntry,
          Stored<name::tunnelType, Fen::TunnelType>,
          Stored<name::terminatingIpAddr, Lumen::IpAddr>,
          Kor::Computed<name::hash, U32>>,
      public Kor::Ordered<TunnelTerminationEntry>,
      public Kor::Hashed<TunnelTerminationEntry> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A tunnel that ends on this switch",
        "tunnelType", "The kind of tunnel; the default is tunnelTypeNone",
        "terminatingIpAddr", "The IP address at which the tunnel ends; the default is 0.0.0.0",
        "hash", "One-at-a-time hash of both attributes, by which maps find the tunnel");

    using ValueOf::ValueOf;
};

class VtepToNhIdMapStatusEntry
    : public Kor::ValueOf<VtepToNhIdMapStatusEntry,
          Stored<name::nhId, Fen::FenNextHopId>,
          Stored<name::addStatus, FenTypes::TableAddStatus>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The next hop of a remote tunnel end (VTEP), and what became of it in the hardware table",
        "nhId", "The next hop; the default 0xffffffff stands for none",
        "addStatus", "Whether the hardware table took the next hop; the default is tableAddNone");

    using ValueOf::ValueOf;
};

class VcableTpidVtConfigEntry
    : public Kor::ValueOf<VcableTpidVtConfigEntry,
          Stored<name::intf, Lumen::IntfId>,
          Stored<name::intfTpidIndex, Loam::IntfTpidIndex>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which of the chip's tag protocol identifiers (TPIDs) an interface uses",
        "intf", "The interface; the default is the empty one",
        "intfTpidIndex", "The chip's index of the TPID, 8 bits; the default 4 stands for none");

    using ValueOf::ValueOf;
};

class TpidVtAppConfigEntry
    : public Kor::ValueOf<TpidVtAppConfigEntry,
          Stored<name::intf, Lumen::IntfId>,
          Stored<name::intfTpid, Loam::IntfTpid>,
          Stored<name::intfTpidIndex, Loam::IntfTpidIndex>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The tag protocol identifier (TPID) that an application wants on an interface",
        "intf", "The interface; the default is the empty one",
        "intfTpid", "The TPID, 16 bits; the default is 0x8100",
        "intfTpidIndex", "The chip's index of the TPID, 8 bits; the default 4 stands for none");

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
