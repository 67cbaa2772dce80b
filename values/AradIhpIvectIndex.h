#pragma once

/// The index into the table that chooses an ingress VLAN edit command for a profile and a tag format.
///
///     AradIhpIvectIndex index;                  // null, 256
///     index.setProfileAndFormat(Hardware::Loam::iveProfile5, Hardware::Loam::vlanTagS);
///     index.index();                            // 29
///
/// 255 is the largest valid index; 256, the null index, is accepted and not valid. Every setter goes through
/// `indexIs`: on the null index a view's setter stores an index above 256 and then raises
/// Kor::RangeException.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/VlanEdit.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class AradIhpIvectIndex
    : public Kor::ValueOf<AradIhpIvectIndex,
          Constant<name::min, U16, 0>,
          Constant<name::max, U16, 255>,
          Constant<name::null, U16, 256>,
          Settable<name::index, U16, 256>,
          View<name::hash, U16, name::index, 0, 15>,
          Operation<name::valid, bool()>,
          View<name::iveProfile, Loam::IveProfile, name::index, 0, 2>,
          View<name::vlanTagFormat, Loam::VlanTagFormat, name::index, 3, 6>,
          Operation<name::setProfileAndFormat, void(Arg<name::profile, Loam::IveProfile>, Arg<name::format, Loam::VlanTagFormat>)>>,
      public Kor::Ordered<AradIhpIvectIndex> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "A place in the table that chooses an ingress VLAN edit command, by the profile of the interface and the tags of the packet",
        "min", "The smallest index",
        "max", "The largest valid index",
        "null", "The index that stands for none. It is accepted, but is not valid",
        "index", "The profile and the tag format in one number, 0 to 256; the default 256 stands for none",
        "hash", "The index again, by which maps find it. Setting it sets the index",
        "valid", "Whether the index is below 256",
        "iveProfile", "The profile of the interface, 0 to 7. On the null index any but 0 raises Kor::RangeException",
        "vlanTagFormat", "Which tags the packet has, 0 to 15. On the null index any but 0 raises Kor::RangeException",
        "setProfileAndFormat", "Makes the index of the low 3 bits of the profile and the low 4 bits of the format; all other bits become 0");

    using ValueOf::ValueOf;

    constexpr bool valid() const { return index() < null; }

    /// The low three bits of the profile, the low four of the format, and nothing else: at most 127.
    constexpr void setProfileAndFormat(Loam::IveProfile profile, Loam::VlanTagFormat format) {
        indexIs(static_cast<U16>((format & 15u) << 3 | (profile & 7u)));
    }

    /// Raises Kor::RangeException when `index` is above 256.
    constexpr void korCheck() const {
        if (index() > null) {
            Kor::throwRangeException(
                "AradIhpIvectIndex::index < AradIhpIvectIndex::min or > AradIhpIvectIndex::null not allowed");
        }
    }
};


} // namespace Hardware::LoamTunnel
// clang-format on
