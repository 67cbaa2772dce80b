#pragma once

/// Tunnels: which end on this switch, which next hop each remote end has, and what became of both in the
/// hardware tables. A config holds what is wanted, a status what came of it, under the same key.
///
///     terminations->configIs(TunnelTerminationEntry(Fen::tunnelTypeVxlan, address), true);
///     if (results->status(key).addStatus() == FenTypes::tableAddSuccess) { ... }    // VtepToNhIdMapStatus

#include "model/ModelNames.h"
#include "platform/Fen/Tunnel.h"
#include "values/TunnelEntries.h"

// clang-format off
namespace Hardware::LoamTunnel {

class TunnelTerminationConfig final
    : public Kor::EntityOf<TunnelTerminationConfig,
          ValueMap<name::config, TunnelTerminationEntry, bool>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(tunnelTerminationConfigFactory, TunnelTerminationConfig, Kor::Name)

class TunnelTerminationStatus final
    : public Kor::EntityOf<TunnelTerminationStatus,
          ValueMap<name::status, TunnelTerminationEntry, FenTypes::TableAddStatus>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(tunnelTerminationStatusFactory, TunnelTerminationStatus, Kor::Name)

class VtepToNhIdMapConfig final
    : public Kor::EntityOf<VtepToNhIdMapConfig,
          ValueMap<name::config, Fen::TunnelKey, Fen::FenNextHopId>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(vtepToNhIdMapConfigFactory, VtepToNhIdMapConfig, Kor::Name)

class VtepToNhIdMapStatus final
    : public Kor::EntityOf<VtepToNhIdMapStatus,
          ValueMap<name::status, Fen::TunnelKey, VtepToNhIdMapStatusEntry>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(vtepToNhIdMapStatusFactory, VtepToNhIdMapStatus, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
