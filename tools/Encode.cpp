#include "console/Command.h"
#include "console/RowLine.h"
#include "console/Terminal.h"
#include "forms/Entries.h"
#include "tools/Commands.h"

#include <algorithm>
#include <bit>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

using Hardware::ChipType;

struct EncodeOptions {
    std::vector<std::string> words;
    std::string file;
    std::vector<std::string> chips;
    bool allChips = false;
    std::optional<U32> entry;
    U32 array = 0;
    U32 identifier = 0;
    bool rows = false;
    bool nonzero = false;
    Output output;
};

/// One row that is done, with all that a listing says of it.
struct Result {
    std::string where;
    std::string text;
    EncodedRow row;
    std::optional<U64> entry;
    std::optional<Address> address;
};

/// Prints results as they come.
class EncodePrinter {
public:
    EncodePrinter(Context& context, EncodeOptions const& options)
        : context_(context), options_(options), json_(context.out, true),
          rows_(context.out,
                {"where", "entry", "chip", "table", "variant", "words", "row", "array", "identifier",
                 "address", "block", "aux"},
                options.output) {
        if (isJson()) {
            json_.beginArray();
        }
    }

    void print(Result const& result) {
        if (options_.rows) {
            context_.out << rowLine(result.row) << '\n';
        } else if (options_.output.format == Format::text) {
            printText(result);
        } else if (isJson()) {
            printJson(result);
        } else {
            printRow(result);
        }
    }

    void finish() {
        if (isJson()) {
            json_.end();
            context_.out << '\n';
        } else if (!options_.rows && options_.output.format != Format::text) {
            rows_.end();
        }
    }

private:
    bool isJson() const { return options_.output.format == Format::json; }

    void printText(Result const& result) {
        RowForm const& form = result.row.form;
        std::ostream& out = context_.out;
        out << (first_ ? "" : "\n");
        first_ = false;
        if (options_.output.headings) {
            out << bold("chip " + std::to_string(form.chip) + ", " + std::string(form.table->name) +
                            " variant " + std::to_string(form.variant) + ": " + result.text,
                        options_.output.colour)
                << (result.where.empty() ? "" : "  (" + result.where + ')') << '\n';
        }
        out << "words: " << wordsText(result.row.words) << '\n';
        if (result.address) {
            out << "address: " << hex(result.address->address, 8) << " block "
                << hex(result.address->block, 2) << " aux " << hex(result.address->aux, 2) << " (entry "
                << *result.entry << ", array " << options_.array << ", identifier " << options_.identifier
                << ")\n";
        }
        out << fieldsText(decodeRow(form, result.row.words), options_.nonzero);
    }

    void printRow(Result const& result) {
        RowForm const& form = result.row.form;
        std::vector<Cell> cells{Cell::orNone(result.where), result.text,  U32{form.chip},
                                form.table->name,           form.variant, wordsText(result.row.words)};
        cells.resize(12);
        if (result.address) {
            cells[6] = *result.entry;
            cells[7] = options_.array;
            cells[8] = options_.identifier;
            cells[9] = hex(result.address->address, 8);
            cells[10] = hex(result.address->block, 2);
            cells[11] = hex(result.address->aux, 2);
        }
        rows_.add(cells);
    }

    void printJson(Result const& result) {
        json_.beginObject();
        if (!result.where.empty()) {
            json_.string("where", result.where);
        }
        json_.string("entry", result.text);
        writeRow(json_, result.row.form, result.row.words);
        if (result.address) {
            json_.number("row", *result.entry).number("array", options_.array);
            json_.number("identifier", options_.identifier)
                .string("address", hex(result.address->address, 8));
            json_.string("block", hex(result.address->block, 2)).string("aux", hex(result.address->aux, 2));
        }
        writeFields(json_, decodeRow(result.row.form, result.row.words), options_.nonzero);
        json_.end();
    }

    Context& context_;
    EncodeOptions const& options_;
    JsonWriter json_;
    RowPrinter rows_;
    bool first_ = true;
};

void requireGoodUse(EncodeOptions const& options) {
    if (options.words.empty() == options.file.empty()) {
        throw WrongUsage("encode takes either an entry, such as AradLifAcMp vsi=100, or --file FILE");
    }
    if (options.chips.empty() != options.allChips) {
        throw WrongUsage("encode takes either --chip CHIP or --all-chips");
    }
    if (!options.entry && (options.array != 0 || options.identifier != 0)) {
        throw WrongUsage("--array and --identifier say where a row is, which takes --entry N, too");
    }
    if (options.nonzero && (options.output.format == Format::table || options.output.format == Format::csv)) {
        throw WrongUsage("--nonzero leaves out fields, which --format table and csv do not list");
    }
    if (options.rows && (options.output.format != Format::text || options.nonzero || options.entry)) {
        throw WrongUsage("--rows prints the words alone; it goes with no --format, --nonzero or --entry");
    }
}

void encode(Context& context, EncodeOptions const& options) {
    requireGoodUse(options);
    std::vector<ChipType> const chips = options.allChips ? supportedChips() : chipNumbers(options.chips);
    EncodePrinter printer(context, options);
    // A row for each line, also for one that is refused, so that mending it moves no other.
    U64 next = options.entry.value_or(0);
    // By kind and field: the first loss in words, and how many there are.
    std::map<std::pair<std::string, std::string>, std::pair<std::string, U64>> told;
    Progress progress(context, Progress::unlessResults);
    auto const encodeOne = [&](std::string const& text, std::string const& where) {
        U64 const entryIndex = next++;
        progress.step([&] {
            return std::to_string(entryIndex - options.entry.value_or(0)) + " entries encoded; reads " +
                   where;
        });
        Entry const entry = parseEntry(text);
        std::string const oneLine = join(split(text));
        std::vector<std::pair<EncodedRow::Loss, std::vector<ChipType>>> losses;
        std::string const prefix = where.empty() ? "" : where + ": ";
        for (ChipType const chip : chips) {
            try {
                Result result{where, oneLine, encodeEntry(entry, chip), {}, {}};
                if (options.entry) {
                    result.entry = entryIndex;
                    result.address =
                        addressOf(result.row.form, entryIndex, options.array, options.identifier);
                }
                for (EncodedRow::Loss const& loss : result.row.losses) {
                    auto const at =
                        std::ranges::find(losses, loss, [](auto const& each) { return each.first; });
                    (at != losses.end() ? *at : losses.emplace_back(loss, std::vector<ChipType>()))
                        .second.push_back(chip);
                }
                printer.print(result);
            } catch (Broken const&) {
                throw;
            } catch (Refused const& refused) {
                context.report(prefix + refused.what());
            }
        }
        for (auto const& [loss, on] : losses) {
            auto& [first, count] = told[{entry.kind->name, loss.field}];
            if (count++ == 0) {
                first.append(prefix).append(lossText(*entry.kind, loss, on));
            }
        }
    };
    if (options.file.empty()) {
        encodeOne(join(options.words), "");
    } else {
        eachLine(context, options.file, encodeOne);
    }
    progress.end();
    printer.finish();
    for (auto const& [field, losses] : told) {
        U64 const more = losses.second - 1;
        context.note(losses.first +
                     (more == 0 ? "" : "; so it is with " + std::to_string(more) + " more entries"));
    }
}

struct KindsOptions {
    std::string kind;
    Output output;
};

void kinds(Context& context, KindsOptions const& options) {
    Listing listing({"kind", "table", "variant", "field", "bits", "most", "words"});
    for (Kind const& kind : allKinds()) {
        if (!options.kind.empty() && &kindNamed(options.kind) != &kind) {
            continue;
        }
        for (Field const& each : kind.fields()) {
            listing.add({kind.name, kind.table->name, kind.variant, each.name, std::bit_width(each.most),
                         Cell::wide(each.most), join(each.words())});
        }
    }
    listing.print(context.out, options.output);
}

} // namespace

Command const encodeCommand = Row<EncodeOptions>{
    .name = "encode",
    .does = "Turn entries into the rows of a chip",
    .takes =
        [](Takes& takes, EncodeOptions& options) {
            takes.option(
                "entry", options.words, "",
                "The entry: its kind, then field=value, such as AradLifAcMp vsi=100 vlanEditVid1=20; or a\n"
                "value in text form, as `loamtunnel value` prints it");
            takes.option("-f,--file", options.file, "FILE",
                         "Read entries from a file, one a line, # starts a comment; - is the standard input");
            takes.chips(options.chips,
                        "Chip models out of 3, 4, 5, 7, 8, 9 and 10, with commas between several");
            takes.flag("-a,--all-chips", options.allChips, "Encode for every chip");
            takes.number("-e,--entry", options.entry,
                         "Row number of the first entry, for the SCHAN address; the next lines take the rows "
                         "after it");
            takes.number("--array", options.array, "Array element of the rows (default: 0)");
            takes.number("--identifier", options.identifier,
                         "Which of the table's blocks, from 0 (default: 0)");
            takes.flag("--nonzero", options.nonzero, "Leave out fields that are 0");
            takes.flag("--rows", options.rows,
                       "Print each row on one line, as `loamtunnel decode --file` reads it");
            takes.output(options.output, "; without it, each row as a paragraph");
        },
    .run = encode,
    .more = "Fields are set in the order given and refused when too large. The exit status is 1 when an\n"
            "entry was refused; the others are encoded all the same.\n\n"
            "  loamtunnel encode --chip 8 AradLifAcMp vsi=100 vlanEditVid1=20\n"
            "  loamtunnel encode --chip 8 \"Value('Hardware::LoamTunnel::AradLifEntry', ** {'lifType': "
            "'lifAcMp',\n"
            "    'dword0': 100, 'dword1': 0})\"\n"
            "  loamtunnel encode --all-chips --entry 100 --file examples/lifs.txt",
};

Command const kindsCommand = Row<KindsOptions>{
    .name = "kinds",
    .does = "List the kinds of entries with the fields that they take",
    .takes =
        [](Takes& takes, KindsOptions& options) {
            takes.option("kind", options.kind, "", "One of them, such as AradLifAcMp (default: all)");
            takes.output(options.output, " (default: table)");
        },
    .run = kinds,
};

} // namespace tool
