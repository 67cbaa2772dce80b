#pragma once

/// Tunnels: which end on this switch, which next hop each remote end has, and what became of both in the
/// hardware tables. A config holds what is wanted, a status what came of it, under the same key.
///
///     terminations->configIs(TunnelTerminationEntry(Fen::tunnelTypeVxlan, address), true);
///     if (results->status(key).addStatus() == FenTypes::tableAddSuccess) { ... }    // VtepToNhIdMapStatus
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Fen/Tunnel.h"
#include "values/TunnelEntries.h"

// clang-format off
namespace Hardware::LoamTunnel {

class TunnelTerminationConfig final
    : public Kor::EntityOf<TunnelTerminationConfig,
          ValueMap<name::config, TunnelTerminationEntry, bool>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which tunnels are to end on this switch",
        "config", "Whether this tunnel is to end here; absent reads as false");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tunnelTerminationConfigFactory, TunnelTerminationConfig, Kor::Name)

class TunnelTerminationStatus final
    : public Kor::EntityOf<TunnelTerminationStatus,
          ValueMap<name::status, TunnelTerminationEntry, FenTypes::TableAddStatus>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "What became of the tunnels that are to end on this switch",
        "status", "Whether the hardware table took this tunnel; absent reads as tableAddNone");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tunnelTerminationStatusFactory, TunnelTerminationStatus, Kor::Name)

class VtepToNhIdMapConfig final
    : public Kor::EntityOf<VtepToNhIdMapConfig,
          ValueMap<name::config, Fen::TunnelKey, Fen::FenNextHopId>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which next hop each remote tunnel end (VTEP) is to have",
        "config", "The next hop that this tunnel is to have; absent reads as 0xffffffff, none");

    using EntityOver::EntityOver;
};
KOR_FACTORY(vtepToNhIdMapConfigFactory, VtepToNhIdMapConfig, Kor::Name)

class VtepToNhIdMapStatus final
    : public Kor::EntityOf<VtepToNhIdMapStatus,
          ValueMap<name::status, Fen::TunnelKey, VtepToNhIdMapStatusEntry>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which next hop each remote tunnel end (VTEP) has got",
        "status", "The next hop that this tunnel has got, and whether the hardware table took it");

    using EntityOver::EntityOver;
};
KOR_FACTORY(vtepToNhIdMapStatusFactory, VtepToNhIdMapStatus, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
