#pragma once

/// One out-AC: how a leaving packet is edited, in 37 bits.
///
///     OutAcFormat ac;
///     ac.vid1Is(20);
///     ac.vlanEditProfileIs(3);
///
/// Compared, ordered and hashed by the whole `value`, `unused` included.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class OutAcFormat
    : public Kor::ValueOf<OutAcFormat,
          Settable<name::value, U64>,
          View<name::pcpDeiProfile, U8, name::value, 0, 3>,
          View<name::vid1, U16, name::value, 4, 15>,
          View<name::vid2, U16, name::value, 16, 27>,
          View<name::vlanEditProfile, U8, name::value, 28, 31>,
          View<name::oamLifSet, bool, name::value, 32, 32>,
          View<name::drop, bool, name::value, 33, 33>,
          View<name::format, U8, name::value, 34, 36>,
          View<name::unused, U32, name::value, 37, 63>,
          Operation<name::hash, U32()>>,
      public Kor::Ordered<OutAcFormat>,
      public Kor::Hashed<OutAcFormat> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "One out-AC: how a leaving packet is edited, in 37 bits",
        "value", "All fields in one word; the default 0 has every field 0",
        "pcpDeiProfile", "The profile for PCP and DEI, 0 to 15",
        "vid1", "The first VLAN id of the edit, 12 bits",
        "vid2", "The second VLAN id of the edit, 12 bits",
        "vlanEditProfile", "The VLAN edit profile, 0 to 15",
        "oamLifSet", "Row field ac0ActionOamLifSet or ac1ActionOamLifSet, 0 or 1",
        "drop", "Row field ac0ActionDrop or ac1ActionDrop, 0 or 1",
        "format", "The entry format, 0 to 7. Chip 4 requires it below 4, chips 5 and 7 so for AC 0. Chips 8, 9 and 10 drop it",
        "unused", "Belongs to no field. It counts in comparison and hash; an OutAcValue drops it",
        "hash", "One-at-a-time hash of the value");

    using ValueOf::ValueOf;
};


} // namespace Hardware::LoamTunnel
// clang-format on
