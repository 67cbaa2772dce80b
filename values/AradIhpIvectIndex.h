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
    constexpr AradIhpIvectIndex() = default;
    template <Kor::AttrLogReader In>
    AradIhpIvectIndex(In* in, Kor::StreamBogon bogon) : ValueOf(in, bogon) {}
    AradIhpIvectIndex(Kor::String8::IteratorConst& it, Kor::String8::IteratorConst const& end) : ValueOf(it, end) {}
    /// Raises Kor::RangeException for a number above 256.
    constexpr explicit AradIhpIvectIndex(U16 index) : ValueOf(index) { korCheck(); }

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
