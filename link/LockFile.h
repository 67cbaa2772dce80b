#pragma once

/// Kor::Link::LockFile, a file by whose lock one process keeps others from what belongs to it.
///
///     auto const lock = Kor::Link::LockFile::take("/run/loam/driver.lock"); // empty if another process has it
///
/// The file is empty, made for its owner alone, and removed with the lock. One that a killed process has left
/// is taken over. A symbolic link is never followed, and a FIFO never waited on. Any thread.

#include "runtime/Types.h"

#include <optional>
#include <string>

namespace Kor::Link {

class KOR_EXPORT LockFile {
public:
    /// Kor::RangeException, with the reason, for a file that cannot be made or locked, is of another user, or
    /// is no empty regular file. The last one is left as it is.
    static std::optional<LockFile> take(std::string const& path);
    ~LockFile();
    LockFile(LockFile&& other) noexcept;
    LockFile& operator=(LockFile&& other) noexcept;

    std::string const& path() const noexcept { return path_; }

private:
    LockFile(std::string const& path, int fd) : path_(path), fd_(fd) {}
    bool isAtPath() const noexcept;

    std::string path_;
    int fd_;
};

} // namespace Kor::Link
