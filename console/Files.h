#pragma once

/// Files that the program keeps: opened only if they are regular files, made for their owner alone.
///
///     tool::File const old = tool::openRegular("chip.img", O_RDONLY); // false if there is nothing of that name
///     tool::File const made = tool::makeRegular("chip.img.new");      // mode 0600, whatever the umask
///
/// A symbolic link is never followed, and a FIFO or a device never waited on. Everything throws Refused with
/// the name of the file and the system's reason.

#include "console/Failure.h"
#include "runtime/Types.h"

#include <cerrno>
#include <string>
#include <utility>

namespace tool {

/// A descriptor that is closed with its owner.
class File {
public:
    File() noexcept = default;
    explicit File(int fd) noexcept : fd_(fd) {}
    ~File();
    File(File&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    File& operator=(File&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    explicit operator bool() const noexcept { return fd_ >= 0; }
    int fd() const noexcept { return fd_; }
    /// Gives the descriptor away.
    int release() noexcept { return std::exchange(fd_, -1); }
    /// Whether all of it could be read there.
    bool read(void* to, std::size_t n, Kor::U64 at) const noexcept;
    /// Whether all of it could be written there; errno is 0 or tells why not.
    bool write(void const* from, std::size_t n, Kor::U64 at) const noexcept;

private:
    int fd_ = -1;
};

/// Makes a call of the system again as often as a signal ends it.
template <class Call>
auto retried(Call const& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// Opens with these flags of open(2), without making a file.
File openRegular(std::string const& path, int flags);
/// The same of a file that is this user's, and that not everybody may write to.
File openOwn(std::string const& path, int flags);
/// Makes one to be read and written; Refused if there is anything of that name.
File makeRegular(std::string const& path);

/// "cannot open 'x': no such file or directory", of errno.
std::string systemFailure(std::string const& what, std::string const& path);

} // namespace tool
