#pragma once

/// The egress VLAN edit commands that applications ask for.
///
///     auto dir = evecAppConfigDirFactory("evecConfig");
///     dir->appConfigIs(Hardware::Loam::vtAppMpls)->entryIs(EvecEntry(key, format));
///
/// There is no answer for each application: what is in the hardware, and whose it is, stands in EvecStatus.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/EvecEntry.h"

// clang-format off
namespace Hardware::LoamTunnel {

class EvecAppConfig final
    : public Kor::EntityOf<EvecAppConfig,
          KeyAttribute<name::app, Loam::VtAppId>,
          KeyedMap<name::entry, EvecEntry, name::key>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The egress VLAN edit commands that one application asks for",
        "app", "The application",
        "entry", "The command that the application wants in this slot. What is in the hardware stands in EvecStatus");

    using EntityOver::EntityOver;
};
KOR_FACTORY(evecAppConfigFactory, EvecAppConfig, Loam::VtAppId)

class EvecAppConfigDir final
    : public Kor::EntityOf<EvecAppConfigDir,
          EntityMap<name::appConfig, EvecAppConfig>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The egress VLAN edit commands that all applications ask for",
        "appConfig", "What this application asks for");

    using EntityOver::EntityOver;
};
KOR_FACTORY(evecAppConfigDirFactory, EvecAppConfigDir, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
