#pragma once

/// Shared immutable strings of bytes. A string is one counted pointer, so a copy costs one add; nothing
/// changes the bytes once they are there.
///
///     Kor::String8 text = "lif";
///     text += Kor::String8("/") + "app";
///     std::puts(text.charPtr());
///
/// A default string is empty; so reads a null `char const*`. Bytes may be anything, NUL included. What builds
/// a new text allocates once. A string belongs to one thread, its bytes may be shared between threads when
/// Kor::VFPtrInterface::enableThreadSafePointers is set.

#include "runtime/VFPtrInterface.h"

#include <compare>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Kor {

template <class Char>
class StringN;

/// Used under this name.
using String8 = StringN<unsigned char>;

template <>
class [[gnu::visibility("default")]] StringN<unsigned char> {
public:
    /// The shared bytes: a count, a length, and the characters with a NUL behind them.
    class [[gnu::visibility("default")]] Data : public VFPtrInterface {
    public:
        U32 length() const {
            return length_;
        }
        char const* characters() const {
            return reinterpret_cast<char const*>(this + 1);
        }
        bool operator==(Data const& other) const {
            return length_ == other.length_ && std::memcmp(characters(), other.characters(), length_) == 0;
        }

        /// The copy of a text, with one reference.
        static Data* make(std::string_view text);
        void referencesDec() const {
            if (isZero(wordDec())) {
                ::operator delete(const_cast<Data*>(this));
            }
        }

    private:
        friend class StringN;
        explicit Data(U32 length) : VFPtrInterface(1), length_(length) {}
        ~Data() = default;

        U32 length_;
    };

    class IteratorConst;

    /// The one data of the empty string.
    static Data* const nullStringData_;

    StringN() : data_(nullStringData_) {
        data_->referencesInc();
    }
    StringN(char const* text) {
        init(text, 0, text ? static_cast<U32>(std::strlen(text)) : 0);
    }
    explicit StringN(std::string_view text) {
        init(text.data(), 0, static_cast<U32>(text.size()));
    }
    StringN(StringN const& other) : data_(other.data_) {
        hold();
    }
    StringN(StringN && other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
    ~StringN() {
        drop();
    }

    StringN& operator=(StringN other) noexcept {
        std::swap(data_, other.data_);
        return *this;
    }
    StringN& operator=(char const* text) {
        return *this = StringN(text);
    }

    U32 length() const {
        return data_ ? data_->length() : 0;
    }
    bool empty() const {
        return length() == 0;
    }
    /// NUL-terminated; valid as long as a string holds these bytes.
    char const* charPtr() const {
        return data_ ? data_->characters() : "";
    }
    std::string_view view() const {
        return {charPtr(), length()};
    }

    /// The one-at-a-time hash of the bytes.
    U32 hash() const noexcept;

    IteratorConst begin() const;
    IteratorConst end() const;

    StringN& operator+=(StringN const& other) {
        return *this = *this + other;
    }
    StringN& operator+=(char const* other) {
        return *this = *this + other;
    }
    StringN operator+(char const* other) const {
        return *this + StringN(other);
    }

    friend StringN operator+(StringN const& a, StringN const& b) {
        return joined(a.view(), b.view());
    }
    friend StringN operator+(char const* a, StringN const& b) {
        return StringN(a) + b;
    }

    friend bool operator==(StringN const& a, StringN const& b) {
        return a.data_ == b.data_ || a.view() == b.view();
    }
    friend bool operator==(StringN const& a, char const* b) {
        return a == StringN(b);
    }
    friend std::strong_ordering operator<=>(StringN const& a, StringN const& b) {
        return a.view().compare(b.view()) <=> 0;
    }

private:
    /// Makes the string a copy of `length` bytes of the text, from `start` on.
    void init(char const* text, U32 start, U32 length);
    static StringN joined(std::string_view a, std::string_view b);
    void hold() const {
        if (data_) {
            data_->referencesInc();
        }
    }
    void drop() const {
        if (data_) {
            data_->referencesDec();
        }
    }

    Data* data_ = nullptr;
};

/// A cursor over the bytes of a string, which it keeps alive: the string of text parsing. Reading at or
/// behind the end gives NUL.
class String8::IteratorConst {
public:
    IteratorConst(String8 text, S32 position) : text_(std::move(text)), position_(position) {}

    char operator*() const { return at(0); }
    /// The byte that many places on.
    char at(S32 ahead) const {
        S32 const index = position_ + ahead;
        return index >= 0 && index < static_cast<S32>(text_.length()) ? text_.charPtr()[index] : '\0';
    }
    IteratorConst& operator++() {
        ++position_;
        return *this;
    }
    IteratorConst& operator+=(S32 count) {
        position_ += count;
        return *this;
    }
    S32 position() const { return position_; }
    /// All of the text, whatever the position.
    String8 const& text() const { return text_; }
    friend bool operator==(IteratorConst const& a, IteratorConst const& b) {
        return a.position_ == b.position_;
    }

private:
    String8 text_;
    S32 position_;
};

inline String8::IteratorConst String8::begin() const {
    return {*this, 0};
}
inline String8::IteratorConst String8::end() const {
    return {*this, static_cast<S32>(length())};
}

/// The name of an entity: a string, passed by value.
class Name : public String8 {
public:
    Name() = default;
    Name(char const* text) : String8(text) {}
    Name(String8 text) : String8(std::move(text)) {}
    explicit Name(std::string_view text) : String8(text) {}
};

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& stream, String8 const& text);

/// Formats like printf.
[[gnu::visibility("default"), gnu::format(printf, 1, 2)]] String8 format(char const* form, ...);

} // namespace Kor
