#pragma once

/// Byte strings that are cheap to share, and the printf-like formatter that makes them.
///
///     Kor::String8 s = Kor::format("unable to convert %u", value);
///     Kor::String8 t = "LifEntry: " + s;      // a new text; `s` is untouched
///     std::puts(t.charPtr());
///
/// A string is one counted pointer to an immutable text. Copying costs one count and no allocation; every
/// operation that makes a new text costs one allocation, `+=` included. Bytes are never interpreted: a text
/// may hold any byte, NUL too. The default string, and a string whose pointer is null, are empty. Counts
/// follow the same switch as those of all counted objects (runtime/VFPtrInterface.h).

#include "runtime/Types.h"
#include "runtime/VFPtrInterface.h"

#include <compare>
#include <cstddef>
#include <iosfwd>
#include <string_view>
#include <utility>

namespace Kor {

template <class Char>
class StringN;

template <>
class [[gnu::visibility("default")]] StringN<unsigned char> {
public:
    class Data;
    class IteratorConst;

    StringN() noexcept;
    /// A copy of the text; null reads as the empty text.
    StringN(char const* text);
    StringN(std::string_view text);
    StringN(StringN const& other) noexcept;
    StringN(StringN && other) noexcept : data_(other.data_) {
        other.data_ = nullptr;
    }
    ~StringN() {
        drop(data_);
    }

    StringN& operator=(StringN const& other) noexcept;
    StringN& operator=(StringN&& other) noexcept;
    StringN& operator=(char const* text) {
        return *this = StringN(text);
    }

    /// Makes the string a copy of the `length` bytes that start at `text + start`.
    void init(char const* text, unsigned int start, unsigned int length);

    /// NUL-terminated, never null, valid as long as this string or a copy of it holds the text.
    char const* charPtr() const noexcept;
    unsigned int length() const noexcept;
    bool empty() const noexcept {
        return length() == 0;
    }
    std::string_view view() const noexcept {
        return {charPtr(), length()};
    }
    operator std::string_view() const noexcept {
        return view();
    }

    IteratorConst begin() const noexcept;
    IteratorConst end() const noexcept;

    /// The one-at-a-time hash of the bytes.
    U32 hash() const noexcept;

    /// Concatenation. A null text counts as empty.
    StringN operator+(StringN const& tail) const;
    StringN operator+(char const* tail) const;
    StringN& operator+=(StringN const& tail) {
        return *this = *this + tail;
    }
    StringN& operator+=(char const* tail) {
        return *this = *this + tail;
    }

    friend StringN operator+(char const* head, StringN const& tail) {
        return StringN(head) + tail;
    }
    friend bool operator==(StringN const& a, StringN const& b) noexcept {
        return a.view() == b.view();
    }
    friend bool operator==(StringN const& a, char const* b) {
        return a == StringN(b);
    }
    friend std::strong_ordering operator<=>(StringN const& a, StringN const& b) noexcept {
        return a.view() <=> b.view();
    }

    /// The one shared text of the empty string.
    static Data& nullStringData() noexcept;

private:
    friend class IteratorConst;
    static void hold(Data const* data) noexcept;
    static void drop(Data const* data) noexcept;

    Data const* data_ = nullptr;
};

using String8 = StringN<unsigned char>;

/// The shared text: reference word, length, characters and a closing NUL. It has no virtual table, and is
/// released with plain `operator delete` when its count reaches zero.
class [[gnu::visibility("default")]] StringN<unsigned char>::Data : public VFPtrInterface {
public:
    unsigned int length() const noexcept {
        return length_;
    }
    char const* chars() const noexcept {
        return reinterpret_cast<char const*>(this) + sizeof(Data);
    }
    std::string_view view() const noexcept {
        return {chars(), length_};
    }

    /// Equality by length and bytes.
    friend bool operator==(Data const& a, Data const& b) noexcept {
        return a.view() == b.view();
    }

    /// Drops one reference; the last one releases the text.
    void referencesDec() const noexcept {
        if (isZero(wordDec())) {
            release();
        }
    }

    /// A new text with one reference and room for `length` bytes, and where its bytes go.
    static Data* make(std::size_t length, char*& chars);

    struct Null;
    static Null nullStringData_;

private:
    [[gnu::noinline]] void release() const noexcept;
    constexpr explicit Data(U32 length) noexcept : length_(length) {}
    U32 length_;
};

/// The empty text needs storage for its NUL behind it.
struct StringN<unsigned char>::Data::Null {
    Data data{0};
    char nul = '\0';
};

inline StringN<unsigned char>::Data& StringN<unsigned char>::nullStringData() noexcept {
    return Data::nullStringData_.data;
}

inline void StringN<unsigned char>::hold(Data const* data) noexcept {
    if (data != nullptr) {
        data->referencesInc();
    }
}

inline void StringN<unsigned char>::drop(Data const* data) noexcept {
    if (data != nullptr) {
        data->referencesDec();
    }
}

inline StringN<unsigned char>::StringN() noexcept : data_(&nullStringData()) {
    hold(data_);
}

inline StringN<unsigned char>::StringN(StringN const& other) noexcept : data_(other.data_) {
    hold(data_);
}

inline char const* StringN<unsigned char>::charPtr() const noexcept {
    return data_ != nullptr ? data_->chars() : "";
}

inline unsigned int StringN<unsigned char>::length() const noexcept {
    return data_ != nullptr ? data_->length() : 0;
}

/// The cursor of text parsing: it shares the text, so that it outlives the string it came from. `*` gives the
/// byte at the position, and 0 at or beyond either end, so that a parser needs no test before it looks.
class [[gnu::visibility("default")]] StringN<unsigned char>::IteratorConst {
public:
    IteratorConst() = default;
    IteratorConst(StringN const& text, S32 position) noexcept : text_(text), position_(position) {}

    U8 operator*() const noexcept {
        return at(0);
    }
    /// The byte `offset` places on, 0 outside the text.
    U8 at(S32 offset) const noexcept;
    IteratorConst& operator++() noexcept {
        ++position_;
        return *this;
    }
    IteratorConst& operator--() noexcept {
        --position_;
        return *this;
    }
    IteratorConst& operator+=(S32 by) noexcept {
        position_ += by;
        return *this;
    }
    S32 position() const noexcept {
        return position_;
    }
    StringN const& string() const noexcept {
        return text_;
    }
    /// What lies from here up to `end`, an iterator of the same text; empty when `end` is not beyond.
    std::string_view upTo(IteratorConst const& end) const noexcept;

    /// Same text and same position. Cursors of different strings are never equal.
    friend bool operator==(IteratorConst const& a, IteratorConst const& b) noexcept {
        return a.sameTextAs(b) && a.position_ == b.position_;
    }

private:
    bool sameTextAs(IteratorConst const& other) const noexcept {
        return text_.data_ == other.text_.data_;
    }

    StringN text_;
    S32 position_ = 0;
};

inline StringN<unsigned char>::IteratorConst StringN<unsigned char>::begin() const noexcept {
    return {*this, 0};
}

inline StringN<unsigned char>::IteratorConst StringN<unsigned char>::end() const noexcept {
    return {*this, static_cast<S32>(length())};
}

/// The name of an entity: a string that is passed by value and has no operations of a text.
class [[gnu::visibility("default")]] Name {
public:
    Name() = default;
    Name(String8 text) noexcept : text_(std::move(text)) {}
    Name(char const* text) : text_(text) {}
    Name(std::string_view text) : text_(text) {}

    String8 const& string() const noexcept {
        return text_;
    }
    operator String8 const&() const noexcept {
        return text_;
    }
    char const* charPtr() const noexcept {
        return text_.charPtr();
    }
    std::string_view view() const noexcept {
        return text_.view();
    }
    bool empty() const noexcept {
        return text_.empty();
    }
    U32 hash() const noexcept {
        return text_.hash();
    }

    friend bool operator==(Name const& a, Name const& b) noexcept {
        return a.text_ == b.text_;
    }
    friend std::strong_ordering operator<=>(Name const& a, Name const& b) noexcept {
        return a.text_ <=> b.text_;
    }

private:
    String8 text_;
};

/// Text formatted as by printf. `%s` takes `charPtr()`.
[[nodiscard, gnu::visibility("default"), gnu::format(printf, 1, 2)]] String8 format(char const* pattern, ...);

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, String8 const& text);
[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, Name const& name);

} // namespace Kor
