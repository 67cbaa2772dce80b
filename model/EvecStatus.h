#pragma once

/// The egress VLAN edit commands in the hardware, for all applications together, and who owns each.
///
///     Kor::Ptr<EvecStatus> const status = Kor::makePtr<EvecStatus>("evec");
///     status->entryIs(EvecEntry(key, format));             // the driver, once the command is in the chip
///     status->ownerIs(EvecOwner(key, vtAppVxlan));
///
/// The two maps are independent: an entry can be without an owner and the other way round.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "values/EvecEntry.h"

// clang-format off
namespace Hardware::LoamTunnel {

class EvecStatus final
    : public Kor::EntityOf<EvecStatus,
          KeyedMap<name::entry, EvecEntry, name::key>,
          KeyedMap<name::owner, EvecOwner, name::key>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The egress VLAN edit commands in the hardware, and who owns them",
        "entry", "The command in this slot; it can be there without an owner",
        "owner", "The application that owns this slot; it can be there without a command");

    using EntityOver::EntityOver;
};
KOR_FACTORY(evecStatusFactory, EvecStatus, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
