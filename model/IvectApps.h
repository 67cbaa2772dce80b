#pragma once

/// Which ingress VLAN edit command a packet gets: by interface profile and tag format, asked for and got by
/// each application.
///
///     AradIhpIvectIndex place;
///     place.setProfileAndFormat(Hardware::Loam::iveProfile3, Hardware::Loam::vlanTagC);
///     config->configIs(place, command);                             // IvectAppConfig
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/Indexes.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/AradIhpIvectIndex.h"

// clang-format off
namespace Hardware::LoamTunnel {

class IvectAppConfig final
    : public Kor::EntityOf<IvectAppConfig,
          KeyAttribute<name::app, Loam::VtAppId>,
          ValueMap<name::config, AradIhpIvectIndex, Loam::AradIvecIndex>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which ingress VLAN edit commands one application wants, by interface profile and tag format",
        "app", "The application",
        "config", "The index of the command that packets of this profile and tag format are to get");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivectAppConfigFactory, IvectAppConfig, Loam::VtAppId)

class IvectAppConfigDir final
    : public Kor::EntityOf<IvectAppConfigDir,
          EntityMap<name::appConfig, IvectAppConfig>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which ingress VLAN edit commands all applications want, by interface profile and tag format",
        "appConfig", "What this application wants");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivectAppConfigDirFactory, IvectAppConfigDir, Kor::Name)

class IvectAppStatus final
    : public Kor::EntityOf<IvectAppStatus,
          KeyAttribute<name::app, Loam::VtAppId>,
          ValueMap<name::status, AradIhpIvectIndex, Loam::AradIvecIndex>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which ingress VLAN edit commands one application has got, by interface profile and tag format",
        "app", "The application",
        "status", "The index of the command that packets of this profile and tag format get");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivectAppStatusFactory, IvectAppStatus, Loam::VtAppId)

class IvectAppStatusDir final
    : public Kor::EntityOf<IvectAppStatusDir,
          EntityMap<name::appStatus, IvectAppStatus>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which ingress VLAN edit commands all applications have got, by interface profile and tag format",
        "appStatus", "What this application has got");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivectAppStatusDirFactory, IvectAppStatusDir, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
