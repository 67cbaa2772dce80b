#pragma once

/// Logical interfaces as applications ask for them and get them.
///
///     auto dir = lifAppConfigDirFactory("lifConfig");
///     auto config = dir->appConfigIs(Hardware::Loam::vtAppMpls);      // the application's, made if absent
///     config->reqCountInc(entry, 1);
///     ...
///     if (config->reqCountDec(entry, 1) == 0) {
///         config->reqCountDel(entry);                                  // ends the request
///     }
///
/// A config holds how often an application asks for each LIF, a status under the same key where the LIF is.
/// Whoever owns the resource reads the one and writes the other; nothing here does.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/AradLifEntry.h"
#include "values/AradLifIndex.h"

// clang-format off
namespace Hardware::LoamTunnel {

class LifAppConfig final
    : public Kor::EntityOf<LifAppConfig,
          KeyAttribute<name::app, Loam::VtAppId>,
          CountedMap<name::reqCount, AradLifEntry, U32>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The logical interfaces (LIFs) that one application asks for",
        "app", "The application",
        "reqCount", "How often the application asks for this LIF. It stays at 0 until reqCountDel ends the request");

    using EntityOver::EntityOver;
};
KOR_FACTORY(lifAppConfigFactory, LifAppConfig, Loam::VtAppId)

class LifAppConfigDir final
    : public Kor::EntityOf<LifAppConfigDir,
          EntityMap<name::appConfig, LifAppConfig>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The logical interfaces (LIFs) that all applications ask for",
        "appConfig", "What this application asks for");

    using EntityOver::EntityOver;
};
KOR_FACTORY(lifAppConfigDirFactory, LifAppConfigDir, Kor::Name)

class LifAppStatus final
    : public Kor::EntityOf<LifAppStatus,
          KeyAttribute<name::app, Loam::VtAppId>,
          ValueMap<name::lifEntry, AradLifEntry, AradLifIndex>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The logical interfaces (LIFs) that one application has got",
        "app", "The application",
        "lifEntry", "Where this LIF lies; absent reads as the null index");

    using EntityOver::EntityOver;
};
KOR_FACTORY(lifAppStatusFactory, LifAppStatus, Loam::VtAppId)

class LifAppStatusDir final
    : public Kor::EntityOf<LifAppStatusDir,
          EntityMap<name::appStatus, LifAppStatus>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The logical interfaces (LIFs) that all applications have got",
        "appStatus", "What this application has got");

    using EntityOver::EntityOver;
};
KOR_FACTORY(lifAppStatusDirFactory, LifAppStatusDir, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
