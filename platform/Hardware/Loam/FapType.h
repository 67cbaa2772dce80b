#pragma once

/// The family of a forwarding chip. Only the Arad and the Jericho family have tables; the third exists so
/// that every chip has one.

#include "runtime/Types.h"

#include <iosfwd>

namespace Hardware::Loam {

using Kor::S32;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

enum FapType : U32 {
    fapTypeOther = 1,
    fapTypeArad = 3,
    fapTypeJericho = 4,
};

/// The enumerator's name, or `FapType(n)` for a number that is none.
[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& stream, FapType fapType);

} // namespace Hardware::Loam
