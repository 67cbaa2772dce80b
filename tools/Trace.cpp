/// `loamtunnel trace`: the levels of a process, its last records, and records in files.

#include "runtime/Trace.h"

#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "console/Streams.h"
#include "tools/Commands.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

/// Which trace records are shown; what is empty takes all.
struct TraceFilter {
    /// Patterns of the shell.
    std::string facility{}, unit{}, function{};
    std::vector<U64> levels{};
    /// Part of the text.
    std::string text{};
};
struct TraceOptions {
    LiveOptions live;
    TraceFilter filter;
    /// What to set at the facility.
    std::string words;
    bool records = false;
    bool follow = false;
    /// Records are read from there, and no process is asked.
    std::string file;
    /// 0 for no end.
    unsigned seconds = 0;
    Output output;
};

/// Refused where it is no number.
U64 numberAt(Json const& json, std::string_view name) {
    Json const& member = json.at(name);
    std::optional<U64> const number = parseNumber(member.text);
    if (!number) {
        throw Refused(std::string(name) + " is " + member.shown() + ", no number");
    }
    return *number;
}

struct Record {
    double time = 0; // 0 where it is not known
    std::string facility;
    U64 level = 0;
    std::string unit;
    U64 line = 0;
    std::string function, context, text;

    static Record of(Json const& json) {
        auto const text = [&](std::string_view name) { return json.at(name).text; };
        return {std::strtod(text("time").c_str(), nullptr),
                text("facility"),
                numberAt(json, "level"),
                text("unit"),
                numberAt(json, "line"),
                text("function"),
                text("context"),
                text("text")};
    }
    /// A line of the default sink, `FACILITY:LEVEL UNIT:LINE FUNCTION CONTEXT TEXT`; nothing for any other
    /// one.
    static std::optional<Record> of(std::string_view line) {
        auto const word = [&line] {
            std::string_view const first = line.substr(0, line.find(' '));
            line.remove_prefix(std::min(first.size() + 1, line.size()));
            return first;
        };
        auto const numbered = [](std::string_view both, std::string& name, U64& number) {
            auto const colon = both.rfind(':');
            auto const found = colon == both.npos ? std::nullopt : parseNumber(both.substr(colon + 1));
            name = both.substr(0, std::min(colon, both.size()));
            number = found.value_or(0);
            return found.has_value() && !name.empty();
        };
        Record record;
        if (!numbered(word(), record.facility, record.level) || record.level >= Kor::TraceFacility::levels ||
            !numbered(word(), record.unit, record.line)) {
            return std::nullopt;
        }
        record.function = word();
        record.context = word();
        record.text = line;
        return record.function.empty() ? std::nullopt : std::optional(std::move(record));
    }
};

bool takes(TraceFilter const& filter, Record const& record) {
    return fits(filter.facility, record.facility) &&
           (filter.levels.empty() || std::ranges::find(filter.levels, record.level) != filter.levels.end()) &&
           fits(filter.unit, record.unit) && fits(filter.function, record.function) &&
           record.text.find(filter.text) != record.text.npos;
}

/// In seconds, with microseconds.
std::string timeText(double time) {
    char text[48];
    std::snprintf(text, sizeof text, "%.6f", time);
    return text;
}

std::string clock(double time) {
    if (time == 0) {
        return "";
    }
    long long const micros = std::llround(time * 1e6);
    auto const seconds = static_cast<std::time_t>(micros / 1'000'000);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%06lld", parts.tm_hour, parts.tm_min, parts.tm_sec,
                  micros % 1'000'000);
    return text;
}

/// Prints records as they come. JSON is one object a line, since there may be no last one.
class RecordLines {
public:
    RecordLines(std::ostream& out, Output const& output)
        : out_(out), isText_(output.format == Format::text),
          rows_(out, columns(), output, RowPrinter::Rows::lines) {}

    void add(Record const& record) {
        if (isText_) {
            std::string const time = clock(record.time);
            out_ << time << (time.empty() ? "" : " ") << Kor::plainText(record.facility) << ':'
                 << record.level << ' ' << Kor::plainText(record.unit) << ':' << record.line << ' '
                 << Kor::plainText(record.function) << ' ' << Kor::plainText(record.context) << ' '
                 << Kor::plainText(record.text) << '\n'; // no line ends early
            return;
        }
        rows_.add({record.time == 0 ? Cell() : Cell::raw(timeText(record.time)), record.facility,
                   record.level, record.unit, record.line, record.function, record.context, record.text});
    }
    void end() {
        if (!isText_) {
            rows_.end();
        }
    }

private:
    static std::vector<std::string> const& columns() {
        static std::vector<std::string> const all{"time", "facility", "level",   "unit",
                                                  "line", "function", "context", "text"};
        return all;
    }

    std::ostream& out_;
    bool isText_;
    RowPrinter rows_;
};

void recordsOfFile(Context& context, TraceOptions const& options) {
    RecordLines lines(context.out, options.output);
    U64 others = 0;
    withInput(context, options.file, [&](std::istream& in, std::string const&) {
        bool isFirst = true;
        for (std::string line; nextLine(in, line, isFirst); isFirst = false) {
            if (auto const record = Record::of(std::string_view(line)); !record) {
                ++others;
            } else if (takes(options.filter, *record)) {
                lines.add(*record);
            }
        }
    });
    lines.end();
    if (others != 0) {
        context.note(std::to_string(others) +
                     (others == 1 ? " line is no trace record" : " lines are no trace records"));
    }
}

void recordsOfProcess(Context& context, TraceOptions const& options) {
    LiveOptions how = options.live;
    if (options.seconds != 0) { // an answer is not waited for longer, either
        how.timeout = std::min<std::chrono::milliseconds>(how.timeout, std::chrono::seconds(options.seconds));
    }
    Connection connection(context, how, "trace");
    Live& live = connection.live();
    RecordLines lines(context.out, options.output);
    // Whatever the process answers, it ends.
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> end;
    if (options.seconds != 0) {
        end = Clock::now() + std::chrono::seconds(options.seconds);
    } else if (!options.follow) {
        end = Clock::now() + options.live.timeout;
    }
    auto const isOver = [&] { return live.signal() != 0 || (end && Clock::now() >= *end); };
    U64 last = 0;
    bool isFirst = true;
    for (;;) {
        Json const answer = live.ask("traceRecords", std::to_string(last));
        auto const& records = answer.at("records").members;
        U64 const next = records.empty() ? last : numberAt(records.front().second, "number");
        if (!isFirst && next > last + 1) {
            context.note(std::to_string(next - last - 1) +
                         " records came faster than they are read, and are lost");
        }
        isFirst = false;
        for (auto const& [name, each] : records) {
            if (Record const record = Record::of(each); takes(options.filter, record)) {
                lines.add(record);
            }
        }
        U64 const now = numberAt(answer, "last");
        bool const hasMore = !records.empty() && now > last;
        last = std::max(last, now);
        context.out.flush();
        if (hasMore && !isOver()) {
            continue;
        }
        if (!options.follow && hasMore) {
            throw Refused("the records have no end within " + std::to_string(options.live.timeout.count()) +
                          " ms");
        }
        if (!options.follow || isOver()) {
            break;
        }
        live.runFor(std::chrono::milliseconds(100));
    }
    lines.end();
}

void levelsOfProcess(Context& context, TraceOptions const& options) {
    std::vector<std::string> words;
    if (!options.words.empty()) {
        words.push_back(options.filter.facility);
        for (std::string_view const word : split(options.words, ",")) {
            words.emplace_back(word);
        }
    }
    Json const answer = Connection(context, options.live, "trace").live().ask("trace", join(words));
    if (!answer.isArray()) {
        throw Refused("the peer gives an odd answer to trace: " + answer.shown());
    }
    Listing listing({"facility", "enabled", "levels", "passed"});
    for (auto const& [name, each] : answer.members) {
        std::vector<std::string> levels;
        for (auto const& [none, level] : each.at("levels").members) {
            levels.push_back(level.text);
        }
        listing.add({each.at("facility").text, each.at("enabled").text == "true" ? "on" : "off", join(levels),
                     Cell::raw(std::to_string(numberAt(each, "passed")))});
    }
    listing.print(context.out, options.output);
}

void requireGoodUse(TraceOptions const& options) {
    TraceFilter const& asked = options.filter;
    if (!options.records && !options.follow && options.file.empty()) {
        if (asked.facility.empty() != options.words.empty()) {
            throw WrongUsage("to set levels give both a facility and --set, such as LoamTunnelTypes --set "
                             "on,+8; records are asked for with --records, --follow or --file");
        }
        if (!asked.levels.empty() || !asked.unit.empty() || !asked.function.empty() || !asked.text.empty()) {
            throw WrongUsage("--level, --unit, --function and --text choose records: give --records, "
                             "--follow or --file, too");
        }
    }
    Format const format = options.output.format;
    if (options.follow && format != Format::text && format != Format::json) {
        throw WrongUsage("--follow prints lines, or --json: a table or CSV is for what has an end");
    }
}

void trace(Context& context, TraceOptions const& options) {
    requireGoodUse(options);
    if (!options.file.empty()) {
        recordsOfFile(context, options);
    } else if (options.records || options.follow) {
        recordsOfProcess(context, options);
    } else {
        levelsOfProcess(context, options);
    }
}

} // namespace

Command const traceCommand = Row<TraceOptions>{
    .name = "trace",
    .does = "Show or set the trace levels of a process, and read its trace records or those of a file",
    .takes =
        [](Takes& takes, TraceOptions& options) {
            TraceFilter& filter = options.filter;
            takes.option("facility", filter.facility, "",
                         "A facility to set, such as LoamTunnelTypes; of records, a pattern");
            Option const set =
                takes.option("--set", options.words, "WORDS",
                             "What to set: on, off, +LEVEL, -LEVEL, with commas between several");
            Option const records =
                takes.flag("-r,--records", options.records, "Print the records that the process has kept")
                    .excludes({set});
            Option const follow =
                takes.flag("-f,--follow", options.follow, "The same, and then each one as it comes")
                    .excludes({set});
            takes
                .option("--file", options.file, "FILE",
                        "Read what a process has written to stderr instead; - is stdin")
                .excludes({set, records, follow});
            takes
                .numbers("--level", filter.levels, "N", "no level",
                         "Levels to show, with commas between several")
                .excludes({set});
            takes.option("--unit", filter.unit, "PATTERN", "Source files to show, a pattern").excludes({set});
            takes.option("--function", filter.function, "PATTERN", "Functions to show, a pattern")
                .excludes({set});
            takes.option("--text", filter.text, "TEXT", "Show records with that in their text")
                .excludes({set});
            takes.positive("--for", options.seconds, "End after so many seconds (default: with SIGINT)")
                .needs(follow);
            takes.live(options.live);
            takes.output(options.output, " (default: lines for records, of which json has one a line)");
        },
    .run = trace,
    .more = "  loamtunnel trace LoamTunnelTypes --set on,+8\n"
            "  loamtunnel trace --follow --level 8 --text vsi\n"
            "  driver 2>&1 | loamtunnel trace 'LoamTunnel*' --file - --json",
    .isInShell = true,
    .runsUntilTold = [](Context const&, TraceOptions const& options) { return options.follow; },
};

} // namespace tool
