#pragma once

/// Small questions about a chip that every table and encoder asks.

#include "platform/Hardware/ChipType.h"
#include "platform/Hardware/Loam/FapType.h"
#include "runtime/Contract.h"

#include <string>

namespace Hardware {

/// The family of a chip, for the chips 1 to 10. Any other number is a broken contract; a release build
/// answers `fapTypeOther`. Any thread, no allocation.
constexpr Loam::FapType chipTypeToFapType(ChipType chipType) {
    Kor::require(chipType >= otherChip1 && chipType <= jerichoChip10, [&] {
        return Kor::Breach{"chipTypeToFapType", "no chip " + std::to_string(U32{chipType})};
    });
    if (chipType >= jerichoChip5 && chipType <= jerichoChip10) {
        return Loam::fapTypeJericho;
    }
    return chipType >= aradChip2 && chipType <= aradChip4 ? Loam::fapTypeArad : Loam::fapTypeOther;
}

} // namespace Hardware
