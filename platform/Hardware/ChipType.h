#pragma once

/// Which forwarding chip a row is meant for. The chip tables support 3, 4, 5, 7, 8, 9 and 10; every table's
/// `getSchanAddress` tells whether it knows a chip.
///
///     Hardware::ChipType const chip = Hardware::ChipTypeInstance(8); // raises Kor::RangeException for none
///
/// Plain numbers: any thread, no allocation but for a text (reflect/Enumeration.h).

#include "platform/Hardware/Loam/FapType.h"
#include "reflect/Enumeration.h"
#include "runtime/Types.h"

namespace Hardware {

using Kor::S32;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

enum ChipType : U32 {
    otherChip1 = 1,
    aradChip2 = 2,
    aradChip3 = 3,
    aradChip4 = 4,
    jerichoChip5 = 5,
    jerichoChip6 = 6,
    jerichoChip7 = 7,
    jerichoChip8 = 8,
    jerichoChip9 = 9,
    jerichoChip10 = 10,
};
// clang-format off
KOR_ENUMERATION(ChipType,
    "", "The forwarding chip that a row is meant for; the chip tables know 3, 4, 5, 7, 8, 9 and 10",
    "otherChip1", "A chip of another family; no table knows it",
    "aradChip2", "A chip of the Arad family that no table knows",
    "aradChip3", "A chip of the Arad family",
    "aradChip4", "A chip of the Arad family",
    "jerichoChip5", "A chip of the Jericho family",
    "jerichoChip6", "A chip of the Jericho family that no table knows",
    "jerichoChip7", "A chip of the Jericho family",
    "jerichoChip8", "A chip of the Jericho family",
    "jerichoChip9", "A chip of the Jericho family",
    "jerichoChip10", "A chip of the Jericho family")
// clang-format on

} // namespace Hardware
