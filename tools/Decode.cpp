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

Json fieldsJson(DecodedRow const& row, bool nonzero) {
    Json fields = Json::array();
    for (FieldValue const& field : row.fields) {
        if (nonzero && field.isZero()) {
            continue;
        }
        fields.push_back({{"name", field.place.field->name},
                          {"hi", field.place.hi()},
                          {"lo", field.place.lo()},
                          {"value", field.isRaw() ? Json(field.text()) : Json(field.number())}});
    }
    return fields;
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
    Listing listing({"where", "chip", "table", "variant", "field", "hi", "lo", "value"});
    Json json = Json::array();
    U64 rows = 0;
    bool const many = !options.file.empty();
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
            Json unowned = Json::array();
            for (BitRange const& range : row.unowned) {
                unowned.push_back({{"hi", range.hi}, {"lo", range.lo}});
            }
            json.push_back(where.empty() ? Json::object() : Json{{"where", where}});
            json.back().update(Json{{"chip", U32{form.chip}},
                                    {"table", form.table->name},
                                    {"variant", form.variant},
                                    {"words", split(wordsText(line.words))},
                                    {"fields", fieldsJson(row, options.nonzero)},
                                    {"unowned", unowned}});
        } else {
            auto const add = [&](std::string_view name, U32 hi, U32 lo, Json value) {
                listing.add({where.empty() ? Json() : Json(where), U32{form.chip}, form.table->name,
                             form.variant, name, hi, lo, std::move(value)});
            };
            for (FieldValue const& field : row.fields) {
                if (!options.nonzero || !field.isZero()) {
                    add(field.place.field->name, field.place.hi(), field.place.lo(),
                        field.isRaw() ? Json(field.text()) : Json(field.number()));
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
    } else if (options.output.format == Format::json) {
        printJson(context.out, many ? json : json[0]);
    } else if (options.output.format != Format::text) {
        listing.print(context.out, options.output);
    }
}

} // namespace tool
