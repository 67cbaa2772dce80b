#pragma once

/// The commands on live trees, and `serve`, which makes them live.

#include "forms/Recording.h"
#include "tools/Commands.h"
#include "tools/Live.h"
#include "tools/Monitor.h"

#include <optional>
#include <string>
#include <vector>

namespace tool {

struct ServeOptions {
    LiveOptions live;
    std::vector<std::string> roots;
    std::string file;
    bool writable = false;
};
void serve(Context& context, ServeOptions const& options);

/// A place of a live tree, and how it is shown.
struct LivePlace {
    LiveOptions live;
    std::string path;
    Output output;
    unsigned depth = 16;
    ChangeFilter filter{};
};
void tree(Context& context, LivePlace const& options);
void get(Context& context, LivePlace const& options);
void del(Context& context, LivePlace const& options);

/// Asks how far what has been written is.
struct SyncOptions {
    LiveOptions live;
    Output output;
    Kor::NboAttrLog::FenceLevel level = Kor::NboAttrLog::FenceLevel::applied;
    bool all = false;
};
void sync(Context& context, SyncOptions const& options);

struct SetOptions {
    LiveOptions live;
    std::string path, value;
    /// Of the value, as they are given.
    std::vector<std::string> words{};
    /// Instead of these: a line of `PATH VALUE` each.
    std::string file;
};
void set(Context& context, SetOptions const& options);

struct ScriptOptions {
    std::string file;
    bool keepGoing = false;
    /// Over a live tree, where there is an address.
    LiveOptions live;
    Output output;
};
/// `run`: makes objects and drives them, by the lines of a script (tools/Script.h).
void runScript(Context& context, ScriptOptions const& options);

struct WaitOptions {
    LiveOptions live;
    std::string condition;
    bool gone = false;
    Output output;
};
/// `PATH=VALUE`, cut at the first = outside of quotes and brackets.
std::pair<std::string, std::optional<std::string>> parseWait(std::string const& text);
void wait(Context& context, WaitOptions const& options);
void monitor(Context& context, MonitorOptions const& options);

struct LogRecordOptions {
    LiveOptions live;
    std::string file;
    /// Write over what is there.
    bool force = false;
    std::vector<std::string> roots;
    unsigned seconds = 0;
    /// End as soon as all roots are here.
    bool once = false;
    U64 most = Kor::NboAttrLog::RecordingOut::defaultMost;
};
void logRecord(Context& context, LogRecordOptions const& options);

/// Counters of a process and of its connections; patterns of the shell take some of them.
struct StatsOptions {
    LiveOptions live;
    std::string peer, counter;
    /// Again and again, after so many seconds; 0 for once.
    unsigned watch = 0;
    Output output;
};
void stats(Context& context, StatsOptions const& options);

/// Where a request stands: its path, or what is asked for.
struct ExplainOptions {
    LiveOptions live;
    /// With blanks between them.
    std::vector<std::string> what;
    Output output;
};
void explain(Context& context, ExplainOptions const& options);

/// Compares what should be in a chip with what is.
struct AuditOptions {
    LiveOptions live;
    /// What is there is read from this file; where empty, the driver says it.
    std::string image;
    /// 0 for once.
    std::chrono::milliseconds every{0};
    /// How often; 0 for no end.
    U32 rounds = 0;
    Output output;
};
void audit(Context& context, AuditOptions const& options);

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
void trace(Context& context, TraceOptions const& options);

} // namespace tool
