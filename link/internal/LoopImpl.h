#pragma once

/// What a loop is made of. Not installed: users of the library need not have Asio.

#include "link/Loop.h"
#include "runtime/Types.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Kor::Link {

class Connection;

struct Loop::Impl {
    using Clock = std::chrono::steady_clock;

    Impl();
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

    asio::io_context io{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};
    asio::signal_set signals{io};
    std::function<void(int)> signalHook;
    std::vector<std::shared_ptr<Connection>> connections;
    /// Whose turn is next.
    std::size_t next = 0;
    /// Bytes that connections have sent and received.
    U64 sent = 0;
    bool stopped = false;
};

} // namespace Kor::Link
