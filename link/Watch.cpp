#include "link/internal/Watch.h"

#include "runtime/Exception.h"

#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Kor::Link {

int Watch::descriptor() {
    if (!poll_) {
        Socket made(::epoll_create1(EPOLL_CLOEXEC));
        Socket event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        if (!made || !event) {
            throwRangeException(format("no descriptor for a loop: %s", errorText(errno).charPtr()));
        }
        poll_ = std::move(made);
        event_ = std::move(event);
        watch(event_.fd());
        for (int const each : fds_) {
            watch(each);
        }
        wakes_ = event_.fd();
        wake(); // for what there was before
    }
    return poll_.fd();
}

void Watch::add(int fd) {
    fds_.insert(fd);
    if (poll_) {
        watch(fd);
    }
}

void Watch::remove(int fd) noexcept {
    fds_.erase(fd);
    if (poll_) {
        ::epoll_ctl(poll_.fd(), EPOLL_CTL_DEL, fd, nullptr);
    }
}

/// Each event is told once: the loop reads and writes until the system has no more.
void Watch::watch(int fd) const {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    event.data.fd = fd;
    if (::epoll_ctl(poll_.fd(), EPOLL_CTL_ADD, fd, &event) != 0) {
        throwRangeException(format("a socket cannot be waited for: %s", errorText(errno).charPtr()));
    }
}

void Watch::wake() const noexcept {
    if (int const fd = wakes_; fd >= 0) {
        U64 const one = 1;
        // Where the count is full, it is readable already.
        static_cast<void>(!::write(fd, &one, sizeof one));
    }
}

void Watch::drain() noexcept {
    if (poll_) {
        std::array<epoll_event, 64> events{};
        U64 count = 0;
        static_cast<void>(!::read(event_.fd(), &count, sizeof count));
        while (::epoll_wait(poll_.fd(), events.data(), static_cast<int>(events.size()), 0) ==
               static_cast<int>(events.size())) {
        }
    }
}

} // namespace Kor::Link
