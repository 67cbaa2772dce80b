#include "forms/Entries.h"
#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Terminal.h"

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
        : cononeLine(context), options_(options), json_(context.out, true),
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
            cononeLine.out << rowLine(result.row) << '\n';
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
            cononeLine.out << '\n';
        } else if (!options_.rows && options_.output.format != Format::text) {
            rows_.end();
        }
    }

private:
    bool isJson() const { return options_.output.format == Format::json; }

    void printText(Result const& result) {
        RowForm const& form = result.row.form;
        std::ostream& out = cononeLine.out;
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
                << *result.entry << ", array " << options_.place.array << ", identifier "
                << options_.place.identifier << ")\n";
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
            cells[7] = options_.place.array;
            cells[8] = options_.place.identifier;
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
            json_.number("row", *result.entry).number("array", options_.place.array);
            json_.number("identifier", options_.place.identifier)
                .string("address", hex(result.address->address, 8));
            json_.string("block", hex(result.address->block, 2)).string("aux", hex(result.address->aux, 2));
        }
        writeFields(json_, decodeRow(result.row.form, result.row.words), options_.nonzero);
        json_.end();
    }

    Context& cononeLine;
    EncodeOptions const& options_;
    JsonWriter json_;
    RowPrinter rows_;
    bool first_ = true;
};

std::vector<ChipType> chipsOf(EncodeOptions const& options) {
    if (options.allChips) {
        return supportedChips();
    }
    std::vector<ChipType> chips;
    for (std::string const& chip : options.chips) {
        chips.push_back(chipNumber(chip));
    }
    return chips;
}

} // namespace

void encode(Context& context, EncodeOptions const& options) {
    std::vector<ChipType> const chips = chipsOf(options);
    EncodePrinter printer(context, options);
    // A row for each line, also for one that is refused, so that mending it moves no other.
    U64 next = options.place.entry.value_or(0);
    // By kind and field: the first loss in words, and how many there are.
    std::map<std::pair<std::string, std::string>, std::pair<std::string, U64>> told;
    Progress progress(context, Progress::unlessResults);
    auto const encodeOne = [&](std::string const& text, std::string const& where) {
        U64 const entryIndex = next++;
        progress.step([&] {
            return std::to_string(entryIndex - options.place.entry.value_or(0)) + " entries encoded; reads " +
                   where;
        });
        Entry const entry = parseEntry(text);
        std::string const oneLine = join(split(text));
        std::vector<std::pair<EncodedRow::Loss, std::vector<ChipType>>> losses;
        std::string const prefix = where.empty() ? "" : where + ": ";
        for (ChipType const chip : chips) {
            try {
                Result result{where, oneLine, encodeEntry(entry, chip), {}, {}};
                if (options.place.entry) {
                    result.entry = entryIndex;
                    result.address =
                        addressOf(result.row.form, entryIndex, options.place.array, options.place.identifier);
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

void kinds(Context& context, KindsOptions const& options) {
    Listing listing({"kind", "table", "variant", "field", "bits", "most", "words"});
    for (Kind const& kind : allKinds()) {
        if (!options.kind.empty() && &kindNamed(options.kind) != &kind) {
            continue;
        }
        for (Field const& each : kind.fields()) {
            listing.add({kind.name, kind.table->name, kind.variant, each.name, std::bit_width(each.most),
                         each.most > 0xffffffff ? Cell::wide(each.most) : Cell(each.most),
                         join(each.words())});
        }
    }
    listing.print(context.out, options.output);
}

} // namespace tool
