#pragma once

/// Tag handling: popping and pushing, the rewrite of tag protocol identifiers, and the identifiers that
/// applications want on interfaces.
///
///     tagPopPushConfig->appIs(Hardware::Loam::vtAppMpls, true);     // a flag for each application
///     tagPopPushStatus->enabled();                                 // one for the whole
///
///     tpidConfig->entryIs(TpidVtAppConfigEntry(intf, Hardware::Loam::IntfTpid(0x88a8)));
///
/// TpidVtAppConfig and its directory are plain counted objects: they have no name, version, parent or
/// attribute log, and asking the directory for a child that is there does nothing else.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/TunnelEntries.h"

// clang-format off
namespace Hardware::LoamTunnel {

class TagPopPushConfig final
    : public Kor::EntityOf<TagPopPushConfig,
          ValueMap<name::app, Loam::VtAppId, bool>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Which applications want tags popped and pushed",
        "app", "Whether this application wants it; absent reads as false, and so does a stored false");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tagPopPushConfigFactory, TagPopPushConfig, Kor::Name)

class TagPopPushStatus final
    : public Kor::EntityOf<TagPopPushStatus,
          Singleton<name::enabled, bool>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Whether tags are popped and pushed",
        "enabled", "On or off for all applications together; the default is off");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tagPopPushStatusFactory, TagPopPushStatus, Kor::Name)

class TpidRewriteStatus final
    : public Kor::EntityOf<TpidRewriteStatus,
          Singleton<name::enabled, bool>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Whether tag protocol identifiers (TPIDs) are rewritten",
        "enabled", "On or off; the default is off");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tpidRewriteStatusFactory, TpidRewriteStatus, Kor::Name)

class TpidVtAppConfig final
    : public Kor::ObjectOf<TpidVtAppConfig,
          KeyAttribute<name::app, Loam::VtAppId>,
          KeyedMap<name::entry, TpidVtAppConfigEntry, name::intf>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The tag protocol identifiers (TPIDs) that one application wants on interfaces",
        "app", "The application",
        "entry", "The TPID that the application wants on this interface; absent reads as 0x8100 on no interface");

    using EntityOver::EntityOver;
};
KOR_FACTORY(tpidVtAppConfigFactory, TpidVtAppConfig, Loam::VtAppId)

class TpidVtAppConfigDir final
    : public Kor::ObjectOf<TpidVtAppConfigDir,
          EntityMap<name::appConfig, TpidVtAppConfig>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The tag protocol identifiers (TPIDs) that all applications want on interfaces",
        "appConfig", "What this application wants");
};
KOR_FACTORY(tpidVtAppConfigDirFactory, TpidVtAppConfigDir)

} // namespace Hardware::LoamTunnel
// clang-format on
