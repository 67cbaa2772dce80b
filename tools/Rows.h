#pragma once

/// A row of a chip table as text: words in hexadecimal, and the fields that they hold. All of it is safe on
/// any input: what cannot be is refused with a Failure.
///
///     tool::RowForm const form = tool::rowForm("LifTable", tool::chipNumber("8"), 1);
///     tool::DecodedRow const row = tool::decodeRow(form, tool::parseWords(form, "0x64, 0x0 0x0 0x3"));

#include "platform/Hardware/ChipType.h"
#include "tables/TableInfos.h"
#include "tools/Text.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Which row it is: of which table, on which chip, in which variant.
struct RowForm {
    Hardware::TableInfo const* table;
    Hardware::ChipType chip;
    U8 variant;

    std::vector<Hardware::FieldPlace> fields() const { return table->row(chip, variant); }
    Hardware::layout::GeometryRow const& geometry() const { return *table->geometry(chip, variant); }
};

/// The chips that have tables.
std::vector<Hardware::ChipType> supportedChips();

/// The chip of that number or name; WrongUsage when it has no tables.
Hardware::ChipType chipNumber(std::string_view text);

/// The table of that name, WrongUsage when there is none.
Hardware::TableInfo const& tableNamed(std::string_view name);

/// The row of that table and chip. The variant may be left out where the chip has one alone. WrongUsage when
/// there is no such row.
RowForm rowForm(std::string_view table, Hardware::ChipType chip, std::optional<U32> variant);

using Words = std::vector<U32>;

/// The words of a row, word 0 first: hexadecimal, with or without 0x, between blanks or commas. Refused when
/// it is anything else, or another number of words than the row has.
Words parseWords(RowForm const& form, std::string_view text);

/// The same as text, as parseWords takes it.
std::string wordsText(Words const& words);

struct FieldValue {
    Hardware::FieldPlace place;
    /// Least significant byte first.
    std::array<U8, 32> bytes;

    bool isRaw() const { return place.field->typeBytes > 8; }
    /// Its low 64 bits.
    U64 number() const;
    bool isZero() const;
    /// Decimal; a block wider than 64 bits in hexadecimal.
    std::string text() const;
};

/// A run of set bits.
struct BitRange {
    U32 hi;
    U32 lo;
};

struct DecodedRow {
    /// In row order.
    std::vector<FieldValue> fields;
    /// The set bits that no field owns, from the lowest.
    std::vector<BitRange> unowned;
};

/// Takes a row of `form.table->words` words apart.
DecodedRow decodeRow(RowForm const& form, Words const& words);

/// Puts a row together from its fields, all other bits 0.
Words composeRow(RowForm const& form, DecodedRow const& row);

/// "name[hi:lo]".
std::string placeText(Hardware::FieldPlace const& place);

/// "none", or "31, 95:80".
std::string rangesText(std::vector<BitRange> const& ranges);

/// The SCHAN address of a row.
struct Address {
    U32 address;
    U8 block;
    U8 aux;
};

/// Refused when one of the three numbers is out of the table's range there.
Address addressOf(RowForm const& form, U64 entry, U64 arrayIndex, U64 identifier);

} // namespace tool
