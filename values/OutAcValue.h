#pragma once

/// The image of an EEDB row of AC format, which holds two out-ACs, and its encoder.
///
///     OutAcValue pair;
///     pair.acFormatIs(true, ac0);
///     pair.acFormatIs(false, ac1);
///     U8 row[12] = {};
///     pair.writeToChipFormat(Hardware::jerichoChip8, row);
///
/// AC 0 is bits 0 to 36 of the row, AC 1 bits 37 to 73, `acEntryFormat` bits 74 to 77. `ac0EntryFormat` and
/// `ac1EntryFormat` are the `format` of the two.

#include "platform/Hardware/ChipType.h"
#include "values/EedbValue.h"
#include "values/OutAcFormat.h"

// clang-format off
namespace Hardware::LoamTunnel {

class __attribute__((visibility("default"))) OutAcValue
    : public Kor::DerivedValueOf<OutAcValue, EedbValue,
          View<name::acEntryFormat, U8, name::word2, 10, 13>,
          View<name::ac1EntryFormat, U8, name::word2, 7, 9>,
          View<name::ac0EntryFormat, U8, name::word1, 2, 4>,
          View<name::ac0_0_31, U32, name::word0, 0, 31>,
          View<name::ac0_32_36, U32, name::word1, 0, 4>,
          View<name::ac1_0_26, U32, name::word1, 5, 31>,
          View<name::ac1_27_36, U32, name::word2, 0, 9>,
          Operation<name::valid, bool()>,
          Operation<name::acFormat, OutAcFormat(Arg<name::isAc0, bool>)>,
          Operation<name::acFormatIs, void(Arg<name::isAc0, bool>, Arg<name::format, OutAcFormat>)>,
          Operation<name::writeToChipFormat, void(Arg<name::chipType, ChipType>, Arg<name::dataBuffer, Kor::BytePtr>)>> {
public:
    using DerivedValueOf::DerivedValueOf;

    /// Whether all three entry formats are 0.
    bool valid() const;

    /// One of the two, with the upper 27 bits 0.
    OutAcFormat acFormat(bool isAc0) const;
    /// Replaces one of the two by bits 0 to 36 of `format`, and nothing else.
    void acFormatIs(bool isAc0, OutAcFormat const& format);

    /// Writes the pair as one row of Hardware::OutAcBank, variant 1, into a buffer of 12 bytes, with `acEntryFormat` 0
    /// whatever the value holds. Bits of no field that is written stay. Allocates nothing, passes no trace point of its
    /// own.
    ///
    /// Requires a chip of the table (3, 4, 5, 7, 8, 9, 10), and formats that fit the chip: below 4 on chip 4, and for
    /// AC 0 on chips 5 and 7.
    void writeToChipFormat(ChipType chipType, Kor::BytePtr dataBuffer) const;
};


} // namespace Hardware::LoamTunnel
// clang-format on
