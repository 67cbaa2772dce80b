#pragma once

#include "platform/PlatformNames.h"
#include "reflect/Value.h"
#include "runtime/Exception.h"

namespace Bridging {

/// A VLAN, or none: 0 to 4094, 0 being none. A larger number raises Kor::RangeException.
class VlanIdOrNone : public Kor::ValueOf<VlanIdOrNone, Kor::Settable<Kor::name::value, Kor::U16>>,
                     public Kor::Ordered<VlanIdOrNone> {
public:
    constexpr VlanIdOrNone() = default;
    VlanIdOrNone(Kor::String8::IteratorConst& it, Kor::String8::IteratorConst const& end)
        : ValueOf(it, end) {}
    template <Kor::AttrLogReader In>
    VlanIdOrNone(In* in, Kor::StreamBogon) : VlanIdOrNone(in->nextU16()) {}
    constexpr explicit VlanIdOrNone(Kor::U16 value) : ValueOf(value) { korCheck(); }

    constexpr bool operator!() const { return value() == 0; }

    constexpr void korCheck() const {
        if (value() > 4094) {
            Kor::throwRangeException("VlanIdOrNone::value > 4094 not allowed");
        }
    }
};

/// A VLAN: 1 to 4094. Any other number raises Kor::RangeException.
class VlanId : public Kor::ValueOf<VlanId, Kor::Settable<Kor::name::value, Kor::U16, 1>>,
               public Kor::Ordered<VlanId>,
               public Kor::Hashed<VlanId> {
public:
    constexpr VlanId() = default;
    template <Kor::AttrLogReader In>
    VlanId(In* in, Kor::StreamBogon) : VlanId(in->nextU16()) {}
    VlanId(Kor::String8::IteratorConst& it, Kor::String8::IteratorConst const& end) : ValueOf(it, end) {}
    constexpr explicit VlanId(Kor::U16 value) : ValueOf(value) { korCheck(); }

    constexpr void korCheck() const {
        if (value() < 1 || value() > 4094) {
            Kor::throwRangeException("VlanId::value < 1 or > 4094 not allowed");
        }
    }
};

} // namespace Bridging
