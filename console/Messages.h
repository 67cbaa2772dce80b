#pragma once

/// The messages of a process that serves others. They go to the standard error as those of other commands,
/// but whoever reads it, or does not, never stops the process.
///
///     tool::Messages messages(context);
///     messages.note("serving at " + address);
///     messages.warn("application 5: its 1024 indexes are all in use");
///
/// Writing never waits: what the reader has no room for is lost and counted, and a reader that has gone away
/// is no signal. A message like the one before it is counted, not written; and of many different ones only so
/// many a second are written, whoever causes them. What is left out is told as a number when there is room
/// and time again. Where systemd's journal reads the standard error, it gets them with their priority, the
/// program's name and, of a message about a peer, LOAM_PEER.
///
/// As long as this exists trace records go the same way. One thread, but for trace records.

#include "console/Context.h"
#include "console/Journal.h"
#include "runtime/Trace.h"

#include <chrono>
#include <mutex>
#include <string>

namespace tool {

class Messages {
public:
    /// The path is that of the journal's socket for fields.
    explicit Messages(Context& context, std::string const& journal = Journal::usualPath);
    ~Messages();
    Messages(Messages const&) = delete;
    Messages& operator=(Messages const&) = delete;

    /// The fields are for the journal alone.
    void note(std::string const& message, JournalFields const& fields = {}) {
        add(Priority::info, message, fields);
    }
    void warn(std::string const& message) { add(Priority::warning, message, {}); }
    /// A failure, too, of which the exit status will be.
    void fail(std::string const& message, Status status = refusedStatus) {
        warn(message);
        context_.status = status;
    }
    /// Writes what has waited, and what was left out until now. To be called now and then.
    void tick();
    /// Messages that were not written, of both kinds.
    Kor::U64 lost() const;

    /// At once, and for each second after that.
    static constexpr unsigned burst = 200, each = 20;

private:
    using Clock = std::chrono::steady_clock;
    /// As the journal counts them.
    enum class Priority { warning = 4, info = 6, debug = 7 };

    void add(Priority priority, std::string const& message, JournalFields const& fields);
    bool write(Priority priority, std::string const& message, JournalFields const& fields);
    bool writeLine(std::string line);
    void writeRepeated();
    void writeLost();
    bool mayWrite();
    bool flush();

    Context& context_;
    Journal journal_;
    /// The standard error again, without waiting; -1 where there is none.
    int fd_ = -1;
    bool isSocket_ = false;
    /// It could not be had without waiting, so that little is written at a time, and only when it is ready.
    bool isCareful_ = false;
    Kor::TraceSink before_;
    std::mutex mutable mutex_;
    /// Of a line that was written in part.
    std::string rest_;
    std::string last_;
    Priority lastPriority_ = Priority::info;
    Kor::U64 repeated_ = 0;
    Kor::U64 lost_ = 0, told_ = 0;
    double room_ = burst;
    Clock::time_point then_ = Clock::now();
};

} // namespace tool
