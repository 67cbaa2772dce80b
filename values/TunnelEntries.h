#pragma once

/// Keys and payloads of the tunnel and tag entities: which tunnels end here, which next hop a VTEP has, which
/// tag protocol identifier an interface uses. All are immutable; none depends on the chip.
///
///     TunnelTerminationEntry tunnel(Fen::tunnelTypeVxlan, Lumen::IpAddr(10, 0, 0, 1));

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
    using ValueOf::ValueOf;
};

class VtepToNhIdMapStatusEntry
    : public Kor::ValueOf<VtepToNhIdMapStatusEntry,
          Stored<name::nhId, Fen::FenNextHopId>,
          Stored<name::addStatus, FenTypes::TableAddStatus>> {
public:
    using ValueOf::ValueOf;
};

class VcableTpidVtConfigEntry
    : public Kor::ValueOf<VcableTpidVtConfigEntry,
          Stored<name::intf, Lumen::IntfId>,
          Stored<name::intfTpidIndex, Loam::IntfTpidIndex>> {
public:
    using ValueOf::ValueOf;
};

class TpidVtAppConfigEntry
    : public Kor::ValueOf<TpidVtAppConfigEntry,
          Stored<name::intf, Lumen::IntfId>,
          Stored<name::intfTpid, Loam::IntfTpid>,
          Stored<name::intfTpidIndex, Loam::IntfTpidIndex>> {
public:
    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
