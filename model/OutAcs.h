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
    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppConfigFactory, OutAcAppConfig, Loam::VtAppId)

class OutAcAppConfigDir final
    : public Kor::EntityOf<OutAcAppConfigDir,
          EntityMap<name::appConfig, OutAcAppConfig>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppConfigDirFactory, OutAcAppConfigDir, Kor::Name)

class OutAcAppStatus final
    : public Kor::EntityOf<OutAcAppStatus,
          KeyAttribute<name::app, Loam::VtAppId>,
          KeyedMap<name::acEntry, OutAcEntry, name::acKey>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppStatusFactory, OutAcAppStatus, Loam::VtAppId)

class OutAcAppStatusDir final
    : public Kor::EntityOf<OutAcAppStatusDir,
          EntityMap<name::appStatus, OutAcAppStatus>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(outAcAppStatusDirFactory, OutAcAppStatusDir, Kor::Name)

class OutAcRequest final
    : public Kor::EntityOf<OutAcRequest,
          KeyAttribute<name::acKey, OutAcKey>,
          ValueMap<name::reqCount, Loam::VtAppId, U32>> {
public:
    static constexpr bool korHasFactory = false;
    using EntityOver::EntityOver;
};

class OutAcConfig final
    : public Kor::EntityOf<OutAcConfig,
          EntityMap<name::acRequest, OutAcRequest>> {
public:
    static constexpr bool korHasFactory = false;
    using EntityOver::EntityOver;
};

class OutAcStatus final
    : public Kor::EntityOf<OutAcStatus,
          KeyedMap<name::acEntry, OutAcEntry, name::acKey>> {
public:
    static constexpr bool korHasFactory = false;
    using EntityOver::EntityOver;
};

} // namespace Hardware::LoamTunnel
// clang-format on
