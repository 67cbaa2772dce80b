#include "console/RowLine.h"

#include "console/Listing.h"
#include "forms/Json.h"

#include <algorithm>

namespace tool {

RowLine parseRowLine(std::string_view text, RowOptions options) {
    std::vector<std::string_view> hexWords;
    for (std::string_view const word : split(text)) {
        std::size_t const sign = word.find('=');
        std::string_view const key = word.substr(0, std::min(sign, word.size()));
        if (sign == word.npos) {
            hexWords.push_back(word);
        } else if (key == "chip") {
            options.chip = word.substr(sign + 1);
        } else if (key == "table") {
            options.table = word.substr(sign + 1);
        } else if (key == "variant") {
            std::optional<U64> const number = parseNumber(word.substr(sign + 1));
            if (!number || *number > 255) {
                throw Refused("'" + shown(word) + "' is no variant; one is a number of at most 255");
            }
            options.variant = static_cast<U32>(*number);
        } else {
            throw Refused("'" + shown(word) +
                          "' is not expected; a row is chip=8 table=LifTable variant=1 and its words");
        }
    }
    if (options.chip.empty()) {
        throw Refused("which chip? Put chip=8 before the words, or give --chip");
    }
    RowForm const form = options.form();
    return {form, parseWords(form, join(hexWords))};
}

void writeRow(JsonWriter& json, RowForm const& form, Words const& words) {
    json.number("chip", U32{form.chip}).string("table", form.table->name).number("variant", form.variant);
    json.key("words").beginArray();
    for (U32 const word : words) {
        json.string(hex(word, 8));
    }
    json.end();
}

Cell valueCell(FieldValue const& field) {
    constexpr U32 wide = 8;
    return field.isRaw()                          ? Cell(field.text())
           : field.place.field->typeBytes == wide ? Cell::wide(field.number())
                                                  : Cell(field.number());
}

void writeFields(JsonWriter& json, DecodedRow const& row, bool nonzero) {
    json.key("fields").beginArray();
    for (FieldValue const& field : row.fields) {
        if (!nonzero || !field.isZero()) {
            json.beginObject()
                .string("name", field.place.field->name)
                .number("hi", field.place.hi())
                .number("lo", field.place.lo());
            valueCell(field).write(json.key("value"));
            json.end();
        }
    }
    json.end();
}

std::string fieldsText(DecodedRow const& row, bool nonzero) {
    std::string text;
    for (FieldValue const& field : row.fields) {
        if (!nonzero || !field.isZero()) {
            text += placeText(field.place) + ": " + field.text() + '\n';
        }
    }
    return text;
}

std::vector<Hardware::ChipType> chipNumbers(std::vector<std::string> const& chips) {
    std::vector<Hardware::ChipType> numbers;
    numbers.reserve(chips.size());
    for (std::string const& chip : chips) {
        if (auto const number = chipNumber(chip); std::ranges::find(numbers, number) == numbers.end()) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

} // namespace tool
