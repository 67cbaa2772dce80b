#include "link/Loop.h"

#include "link/internal/Connection.h"

#include <algorithm>
#include <asio/post.hpp>
#include <optional>

namespace Kor::Link {

struct Timer::Impl : std::enable_shared_from_this<Timer::Impl> {
    Impl(asio::io_context& io, Loop::Duration first, Loop::Duration again, std::function<void()> todo)
        : timer(io, std::chrono::duration_cast<asio::steady_timer::duration>(first)), period(again),
          function(std::move(todo)) {}

    void wait() {
        timer.async_wait([weak = weak_from_this()](asio::error_code const& error) {
            std::shared_ptr<Impl> const self = weak.lock();
            if (error || !self || !self->isActive) {
                return;
            }
            if (self->period == Loop::Duration::zero()) {
                self->isActive = false;
            } else { // before the call, which may cancel it
                self->timer.expires_after(self->period);
                self->wait();
            }
            auto const copy = self->function; // which may be replaced meanwhile
            copy();
        });
    }
    /// The wait itself ends with this object.
    void cancel() noexcept {
        isActive = false;
        function = nullptr;
    }

    asio::steady_timer timer;
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

Loop::Impl::Impl() = default;
Loop::Impl::~Impl() = default;

bool Loop::Impl::go(std::function<bool()> const* condition, std::optional<Clock::time_point> until) {
    constexpr std::size_t stepsAtOnce = 32;
    for (;;) {
        bool const hasMore = sweep();
        if (condition != nullptr && (*condition)()) {
            return true;
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
            U64 const before = sent;
            if (condition != nullptr && (sweep() || sent != before)) {
                continue;
            }
            until ? io.run_one_until(*until) : io.run_one();
        }
    }
}

std::size_t Loop::Impl::step(std::size_t most) {
    std::size_t done = 0;
    while (done < most && !stopped && io.poll_one() != 0) {
        ++done;
    }
    return done;
}

bool Loop::Impl::sweep() {
    bool hasMore = false;
    // More may come meanwhile. NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t i = 0; i < connections.size(); ++i) {
        std::shared_ptr<Connection> const connection = connections[i];
        hasMore = connection->pump() || hasMore;
    }
    std::erase_if(connections, [](auto const& each) { return each->isEnded(); });
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

Loop::Loop() : impl_(std::make_unique<Impl>()) {}
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
    bool any = false;
    any = impl_->sweep() || any;
    any = impl_->step(steps) != 0 || any;
    any = impl_->sweep() || any;
    impl_->stopped = false;
    return any;
}

void Loop::stop() noexcept {
    impl_->stopped = true;
}

void Loop::post(std::function<void()> function) {
    asio::post(impl_->io, std::move(function));
}

Timer Loop::after(Duration time, std::function<void()> function) {
    auto impl = std::make_shared<Timer::Impl>(impl_->io, time, Duration::zero(), std::move(function));
    impl->wait();
    return Timer(std::move(impl));
}

Timer Loop::every(Duration period, std::function<void()> function) {
    period = std::max<Duration>(period, std::chrono::nanoseconds(1));
    auto impl = std::make_shared<Timer::Impl>(impl_->io, period, period, std::move(function));
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
