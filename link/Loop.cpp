#include "link/Loop.h"

#include "link/Connection.h"
#include "link/LoopImpl.h"

#include <asio/post.hpp>
#include <utility>

namespace Kor::Link {

struct Timer::Impl : std::enable_shared_from_this<Timer::Impl> {
    Impl(asio::io_context& io, std::function<void()> toCall) : timer(io), function(std::move(toCall)) {}

    void wait(Loop::Duration time, bool repeats) {
        timer.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(time));
        timer.async_wait([weak = weak_from_this(), time, repeats](asio::error_code const& error) {
            std::shared_ptr<Impl> const self = weak.lock();
            if (error || !self || !self->isActive) {
                return;
            }
            self->isActive = repeats;
            if (repeats) {
                self->wait(time, true); // first, so that the function can end it
            }
            self->function();
        });
    }

    asio::steady_timer timer;
    std::function<void()> function;
    bool isActive = true;
};

Timer::Timer() noexcept = default;
Timer::Timer(std::shared_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
Timer::Timer(Timer&& other) noexcept = default;
Timer& Timer::operator=(Timer&& other) noexcept {
    cancel();
    impl_ = std::move(other.impl_);
    return *this;
}
Timer::~Timer() {
    cancel();
}

void Timer::cancel() noexcept {
    if (impl_) {
        impl_->isActive = false;
        impl_->timer.cancel();
    }
}

bool Timer::isActive() const noexcept {
    return impl_ && impl_->isActive;
}

void Loop::Impl::step(Clock::time_point end) {
    if (io.poll_one() != 0 || pump()) {
        return;
    }
    io.run_one_until(end);
}

bool Loop::Impl::pump() {
    bool isDone = false;
    for (std::size_t i = 0; i < connections.size();) {
        std::shared_ptr<Connection> const connection = connections[i].lock();
        if (!connection) {
            connections[i] = std::move(connections.back());
            connections.pop_back();
            continue;
        }
        isDone = connection->pump() || isDone;
        ++i;
    }
    return isDone;
}

void Loop::Impl::waitForSignal() {
    signals.async_wait([this](asio::error_code const& error, int signal) {
        if (error) {
            return;
        }
        waitForSignal();
        std::function<void(int)> const hook = signalHook;
        if (hook) {
            hook(signal);
        }
    });
}

Loop::Loop() : impl_(std::make_unique<Impl>()) {}
Loop::~Loop() = default;

void Loop::run() {
    runFor(Duration::max());
}

bool Loop::runFor(Duration time) {
    Impl::Clock::time_point const end = endOf(time);
    while (!impl_->isStopped && Impl::Clock::now() < end) {
        impl_->step(end);
    }
    return std::exchange(impl_->isStopped, false);
}

bool Loop::runUntil(std::function<bool()> const& condition, Duration most) {
    Impl::Clock::time_point const end = endOf(most);
    while (!condition()) {
        if (std::exchange(impl_->isStopped, false) || Impl::Clock::now() >= end) {
            return false;
        }
        impl_->step(end);
    }
    return true;
}

bool Loop::poll() {
    bool isDone = false;
    auto const now = Impl::Clock::now();
    for (std::size_t handled = 1; handled != 0;) {
        handled = impl_->io.poll_one();
        if (handled == 0) {
            break;
        }
        isDone = true;
        if (Impl::Clock::now() - now > std::chrono::milliseconds(100)) {
            break; // somebody posts without end
        }
    }
    impl_->step(now);
    return isDone;
}

void Loop::stop() noexcept {
    impl_->isStopped = true;
}

void Loop::post(std::function<void()> function) {
    asio::post(impl_->io, std::move(function));
}

Timer Loop::after(Duration time, std::function<void()> function) {
    auto timer = std::make_shared<Timer::Impl>(impl_->io, std::move(function));
    timer->wait(time, false);
    return Timer(std::move(timer));
}

Timer Loop::every(Duration period, std::function<void()> function) {
    auto timer = std::make_shared<Timer::Impl>(impl_->io, std::move(function));
    timer->wait(period, true);
    return Timer(std::move(timer));
}

void Loop::signalsAre(std::initializer_list<int> signals, std::function<void(int)> hook) {
    impl_->signals.cancel();
    impl_->signals.clear();
    impl_->signalHook = std::move(hook);
    for (int const signal : signals) {
        impl_->signals.add(signal);
    }
    if (signals.size() != 0) {
        impl_->waitForSignal();
    }
}

} // namespace Kor::Link
