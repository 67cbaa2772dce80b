#pragma once

#include "runtime/String8.h"

#include <exception>

namespace Kor {

class [[gnu::visibility("default")]] Exception : public std::exception {
public:
    explicit Exception(String8 message) : message_(message) {}
    char const* what() const noexcept override {
        return message_.charPtr();
    }
    String8 const& message() const {
        return message_;
    }

private:
    String8 message_;
};

class [[gnu::visibility("default")]] RangeException : public Exception {
public:
    using Exception::Exception;
};

[[noreturn]] inline void throwRangeException(char const* words) {
    throw RangeException(words);
}

} // namespace Kor
