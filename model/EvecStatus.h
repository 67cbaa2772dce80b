#pragma once

/// The egress VLAN edit commands in the hardware, for all applications together, and who owns each.
///
/// The two maps are independent: an entry can be without an owner and the other way round.

#include "model/ModelNames.h"
#include "values/EvecEntry.h"

// clang-format off
namespace Hardware::LoamTunnel {

class EvecStatus final
    : public Kor::EntityOf<EvecStatus,
          KeyedMap<name::entry, EvecEntry, name::key>,
          KeyedMap<name::owner, EvecOwner, name::key>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(evecStatusFactory, EvecStatus, Kor::Name)

} // namespace Hardware::LoamTunnel
// clang-format on
