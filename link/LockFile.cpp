#include "link/LockFile.h"

#include "link/internal/Socket.h"
#include "runtime/Exception.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Kor::Link {

namespace {

[[noreturn]] void refuse(std::string const& path, char const* why) {
    throwRangeException(format("cannot lock %s: %s", path.c_str(), why));
}
[[noreturn]] void refuse(std::string const& path, int error) {
    refuse(path, error == ELOOP ? "it is a symbolic link, and none is followed" : errorText(error).charPtr());
}

int openedAgain(std::string const& path, int flags, mode_t mode = 0) {
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

/// Opens or makes it; -1 if it was there, but no longer.
int opened(std::string const& path) {
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    constexpr mode_t ownersAlone = S_IRUSR | S_IWUSR;
    int const made = openedAgain(path, flags | O_CREAT | O_EXCL, ownersAlone);
    if (made >= 0) {
        ::fchmod(made, ownersAlone); // which an umask does not change
        return made;
    }
    if (errno == EEXIST) {
        int const there = openedAgain(path, flags);
        if (there >= 0 || errno == ENOENT) {
            return there;
        }
    }
    refuse(path, errno);
}

} // namespace

std::optional<LockFile> LockFile::take(std::string const& path) {
    for (;;) {
        int const fd = opened(path);
        if (fd < 0) {
            continue;
        }
        LockFile file(path, -1); // which removes nothing, until it is locked
        Socket descriptor(fd);
        struct stat status {};
        if (::fstat(fd, &status) != 0) {
            refuse(path, errno);
        }
        if (!S_ISREG(status.st_mode) || status.st_size != 0) {
            refuse(path, "it is in the way: a lock is an empty file");
        }
        if (status.st_uid != ownUid()) {
            refuse(path, format("it belongs to user %u", status.st_uid).charPtr());
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK) {
                return {};
            }
            refuse(path, errno);
        }
        file.fd_ = descriptor.release();
        if (file.isAtPath()) {
            return file;
        }
    }
}

LockFile::~LockFile() {
    if (fd_ >= 0) {
        if (isAtPath()) {
            ::unlink(path_.c_str());
        }
        ::close(fd_);
    }
}

LockFile::LockFile(LockFile&& other) noexcept
    : path_(std::move(other.path_)), fd_(std::exchange(other.fd_, -1)) {}

LockFile& LockFile::operator=(LockFile&& other) noexcept {
    std::swap(path_, other.path_);
    std::swap(fd_, other.fd_);
    return *this;
}

/// False once another process has removed the file, or put a new one in its place.
bool LockFile::isAtPath() const noexcept {
    struct stat mine {};
    struct stat there {};
    return ::fstat(fd_, &mine) == 0 && ::lstat(path_.c_str(), &there) == 0 && mine.st_dev == there.st_dev &&
           mine.st_ino == there.st_ino;
}

} // namespace Kor::Link
