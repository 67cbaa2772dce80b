#pragma once

/// A row of a chip table as text: words in hexadecimal, and the fields that they hold. All of it is safe on
/// any input: what cannot be is a Refused (forms/Refused.h). Each call allocates its result. Any thread.
///
///     Kor::Forms::RowForm const form = Kor::Forms::rowForm("LifTable", Kor::Forms::chipNumber("8"), 1);
///     Kor::Forms::DecodedRow const row = Kor::Forms::decodeRow(form, Kor::Forms::parseWords(form, "0x64, 0x0 0x0 0x3"));

#include "forms/Text.h"
#include "platform/Hardware/ChipType.h"
#include "tables/TableInfos.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace Kor::Forms {

/// Which row it is: of which table, on which chip, in which variant.
struct KOR_EXPORT RowForm {
    Hardware::TableInfo const* table;
    Hardware::ChipType chip;
    U8 variant;

    std::vector<Hardware::FieldPlace> fields() const { return table->row(chip, variant); }
    Hardware::layout::GeometryRow const& geometry() const { return *table->geometry(chip, variant); }
};

/// The chips that have tables.
KOR_EXPORT std::vector<Hardware::ChipType> supportedChips();

/// The chip of that number or name; WrongUsage when it has no tables.
KOR_EXPORT Hardware::ChipType chipNumber(std::string_view text);

/// The table of that name, WrongUsage when there is none.
KOR_EXPORT Hardware::TableInfo const& tableNamed(std::string_view name);

/// The row of that table and chip. The variant may be left out where the chip has one alone. WrongUsage when
/// there is no such row.
KOR_EXPORT RowForm rowForm(std::string_view table, Hardware::ChipType chip, std::optional<U32> variant);

using Words = std::vector<U32>;

/// The words of a row, word 0 first: hexadecimal, with or without 0x, between blanks or commas. Refused when
/// it is anything else, or another number of words than the row has.
KOR_EXPORT Words parseWords(RowForm const& form, std::string_view text);

/// The same as text, as parseWords takes it.
KOR_EXPORT std::string wordsText(Words const& words);

struct KOR_EXPORT FieldValue {
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
struct KOR_EXPORT BitRange {
    U32 hi;
    U32 lo;
};

struct KOR_EXPORT DecodedRow {
    /// In row order.
    std::vector<FieldValue> fields;
    /// The set bits that no field owns, from the lowest.
    std::vector<BitRange> unowned;
};

/// Takes a row of `form.table->words` words apart.
KOR_EXPORT DecodedRow decodeRow(RowForm const& form, Words const& words);

/// Puts a row together from its fields, all other bits 0.
KOR_EXPORT Words composeRow(RowForm const& form, DecodedRow const& row);

/// One field that two rows hold differently.
struct KOR_EXPORT FieldDifference {
    FieldValue expected;
    FieldValue actual;
};

struct KOR_EXPORT RowDifference {
    /// In row order.
    std::vector<FieldDifference> fields;
    /// The bits that differ and that no field owns, from the lowest.
    std::vector<BitRange> holes;

    bool isNone() const { return fields.empty() && holes.empty(); }
};

/// Compares two rows of `form.table->words` words. Every bit that differs is told: by each field that
/// has it, or as a hole.
KOR_EXPORT RowDifference compareRows(RowForm const& form, Words const& expected, Words const& actual);

/// "name[hi:lo]".
KOR_EXPORT std::string placeText(Hardware::FieldPlace const& place);

/// "none", or "31, 95:80".
KOR_EXPORT std::string rangesText(std::vector<BitRange> const& ranges);

/// The SCHAN address of a row.
struct KOR_EXPORT Address {
    U32 address;
    U8 block;
    U8 aux;
};

/// Refused when one of the three numbers is out of the table's range there.
KOR_EXPORT Address addressOf(RowForm const& form, U64 entry, U64 arrayIndex, U64 identifier);

} // namespace Kor::Forms
