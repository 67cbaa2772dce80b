#include "link/Loop.h"

#include "link/internal/Connection.h"
#include "runtime/Exception.h"

#include <algorithm>
#include <asio/post.hpp>
#include <limits>
#include <optional>

namespace Kor::Link {

namespace {

/// How long connections may take before timers, posted functions and signals are looked at again, and the
/// other way round.
constexpr std::chrono::milliseconds busyTime(5);

} // namespace

struct Timer::Impl : std::enable_shared_from_this<Timer::Impl> {
    Impl(Loop::Impl& on, Loop::Duration first, Loop::Duration again, std::function<void()> todo)
        : loop(on), timer(on.io), period(again), function(std::move(todo)) {
        timer.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(first));
        deadline = loop.deadlines.insert(timer.expiry());
    }
    ~Impl() { cancel(); }
    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    /// In its node of before: a timer that goes on needs no memory.
    void dueAgain() {
        timer.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(period));
        auto node = loop.deadlines.extract(deadline);
        node.value() = timer.expiry();
        deadline = loop.deadlines.insert(std::move(node));
    }

    void wait() {
        timer.async_wait([weak = weak_from_this()](asio::error_code const& error) {
            std::shared_ptr<Impl> const self = weak.lock();
            if (error || !self || !self->isActive) {
                return;
            }
            if (self->period == Loop::Duration::zero()) {
                self->isActive = false;
                self->loop.deadlines.erase(self->deadline);
            } else { // before the call, which may cancel it
                self->dueAgain();
                self->wait();
            }
            auto const copy = self->function; // which may be replaced meanwhile
            copy();
        });
    }
    /// The wait itself ends with this object.
    void cancel() noexcept {
        if (std::exchange(isActive, false)) {
            loop.deadlines.erase(deadline);
        }
        function = nullptr;
    }

    Loop::Impl& loop;
    asio::steady_timer timer;
    std::multiset<Loop::Impl::Clock::time_point>::iterator deadline;
    Loop::Duration period;
    std::function<void()> function;
    bool isActive = true;
};

Timer::Timer() noexcept = default;
Timer::Timer(std::shared_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
Timer::Timer(Timer&& other) noexcept = default;
Timer& Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        cancel();
        impl_ = std::move(other.impl_);
    }
    return *this;
}
Timer::~Timer() {
    cancel();
}

void Timer::cancel() noexcept {
    if (auto const impl = std::move(impl_)) {
        impl->cancel();
    }
}

bool Timer::isActive() const noexcept {
    return impl_ && impl_->isActive;
}

Loop::Impl::Impl(asio::io_context* given)
    : own(given == nullptr ? std::make_unique<asio::io_context>(1) : nullptr),
      io(given == nullptr ? *own : *given) {
    if (own) {
        work.emplace(io.get_executor());
    }
}
Loop::Impl::~Impl() = default;

void Loop::Impl::schedule() {
    if (!isForeign() || std::exchange(isScheduled, true)) {
        return;
    }
    asio::post(io, [weak = std::weak_ptr<Impl*>(there)] {
        if (auto const loop = weak.lock()) {
            Impl& self = **loop;
            self.isScheduled = false;
            if (self.turns()) {
                self.schedule();
            }
        }
    });
}

bool Loop::Impl::go(std::function<bool()> const* condition, std::optional<Clock::time_point> until) {
    constexpr std::size_t stepsAtOnce = 1024;
    // A program's context ends by itself when nothing is left to do there.
    asio::executor_work_guard<asio::io_context::executor_type> const busy(io.get_executor());
    if (io.stopped()) {
        io.restart();
    }
    Clock::time_point nextAsked = Clock::now();
    for (;;) {
        bool const hasMore = turns();
        if (condition != nullptr && (!hasMore || Clock::now() >= nextAsked)) {
            if ((*condition)()) {
                return true;
            }
            nextAsked = Clock::now() + busyTime;
        }
        if (std::exchange(stopped, false)) {
            return condition == nullptr;
        }
        if (until && Clock::now() >= *until) {
            return false;
        }
        // With a condition it is asked after each step.
        if (step(condition != nullptr ? 1 : stepsAtOnce) == 0 && !hasMore) {
            // A condition may have changed something, too.
            U64 const before = carried;
            if (condition != nullptr && (turns() || carried != before)) {
                continue;
            }
            until ? io.run_one_until(*until) : io.run_one();
        }
    }
}

std::size_t Loop::Impl::step(std::size_t most) {
    auto const end = Clock::now() + busyTime;
    std::size_t done = 0;
    while (done < most && !stopped && io.poll_one() != 0) {
        ++done;
        if (Clock::now() >= end) {
            break;
        }
    }
    return done;
}

bool Loop::Impl::turns() {
    auto const end = Clock::now() + busyTime;
    bool hasMore = false;
    // More may come meanwhile; they are next.
    std::size_t const count = connections.size();
    std::size_t done = 0;
    std::size_t haveRead = 0;
    while (done < count) {
        next = next < connections.size() ? next : 0;
        std::shared_ptr<Connection> const connection = connections[next++];
        bool const hasMoreOfIt = connection->turn();
        hasMore = hasMoreOfIt || hasMore;
        ++done;
        haveRead += hasMoreOfIt ? 1 : 0;
        if (hasMoreOfIt) {
            // By number, since a hook may add one. NOLINTNEXTLINE(modernize-loop-convert)
            for (std::size_t i = 0; i < connections.size(); ++i) {
                connections[i]->relieve();
            }
        }
        if (Clock::now() >= end) {
            break;
        }
    }
    reading = haveRead;
    hasMore = hasMore || done < count || connections.size() > count;
    // In their order, so that nobody loses a turn.
    std::size_t kept = 0;
    std::size_t nextOfKept = 0;
    for (std::size_t i = 0; i < connections.size(); ++i) {
        nextOfKept = i == next ? kept : nextOfKept;
        if (!connections[i]->isEnded()) {
            std::swap(connections[kept++], connections[i]);
        }
    }
    next = next < connections.size() ? nextOfKept : 0;
    connections.resize(kept);
    return hasMore;
}

void Loop::Impl::waitForSignal() {
    signals.async_wait([this](asio::error_code const& error, int signal) {
        if (error) {
            return;
        }
        waitForSignal();
        auto const hook = signalHook;
        hook(signal);
    });
}

Loop::Loop() : impl_(std::make_unique<Impl>(nullptr)) {}
Loop::Loop(asio::io_context& context) : impl_(std::make_unique<Impl>(&context)) {}
Loop::~Loop() = default;

void Loop::run() {
    impl_->go(nullptr, {});
}

namespace {

Loop::Impl::Clock::time_point from(Loop::Duration time) {
    return Loop::Impl::Clock::now() + std::chrono::duration_cast<Loop::Impl::Clock::duration>(time);
}

} // namespace

bool Loop::runFor(Duration time) {
    return impl_->go(nullptr, from(time));
}

bool Loop::runUntil(std::function<bool()> const& condition, Duration most) {
    return impl_->go(&condition, from(most));
}

bool Loop::poll() {
    constexpr std::size_t steps = 1024; // who posts again and again must not keep the caller
    Impl& impl = *impl_;
    U64 const before = impl.carried;
    impl.watch.drain();
    bool any = impl.turns();
    std::size_t const done = impl.step(steps);
    impl.isBusy = impl.turns() || done != 0;
    any = any || impl.isBusy || impl.carried != before;
    impl.stopped = false;
    return any;
}

int Loop::descriptor() {
    if (impl_->isForeign()) {
        throwRangeException("a loop on an io_context of the program has no descriptor of its own");
    }
    return impl_->watch.descriptor();
}

std::optional<Loop::Duration> Loop::nextDeadline() const {
    if (impl_->isBusy) {
        return Duration::zero();
    }
    if (impl_->deadlines.empty()) {
        return {};
    }
    return std::max<Duration>(*impl_->deadlines.begin() - Impl::Clock::now(), Duration::zero());
}

int Loop::pollTime() const {
    auto const wait = nextDeadline();
    if (!wait) {
        return -1;
    }
    auto const whole = std::chrono::ceil<std::chrono::milliseconds>(*wait).count(); // not before it is time
    return static_cast<int>(std::min<S64>(whole, std::numeric_limits<int>::max()));
}

void Loop::roundIs(std::size_t bytes) noexcept {
    impl_->round = bytes;
}

void Loop::stop() noexcept {
    impl_->stopped = true;
}

void Loop::post(std::function<void()> function) {
    asio::post(impl_->io, std::move(function));
    impl_->watch.wake();
}

Timer Loop::after(Duration time, std::function<void()> function) {
    auto impl = std::make_shared<Timer::Impl>(*impl_, time, Duration::zero(), std::move(function));
    impl->wait();
    return Timer(std::move(impl));
}

Timer Loop::every(Duration period, std::function<void()> function) {
    period = std::max<Duration>(period, std::chrono::nanoseconds(1));
    auto impl = std::make_shared<Timer::Impl>(*impl_, period, period, std::move(function));
    impl->wait();
    return Timer(std::move(impl));
}

void Loop::signalsAre(std::initializer_list<int> signals, std::function<void(int)> hook) {
    impl_->signals.cancel();
    impl_->signals.clear();
    impl_->signalHook = std::move(hook);
    if (signals.size() == 0) {
        return;
    }
    for (int const each : signals) {
        impl_->signals.add(each);
    }
    impl_->waitForSignal();
}

} // namespace Kor::Link
