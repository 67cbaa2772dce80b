#pragma once

/// A pair of egress VLAN edit commands in one 38-bit word, and its encoder.
///
///     EvecValue pair;
///     pair.evecFormatIs(true, command);
///     U8 row[8] = {};
///     pair.writeToChipFormat(Hardware::jerichoChip8, row);
///
/// `word0` has the layout of the row of chips 8, 9 and 10.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/ChipType.h"
#include "values/EvecFormat.h"

// clang-format off
namespace Hardware::LoamTunnel {

class KOR_EXPORT EvecValue
    : public Kor::ValueOf<EvecValue,
          Settable<name::word0, U64>,
          View<name::evec0, U32, name::word0, 0, 18>,
          View<name::evec1, U32, name::word0, 19, 37>,
          Operation<name::evecFormat, EvecFormat(Arg<name::isEvec0, bool>)>,
          Operation<name::evecFormatIs, void(Arg<name::isEvec0, bool>, Arg<name::format, EvecFormat>)>,
          Operation<name::writeToChipFormat, void(Arg<name::chipType, ChipType>, Arg<name::dataBuffer, Kor::BytePtr>)>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Two egress VLAN edit commands, as one row of Hardware::EvecTable holds them",
        "word0", "Both commands, at most 0x3fffffffff, in the row layout of chips 8, 9 and 10; the default is 0",
        "evec0", "The 19 bits of the first command, as they are stored",
        "evec1", "The 19 bits of the second command, as they are stored",
        "evecFormat", "Gives the first command for true and the second for false. Its membershipCheckType is always 1",
        "evecFormatIs", "Replaces the first command for true and the second for false; the other one stays",
        "writeToChipFormat", "Writes both as one row of Hardware::EvecTable for that chip, into the caller's buffer. Bits of other fields stay");

    static constexpr U64 limit = 0x3fffffffff;

    using ValueOf::ValueOf;

    /// One of the two commands, made from its 19 bits: its `membershipCheckType` is always 1.
    EvecFormat evecFormat(bool isEvec0) const { return EvecFormat(isEvec0 ? evec0() : evec1()); }
    /// Replaces one of the two by the low 19 bits of the command's `value`.
    void evecFormatIs(bool isEvec0, EvecFormat format) {
        isEvec0 ? evec0Is(format.value()) : evec1Is(format.value());
    }

    /// Writes the pair as one row of Hardware::EvecTable into a buffer of `tableWidth(chipType, 0)` x 4 bytes. A TPID
    /// index is cut to the width it has on the chip; the membership check is 1 where the chip has one. Bits of no field
    /// that is written stay. Allocates nothing unless trace is on (facility "LoamTunnelTypes", level 8).
    ///
    /// Requires a chip of the table: 3, 4, 5, 7, 8, 9, 10.
    void writeToChipFormat(ChipType chipType, Kor::BytePtr dataBuffer) const;

    /// Raises Kor::RangeException when `word0` is above 0x3fffffffff.
    constexpr void korCheck() const {
        if (word0() > limit) {
            Kor::throwRangeException("EvecValue::word0 < 0 or > 0x3fffffffffL not allowed");
        }
    }
};


} // namespace Hardware::LoamTunnel
// clang-format on
