#pragma once

/// Trace points: a named facility, levels that are switched on and off while the program runs, and one sink
/// that gets every record.
///
///     Kor::TraceFacility& facility = Kor::traceFacility("LoamTunnelTypes");
///     facility.enabledIs(true);
///     facility.levelIs(8, true);                       // row accessors and encoders
///     Kor::traceSinkIs([](Kor::TraceRecord const& r) { log(r.text); });
///
/// A trace point that is off costs one counter add and two byte tests, and composes no text. Without a sink
/// of the caller's, a record is one line on stderr, with bytes that do not print as `\xNN`.
///
/// Facilities live until the process ends, and any thread may make or find one. Nothing here takes a lock,
/// but for records that are kept, which none are unless asked for (traceHistoryIs): set levels, sink and
/// coverage stream before a second thread passes a trace point. The test counter is a plain increment, so
/// that it can miss points that two threads pass at once.

#include "runtime/String8.h"
#include "runtime/Types.h"

#include <chrono>
#include <functional>
#include <iosfwd>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Kor {

/// The switches of one facility. A trace point reads the leading fields directly, so their order is part of
/// the binary interface.
class KOR_EXPORT TraceFacility {
public:
    static constexpr int levels = 10;

    /// Rises by 1 with each trace point passed, by 2 when the facility is enabled. Wraps.
    U32 testCounter = 0;
    /// Nothing is recorded while this is 0, whatever the levels say.
    U8 enabled = 0;
    /// Non-zero: the level is on.
    U8 level[levels] = {};

    explicit TraceFacility(std::string_view name) : name_(name) {}
    TraceFacility(TraceFacility const&) = delete;
    TraceFacility& operator=(TraceFacility const&) = delete;

    std::string const& name() const { return name_; }

    void enabledIs(bool on) { enabled = on; }

    /// Switches one level, 0 to 9; any other number changes nothing and returns false.
    bool levelIs(int number, bool on);

    /// Counts a trace point of this level and tells whether the level is on.
    bool passed(int number) {
        if (enabled) [[unlikely]] {
            testCounter += 2;
            return level[number] != 0;
        }
        testCounter += 1;
        return false;
    }

private:
    std::string name_;
};

/// What a trace point hands to the sink. The views are valid during the call alone.
struct TraceRecord {
    std::string_view facility;
    std::string_view context;
    std::string_view text;
    int level;
    /// False when the record was composed for the coverage stream alone.
    bool on;
    /// Source unit, line and short function name of the trace point.
    std::string_view unit;
    int line;
    std::string_view function;
};

using TraceSink = std::function<void(TraceRecord const&)>;

/// The facility of that name, made if there is none yet.
KOR_EXPORT TraceFacility& traceFacility(std::string_view name);

/// All facilities of the process, by name.
KOR_EXPORT std::vector<TraceFacility*> traceFacilities();

/// Replaces the sink; an empty one brings back the default, one line on stderr. Returns the old one. A sink
/// must not throw into a trace point: an exception of its is swallowed here and counted, see
/// traceSinkFailures(). Nor may it replace the sink, and what it does must not pass trace points that are on.
KOR_EXPORT TraceSink traceSinkIs(TraceSink next);

/// How often a sink has thrown.
KOR_EXPORT U64 traceSinkFailures();

/// A record that is kept, see traceHistoryIs().
struct TraceEntry {
    /// Counts the records that were kept, from 1.
    U64 number = 0;
    std::chrono::system_clock::time_point time{};
    std::string facility{}, context{};
    /// At most TraceEntry::longest bytes of it.
    std::string text{};
    int level = 0;
    std::string unit{};
    int line = 0;
    std::string function{};

    static constexpr std::size_t longest = 4096;
};

/// Keeps the last so many records that were on, whatever the sink does with them; 0, as at the start, keeps
/// none. A record that is kept is copied, under a lock; any thread may call this and traceHistory().
KOR_EXPORT void traceHistoryIs(std::size_t most);

/// Of the records that are kept, those with a number above `after`, oldest first, at most so many. Where the
/// first one's number is not after + 1, records between are gone.
KOR_EXPORT std::vector<TraceEntry> traceHistory(U64 after = 0, std::size_t most = ~std::size_t{0});

/// The record as the default sink prints it, without the line end.
KOR_EXPORT std::string traceLine(TraceRecord const& record);

/// When set, every trace point composes its text and reaches the helper, also with its level off; such a
/// record goes to this stream as one line.
KOR_EXPORT extern std::ostream* coverageStream_;

/// A source unit's hold on its facility, made or found by name.
class KOR_EXPORT TraceHandle {
public:
    /// `enabled` switches the facility on if this call makes it; one that exists keeps its switches.
    TraceHandle(String8 name, bool enabled);
    ~TraceHandle() = default;
    TraceHandle(TraceHandle const&) = delete;
    TraceHandle& operator=(TraceHandle const&) = delete;

    TraceFacility& facility() const { return *facility_; }

private:
    TraceFacility* facility_;
};

/// Emits one record: to the sink when `on`, else to the coverage stream if one is set.
KOR_EXPORT void traceHelper(TraceFacility* facility, String8 const& context, std::stringstream& stream,
                            int level, bool on, char const* unit, int line, char const* function);

/// Where a trace point stands.
struct TracePlace {
    char const* unit;
    int line;
    char const* function;
};

/// The context label of a trace point that has no better one.
KOR_EXPORT String8 const& unknownTraceContext();

/// The part of a trace point that runs when its text is wanted: `compose(stream)` streams the text.
template <class Compose>
[[gnu::cold, gnu::noinline]] void traceCompose(TraceFacility& facility, int level, bool on,
                                               TracePlace const& place, Compose const& compose) {
    std::stringstream stream;
    stream.precision(12);
    compose(stream);
    traceHelper(&facility, unknownTraceContext(), stream, level, on, place.unit, place.line, place.function);
}

/// A trace point: counts, and composes and emits its text when the level is on or coverage is wanted.
template <class Compose>
inline void trace(TraceFacility& facility, int level, TracePlace const& place, Compose const& compose) {
    bool const on = facility.passed(level);
    if (on || coverageStream_) [[unlikely]] {
        traceCompose(facility, level, on, place, compose);
    }
}

/// Whether trace points of this level compose nothing at present.
inline bool traceIsQuiet(TraceFacility const& facility, int level) {
    return !coverageStream_ && !(facility.enabled && facility.level[level]);
}

/// Counts that many trace points at once; they must be quiet ones.
inline void traceCount(TraceFacility& facility, U32 points) {
    facility.testCounter += facility.enabled ? 2 * points : points;
}

} // namespace Kor
