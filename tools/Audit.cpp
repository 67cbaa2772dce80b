/// `loamtunnel audit`: what should be in a chip against what is.

#include "tools/Audit.h"

#include "console/Command.h"
#include "demo/ChipImage.h"
#include "tools/Commands.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>
#include <ostream>
#include <utility>

namespace tool {

namespace {

/// More than any chip has.
constexpr U32 mostAnswers = 4'000;
/// How often a difference has to be seen: what is on its way is gone by then.
constexpr int looksUntilTold = 3;
constexpr std::chrono::milliseconds betweenLooks{100};

/// The members of an array; Refused where it is none.
auto const& membersAt(Json const& json, std::string_view name) {
    Json const& member = json.at(name);
    if (!member.isArray()) {
        throw Refused(std::string(name) + " is " + member.shown() + ", no array");
    }
    return member.members;
}

} // namespace

U64 numberAt(Json const& json, std::string_view name, U64 most) {
    Json const& member = json.at(name);
    std::optional<U64> const number =
        member.kind == Json::Kind::number ? parseNumber(member.text) : std::nullopt;
    if (!number || *number > most) {
        throw Refused(std::string(name) + " is " + member.shown() + ", no number up to " +
                      std::to_string(most));
    }
    return *number;
}

namespace {

ChipRow rowOf(Json const& json, Hardware::ChipType chip) {
    RowForm const form =
        rowForm(json.at("table").text, chip, static_cast<U32>(numberAt(json, "variant", 255)));
    ChipRow row{form, static_cast<U32>(numberAt(json, "array")), static_cast<U32>(numberAt(json, "entry")),
                {},   parseWords(form, json.at("wanted").text),  parseWords(form, json.at("actual").text)};
    addressOf(form, row.entry, row.array, 0); // Refused for a row that the table does not have
    for (auto const& [none, who] : membersAt(json, "who")) {
        row.who += (row.who.empty() ? "" : ", ") + Forms::shown(who.at("app").text) + ' ' +
                   std::to_string(numberAt(who, "index"));
    }
    return row;
}

std::string rowText(ChipRow const& row) {
    return std::string(row.form.table->name) + ", array " + std::to_string(row.array) + ", entry " +
           std::to_string(row.entry);
}

/// The bits of a run as a number in hexadecimal.
std::string bitsText(Words const& words, BitRange const& range) {
    std::string digits;
    U32 digit = 0;
    for (U32 bit = range.lo; bit <= range.hi; ++bit) {
        U32 const at = bit - range.lo;
        digit |= (words[bit / 32] >> bit % 32 & 1) << at % 4;
        if (at % 4 == 3 || bit == range.hi) {
            digits.insert(digits.begin(), "0123456789abcdef"[digit]);
            digit = 0;
        }
    }
    return "0x" + digits;
}

} // namespace

ChipRows chipRows(std::function<Json(std::string const& next)> const& ask) {
    ChipRows all{};
    std::string next;
    for (U32 answers = 0; answers < mostAnswers; ++answers) {
        Json const answer = ask(next);
        try {
            Hardware::ChipType const chip = chipNumber(answer.at("chip").text);
            if (answers != 0 && chip != all.chip) {
                throw Refused("chip " + std::to_string(chip) + " after chip " + std::to_string(all.chip));
            }
            all.chip = chip;
            all.waiting = std::max(all.waiting, numberAt(answer, "waiting"));
            all.refused = answer.find("refused") != nullptr ? numberAt(answer, "refused") : 0;
            for (auto const& [none, json] : membersAt(answer, "rows")) {
                ChipRow row = rowOf(json, all.chip);
                ChipRows::ByPlace::key_type key(row.form.table->name, row.array, row.entry);
                std::string const place = rowText(row);
                if (!all.rows.try_emplace(std::move(key), std::move(row)).second) {
                    throw Refused(place + " is told twice");
                }
            }
        } catch (Refused const& refused) { // also of a table or chip that there is not
            throw Refused(std::string("the driver gives an odd answer to rows: ") + refused.what());
        }
        Json const* const more = answer.find("next");
        if (more == nullptr) {
            return all;
        }
        next = more->text;
    }
    throw Refused("the driver's answers to rows have no end");
}

Json askDriver(Live& live, std::string_view verb, std::string_view argument) {
    try {
        return live.ask(verb, argument);
    } catch (NoConnection const&) {
        throw;
    } catch (TimedOut const&) {
        throw;
    } catch (Refused const& refused) {
        if (std::string_view(refused.what()).starts_with("there is no request")) {
            throw Refused("the process answers no " + std::string(verb) +
                          ": it is no driver, or an older one");
        }
        throw;
    }
}

namespace {

/// Whether smaller fields within this one, as those of one of two entries in a row, have each of its bits
/// that differ.
bool isToldByOthers(FieldDifference const& field, RowDifference const& difference, ChipRow const& row) {
    Hardware::FieldPlace const& whole = field.expected.place;
    for (U32 bit = whole.lo(); bit <= whole.hi(); ++bit) {
        if (((row.wanted[bit / 32] ^ row.actual[bit / 32]) >> bit % 32 & 1) == 0) {
            continue;
        }
        bool const isTold = std::ranges::any_of(difference.fields, [&](FieldDifference const& other) {
            Hardware::FieldPlace const& part = other.expected.place;
            return part.lo() <= bit && bit <= part.hi() && whole.lo() <= part.lo() &&
                   part.hi() <= whole.hi() && part.at.width < whole.at.width;
        });
        if (!isTold) {
            return false;
        }
    }
    return true;
}

} // namespace

std::vector<Finding> findingsIn(ChipRow const& row) {
    std::vector<Finding> findings;
    if (!row.differs()) {
        return findings;
    }
    if (row.who.empty()) {
        findings.push_back({"row", "", wordsText(row.actual)});
        return findings;
    }
    RowDifference const difference = compareRows(row.form, row.wanted, row.actual);
    for (FieldDifference const& field : difference.fields) {
        if (isToldByOthers(field, difference, row)) {
            continue;
        }
        findings.push_back({placeText(field.expected.place), field.expected.text(), field.actual.text()});
    }
    for (BitRange const& hole : difference.holes) {
        findings.push_back({"hole[" + std::to_string(hole.hi) + ':' + std::to_string(hole.lo) + ']',
                            bitsText(row.wanted, hole), bitsText(row.actual, hole)});
    }
    return findings;
}

namespace {

/// Puts what an image has in the place of what the driver says is there.
void readImage(ChipRows& rows, std::string const& path) {
    ChipImage const image(path, rows.chip, ChipImage::readOnly);
    for (std::size_t i = 0; i < chipTables; ++i) {
        auto const table = static_cast<ChipTable>(i);
        RowForm const form = chipTableForm(table, rows.chip);
        std::string const name(form.table->name);
        U32 const entries = image.entries(table);
        for (auto& [key, row] : rows.rows) {
            if (std::get<0>(key) == name) {
                row.actual = image.read(table, row.array * entries + row.entry);
            }
        }
        for (auto at = image.nextUsed(table, 0, image.rows(table)); at;
             at = image.nextUsed(table, *at + 1, image.rows(table))) {
            rows.rows.try_emplace({name, *at / entries, *at % entries},
                                  ChipRow{form, *at / entries, *at % entries, "", Words(form.table->words),
                                          image.read(table, *at)});
        }
    }
}

ChipRows look(Live& live, std::string const& image) {
    ChipRows rows = chipRows([&](std::string const& next) { return askDriver(live, "rows", next); });
    if (!image.empty()) {
        readImage(rows, image);
    }
    return rows;
}

/// The rows that differ in the same way each time they are looked at.
ChipRows lasting(Live& live, std::string const& image) {
    ChipRows all = look(live, image);
    ChipRows::ByPlace differing;
    std::ranges::copy_if(all.rows, std::inserter(differing, differing.end()),
                         [](auto const& each) { return each.second.differs(); });
    for (int i = 1; i < looksUntilTold && !differing.empty(); ++i) {
        live.runFor(betweenLooks);
        ChipRows const again = look(live, image);
        std::erase_if(differing, [&](auto const& each) {
            auto const found = again.rows.find(each.first);
            return found == again.rows.end() || !found->second.isSameAs(each.second);
        });
        all.waiting = again.waiting;
        all.refused = again.refused;
    }
    std::erase_if(all.rows,
                  [&](auto const& each) { return each.second.differs() && !differing.contains(each.first); });
    return all;
}

/// Compares what should be in a chip with what is.
struct AuditOptions {
    LiveOptions live;
    /// What is there is read from this file; where empty, the driver says it.
    std::string image;
    /// 0 for once.
    std::chrono::seconds every{0};
    /// How often; 0 for no end.
    U32 rounds = 0;
    Output output;
};

/// One comparison; whether nothing differs.
bool auditOnce(Context& context, AuditOptions const& options, RowPrinter& printer) {
    Connection connection(context, options.live, "audit");
    ChipRows const rows = lasting(connection.live(), options.image);
    U64 differing = 0;
    for (auto const& [key, row] : rows.rows) {
        for (Finding const& each : findingsIn(row)) {
            std::string const address = hex(addressOf(row.form, row.entry, row.array, 0).address, 8);
            printer.add({row.form.table->name, row.array, row.entry, address,
                         row.who.empty() ? Cell("nobody") : Cell(row.who), each.what,
                         Cell::orNone(each.wanted), each.actual});
        }
        differing += row.differs() ? 1u : 0u;
    }
    std::string said =
        std::to_string(rows.rows.size()) + (rows.rows.size() == 1 ? " row" : " rows") + " of chip " +
        std::to_string(rows.chip) + ", " +
        (differing == 0 ? "none differs"
                        : std::to_string(differing) + (differing == 1 ? " differs" : " differ"));
    if (rows.waiting != 0) {
        said += "; " + std::to_string(rows.waiting) + " changes wait to be written";
    }
    if (rows.refused != 0) {
        said += "; " + std::to_string(rows.refused) + " requests are refused and have no row";
    }
    context.note(said);
    return differing == 0;
}

void audit(Context& context, AuditOptions const& options) {
    bool const isRepeated = options.every.count() != 0;
    RowPrinter printer(context.out, {"table", "array", "row", "address", "who", "field", "wanted", "actual"},
                       options.output, isRepeated ? RowPrinter::Rows::lines : RowPrinter::Rows::array);
    if (!isRepeated) {
        bool const isSame = auditOnce(context, options, printer);
        bool const isTable = options.output.format == Format::text || options.output.format == Format::table;
        if (!isSame || !isTable) { // a heading alone says nothing
            printer.end();
        }
        context.status = isSame ? doneStatus : differsStatus;
        return;
    }
    Kor::Link::Loop loop;
    bool isOver = false;
    endingSignalsAre(loop, [&](int) { isOver = true; });
    int status = doneStatus;
    std::optional<int> failure; // of the last look, where none before has succeeded
    bool hasLooked = false;
    for (U32 round = 1; !isOver; ++round) {
        try {
            bool const isSame = auditOnce(context, options, printer);
            hasLooked = true;
            if (!isSame) {
                status = differsStatus;
                context.out.flush();
            }
        } catch (Broken const&) {
            throw;
        } catch (Interrupted const&) {
            isOver = true;
            break;
        } catch (Refused const& refused) { // a driver that has gone may come back
            context.note(std::string("not looked at: ") + refused.what());
            failure = statusOf(refused);
        }
        if (options.rounds != 0 && round >= options.rounds) {
            break;
        }
        loop.runUntil([&] { return isOver; }, options.every);
    }
    if (status != doneStatus) {
        printer.end();
    }
    context.status = hasLooked || isOver ? status : failure.value_or(status);
}

} // namespace

Command const auditCommand = Row<AuditOptions>{
    .name = "audit",
    .does = "Compare the rows that should be in a chip with those that are",
    .takes =
        [](Takes& takes, AuditOptions& options) {
            takes.option("--image", options.image, "FILE",
                         "Read what is there from this chip image (default: what the driver reads)");
            Option const every = takes.positive(
                "--every", options.every, "Look again every so many seconds, also when the driver was away");
            takes.positive("--rounds", options.rounds, "End after so many looks (default: with SIGINT)")
                .needs(every);
            takes.live(options.live);
            takes.output(options.output, " (default: table); with --every, JSON has an object a line");
        },
    .run = audit,
    .more = "A difference is told when three looks have found it. The exit status is 3 when there is one.",
    .isInShell = true,
    .runsUntilTold = [](Context const&, AuditOptions const& options) { return options.every.count() != 0; },
};

} // namespace tool
