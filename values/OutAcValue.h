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
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/ChipType.h"
#include "values/EedbValue.h"
#include "values/OutAcFormat.h"

// clang-format off
namespace Hardware::LoamTunnel {

class KOR_EXPORT OutAcValue
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
    static constexpr auto korTexts = Kor::texts(
        "", "The image of an EEDB row of AC format. It holds two out-ACs: AC 0 in row bits 0 to 36, AC 1 in row bits 37 to 73",
        "acEntryFormat", "The format of the whole entry, row bits 74 to 77. The encoder does not read it; it writes 0",
        "ac1EntryFormat", "The field format of AC 1; its bits are part of ac1_27_36",
        "ac0EntryFormat", "The field format of AC 0; its bits are part of ac0_32_36",
        "ac0_0_31", "Bits 0 to 31 of AC 0",
        "ac0_32_36", "Bits 32 to 36 of AC 0",
        "ac1_0_26", "Bits 0 to 26 of AC 1",
        "ac1_27_36", "Bits 27 to 36 of AC 1",
        "valid", "Whether acEntryFormat, ac0EntryFormat and ac1EntryFormat are all 0",
        "acFormat", "Gives AC 0 for true and AC 1 for false, with the unused bits 0",
        "acFormatIs", "Replaces AC 0 for true and AC 1 for false by bits 0 to 36 of the format; all other bits stay",
        "writeToChipFormat", "Writes both as one row of Hardware::OutAcBank, variant 1, into a buffer of 12 bytes. Bits of other fields stay");

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
