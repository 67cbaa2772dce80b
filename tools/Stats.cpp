/// `loamtunnel stats`

#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "tools/Commands.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

/// Counters of a process and of its connections; patterns of the shell take some of them.
struct StatsOptions {
    LiveOptions live;
    std::string peer, counter;
    /// Again and again, after so many seconds; 0 for once.
    unsigned watch = 0;
    Output output;
};

/// The counters of an answer to `stats` in rows, of peers by name.
std::vector<std::vector<Cell>> counterRows(Json const& answer, StatsOptions const& options) {
    auto const cellOf = [](Json const& json) {
        return json.kind == Json::Kind::number
                   ? Cell::raw(json.text)
                   : Cell(json.isObject() || json.isArray() ? json.shown() : json.text);
    };
    std::vector<std::vector<Cell>> rows;
    auto const add = [&](std::string const& peer, std::string const& counter, Json const& value) {
        if (fits(options.peer, peer) && fits(options.counter, counter)) {
            rows.push_back({peer, counter, cellOf(value)});
        }
    };
    std::vector<Json const*> peers;
    for (auto const& [none, peer] : answer.at("peers").members) {
        peers.push_back(&peer);
    }
    std::ranges::stable_sort(peers, {}, [](Json const* peer) { return peer->at("peer").text; });
    for (Json const* const peer : peers) {
        for (auto const& [name, value] : peer->members) {
            if (name != "peer" && value.kind == Json::Kind::number) {
                add(peer->at("peer").text, name, value);
            }
        }
    }
    for (auto const& [name, value] : answer.members) { // of the whole process
        if (value.kind == Json::Kind::number) {
            add("", name, value);
        }
    }
    return rows;
}

void stats(Context& context, StatsOptions const& options) {
    Connection connection(context, options.live, "stats");
    Live& live = connection.live();
    std::vector<std::string> columns{"peer", "counter", "value"};
    if (options.watch == 0) {
        Listing listing(columns);
        auto rows = counterRows(live.ask("stats", ""), options);
        if (rows.empty()) {
            noneFits("no counter there", {{"--peer", options.peer}, {"--counter", options.counter}});
        }
        for (auto& row : rows) {
            listing.add(std::move(row));
        }
        return listing.print(context.out, options.output);
    }
    columns.insert(columns.begin(), "time");
    RowPrinter printer(context.out, columns, options.output, RowPrinter::Rows::lines);
    while (live.signal() == 0) {
        std::string const time = timeNow();
        for (auto& row : counterRows(live.ask("stats", ""), options)) {
            row.insert(row.begin(), time);
            printer.add(row);
        }
        printer.end();
        context.out.flush();
        live.runFor(std::chrono::seconds(options.watch));
    }
}

} // namespace

Command const statsCommand = Row<StatsOptions>{
    .name = "stats",
    .does = "Print what the connections of a process have done",
    .takes =
        [](Takes& takes, StatsOptions& options) {
            takes.positive(
                "--watch", options.watch,
                "Print them again and again, with the time, after so many seconds each; SIGINT ends it",
                86'400);
            takes.option("--peer", options.peer, "PATTERN",
                         "Show those of peers whose name fits this pattern");
            takes.option("--counter", options.counter, "PATTERN",
                         "Show counters whose name fits this pattern");
            takes.live(options.live);
            takes.output(options.output, " (default: table)");
        },
    .run = stats,
    .more = "With --watch JSON has an object a line.\n\n"
            "  loamtunnel stats --counter 'records*' --watch 5",
    .isInShell = true,
    .runsUntilTold = [](Context const&, StatsOptions const& options) { return options.watch != 0; },
};

} // namespace tool
