#include "console/Streams.h"

#include "console/Failure.h"
#include "forms/Text.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tool {

FdBuffer::int_type FdBuffer::underflow() {
    ssize_t const n = retried([&] { return ::read(fd_, bytes_.data(), bytes_.size()); });
    if (n < 0) {
        throw Broken(systemFailure("cannot read", name_));
    }
    setg(bytes_.data(), bytes_.data(), bytes_.data() + n);
    return n == 0 ? traits_type::eof() : traits_type::to_int_type(bytes_[0]);
}

FdBuffer::int_type FdBuffer::overflow(int_type c) {
    char const* at = pbase();
    while (at != pptr()) {
        ssize_t const n = retried([&] { return ::write(fd_, at, static_cast<std::size_t>(pptr() - at)); });
        if (n < 0) {
            setp(nullptr, nullptr); // what is lost is told of once
            throw Broken(systemFailure("cannot write", name_));
        }
        at += n;
    }
    setp(bytes_.data(), bytes_.data() + bytes_.size());
    return traits_type::eq_int_type(c, traits_type::eof()) ? traits_type::not_eof(c)
                                                           : sputc(traits_type::to_char_type(c));
}

int FdBuffer::sync() {
    if (pbase() != nullptr) {
        overflow(traits_type::eof());
    }
    return 0;
}

namespace {

File openToRead(std::string const& path) {
    File file(retried([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY); }));
    if (!file) {
        throw Refused(systemFailure("cannot read", path));
    }
    return file;
}

} // namespace

InputFile::InputFile(std::string const& path) : file_(openToRead(path)), stream_(file_.fd(), path) {
    stream_.peek(); // a directory opens, and fails when it is read
    stream_.clear();
}

bool nextLine(std::istream& in, std::string& line, bool isFirst) {
    std::getline(in, line);
    if (!in) {
        if (in.bad()) {
            throw Broken("cannot read the input");
        }
        return false;
    }
    constexpr std::string_view mark = "\xef\xbb\xbf";
    if (isFirst && line.starts_with(mark)) {
        line.erase(0, mark.size());
    }
    return true;
}

} // namespace tool
