#pragma once

/// Out-ACs as applications ask for them and get them, from the side of the application and from that of the
/// key.
///
///     auto dir = outAcAppConfigDirFactory("outAcConfig");
///     dir->appConfigIs(Hardware::Loam::vtAppMpls)->reqCountInc(key, 1);        // one application's requests
///
///     auto all = Kor::makePtr<OutAcConfig>("outAc");
///     all->acRequestIs(key)->reqCountIs(Hardware::Loam::vtAppMpls, 1);         // one key's requests
///
/// The counts of the two sides are the same, transposed; whoever owns the out-ACs copies from the one to the
/// other and writes the results, by key into OutAcStatus and by application into OutAcAppStatus. A count per
/// application can only be raised, set or deleted. OutAcConfig, OutAcRequest and OutAcStatus have no factory:
/// a request is made by its OutAcConfig.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/OutAcEntry.h"

// clang-format off
namespace Hardware::LoamTunnel {

class OutAcAppConfig final
    : public Kor::EntityOf<OutAcAppConfig,
          KeyAttribute<name::app, Loam::VtAppId>,
          CountedUpMap<name::reqCount, OutAcKey, U32>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The out-ACs that one application asks for",
        "app", "The application",
        "reqCount", "How often the application asks for this out-AC. It stays at 0 until reqCountDel ends the request");

    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppConfigFactory, OutAcAppConfig, Loam::VtAppId)

class OutAcAppConfigDir final
    : public Kor::EntityOf<OutAcAppConfigDir,
          EntityMap<name::appConfig, OutAcAppConfig>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The out-ACs that all applications ask for",
        "appConfig", "What this application asks for");

    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppConfigDirFactory, OutAcAppConfigDir, Kor::Name)

class OutAcAppStatus final
    : public Kor::EntityOf<OutAcAppStatus,
          KeyAttribute<name::app, Loam::VtAppId>,
          KeyedMap<name::acEntry, OutAcEntry, name::acKey>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The out-ACs that one application has got",
        "app", "The application",
        "acEntry", "The out-AC of this key and its index, for this application; absent until it has one");

    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppStatusFactory, OutAcAppStatus, Loam::VtAppId)

class OutAcAppStatusDir final
    : public Kor::EntityOf<OutAcAppStatusDir,
          EntityMap<name::appStatus, OutAcAppStatus>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The out-ACs that all applications have got",
        "appStatus", "What this application has got");

    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppStatusDirFactory, OutAcAppStatusDir, Kor::Name)

class OutAcRequest final
    : public Kor::EntityOf<OutAcRequest,
          KeyAttribute<name::acKey, OutAcKey>,
          ValueMap<name::reqCount, Loam::VtAppId, U32>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which applications ask for one out-AC",
        "acKey", "Which out-AC, and on which chips",
        "reqCount", "How often this application asks for the out-AC. It stays at 0 until reqCountDel takes it out");

    static constexpr bool korHasFactory = false;
    using EntityOver::EntityOver;
};

class OutAcConfig final
    : public Kor::EntityOf<OutAcConfig,
          EntityMap<name::acRequest, OutAcRequest>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Who asks for each out-AC, over all applications",
        "acRequest", "The applications that ask for this out-AC. It stays until it is deleted, also when none is left");

    static constexpr bool korHasFactory = false;
    using EntityOver::EntityOver;
};

class OutAcStatus final
    : public Kor::EntityOf<OutAcStatus,
          KeyedMap<name::acEntry, OutAcEntry, name::acKey>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The out-ACs that are there, for all applications together",
        "acEntry", "The out-AC of this key and its index; absent until it has one");

    static constexpr bool korHasFactory = false;
    using EntityOver::EntityOver;
};

} // namespace Hardware::LoamTunnel
// clang-format on
