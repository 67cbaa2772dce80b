#include "runtime/String8.h"

#include "runtime/OneAtATime.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>

namespace Kor {

constinit String8::Data::Null String8::Data::nullStringData_;
static_assert(sizeof(String8::Data::Null) == sizeof(String8::Data) + alignof(String8::Data),
              "the NUL of the empty text lies where its characters would");

String8::Data* String8::Data::make(std::size_t length, char*& chars) {
    // Positions within a text are signed 32 bits.
    if (length > static_cast<std::size_t>(std::numeric_limits<S32>::max())) {
        throw std::length_error("Kor::String8");
    }
    void* const storage = ::operator new(sizeof(Data) + length + 1);
    auto* const data = ::new (storage) Data(static_cast<U32>(length));
    chars = static_cast<char*>(storage) + sizeof(Data);
    chars[length] = '\0';
    return data;
}

void String8::Data::release() const noexcept {
    ::operator delete(const_cast<Data*>(this));
}

String8::StringN(char const* text) {
    if (text != nullptr) {
        *this = StringN(std::string_view(text));
    }
}

String8::StringN(std::string_view text) {
    char* chars = nullptr;
    data_ = Data::make(text.size(), chars);
    text.copy(chars, text.size());
}

String8& String8::operator=(StringN const& other) noexcept {
    hold(other.data_);
    drop(std::exchange(data_, other.data_));
    return *this;
}

String8& String8::operator=(StringN&& other) noexcept {
    Data const* const incoming = std::exchange(other.data_, nullptr);
    drop(std::exchange(data_, incoming));
    return *this;
}

void String8::init(char const* text, unsigned int start, unsigned int length) {
    *this = text != nullptr ? StringN(std::string_view(text + start, length)) : StringN();
}

U32 String8::hash() const noexcept {
    return OneAtATime{}.addBytes(reinterpret_cast<U8 const*>(charPtr()), length()).finish();
}

String8 String8::operator+(StringN const& tail) const {
    if (tail.empty()) {
        return *this;
    }
    if (empty()) {
        return tail;
    }
    StringN result;
    char* chars = nullptr;
    Data* const joined = Data::make(std::size_t{length()} + tail.length(), chars);
    drop(std::exchange(result.data_, joined));
    std::memcpy(chars, charPtr(), length());
    std::memcpy(chars + length(), tail.charPtr(), tail.length());
    return result;
}

String8 String8::operator+(char const* tail) const {
    return *this + StringN(tail);
}

U8 String8::IteratorConst::at(S32 offset) const noexcept {
    S64 const where = S64{position_} + offset;
    return where >= 0 && where < S64{text_.length()} ? static_cast<U8>(text_.charPtr()[where]) : U8{0};
}

std::string_view String8::IteratorConst::upTo(IteratorConst const& end) const noexcept {
    S32 const size = static_cast<S32>(text_.length());
    S32 const from = std::max(position_, 0);
    S32 const to = std::min(end.position_, size);
    return from < to
               ? text_.view().substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from))
               : std::string_view{};
}

String8 format(char const* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    std::va_list again;
    va_copy(again, arguments);
    char local[256];
    int const length = std::vsnprintf(local, sizeof local, pattern, arguments);
    va_end(arguments);
    if (length < 0) {
        va_end(again);
        throw std::invalid_argument("Kor::format");
    }
    auto const size = static_cast<std::size_t>(length);
    if (size < sizeof local) {
        va_end(again);
        return String8(std::string_view(local, size));
    }
    auto const text = std::make_unique<char[]>(size + 1);
    std::vsnprintf(text.get(), size + 1, pattern, again);
    va_end(again);
    return String8(std::string_view(text.get(), size));
}

std::ostream& operator<<(std::ostream& out, String8 const& text) {
    return out << text.view();
}

std::ostream& operator<<(std::ostream& out, Name const& name) {
    return out << name.view();
}

} // namespace Kor
