#include "forms/Entries.h"
#include "tools/Commands.h"
#include "tools/Failure.h"

#include <bit>
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

/// Prints results as they come, or collects them where the form wants them all.
class EncodePrinter {
public:
    EncodePrinter(Context& context, EncodeOptions const& options)
        : context_(context), options_(options),
          listing_({"where", "entry", "chip", "table", "variant", "words", "row", "array", "identifier",
                    "address", "block", "aux"}) {}

    void print(Result const& result) {
        RowForm const& form = result.row.form;
        if (options_.rows) {
            context_.out << rowLine(result.row) << '\n';
        } else if (options_.output.format == Format::text) {
            printText(result);
        } else if (options_.output.format == Format::json) {
            json_.push_back(toJson(result));
        } else {
            std::vector<Json> cells{result.where.empty() ? Json() : Json(result.where),
                                    result.text,
                                    U32{form.chip},
                                    form.table->name,
                                    form.variant,
                                    wordsText(result.row.words)};
            cells.resize(12);
            if (result.address) {
                cells[6] = *result.entry;
                cells[7] = options_.place.array;
                cells[8] = options_.place.identifier;
                cells[9] = hex(result.address->address, 8);
                cells[10] = hex(result.address->block, 2);
                cells[11] = hex(result.address->aux, 2);
            }
            listing_.add(std::move(cells));
        }
    }

    void finish() {
        if (options_.rows || options_.output.format == Format::text) {
            return;
        }
        if (options_.output.format == Format::json) {
            printJson(context_.out, json_);
        } else {
            listing_.print(context_.out, options_.output);
        }
    }

private:
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
                << *result.entry << ", array " << options_.place.array << ", identifier "
                << options_.place.identifier << ")\n";
        }
        out << fieldsText(decodeRow(form, result.row.words), options_.nonzero);
    }

    Json toJson(Result const& result) const {
        RowForm const& form = result.row.form;
        Json json;
        if (!result.where.empty()) {
            json["where"] = result.where;
        }
        json["entry"] = result.text;
        json["chip"] = U32{form.chip};
        json["table"] = form.table->name;
        json["variant"] = form.variant;
        json["words"] = split(wordsText(result.row.words));
        if (result.address) {
            json["row"] = *result.entry;
            json["array"] = options_.place.array;
            json["identifier"] = options_.place.identifier;
            json["address"] = hex(result.address->address, 8);
            json["block"] = hex(result.address->block, 2);
            json["aux"] = hex(result.address->aux, 2);
        }
        json["fields"] = fieldsJson(decodeRow(form, result.row.words), options_.nonzero);
        return json;
    }

    Context& context_;
    EncodeOptions const& options_;
    Listing listing_;
    Json json_ = Json::array();
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

std::string rowLine(EncodedRow const& row) {
    return "chip=" + std::to_string(row.form.chip) + " table=" + std::string(row.form.table->name) +
           " variant=" + std::to_string(row.form.variant) + ' ' + wordsText(row.words);
}

void encode(Context& context, EncodeOptions const& options) {
    std::vector<ChipType> const chips = chipsOf(options);
    EncodePrinter printer(context, options);
    // A row for each line, also for one that is refused, so that mending it moves no other.
    U64 next = options.place.entry.value_or(0);
    auto const encodeOne = [&](std::string const& text, std::string const& where) {
        U64 const entryIndex = next++;
        Entry const entry = parseEntry(text);
        std::string const words = join(split(text));
        for (ChipType const chip : chips) {
            std::string const prefix = where.empty() ? "" : where + ": ";
            try {
                Result result{where, words, encodeEntry(entry, chip), {}, {}};
                if (options.place.entry) {
                    result.entry = entryIndex;
                    result.address =
                        addressOf(result.row.form, entryIndex, options.place.array, options.place.identifier);
                }
                for (std::string const& note : result.row.notes) {
                    context.note(prefix + note);
                }
                printer.print(result);
            } catch (Refused const& refused) {
                context.report(prefix + refused.what());
            }
        }
    };
    if (options.file.empty()) {
        encodeOne(join(options.words), "");
    } else {
        eachLine(context, options.file, encodeOne);
    }
    printer.finish();
}

void kinds(Context& context, KindsOptions const& options) {
    Listing listing({"kind", "table", "variant", "field", "bits", "most", "words"});
    for (Kind const& kind : allKinds()) {
        if (!options.kind.empty() && &kindNamed(options.kind) != &kind) {
            continue;
        }
        for (AttributeInfo const& each : kind.attributes) {
            std::vector<std::string_view> words;
            for (Kor::Enumerator const& word : each.words) {
                words.push_back(word.name);
            }
            listing.add({kind.name, kind.table->name, kind.variant, each.name, std::bit_width(each.most),
                         each.most, join(words)});
        }
    }
    listing.print(context.out, options.output);
}

} // namespace tool
