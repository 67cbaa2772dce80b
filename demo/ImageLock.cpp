#include "demo/ImageLock.h"

#include "tools/Failure.h"
#include "forms/Text.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

/// False once another process has removed the file, or put a new one in its place.
bool isAt(File const& file, std::string const& path) {
    struct stat mine {};
    struct stat there {};
    return ::fstat(file.fd(), &mine) == 0 && ::lstat(path.c_str(), &there) == 0 &&
           mine.st_dev == there.st_dev && mine.st_ino == there.st_ino;
}

} // namespace

ImageLock::ImageLock(std::string const& image) : path_(image + ".lock") {
    for (;;) {
        File file = openRegular(path_, O_RDONLY);
        if (!file) {
            try {
                file = makeRegular(path_);
            } catch (Refused const&) {
                if (errno == EEXIST) { // another process was faster
                    continue;
                }
                throw;
            }
        }
        if (struct stat status{}; ::fstat(file.fd(), &status) != 0 || status.st_size != 0) {
            throw Refused(shown(path_) + " is in the way: a lock is an empty file");
        }
        if (::flock(file.fd(), LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK) {
                throw Refused("another driver has the chip of " + shown(image) + ": it holds " +
                              shown(path_));
            }
            throw Refused(systemFailure("cannot lock", path_));
        }
        if (isAt(file, path_)) {
            file_ = std::move(file);
            return;
        }
    }
}

ImageLock::~ImageLock() {
    if (isAt(file_, path_)) {
        ::unlink(path_.c_str());
    }
}

} // namespace tool
