#include "console/Files.h"

#include "console/Failure.h"
#include "forms/Text.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tool {

namespace {

File regular(File file, std::string const& path) {
    struct stat status {};
    if (::fstat(file.fd(), &status) != 0) {
        throw Refused(systemFailure("cannot open", path));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Refused("cannot open " + shown(path) + ": it is no regular file");
    }
    return file;
}

} // namespace

File::~File() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool File::read(void* to, std::size_t n, Kor::U64 at) const noexcept {
    auto* const bytes = static_cast<char*>(to);
    for (std::size_t done = 0; done < n;) {
        ssize_t const now =
            retried([&] { return ::pread(fd_, bytes + done, n - done, static_cast<off_t>(at + done)); });
        if (now <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(now);
    }
    return true;
}

bool File::write(void const* from, std::size_t n, Kor::U64 at) const noexcept {
    auto const* const bytes = static_cast<char const*>(from);
    errno = 0;
    for (std::size_t done = 0; done < n;) {
        ssize_t const now =
            retried([&] { return ::pwrite(fd_, bytes + done, n - done, static_cast<off_t>(at + done)); });
        if (now <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(now);
    }
    return true;
}

std::string systemFailure(std::string const& what, std::string const& path) {
    return what + ' ' + shown(path) + ": " + std::generic_category().message(errno);
}

File openRegular(std::string const& path, int flags) {
    File file(retried(
        [&] { return ::open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (!file) {
        if (errno == ENOENT) {
            return {};
        }
        if (errno == ELOOP) {
            throw Refused("cannot open " + shown(path) + ": it is a symbolic link, and none is followed");
        }
        if (errno == ENXIO) { // a socket, or a FIFO that nobody reads
            throw Refused("cannot open " + shown(path) + ": it is no regular file");
        }
        throw Refused(systemFailure("cannot open", path));
    }
    return regular(std::move(file), path);
}

File openOwn(std::string const& path, int flags) {
    File file = openRegular(path, flags);
    struct stat status {};
    if (file && ::fstat(file.fd(), &status) != 0) {
        throw Refused(systemFailure("cannot open", path));
    }
    if (file && (status.st_uid != ::geteuid() || (status.st_mode & S_IWOTH) != 0)) {
        throw Refused(
            "cannot use " + shown(path) +
            (status.st_uid != ::geteuid() ? ": it belongs to another user" : ": every user may write to it"));
    }
    return file;
}

File makeRegular(std::string const& path) {
    constexpr mode_t ownersAlone = S_IRUSR | S_IWUSR;
    File file(retried([&] {
        return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownersAlone);
    }));
    if (!file || ::fchmod(file.fd(), ownersAlone) != 0) { // which an umask does not change
        throw Refused(systemFailure("cannot make", path));
    }
    return regular(std::move(file), path);
}

} // namespace tool
