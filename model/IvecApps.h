#pragma once

/// Ingress VLAN edit commands: what applications ask for, what they got, and what is in the hardware for all
/// of them together. Request and result have the same form.
///
///     config->entryIs(AradIvecEntry(key, format));                  // IvecAppConfig
///     if (status->status(key).entryFormat() == format) { ... }      // IvecAppStatus
///
/// HwIvecs does not look into its entries: hwIvecIs(key, entry) stores the entry as it is, whatever its own
/// key. Give the same key twice.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/AradIvecEntry.h"

// clang-format off
namespace Hardware::LoamTunnel {

class IvecAppConfig final
    : public Kor::EntityOf<IvecAppConfig,
          KeyAttribute<name::app, Loam::VtAppId>,
          KeyedMap<name::entry, AradIvecEntry, name::key>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The ingress VLAN edit commands that one application asks for",
        "app", "The application",
        "entry", "The command that the application wants in this slot");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivecAppConfigFactory, IvecAppConfig, Loam::VtAppId)

class IvecAppConfigDir final
    : public Kor::EntityOf<IvecAppConfigDir,
          EntityMap<name::appConfig, IvecAppConfig>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The ingress VLAN edit commands that all applications ask for",
        "appConfig", "What this application asks for");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivecAppConfigDirFactory, IvecAppConfigDir, Kor::Name)

class IvecAppStatus final
    : public Kor::EntityOf<IvecAppStatus,
          KeyAttribute<name::app, Loam::VtAppId>,
          KeyedMap<name::status, AradIvecEntry, name::key>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The ingress VLAN edit commands that one application has got",
        "app", "The application",
        "status", "The command that the application has got in this slot");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivecAppStatusFactory, IvecAppStatus, Loam::VtAppId)

class IvecAppStatusDir final
    : public Kor::EntityOf<IvecAppStatusDir,
          EntityMap<name::appStatus, IvecAppStatus>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The ingress VLAN edit commands that all applications have got",
        "appStatus", "What this application has got");

    using EntityOver::EntityOver;
};
KOR_FACTORY(ivecAppStatusDirFactory, IvecAppStatusDir, Kor::Name)

class HwIvecs final
    : public Kor::EntityOf<HwIvecs,
          ValueMap<name::hwIvec, AradIvecKey, AradIvecEntry>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The ingress VLAN edit commands in the hardware, for all applications together",
        "hwIvec", "The command in this slot. Nothing compares the slot with the entry's own key: give the same one twice");

    static constexpr bool korIsMadeByName = false;
    using EntityOver::EntityOver;
};
KOR_FACTORY(hwIvecsFactory, HwIvecs, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
