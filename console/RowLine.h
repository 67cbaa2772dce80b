#pragma once

/// Rows as encode and decode have them on the command line and in files.

#include "console/Listing.h"
#include "forms/Rows.h"
#include "forms/Text.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// Options that name a row; what is not given is empty.
struct RowOptions {
    std::optional<std::string> table;
    std::string chip;
    std::optional<U32> variant;

    std::string tableName() const { return table.value_or("LifTable"); }
    RowForm form() const { return rowForm(tableName(), chipNumber(chip), variant); }
};

struct RowLine {
    RowForm form;
    Words words;
};

/// Reads a line that `decode --file` takes: `chip=8 table=LifTable variant=1`, as far as the options do not
/// say it, and the words of the row. A Refused on anything else; safe on any text.
RowLine parseRowLine(std::string_view text, RowOptions options);

/// The numbers of the chips that are named.
std::vector<Hardware::ChipType> chipNumbers(std::vector<std::string> const& chips);

/// The number of a field, or its words where it is too wide for one.
Cell valueCell(FieldValue const& field);

// What encode and decode tell of a row alike, within an object of JSON and as lines.
void writeRow(JsonWriter& json, RowForm const& form, Words const& words);
void writeFields(JsonWriter& json, DecodedRow const& row, bool nonzero);
std::string fieldsText(DecodedRow const& row, bool nonzero);

} // namespace tool
