#pragma once

/// Streams on descriptors that end a command where reading or writing fails, with the system's reason, and
/// not as if there were no more.
///
///     tool::InputFile file("rows.txt");
///     for (std::string line; tool::nextLine(file.stream(), line, isFirst); isFirst = false) { ... }
///     // Refused: cannot read rows.txt: Input/output error
///
/// A read or write that a signal ends is made again.

#include "console/Files.h"

#include <array>
#include <istream>
#include <ostream>
#include <streambuf>
#include <string>

namespace tool {

/// Bytes of a descriptor, which stays the caller's.
class FdBuffer : public std::streambuf {
public:
    /// The name stands in messages.
    FdBuffer(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}

protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    int sync() override;

private:
    int fd_;
    std::string name_;
    std::array<char, 65536> bytes_;
};

class FdIn : public std::istream {
public:
    FdIn(int fd, std::string name) : std::istream(nullptr), buffer_(fd, std::move(name)) {
        rdbuf(&buffer_);
        exceptions(badbit);
    }

private:
    FdBuffer buffer_;
};

class FdOut : public std::ostream {
public:
    FdOut(int fd, std::string name) : std::ostream(nullptr), buffer_(fd, std::move(name)) {
        rdbuf(&buffer_);
        exceptions(badbit);
    }

private:
    FdBuffer buffer_;
};

/// A file open for reading. Refused when it cannot be read.
class InputFile {
public:
    explicit InputFile(std::string const& path);
    std::istream& stream() { return stream_; }

private:
    File file_;
    FdIn stream_;
};

/// The next line, without a byte order mark at the beginning of the stream, which `isFirst` tells of; false
/// at the end.
bool nextLine(std::istream& in, std::string& line, bool isFirst);

} // namespace tool
