#pragma once

/// What loop, listener and connector share behind the public headers; not installed.

#include "link/Loop.h"

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <vector>

namespace Kor::Link {

class Connection;

struct Loop::Impl {
    using Clock = std::chrono::steady_clock;

    asio::io_context io{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{io.get_executor()};
    asio::signal_set signals{io};
    std::function<void(int)> signalHook;
    std::vector<std::weak_ptr<Connection>> connections;
    bool isStopped = false;

    /// One step: what is ready, or else what becomes ready until then.
    void step(Clock::time_point end);
    void waitForSignal();

private:
    /// Sends what sessions have; true if something was sent or ended.
    bool pump();
};

/// When a time that may be without end is over.
inline Loop::Impl::Clock::time_point endOf(Loop::Duration time) {
    auto const now = Loop::Impl::Clock::now();
    return time > Loop::Impl::Clock::time_point::max() - now ? Loop::Impl::Clock::time_point::max()
                                                             : now + time;
}

} // namespace Kor::Link
