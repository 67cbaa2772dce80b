#include "console/Command.h"
#include "tools/Commands.h"

#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

struct DecodeOptions {
    RowOptions row;
    std::vector<std::string> words;
    std::string file;
    bool check = false;
    bool nonzero = false;
    Output output;
};

void requireGoodUse(DecodeOptions const& options) {
    if (options.words.empty() == options.file.empty()) {
        throw WrongUsage("decode takes either the words of a row or --file FILE");
    }
    if (options.file.empty() && options.row.chip.empty()) {
        throw WrongUsage("decode needs --chip CHIP");
    }
    if (options.check && (options.output.format != Format::text || options.nonzero)) {
        throw WrongUsage("--check prints no fields; it goes with no --format and no --nonzero");
    }
}

void decode(Context& context, DecodeOptions const& options) {
    requireGoodUse(options);
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

} // namespace

Command const decodeCommand = Row<DecodeOptions>{
    .name = "decode",
    .does = "Take a row apart into its fields",
    .takes =
        [](Takes& takes, DecodeOptions& options) {
            takes.option(
                "words", options.words, "",
                "The row's 32-bit words in hexadecimal, word 0 first, 0x or not, between blanks or commas");
            takes.option(
                "-f,--file", options.file, "FILE",
                "Read rows from a file, one a line: chip=8 table=LifTable variant=1 and the words; what a\n"
                "line does not say is taken from the options; - is the standard input");
            takes.chip(options.row.chip);
            takes.row(options.row);
            takes.flag("--nonzero", options.nonzero, "Leave out fields that are 0");
            takes.flag("--check", options.check,
                       "Print no fields, but put each row together again from them and compare");
            takes.output(options.output, "; without it, a line a field, name[hi:lo]: value");
        },
    .run = decode,
    .more = "The last line names the set bits that no field owns.\n\n"
            "  loamtunnel decode --chip 8 --variant 1 0x00000064 0x00140000 0x00000000 0x00000003\n"
            "  loamtunnel encode -a -f examples/lifs.txt --rows | loamtunnel decode --file - --check",
};

} // namespace tool
