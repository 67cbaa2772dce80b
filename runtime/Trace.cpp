#include "runtime/Trace.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <ostream>
#include <utility>

namespace Kor {

std::ostream* coverageStream_ = nullptr;

namespace {

struct Node {
    Node(std::string_view name, bool enabled) : facility(name) { facility.enabledIs(enabled); }

    TraceFacility facility;
    Node* next = nullptr;
};

/// Never freed: a trace point may be passed by the last destructor of the process. Two source units may make
/// their facilities at the same time on two threads, so a node is put in front in one step.
std::atomic<Node*> facilities = nullptr;

TraceSink& sink() {
    static auto* const current = new TraceSink;
    return *current;
}

U64 sinkFailures = 0;

void writeLine(TraceRecord const& record) {
    std::string const line = traceLine(record) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

/// Lives as long as the facilities do.
struct History {
    std::mutex mutex{};
    std::atomic<std::size_t> most{0};
    U64 last = 0;
    std::deque<TraceEntry> entries{};

    static History& all() {
        static auto* const history = new History;
        return *history;
    }
    void add(TraceRecord const& record) {
        TraceEntry entry{0,
                         std::chrono::system_clock::now(),
                         std::string(record.facility),
                         std::string(record.context),
                         std::string(record.text.substr(0, TraceEntry::longest)),
                         record.level,
                         std::string(record.unit),
                         record.line,
                         std::string(record.function)};
        std::lock_guard const lock(mutex);
        entry.number = ++last;
        entries.push_back(std::move(entry));
        shorten();
    }
    void shorten() {
        while (entries.size() > most) {
            entries.pop_front();
        }
    }
};

TraceFacility& facilityOf(std::string_view name, bool enabled) {
    std::unique_ptr<Node> made;
    for (Node* first = facilities;;) {
        for (Node* each = first; each; each = each->next) {
            if (each->facility.name() == name) {
                return each->facility;
            }
        }
        if (!made) {
            made = std::make_unique<Node>(name, enabled);
        }
        made->next = first;
        if (facilities.compare_exchange_strong(first, made.get())) {
            return made.release()->facility;
        }
    }
}

} // namespace

bool TraceFacility::levelIs(int number, bool on) {
    if (number < 0 || number >= levels) {
        return false;
    }
    level[number] = on;
    return true;
}

TraceFacility& traceFacility(std::string_view name) {
    return facilityOf(name, false);
}

std::vector<TraceFacility*> traceFacilities() {
    std::vector<TraceFacility*> all;
    for (Node* each = facilities; each; each = each->next) {
        all.push_back(&each->facility);
    }
    std::ranges::sort(all, {}, &TraceFacility::name);
    return all;
}

TraceSink traceSinkIs(TraceSink next) {
    return std::exchange(sink(), std::move(next));
}

U64 traceSinkFailures() {
    return sinkFailures;
}

void traceHistoryIs(std::size_t most) {
    History& history = History::all();
    std::lock_guard const lock(history.mutex);
    history.most = most;
    history.shorten();
}

std::vector<TraceEntry> traceHistory(U64 after, std::size_t most) {
    History& history = History::all();
    std::lock_guard const lock(history.mutex);
    // Numbers rise by one, so the place of the first is known.
    U64 const before = history.last - history.entries.size();
    auto const skipped = after <= before ? 0 : std::min<U64>(after - before, history.entries.size());
    auto const first = history.entries.begin() + static_cast<std::ptrdiff_t>(skipped);
    auto const count = std::min<std::size_t>(most, history.entries.size() - skipped);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

std::string traceLine(TraceRecord const& record) {
    static constexpr char hex[] = "0123456789abcdef";
    std::string line = std::string(record.facility) + ':' + std::to_string(record.level) + ' ' +
                       std::string(record.unit) + ':' + std::to_string(record.line) + ' ' +
                       std::string(record.function) + ' ' + std::string(record.context) + ' ';
    for (char const c : record.text) {
        auto const byte = static_cast<unsigned char>(c);
        if (std::isprint(byte)) {
            line += c;
        } else {
            line += "\\x";
            line += hex[byte >> 4];
            line += hex[byte & 15];
        }
    }
    return line;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): strings are passed by value
TraceHandle::TraceHandle(String8 name, bool enabled) : facility_(&facilityOf(name.charPtr(), enabled)) {}

String8 const& unknownTraceContext() {
    static auto const* const label = new String8("<unknown>");
    return *label;
}

void traceHelper(TraceFacility* facility, String8 const& context, std::stringstream& stream, int level,
                 bool on, char const* unit, int line, char const* function) {
    std::string const text = stream.str();
    TraceRecord const record{facility->name(), context.charPtr(), text, level, on, unit, line, function};
    if (!on) {
        if (coverageStream_) {
            *coverageStream_ << traceLine(record) << '\n';
        }
        return;
    }
    try {
        if (History::all().most != 0) {
            History::all().add(record);
        }
        if (sink()) {
            sink()(record);
        } else {
            writeLine(record);
        }
    } catch (...) {
        ++sinkFailures;
    }
}

} // namespace Kor
