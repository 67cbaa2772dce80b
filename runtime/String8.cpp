#include "runtime/String8.h"

#include "runtime/OneAtATime.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <ostream>
#include <span>

namespace Kor {

namespace {

constexpr std::size_t longest = std::numeric_limits<U32>::max() - 1;

void checkLength(std::size_t length) {
    if (length > longest) {
        throwRangeException("string too long");
    }
}

} // namespace

// The block of the empty string has static storage: the first reference, that of its constructor, is never
// dropped.
struct String8::Null {
    Data data{0};
    char nul = '\0';
    static Null block;
};

constinit String8::Null String8::Null::block;
constinit String8::Data* const String8::nullStringData_ = &Null::block.data;

Ptr<String8::Data> String8::Data::make(std::size_t length) {
    checkLength(length);
    void* const block = ::operator new(sizeof(Data) + length + 1);
    auto data = Ptr<Data>::adopt(::new (block) Data(static_cast<U32>(length)));
    data->chars()[length] = '\0';
    return data;
}

void String8::Data::free() const noexcept {
    ::operator delete(const_cast<Data*>(this));
}

String8::StringN(std::string_view text) {
    checkLength(text.size());
    init(text.data(), 0, static_cast<unsigned>(text.size()));
}

void String8::init(char const* text, unsigned first, unsigned length) {
    if (text == nullptr || length == 0) {
        data_ = nullStringData_;
        return;
    }
    Ptr<Data> data = Data::make(length);
    std::memcpy(data->chars(), text + first, length);
    data_ = std::move(data);
}

unsigned String8::lengthOf(char const* text) {
    std::size_t const length = text != nullptr ? std::strlen(text) : 0;
    checkLength(length);
    return static_cast<unsigned>(length);
}

U32 String8::hash() const noexcept {
    return OneAtATime{}.add(std::span(reinterpret_cast<U8 const*>(charPtr()), length())).finish();
}

String8 String8::operator+(StringN const& tail) const {
    if (tail.empty()) {
        return *this;
    }
    if (empty()) {
        return tail;
    }
    std::size_t const head = length();
    Ptr<Data> data = Data::make(head + tail.length());
    std::memcpy(data->chars(), charPtr(), head);
    std::memcpy(data->chars() + head, tail.charPtr(), tail.length());
    String8 result;
    result.data_ = std::move(data);
    return result;
}

String8::IteratorConst String8::begin() const noexcept {
    return {data_, 0};
}

String8::IteratorConst String8::end() const noexcept {
    return {data_, length()};
}

std::string_view String8::IteratorConst::until(IteratorConst const& end) const noexcept {
    if (!data_ || data_ != end.data_) {
        return {};
    }
    S64 const first = std::max(position_, S64{0});
    S64 const last = std::min(end.position_, S64{data_->length()});
    return first < last ? std::string_view(data_->chars() + first, static_cast<std::size_t>(last - first))
                        : std::string_view();
}

String8 operator+(char const* head, String8 const& tail) {
    return String8(head) + tail;
}

std::ostream& operator<<(std::ostream& out, String8 const& text) {
    return out << text.view();
}

String8 format(char const* form, ...) {
    std::va_list args;
    va_start(args, form);
    std::va_list again;
    va_copy(again, args);
    char small[256];
    int const length = std::vsnprintf(small, sizeof small, form, args);
    va_end(args);
    String8 result;
    bool const good = length >= 0;
    if (good && static_cast<std::size_t>(length) < sizeof small) {
        va_end(again);
        return String8(std::string_view(small, static_cast<std::size_t>(length)));
    }
    if (good) {
        try {
            std::string large(static_cast<std::size_t>(length), '\0');
            std::vsnprintf(large.data(), large.size() + 1, form, again);
            result = String8(large);
        } catch (...) {
            va_end(again);
            throw;
        }
    }
    va_end(again);
    if (!good) {
        throwRangeException("bad format");
    }
    return result;
}

} // namespace Kor
