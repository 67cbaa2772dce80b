#pragma once

/// Kor::Link::Loop, the one thread on which listeners, connectors and timers live.
///
///     Kor::Link::Loop loop;
///     loop.signalsAre({SIGINT, SIGTERM}, [&](int) { loop.stop(); });
///     Kor::Link::Listener listener(loop, Kor::Link::Address::parse("/run/loam/driver"), config);
///     auto const timer = loop.every(std::chrono::seconds(10), [&] { ... });
///     loop.run();
///
/// A tool that asks one thing:
///
///     if (!loop.runUntil([&] { return done; }, std::chrono::seconds(5))) { ... it took too long ... }
///
/// In a program that has a loop of its own, by poll() or epoll, one descriptor and a time stand for all of
/// it:
///
///     for (;;) {
///         loop.poll();                                    // what has come, and what has been changed since
///         pollfd entries[] = {{loop.descriptor(), POLLIN, 0}, own};
///         ::poll(entries, 2, loop.pollTime());
///         if (entries[1].revents != 0) { ... }
///     }
///
/// In one that runs on Asio, it lives on the program's context, with nothing else to call:
///
///     asio::io_context context;
///     Kor::Link::Loop loop(context);
///     Kor::Link::Connector connector(loop, address, connecting);
///     context.run();
///
/// Everything that runs is called from run(), runFor(), runUntil() or poll(), on the caller's thread, or from
/// the one thread that runs the program's context: hooks
/// of sessions, timers, posted functions, signals. They may change entities as they like; what has changed is
/// written before the loop waits again. An exception that one of them throws leaves the call that runs the
/// loop, which can be called again. No peer, slow or stuck, makes the loop wait.
///
/// Turns. Connections take turns, one after the other: each reads and writes for a quarter of a millisecond,
/// or until the piece of at most 4 KiB that it has begun is applied, and then waits until all others have had
/// theirs. So a peer waits for at most one turn of each other peer that is busy, however much those send.
/// After 5 ms of turns, timers, posted functions and signals are looked at, and after 5 ms of those, turns.
/// What a hook or a handler does in one go takes as long as it takes: none of this interrupts it. Where what
/// has come makes more work later, such as a commit of all that a round has brought, roundIs() bounds a
/// round.
///
/// post() alone may be called from another thread. A loop ends after all that lives on it.

#include "runtime/Types.h"

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>

namespace asio {
class io_context;
}

namespace Kor::Link {

/// A function that is to be called later; it is not once this has ended, or has been assigned to.
class KOR_EXPORT Timer {
public:
    struct Impl;

    Timer() noexcept;
    explicit Timer(std::shared_ptr<Impl> impl) noexcept;
    Timer(Timer&& other) noexcept;
    Timer& operator=(Timer&& other) noexcept;
    ~Timer();

    void cancel() noexcept;
    bool isActive() const noexcept;

private:
    std::shared_ptr<Impl> impl_;
};

class KOR_EXPORT Loop {
public:
    using Duration = std::chrono::nanoseconds;
    struct Impl;

    Loop();
    /// On a context that is the program's and outlives it, run by one thread, and built with the Asio that
    /// the library is built with. What is changed in the program's own handlers leaves by itself, too.
    explicit Loop(asio::io_context& context);
    ~Loop();
    Loop(Loop const&) = delete;
    Loop& operator=(Loop const&) = delete;

    /// Until stop(), which may have been called before.
    void run();
    /// Until stop() or the time is over; true if it was stopped.
    bool runFor(Duration time);
    /// Until the condition holds, stop(), or the time is over. Whether it holds. It is asked after each step,
    /// but while bytes come and go every 5 ms alone.
    bool runUntil(std::function<bool()> const& condition, Duration most);
    /// What can be done without waiting; whether anything was.
    bool poll();

    // In a loop of the program's own: poll(), and then wait for the descriptor, at most that long. What the
    // program has changed meanwhile leaves with the next poll(). Signals are heard there alone.

    /// Readable when poll() has something to do; not to be read from, and good for poll(), select() and epoll
    /// as long as the loop lives. Kor::RangeException on a context of the program, or if the system has none
    /// left.
    int descriptor();
    /// How long until poll() is to be called, whatever the descriptor says: 0 when there is more to do at
    /// once, nothing when no timer is running.
    std::optional<Duration> nextDeadline() const;
    /// The same in milliseconds, as poll() and epoll_wait() take it: -1 for nothing.
    int pollTime() const;

    /// Ends the call that runs the loop, or the next one, after the step that is being done.
    void stop() noexcept;

    /// Calls the function in the next step of the loop, never from here. This alone may be called from any
    /// thread.
    void post(std::function<void()> function);
    [[nodiscard]] Timer after(Duration time, std::function<void()> function);
    /// Again and again; what was missed while the loop was busy is not made up for.
    [[nodiscard]] Timer every(Duration period, std::function<void()> function);
    /// A round, in which each connection has its turn, reads about so many bytes, shared by the connections
    /// that have had something to read in the last one, but 256 of each; 0, as at first, is no bound.
    void roundIs(std::size_t bytes) noexcept;
    /// Calls the hook in the loop for each of these signals, in place of what was set before; none when the
    /// list is empty. The signals' own actions are back when the loop ends.
    void signalsAre(std::initializer_list<int> signals, std::function<void(int)> hook);

    Impl& impl() noexcept { return *impl_; }

private:
    std::unique_ptr<Impl> impl_;
};

} // namespace Kor::Link
