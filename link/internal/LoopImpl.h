#pragma once

/// What a loop is made of. Not installed: users of the library need not have Asio.

#include "link/Loop.h"
#include "link/internal/Watch.h"
#include "runtime/Types.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace Kor::Link {

class Connection;

struct Loop::Impl {
    using Clock = std::chrono::steady_clock;

    /// On a context of its own, or on one that is the program's.
    explicit Impl(asio::io_context* given);
    ~Impl();
    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    /// Until the condition holds, stop(), or the time is over; false for the last one, and for stop() before
    /// a condition holds.
    bool go(std::function<bool()> const* condition, std::optional<Clock::time_point> until);
    /// Handlers that are ready; how many.
    std::size_t step(std::size_t most);
    /// Gives each connection a turn, beginning where the last call has stopped, or some when that takes long.
    /// Whether there is more to do at once.
    bool turns();
    void waitForSignal();
    /// On a program's context: turns follow, in a handler of their own.
    void schedule();
    bool isForeign() const noexcept { return own == nullptr; }

    // Handlers of the context may hold timers and connections up to its end.
    std::multiset<Clock::time_point> deadlines;
    /// For a program's own poll().
    Watch watch;
    std::unique_ptr<asio::io_context> own;
    asio::io_context& io;
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> work;
    asio::signal_set signals{io};
    std::function<void(int)> signalHook;
    std::vector<std::shared_ptr<Connection>> connections;
    /// Whose turn is next.
    std::size_t next = 0;
    /// What a round may read, 0 for no bound, and how many connections have read in the last one.
    std::size_t round = 0;
    std::size_t reading = 1;
    /// How much a connection may read in its turn.
    std::size_t share() const noexcept {
        constexpr std::size_t least = 256;
        return round == 0 ? std::numeric_limits<std::size_t>::max()
                          : std::max(least, round / std::max(reading, std::size_t{1}));
    }
    /// Bytes that connections have sent and received.
    U64 carried = 0;
    bool stopped = false;
    bool isBusy = false;
    /// Turns are on their way; the handler finds out whether the loop is still there.
    bool isScheduled = false;
    std::shared_ptr<Impl*> there = std::make_shared<Impl*>(this);
};

/// A socket on a loop.
class Waiting {
public:
    Waiting(Loop& loop, int fd) : loop_(loop), descriptor_(loop.impl().io, fd) { loop.impl().watch.add(fd); }
    ~Waiting() { forget(); }
    Waiting(Waiting const&) = delete;
    Waiting& operator=(Waiting const&) = delete;

    int fd() { return descriptor_.native_handle(); }
    template <class Handler>
    void toRead(Handler handler) {
        descriptor_.async_wait(asio::posix::stream_descriptor::wait_read, std::move(handler));
    }
    template <class Handler>
    void toWrite(Handler handler) {
        descriptor_.async_wait(asio::posix::stream_descriptor::wait_write, std::move(handler));
    }
    int release() {
        forget();
        return descriptor_.release();
    }
    void close() {
        forget();
        asio::error_code ignored;
        descriptor_.close(ignored);
    }

private:
    void forget() noexcept {
        if (descriptor_.is_open()) {
            loop_.impl().watch.remove(descriptor_.native_handle());
        }
    }

    Loop& loop_;
    asio::posix::stream_descriptor descriptor_;
};

} // namespace Kor::Link
