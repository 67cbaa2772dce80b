/// `loamtunnel explain`: the way of a request from who asks for it down to its row, or where it ends.

#include "console/Command.h"
#include "forms/Text.h"
#include "tools/Audit.h"
#include "tools/Commands.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <sstream>

namespace tool {

namespace {

/// The members that tell when an application was told of its index, and what stands before the time.
constexpr std::array<std::pair<char const*, char const*>, 2> answeredAt{
    {{"answered", ""}, {"answeredBefore", "before the driver's start at "}}};

/// "2026-11-26 13:40:05" of the seconds since 1970, in this place's time.
std::string timeText(std::string const& seconds) {
    constexpr double year10000 = 253'402'300'800; // and what is no time at all stays as it is
    double const number = std::strtod(seconds.c_str(), nullptr);
    auto const time = number >= 0 && number < year10000 ? static_cast<std::time_t>(number) : -1;
    std::tm parts{};
    std::array<char, 32> text{};
    if (time < 0 || ::localtime_r(&time, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts) == 0) {
        return seconds;
    }
    return text.data();
}

/// The row of an answer, taken apart as it is in the chip; nothing where the answer has none.
std::optional<DecodedRow> rowIn(Json const& answer, Json const& application) {
    Json const* const row = application.find("row");
    if (row == nullptr) {
        return std::nullopt;
    }
    try {
        auto const variant = static_cast<U32>(numberAt(*row, "variant", 255));
        RowForm const form = rowForm(row->at("table").text, chipNumber(answer.at("chip").text), variant);
        return decodeRow(form, parseWords(form, row->at("actual").text));
    } catch (Refused const& refused) { // also of a table or chip that there is not
        throw Refused(std::string("the driver gives an odd answer to explain: ") + refused.what());
    }
}

void writeJson(std::ostream& out, Json const& answer) {
    JsonWriter json(out, true);
    json.beginObject();
    for (auto const& [name, member] : answer.members) {
        json.key(name);
        if (name != "applications") {
            json.value(member);
            continue;
        }
        json.beginArray();
        for (auto const& [none, application] : member.members) {
            json.beginObject();
            for (auto const& [what, value] : application.members) {
                json.key(what).value(value);
            }
            if (std::optional<DecodedRow> const row = rowIn(answer, application)) {
                writeFields(json, *row, true);
            }
            json.end();
        }
        json.end();
    }
    json.end();
    out << '\n';
}

std::string textAt(Json const& json, std::string_view name) {
    Json const* const member = json.find(name);
    if (member == nullptr) {
        return "";
    }
    bool const isScalar = member->members.empty() && !member->isObject() && !member->isArray();
    return Forms::shown(isScalar ? member->text : member->shown(), 1000);
}

void writeText(std::ostream& out, Json const& answer) {
    out << textAt(answer, "key") << '\n';
    for (auto const& [none, application] : answer.at("applications").members) {
        out << textAt(application, "app") << " asks: " << textAt(application, "count") << '\n';
        if (Json const* const peer = application.find("connection")) { // which not every driver tells
            out << "  connection: "
                << (peer->isObject()
                        ? textAt(*peer, "peer") + ", " + textAt(*peer, "marks") + " marks, " +
                              textAt(*peer, "fences") + " fences wait" +
                              (textAt(*peer, "pass") == "true" ? ", its requests still come" : "")
                        : "none")
                << '\n';
        }
        if (application.find("index") != nullptr) {
            out << "  index: " << textAt(application, "index") << '\n';
        }
        for (auto const& [member, words] : answeredAt) {
            if (application.find(member) != nullptr) {
                out << "  answered: " << words << timeText(textAt(application, member)) << '\n';
            }
        }
        if (Json const* const row = application.find("row")) {
            out << "  row: " << textAt(*row, "table");
            for (char const* const what : {"array", "entry", "half", "address"}) {
                if (row->find(what) != nullptr) {
                    out << ", " << what << ' ' << textAt(*row, what);
                }
            }
            out << '\n';
            out << "  words: " << textAt(*row, "actual") << '\n';
            std::string const fields = fieldsText(*rowIn(answer, application), true);
            for (std::string_view rest = fields; !rest.empty();) {
                std::size_t const end = rest.find('\n');
                out << "    " << rest.substr(0, end) << '\n';
                rest.remove_prefix(end + 1);
            }
        }
        if (application.find("missing") != nullptr) {
            out << "  missing: " << textAt(application, "missing") << '\n';
        }
    }
    if (answer.find("missing") != nullptr) {
        out << "missing: " << textAt(answer, "missing") << '\n';
    }
}

/// A row for each who asks, and one for what is missing above them all.
void writeColumns(std::ostream& out, Json const& answer, Output const& output) {
    Listing listing({"key", "app", "count", "peer", "marks", "fences", "index", "answered", "answeredBefore",
                     "table", "array", "entry", "half", "address", "words", "missing"});
    auto const add = [&](Json const& from) {
        std::vector<Cell> cells{textAt(answer, "key")};
        auto const addOf = [&](Json const* of, std::initializer_list<char const*> names) {
            for (char const* const name : names) {
                cells.push_back(of != nullptr && of->isObject() ? Cell::orNone(textAt(*of, name)) : Cell());
            }
        };
        addOf(&from, {"app", "count"});
        addOf(from.find("connection"), {"peer", "marks", "fences"});
        addOf(&from, {"index", "answered", "answeredBefore"});
        addOf(from.find("row"), {"table", "array", "entry", "half", "address", "actual"});
        addOf(&from, {"missing"});
        listing.add(cells);
    };
    for (auto const& [none, application] : answer.at("applications").members) {
        add(application);
    }
    if (answer.find("missing") != nullptr) {
        add(answer);
    }
    listing.print(out, output);
}

/// What is written takes for granted.
void requireExplained(Json const& answer) {
    auto const require = [](bool holds, Json const& json) {
        if (!holds) {
            throw Refused("the driver gives an odd answer to explain: " + json.shown());
        }
    };
    Json const* const applications = answer.find("applications");
    require(answer.isObject() && applications != nullptr && answer.find("chip") != nullptr, answer);
    require(applications->isArray(), *applications);
    for (auto const& [none, application] : applications->members) {
        require(application.isObject(), application);
        Json const* const row = application.find("row");
        require(row == nullptr || row->isObject(), application);
        for (auto const& [member, words] : answeredAt) {
            Json const* const answered = application.find(member);
            require(answered == nullptr || answered->kind == Json::Kind::number, application);
        }
    }
}

bool isWhole(Json const& answer) {
    bool whole = answer.find("missing") == nullptr;
    for (auto const& [none, application] : answer.at("applications").members) {
        whole = whole && application.find("missing") == nullptr;
    }
    return whole;
}

/// Where a request stands: its path, or what is asked for.
struct ExplainOptions {
    LiveOptions live;
    /// With blanks between them.
    std::vector<std::string> what;
    Output output;
};

void explain(Context& context, ExplainOptions const& options) {
    Connection connection(context, options.live, "explain");
    Json const answer = askDriver(connection.live(), "explain", join(options.what));
    requireExplained(answer);
    TextStream text; // all of it, or nothing
    switch (options.output.format) {
    case Format::text:
        writeText(text, answer);
        break;
    case Format::json:
        writeJson(text, answer);
        break;
    default:
        writeColumns(text, answer, options.output);
    }
    context.out << text.str();
    if (!isWhole(answer)) {
        context.status = notThereStatus;
    }
}

} // namespace

Command const explainCommand = Row<ExplainOptions>{
    .name = "explain",
    .does = "Say where a request to a driver stands, down to its row",
    .takes =
        [](Takes& takes, ExplainOptions& options) {
            takes
                .option("what", options.what, "KEY",
                        "What is asked for, such as 'AradLifAcMp vsi=100', or its path, such as\n"
                        "'lifConfig.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]'")
                .required()
                .expected(1, 1000);
            takes.live(options.live);
            takes.output(options.output, "; without it, each who asks as a paragraph");
        },
    .run = explain,
    .more = "The exit status is 4 where the way ends before the row.\n\n"
            "  loamtunnel explain 'EvecKey fapMask=0 index=4'",
    .isInShell = true,
};

} // namespace tool
