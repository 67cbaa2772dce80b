/// `loamtunnel top`: the connections of a process at a glance, again and again.

#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "console/Terminal.h"
#include "forms/Text.h"
#include "tools/Commands.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <ostream>
#include <poll.h>
#include <sstream>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace tool {

namespace {

using SteadyClock = std::chrono::steady_clock;

struct TopOptions {
    LiveOptions live;
    std::string sort = "records/s";
    std::chrono::milliseconds every{1000};
    bool once = false;
    Output output;
};

/// A column: the sum of some counters, or how fast it grows.
struct Column {
    std::string name;
    std::vector<std::string> counters;
    bool isRate = false;
};

std::vector<Column> const& columns() {
    static std::vector<Column> const all{
        {"records/s", {"recordsIn", "recordsOut"}, true},
        {"in/s", {"recordsIn"}, true},
        {"out/s", {"recordsOut"}, true},
        {"marks", {"dirtyKeys"}},
        {"refused", {"refusedRecords"}},
        {"unknown", {"unknownEntities", "unknownAttributes", "unknownEnums"}},
        {"bytes/s", {"bytesIn", "bytesOut"}, true},
        {"entities", {"entities"}},
        {"most", {"dirtyKeysHighWater"}},
        {"merged", {"coalescedChanges"}},
        {"full", {"streamFull"}},
    };
    return all;
}

/// What a peer's counters add up to, a number a column. One that is no number, or not there, is 0.
struct PeerRow {
    std::string peer;
    std::vector<U64> numbers;
};

/// From one try to the next, where there is no connection.
constexpr std::chrono::milliseconds mostApart{1000};

struct Sample {
    SteadyClock::time_point time = SteadyClock::now();
    std::vector<PeerRow> rows{};
    /// Of the whole process, in words.
    std::string process{};

    static Sample of(Json const& answer) {
        Sample sample;
        auto const numberOf = [](Json const* json) {
            return json == nullptr ? U64{0} : parseNumber(json->text).value_or(0);
        };
        for (auto const& [none, peer] : answer.at("peers").members) {
            PeerRow row{peer.at("peer").text, {}};
            for (Column const& column : columns()) {
                U64 sum = 0;
                for (std::string const& counter : column.counters) {
                    sum += numberOf(peer.find(counter));
                }
                row.numbers.push_back(sum);
            }
            sample.rows.push_back(std::move(row));
        }
        std::vector<std::string> words;
        for (auto const& [name, value] : answer.members) {
            if (value.kind == Json::Kind::number) {
                words.push_back(name + ' ' + value.text);
            }
        }
        sample.process = join(words, ", ");
        return sample;
    }

    /// The rows with growth in place of sums where a column wants that. Peers of one name are told apart by
    /// their order, in which they have come.
    std::vector<PeerRow> since(Sample const& before) const {
        std::chrono::duration<double> const passed = time - before.time;
        std::vector<PeerRow> result = rows;
        std::vector<bool> isTaken(before.rows.size());
        for (PeerRow& row : result) {
            std::size_t at = 0;
            while (at < before.rows.size() && (isTaken[at] || before.rows[at].peer != row.peer)) {
                ++at;
            }
            bool const isThere = at < before.rows.size();
            if (isThere) {
                isTaken[at] = true;
            }
            for (std::size_t i = 0; i < columns().size(); ++i) {
                if (columns()[i].isRate) {
                    U64 const was = isThere ? before.rows[at].numbers[i] : 0;
                    U64 const grown = row.numbers[i] - std::min(was, row.numbers[i]);
                    row.numbers[i] =
                        passed.count() > 0
                            ? static_cast<U64>(std::llround(static_cast<double>(grown) / passed.count()))
                            : 0;
                }
            }
        }
        return result;
    }
};

/// By name, or by a number with the greatest first.
void sortBy(std::vector<PeerRow>& rows, std::string const& column) {
    std::ranges::stable_sort(rows, {}, &PeerRow::peer);
    auto const found = std::ranges::find(columns(), column, &Column::name);
    if (found != columns().end()) {
        auto const at = static_cast<std::size_t>(found - columns().begin());
        std::ranges::stable_sort(rows, std::greater(), [at](PeerRow const& row) { return row.numbers[at]; });
    }
}

/// Keys of the terminal as they are pressed, while this lives.
class Keys {
public:
    explicit Keys(int fd) {
        if (!isTerminal(fd) || ::tcgetattr(fd, &before_) != 0) {
            return;
        }
        fd_ = fd;
        termios now = before_;
        now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        if (::tcsetattr(fd_, TCSANOW, &now) != 0) {
            fd_ = -1;
        }
    }
    ~Keys() {
        if (fd_ >= 0) {
            ::tcsetattr(fd_, TCSANOW, &before_);
        }
    }
    Keys(Keys const&) = delete;
    Keys& operator=(Keys const&) = delete;

    /// The next one, or 0.
    char next() const {
        pollfd input{fd_, POLLIN, 0};
        char key = 0;
        return fd_ >= 0 && ::poll(&input, 1, 0) == 1 && ::read(fd_, &key, 1) == 1 ? key : '\0';
    }

private:
    int fd_ = -1;
    termios before_{};
};

class Top {
public:
    Top(Context& context, TopOptions const& options)
        : context_(context), options_(options), sort_(options.sort),
          isPage_(!options.once && options.output.format == Format::text &&
                  isTerminal(context.outDescriptor)),
          rows_(context.out, headings(), options.output, RowPrinter::Rows::lines) {}

    void run() {
        Kor::Link::Loop between; // hears signals while there is no connection, too
        bool isTold = false;
        if (context_.runsUntilTold) {
            endingSignalsAre(between, [&](int) { isTold = true; });
        }
        std::optional<Keys> keys;
        std::optional<Sample> before;
        for (bool hasLooked = false;;) {
            between.poll();
            if (isTold) {
                return;
            }
            std::string lost;
            try {
                if (!live_) {
                    live_.emplace(options_.live, "top", &context_);
                    keys.emplace(isPage_ ? context_.inDescriptor : -1);
                }
                Sample now = Sample::of(live_->ask("stats", ""));
                hasLooked = true;
                if (before || isPage_) {
                    print(now, before ? *before : now);
                    if (options_.once) {
                        return;
                    }
                }
                before = std::move(now);
                if (!pause(*keys)) {
                    return;
                }
                continue;
            } catch (Refused const& failure) {
                bool const isLost = dynamic_cast<NoConnection const*>(&failure) != nullptr ||
                                    dynamic_cast<TimedOut const*>(&failure) != nullptr;
                if (!isLost || !hasLooked || options_.once) {
                    throw;
                }
                lost = failure.what();
            }
            keys.reset(); // which leaves the terminal as it was
            live_.reset();
            before.reset();
            if (isPage_) {
                drawPage(context_.out, {lost, "it is tried again; Ctrl-C ends"},
                         terminalSize(context_.outDescriptor));
            } else {
                context_.note(lost + "; it is tried again");
            }
            between.runUntil([&] { return isTold; }, std::min(options_.every, mostApart));
        }
    }

private:
    std::vector<std::string> headings() const {
        std::vector<std::string> all{"peer"};
        if (!isPage_) {
            all.insert(all.begin(), "time");
        }
        for (Column const& column : columns()) {
            all.push_back(column.name);
        }
        return all;
    }

    /// False when it is to end.
    bool pause(Keys const& keys) {
        auto const end = SteadyClock::now() + options_.every;
        while (SteadyClock::now() < end) {
            constexpr std::chrono::milliseconds slice(50);
            live_->runFor(isPage_ ? slice : options_.every);
            char const key = keys.next();
            if (key == 'q' || live_->signal() != 0) {
                return false;
            }
            if (key == 's') {
                auto const found = std::ranges::find(columns(), sort_, &Column::name);
                sort_ = found == columns().end()       ? columns()[0].name
                        : found + 1 == columns().end() ? "peer"
                                                       : (found + 1)->name;
                return true;
            }
        }
        return true;
    }

    void print(Sample const& now, Sample const& before) {
        std::vector<PeerRow> rows = now.since(before);
        sortBy(rows, sort_);
        std::string const time = timeNow();
        std::optional<Listing> listing;
        if (isPage_) {
            listing.emplace(headings());
        }
        for (PeerRow const& row : rows) {
            std::vector<Cell> cells{row.peer};
            cells.insert(cells.end(), row.numbers.begin(), row.numbers.end());
            if (isPage_) {
                listing->add(std::move(cells));
            } else {
                cells.insert(cells.begin(), time);
                rows_.add(cells);
            }
        }
        if (!isPage_) {
            rows_.end();
            context_.out.flush();
            return;
        }
        std::vector<std::string> lines{live_->address() + "  " + time + "  " + std::to_string(rows.size()) +
                                           (rows.size() == 1 ? " connection" : " connections") + ", by " +
                                           sort_ + "; s sorts by the next column, q ends",
                                       now.process};
        TextStream text;
        listing->print(text, {Format::table});
        std::istringstream table(std::move(text).str());
        for (std::string line; std::getline(table, line);) {
            lines.push_back(std::move(line));
        }
        drawPage(context_.out, lines, terminalSize(context_.outDescriptor));
    }

    Context& context_;
    TopOptions const& options_;
    std::string sort_;
    bool isPage_;
    RowPrinter rows_;
    std::optional<Live> live_;
};

std::vector<std::string> sortable() {
    std::vector<std::string> names{"peer"};
    for (Column const& column : columns()) {
        names.push_back(column.name);
    }
    return names;
}

} // namespace

Command const topCommand = Row<TopOptions>{
    .name = "top",
    .does = "Watch the connections of a process at a glance",
    .takes =
        [](Takes& takes, TopOptions& options) {
            takes
                .option("--sort", options.sort, "COLUMN",
                        "By which column: " + enumerate(sortable(), "or") + " (default: records/s)")
                .oneOf(sortable(), "no column");
            takes.number("--every", options.every,
                         "How many milliseconds from one look to the next (default: 1000)", 3'600'000, 50);
            takes.flag("--once", options.once, "Print one table, of what has been done between two looks");
            takes.live(options.live);
            takes.output(options.output, "; JSON has an object a line");
        },
    .run = [](Context& context, TopOptions const& options) { Top(context, options).run(); },
    .more =
        "On a terminal a page is refreshed in place; s sorts it by the next column, q ends it. Elsewhere a "
        "row\n"
        "is printed for each connection at each look. The connection with the most comes first. A "
        "connection\n"
        "that is lost is made again.\n\n"
        "Marks are changes that wait for room now, most as many as there ever were, merged those that "
        "were\n"
        "made again meanwhile, full how often there was no room, refused and unknown records of the "
        "peer.\n\n"
        "  loamtunnel top --sort marks\n"
        "  loamtunnel top --once --json",
    .runsUntilTold = [](Context const&, TopOptions const& options) { return !options.once; },
};

} // namespace tool
