#include "console/Messages.h"

#include "forms/Text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <ostream>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

/// Another description of the same pipe, terminal or file, so that not waiting is this process's affair
/// alone.
int reopened(int fd) {
    std::string const path = "/proc/self/fd/" + std::to_string(fd);
    return ::open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

} // namespace

Messages::Messages(Context& context, std::string const& journal)
    : context_(context), journal_(context.errDescriptor, journal) {
    std::signal(SIGPIPE, SIG_IGN); // NOLINT(cert-err33-c): a signal that there is
    if (context.errDescriptor >= 0) {
        context.err.flush();
        struct stat status {};
        isSocket_ = ::fstat(context.errDescriptor, &status) == 0 && S_ISSOCK(status.st_mode);
        bool const mayWait = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
        fd_ = mayWait ? reopened(context.errDescriptor) : -1;
        isCareful_ = mayWait && fd_ < 0;
        fd_ = fd_ >= 0 ? fd_ : ::fcntl(context.errDescriptor, F_DUPFD_CLOEXEC, 0);
    }
    before_ = Kor::traceSinkIs([this](Kor::TraceRecord const& record) {
        std::lock_guard const lock(mutex_);
        write(Priority::debug, Kor::traceLine(record), {});
    });
}

Messages::~Messages() {
    Kor::traceSinkIs(before_);
    std::lock_guard const lock(mutex_);
    writeRepeated();
    writeLost();
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void Messages::add(Priority priority, std::string const& message, JournalFields const& fields) {
    std::lock_guard const lock(mutex_);
    if (message == last_) {
        ++repeated_;
        return;
    }
    writeRepeated();
    last_ = message;
    lastPriority_ = priority;
    if (mayWrite()) {
        write(priority, message, fields);
    } else {
        ++lost_;
    }
}

void Messages::tick() {
    std::lock_guard const lock(mutex_);
    if (flush() && mayWrite()) {
        writeRepeated();
        writeLost();
    }
}

Kor::U64 Messages::lost() const {
    std::lock_guard const lock(mutex_);
    return lost_;
}

void Messages::writeRepeated() {
    if (Kor::U64 const times = std::exchange(repeated_, 0); times != 0) {
        write(lastPriority_,
              "the last message " +
                  (times == 1 ? std::string("once more") : std::to_string(times) + " times more"),
              {});
    }
}

void Messages::writeLost() {
    if (lost_ != told_ && flush()) {
        Kor::U64 const lost = lost_;
        Kor::U64 const count = lost - told_;
        bool const isWritten =
            write(Priority::warning,
                  std::to_string(count) + (count == 1 ? " message was" : " messages were") +
                      " not written: too many at once, or nobody reads them",
                  {});
        told_ = isWritten ? lost : told_;
        lost_ = lost; // of which this line is none
    }
}

bool Messages::mayWrite() {
    auto const now = Clock::now();
    std::chrono::duration<double> const since = now - std::exchange(then_, now);
    room_ = std::min<double>(burst, room_ + since.count() * each);
    if (room_ < 1) {
        return false;
    }
    room_ -= 1;
    return true;
}

/// Whether it is written, or has begun to be; else it is counted.
bool Messages::write(Priority priority, std::string const& message, JournalFields const& fields) {
    constexpr std::size_t longest = 4000;
    std::string const plain = shown(message, longest);
    bool isWritten = true;
    if (journal_.takesFields()) {
        isWritten = journal_.write(static_cast<int>(priority), plain, fields);
    } else {
        bool const isTrace = priority == Priority::debug; // whose form is its own
        std::string line =
            journal_.reads() ? '<' + std::to_string(static_cast<int>(priority)) + '>' : std::string();
        line += journal_.reads() || isTrace ? plain : context_.prefixed(plain);
        isWritten = writeLine(std::move(line += '\n'));
    }
    lost_ += isWritten ? 0 : 1;
    return isWritten;
}

bool Messages::writeLine(std::string line) {
    if (context_.errDescriptor < 0) {
        context_.err << line << std::flush;
        return true;
    }
    if (!flush()) {
        return false;
    }
    rest_ = std::move(line);
    std::size_t const all = rest_.size();
    flush();
    bool const hasBegun = rest_.size() != all;
    if (!hasBegun) {
        rest_.clear();
    }
    return hasBegun;
}

/// What waits goes first; whether nothing waits any more.
bool Messages::flush() {
    while (!rest_.empty()) {
        pollfd room{fd_, POLLOUT, 0};
        if (isCareful_ && ::poll(&room, 1, 0) != 1) {
            return false;
        }
        std::size_t const piece = std::min<std::size_t>(rest_.size(), isCareful_ ? 128 : rest_.size());
        ssize_t const n = isSocket_ ? ::send(fd_, rest_.data(), piece, MSG_DONTWAIT | MSG_NOSIGNAL)
                                    : ::write(fd_, rest_.data(), piece);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        rest_.erase(0, static_cast<std::size_t>(n));
    }
    return true;
}

} // namespace tool
