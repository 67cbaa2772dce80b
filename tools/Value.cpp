#include "console/Command.h"
#include "console/RowLine.h"
#include "forms/Entries.h"
#include "forms/Json.h"
#include "forms/Text.h"
#include "runtime/PlainText.h"
#include "tools/Commands.h"

#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

using Hardware::ChipType;

void printRows(Context& context, Kor::GenericIf const& box, std::vector<ChipType> const& chips,
               std::string const& prefix) {
    Entry const entry = entryOf(box);
    for (ChipType const chip : chips) {
        try {
            EncodedRow const row = encodeEntry(entry, chip);
            context.out << rowLine(row) << '\n';
        } catch (Broken const&) {
            throw;
        } catch (Refused const& refused) {
            context.report(prefix + refused.what());
        }
    }
}

struct ValueOptions {
    std::string type;
    std::vector<std::string> words;
    std::string file;
    /// `to` also row, with the chips.
    std::string from = "text", to = "text";
    std::vector<std::string> chips;
};

void value(Context& context, ValueOptions const& options) {
    if (options.words.empty() == options.file.empty()) {
        throw WrongUsage("value takes either a value or --file FILE");
    }
    if ((options.to == "row") == options.chips.empty()) {
        throw WrongUsage("--chip CHIP goes with --to row, and --to row with it");
    }
    Kor::KorType const& type = valueTypeNamed(options.type);
    Form const from = formNamed(options.from);
    std::vector<ChipType> const chips = chipNumbers(options.chips);
    auto const print = [&](std::string const& text, std::string const& where) {
        Box const box = read(from, type, text);
        if (options.to == "row") {
            printRows(context, *box, chips, where.empty() ? "" : where + ": ");
        } else {
            std::string const result = written(formNamed(options.to), box);
            if (Kor::plainText(result) != result && options.to != "json") {
                bool const isText = isUtf8(result);
                throw Refused(shortName(type) + " has " + (isText ? "characters" : "bytes") +
                              " that no line shows; --to " + (isText ? "json or wire does" : "wire does"));
            }
            context.out << result << '\n';
        }
    };
    if (options.file.empty()) {
        print(join(options.words), "");
    } else {
        eachLine(context, options.file, print, true);
    }
}

} // namespace

Command const valueCommand = Row<ValueOptions>{
    .name = "value",
    .does = "Check a value and turn it into text, JSON, wire bytes or a row",
    .takes =
        [](Takes& takes, ValueOptions& options) {
            takes
                .option(
                    "type", options.type, "TYPE",
                    "A value type or enumeration, as `loamtunnel schema` lists them, with or without its\n"
                    "namespaces; also one of the platform's")
                .required();
            takes.option("text", options.words, "TEXT", "The value; after -- where it begins with a minus");
            takes.option(
                "-f,--file", options.file, "FILE",
                "Read values from a file, one a line; a line that begins with # is a comment; - is the\n"
                "standard input");
            takes
                .option("--from", options.from, "FORM",
                        "What is read: short or text, which are one; json; or wire, bytes in hexadecimal "
                        "(default:\ntext)")
                .oneOf({"short", "text", "json", "wire"}, "no form");
            takes
                .option("--to", options.to, "FORM",
                        "What is printed: short, text, json, wire or row (default: text)")
                .oneOf({"short", "text", "json", "wire", "row"}, "no form");
            takes.chips(options.chips, "Chip models of the rows, with commas between several");
        },
    .run = value,
    .more =
        "Values are printed one a line. Text takes blanks, attributes in any order, and hexadecimal; JSON\n"
        "is an object by attributes, wire the bytes of an attribute log, a row what `loamtunnel decode\n"
        "--file` reads. The exit status is 1 when a value was refused.\n\n"
        "  loamtunnel value EvecFormat 0x12\n"
        "  loamtunnel value --from json --to text EvecKey '{\"fapMask\": \"0-3\", \"index\": {\"value\": "
        "4}}'\n"
        "  loamtunnel value --from wire --to row --chip 8 EvecValue 0000000000000012",
};

} // namespace tool
