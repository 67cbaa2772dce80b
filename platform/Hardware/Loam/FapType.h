#pragma once

/// The family of a forwarding chip. Only the Arad and the Jericho family have tables; the third exists so
/// that every chip has one.
///
///     properties->fapType() == Hardware::Loam::fapTypeArad;
///     stringValue(Hardware::Loam::fapTypeJericho);    // "fapTypeJericho"
///
/// What every enumeration has, names, checked conversions and text, stands in reflect/Enumeration.h.

#include "reflect/Enumeration.h"
#include "runtime/Types.h"

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
// clang-format off
KOR_ENUMERATION(FapType,
    "", "The family of a forwarding chip",
    "fapTypeOther", "Any other family; it has no tables",
    "fapTypeArad", "The Arad family",
    "fapTypeJericho", "The Jericho family")
// clang-format on

} // namespace Hardware::Loam
