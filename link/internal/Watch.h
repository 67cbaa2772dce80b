#pragma once

/// Kor::Link::Watch, one descriptor for a program's own poll(): it is readable when something has happened on
/// the sockets of a loop. It costs nothing before it is asked for.

#include "link/internal/Socket.h"

#include <atomic>
#include <set>

namespace Kor::Link {

class Watch {
public:
    /// Made with the first call. Kor::Exception if the system has none.
    int descriptor();
    void add(int fd);
    void remove(int fd) noexcept;
    /// The descriptor is readable once more. Any thread.
    void wake() const noexcept;
    /// What has happened so far is known.
    void drain() noexcept;

private:
    void watch(int fd) const;

    std::set<int> fds_;
    Socket poll_;
    Socket event_;
    std::atomic<int> wakes_ = -1;
};

} // namespace Kor::Link
