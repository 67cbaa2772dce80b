#include "tools/Commands.h"
#include "tools/Failure.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

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

void decode(Context& context, DecodeOptions const& options) {
    RowPrinter listing(context.out, {"where", "chip", "table", "variant", "field", "hi", "lo", "value"},
                       options.output);
    JsonWriter json(context.out, true);
    U64 rows = 0;
    bool const many = !options.file.empty();
    bool const isJson = options.output.format == Format::json && !options.check;
    if (isJson && many) {
        json.beginArray();
    }
    auto const decodeOne = [&](RowLine const& line, std::string const& where) {
        RowForm const& form = line.form;
        DecodedRow const row = decodeRow(form, line.words);
        ++rows;
        if (options.check) {
            if (!row.unowned.empty()) {
                throw Refused("bits that no field owns are set: " + rangesText(row.unowned));
            }
            if (composeRow(form, row) != line.words) {
                throw Refused("the fields do not give the row again");
            }
        } else if (options.output.format == Format::text) {
            if (many && options.output.headings) {
                context.out << (rows > 1 ? "\n" : "")
                            << bold("chip " + std::to_string(form.chip) + ", " +
                                        std::string(form.table->name) + " variant " +
                                        std::to_string(form.variant),
                                    options.output.colour)
                            << '\n';
            }
            context.out << fieldsText(row, options.nonzero) << "unowned bits: " << rangesText(row.unowned)
                        << '\n';
        } else if (options.output.format == Format::json) {
            json.beginObject();
            if (!where.empty()) {
                json.string("where", where);
            }
            writeRow(json, form, line.words);
            writeFields(json, row, options.nonzero);
            json.key("unowned").beginArray();
            for (BitRange const& range : row.unowned) {
                json.beginObject().number("hi", range.hi).number("lo", range.lo).end();
            }
            json.end().end();
        } else {
            auto const add = [&](std::string_view name, U32 hi, U32 lo, Cell value) {
                listing.add({Cell::orNone(where), U32{form.chip}, form.table->name, form.variant, name, hi,
                             lo, std::move(value)});
            };
            for (FieldValue const& field : row.fields) {
                if (!options.nonzero || !field.isZero()) {
                    add(field.place.field->name, field.place.hi(), field.place.lo(), valueCell(field));
                }
            }
            for (BitRange const& range : row.unowned) {
                add("", range.hi, range.lo, "set");
            }
        }
    };
    if (many) {
        eachLine(context, options.file, [&](std::string const& text, std::string const& where) {
            decodeOne(parseRowLine(text, options.row), where);
        });
    } else {
        RowForm const form = options.row.form();
        decodeOne({form, parseWords(form, join(options.words))}, "");
    }
    if (options.check) {
        if (context.status == 0) {
            context.out << rows << (rows == 1 ? " row" : " rows")
                        << ": every set bit belongs to a field, and the fields give the row again\n";
        }
    } else if (isJson) {
        many ? json.end() : json;
        context.out << '\n';
    } else if (options.output.format != Format::text) {
        listing.end();
    }
}

} // namespace tool
