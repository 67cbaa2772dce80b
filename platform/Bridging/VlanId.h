#pragma once

/// The number of a VLAN, and the same where there may be none. They check their range. What holds for every
/// value stands in reflect/Value.h.
///
///     Bridging::VlanId vlan(20);
///     vlan.valueIs(4095);                 // raises Kor::RangeException
///     if (!Bridging::VlanIdOrNone()) { ... }

#include "platform/PlatformNames.h"
#include "reflect/Value.h"
#include "runtime/Exception.h"

namespace Bridging {

/// A VLAN, or none: 0 to 4094, 0 being none. A larger number raises Kor::RangeException.
class VlanIdOrNone : public Kor::ValueOf<VlanIdOrNone, Kor::Settable<Kor::name::value, Kor::U16>>,
                     public Kor::Ordered<VlanIdOrNone>,
                     public Kor::Nullable<VlanIdOrNone> {
public:
    static constexpr auto korTexts =
        Kor::texts("", "A VLAN, or none", "value",
                   "0 to 4094; the default 0 stands for none. A larger number raises Kor::RangeException");

    using ValueOf::ValueOf;
    static constexpr bool korChecksWire = true;

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
    static constexpr auto korTexts = Kor::texts(
        "", "A VLAN", "value", "1 to 4094; the default is 1. Any other number raises Kor::RangeException",
        "Kor::U32 hash() const", "The hash of what is stored");

    using ValueOf::ValueOf;
    static constexpr bool korChecksWire = true;

    constexpr void korCheck() const {
        if (value() < 1 || value() > 4094) {
            Kor::throwRangeException("VlanId::value < 1 or > 4094 not allowed");
        }
    }
};

} // namespace Bridging
