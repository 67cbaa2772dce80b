#pragma once

/// Kor::String8, a byte string that is cheap to share, and Kor::Name, the same for names.
///
///     Kor::String8 text = Kor::format("%s-%u", "lif", 7);
///     text += "!";                                  // a new text; whoever shares the old one keeps it
///     std::puts(text.charPtr());
///
/// A string is one counted pointer to an immutable block with length and bytes; copying it copies the
/// pointer. The bytes are any bytes, zeros included, up to 4 GiB; a NUL follows the last, for C interfaces. A
/// null pointer inside reads as the empty string, and so does a null `char const*` argument.
///
/// Each change builds a new block, so `+=` in a loop is quadratic: build long texts in a std::string and
/// convert once. Threads: as for every counted object, runtime/VFPtrInterface.h.

#include "runtime/Ptr.h"

#include <compare>
#include <iosfwd>
#include <string>
#include <string_view>

namespace Kor {

template <class Char>
class StringN;

using String8 = StringN<unsigned char>;

template <>
class KOR_EXPORT StringN<unsigned char> {
public:
    static constexpr std::string_view korTypeName = "Kor::String8";

    /// The shared block: reference word, length, bytes.
    class KOR_EXPORT Data : public VFPtrInterface {
    public:
        U32 length() const noexcept { return length_; }
        char const* chars() const noexcept { return reinterpret_cast<char const*>(this + 1); }
        bool operator==(Data const& other) const noexcept {
            return std::string_view(chars(), length_) == std::string_view(other.chars(), other.length_);
        }

        /// Ends with plain operator delete, with no hook called.
        void referencesDec() const noexcept {
            if (isZero(wordDec())) {
                free();
            }
        }

    private:
        friend class StringN;
        constexpr explicit Data(U32 length) noexcept : length_(length) {}
        [[gnu::noinline]] void free() const noexcept;
        char* chars() noexcept { return reinterpret_cast<char*>(this + 1); }
        /// A block for `length` bytes, which the caller fills; the NUL is there.
        static Ptr<Data> make(std::size_t length);

        U32 length_;
    };

    /// The one block of the empty string.
    static Data* const nullStringData_;

    class IteratorConst;

    StringN() noexcept : data_(nullStringData_) {}
    StringN(char const* text) { init(text, 0, lengthOf(text)); }
    explicit StringN(std::string_view text);
    StringN(std::string const& text) : StringN(std::string_view(text)) {}
    StringN& operator=(char const* text) { return *this = StringN(text); }

    /// Makes the string a copy of `length` bytes of `text`, from byte `first` on. `text` may be the string's
    /// own. A null text counts as empty. A length that does not fit 32 bits throws Kor::RangeException.
    void init(char const* text, unsigned first, unsigned length);

    /// The text with a NUL behind it, never null. It lives as long as a string shares it.
    char const* charPtr() const noexcept { return data_ ? data_->chars() : ""; }
    U32 length() const noexcept { return data_ ? data_->length() : 0; }
    bool empty() const noexcept { return length() == 0; }
    std::string_view view() const noexcept { return {charPtr(), length()}; }

    /// The one-at-a-time hash of the bytes.
    U32 hash() const noexcept;

    StringN operator+(StringN const& tail) const;
    StringN operator+(char const* tail) const { return *this + StringN(tail); }
    StringN& operator+=(StringN const& tail) { return *this = *this + tail; }
    StringN& operator+=(char const* tail) { return *this = *this + tail; }

    IteratorConst begin() const noexcept;
    /// Shares the block of begin(), at the position behind the last byte.
    IteratorConst end() const noexcept;

    friend bool operator==(StringN const& a, StringN const& b) noexcept {
        return a.data_ == b.data_ || a.view() == b.view();
    }
    friend bool operator==(StringN const& a, char const* b) noexcept {
        return a.view() == (b != nullptr ? std::string_view(b) : std::string_view());
    }
    /// Orders by bytes, each as unsigned.
    friend std::strong_ordering operator<=>(StringN const& a, StringN const& b) noexcept {
        return a.view() <=> b.view();
    }

private:
    struct Null;
    static unsigned lengthOf(char const* text);

    Ptr<Data> data_;
};

KOR_EXPORT String8 operator+(char const* head, String8 const& tail);
KOR_EXPORT std::ostream& operator<<(std::ostream& out, String8 const& text);

/// The cursor of text parsing: a place in a string, which it keeps alive.
///
/// A cursor may be moved anywhere, also outside of the string; reading there gives 0. Positions have 64 bits,
/// for strings above 2 GiB, and wrap around.
class KOR_EXPORT StringN<unsigned char>::IteratorConst {
public:
    IteratorConst() noexcept = default;
    IteratorConst(Ptr<Data const> data, S64 position) noexcept
        : data_(std::move(data)), position_(position) {}

    /// The byte here; 0 before the first and behind the last byte.
    unsigned char operator*() const noexcept { return at(position_); }
    unsigned char operator[](S64 ahead) const noexcept { return at(moved(position_, ahead)); }

    IteratorConst& operator++() noexcept { return *this += 1; }
    IteratorConst& operator--() noexcept { return *this += -1; }
    IteratorConst& operator+=(S64 steps) noexcept {
        position_ = moved(position_, steps);
        return *this;
    }
    friend IteratorConst operator+(IteratorConst at, S64 steps) noexcept { return at += steps; }
    /// Bytes from `b` to `a`, both in one string.
    friend S64 operator-(IteratorConst const& a, IteratorConst const& b) noexcept {
        return static_cast<S64>(static_cast<U64>(a.position_) - static_cast<U64>(b.position_));
    }
    friend bool operator==(IteratorConst const& a, IteratorConst const& b) noexcept = default;

    S64 position() const noexcept { return position_; }
    /// The bytes from here up to `end`; empty when `end` is not behind this place in the same string.
    std::string_view until(IteratorConst const& end) const noexcept;

private:
    static S64 moved(S64 position, S64 steps) noexcept {
        return static_cast<S64>(static_cast<U64>(position) + static_cast<U64>(steps));
    }
    unsigned char at(S64 position) const noexcept {
        return data_ && position >= 0 && position < S64{data_->length()}
                   ? static_cast<unsigned char>(data_->chars()[position])
                   : 0;
    }

    Ptr<Data const> data_;
    S64 position_ = 0;
};

/// A name in the object tree: a string under another type, passed by value.
class KOR_EXPORT Name : public String8 {
public:
    // cppcheck-suppress duplInheritedMember
    static constexpr std::string_view korTypeName = "Kor::Name";

    using String8::String8;
    Name() noexcept = default;
    Name(String8 text) noexcept : String8(std::move(text)) {}
};

/// Formats like printf. Text of any length; throws std::bad_alloc, or Kor::RangeException for a bad format.
[[gnu::format(printf, 1, 2)]] KOR_EXPORT String8 format(char const* form, ...);

// clang-format off
consteval auto korTextsOf(std::type_identity<String8>) {
    return texts(
        "", "A byte string that is cheap to share: one counted pointer to bytes that never change",
        "using String8 = StringN<unsigned char>", "Written as a text in quotes",
        "StringN()", "The empty string",
        "StringN(char const* text)", "The text up to its NUL; null counts as empty",
        "explicit StringN(std::string_view text)", "Those bytes, zeros included",
        "StringN(std::string const& text)", "The same",
        "void init(char const* text, unsigned first, unsigned length)", "Makes it a copy of length bytes of text, from byte first on; text may be its own",
        "char const* charPtr() const", "The text with a NUL behind it, never null. It lives as long as a string shares it",
        "U32 length() const", "How many bytes",
        "bool empty() const", "Whether there is none",
        "std::string_view view() const", "The bytes; they live as long as a string shares them",
        "U32 hash() const", "The one-at-a-time hash of the bytes",
        "String8::IteratorConst begin() const", "The place of the first byte",
        "String8::IteratorConst end() const", "The place behind the last byte");
}
// clang-format on
// clang-format off
consteval auto korTextsOf(std::type_identity<Name>) {
    return texts(
        "", "A name in the object tree: a String8 under another type",
        "Name()", "The empty name",
        "Name(String8 text)", "That name",
        "Name(char const* text)", "The same; null counts as empty",
        "Name(std::string const& text)", "The same",
        "explicit Name(std::string_view text)", "The same");
}
// clang-format on

} // namespace Kor

template <>
struct std::hash<Kor::String8> {
    std::size_t operator()(Kor::String8 const& text) const noexcept { return text.hash(); }
};
template <>
struct std::hash<Kor::Name> : std::hash<Kor::String8> {};
