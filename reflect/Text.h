#pragma once

/// The text form of values, which a person can read and type and which reads back into the same value.
///
///     std::cout << key;
///     // Value('Hardware::LoamTunnel::EvecKey', ** {'fapMask': '0', 'index': 4})
///
///     auto same = Kor::strepToValue<EvecKey>(text);       // raises Kor::RangeException for any other text
///
/// A value of one stored attribute is the bare text of that attribute; one of several is the word `Value`,
/// its full name and a brace list of the attributes. An enumerator stands in single quotes, an integer is
/// decimal, a bool is True or False. The reader takes blanks around each token, attributes in any order, the
/// last of one that is given twice, and the default of one that is not; integers also as 0x, with a sign, and
/// cut to the width of the attribute unless the caller asks for ExactNumbers. A range that the value has is
/// checked last.
///
/// Every fault of a text is a Kor::RangeException that says what was wrong. Reading takes time in proportion
/// to the text and allocates nothing for a text that is right, a quoted string apart. Any thread.

#include "reflect/Enumeration.h"
#include "reflect/Value.h"
#include "runtime/Exception.h"
#include "runtime/String8.h"
#include "runtime/TypeName.h"

#include <concepts>
#include <initializer_list>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <typeinfo>

namespace Kor {

class Entity;

/// A value type made by the pattern of reflect/Value.h.
template <class T>
concept PatternValue = detail::Declared<T>;

namespace detail {

/// In single quotes, with a backslash before each quote and backslash.
KOR_EXPORT void appendQuoted(std::string& text, std::string_view inside);

template <class T>
void appendText(std::string& text, T const& value) {
    if constexpr (std::is_same_v<T, bool>) {
        text += value ? "True" : "False";
    } else if constexpr (std::is_enum_v<T>) {
        if constexpr (requires { stringValue(value); }) {
            text.append(1, '\'').append(stringValue(value).view()).append(1, '\'');
        } else { // within a class
            text.append(1, '\'').append(nestedStringValue(value).view()).append(1, '\'');
        }
    } else if constexpr (std::is_integral_v<T>) {
        text += std::to_string(value);
    } else if constexpr (std::derived_from<T, String8>) {
        appendQuoted(text, value.view());
    } else if constexpr (PatternValue<T>) {
        [&]<class... S>(Storage<S...> const& storage) {
            if constexpr (sizeof...(S) == 1) {
                (appendText(text, storage.template at<S>()), ...);
            } else if constexpr (sizeof...(S) > 1) {
                text.append("Value('").append(typeName<T>()).append("', ** {");
                char const* separator = "'";
                ((text.append(separator).append(S::Name::text).append("': "),
                  appendText(text, storage.template at<S>()), separator = ", '"),
                 ...);
                text += "})";
            }
        }(T::storage(value));
    } else {
        value.appendTextTo(text);
    }
}

} // namespace detail

/// The text of a value, an enumerator, an integer, a bool or a string.
template <class T>
String8 valueToStrep(T const& value) {
    std::string text;
    detail::appendText(text, value);
    return String8(text);
}

/// With the standard header for streams.
template <class Traits, PatternValue T>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& stream, T const& value) {
    return stream << valueToStrep(value).view();
}

/// A place in a text that is being read, and the primitives that scan it. Each skips the blanks before and
/// behind what it reads, and raises Kor::RangeException when it finds something else.
class KOR_EXPORT TextScanner {
public:
    explicit TextScanner(std::string_view text, std::size_t position = 0)
        : text_(text), position_(position) {}

    std::size_t position() const { return position_; }
    bool atEnd() const { return position_ >= text_.size(); }
    /// The character here, NUL at the end.
    char current() const { return atEnd() ? '\0' : text_[position_]; }

    void skipBlanks() {
        while (!atEnd() && isBlank(text_[position_])) {
            ++position_;
        }
    }

    /// Matches the pattern, in which a blank stands for any run of white space, also an empty one.
    void needString(std::string_view pattern);

    /// A quoted string, without its quotes: single or double ones, a backslash takes the next character as it
    /// is. The view is into the text or, if there was a backslash, into `storage`.
    std::string_view quoted(std::string& storage);

    /// An integer before it is cut.
    struct Number {
        U64 magnitude;
        bool isNegative;

        /// Modulo 2 to the 64th.
        U64 modulo() const { return isNegative ? U64{0} - magnitude : magnitude; }
        /// Whether that is what the number was.
        template <class T>
        bool is(T kept) const {
            bool const isBelow = std::cmp_less(kept, 0);
            U64 const wide = static_cast<U64>(kept);
            return (isBelow ? U64{0} - wide : wide) == magnitude && isBelow == (isNegative && magnitude != 0);
        }
    };
    /// Decimal or 0x, with a sign; raises for one that does not fit 64 bits.
    Number number();

    bool boolean();

    /// Raises "expected WHAT at column N".
    [[noreturn]] void expected(std::string_view what) const;

private:
    static bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    std::string_view text_;
    std::size_t position_;
};

/// While one lives, readers of this thread refuse a number that the attribute cannot hold, which they cut
/// otherwise: for what a person types.
///
///     Kor::ExactNumbers const exact;
///     Kor::strepToValue<U8>("300");           // Kor::RangeException: 300 would be cut to 44
class KOR_EXPORT ExactNumbers {
public:
    ExactNumbers();
    ~ExactNumbers();
    ExactNumbers(ExactNumbers const&) = delete;
    ExactNumbers& operator=(ExactNumbers const&) = delete;
};

/// Raises the words of an attribute's reader again, with its name.
[[noreturn]] KOR_EXPORT void rethrowFromDeserializeAttr(RangeException const& inner, String8& attribute);

namespace detail {

template <class T>
T readText(TextScanner& scanner);

/// Raises if numbers are to be exact.
KOR_EXPORT void numberIsCut(TextScanner::Number const& number, std::string const& kept);

/// Raises with those words, one behind the other.
[[noreturn]] KOR_EXPORT void refuse(std::initializer_list<std::string_view> words);

template <class T>
T readAttribute(TextScanner& scanner, std::string_view attribute) {
    try {
        return readText<T>(scanner);
    } catch (RangeException const& exception) {
        String8 name(attribute);
        rethrowFromDeserializeAttr(exception, name);
    }
}

template <class T, class... S>
T readValue(TextScanner& scanner, AttributeList<S...>) {
    if constexpr (sizeof...(S) == 1) {
        return T(readAttribute<typename S::Type>(scanner, S::Name::text)...);
    } else {
        for (std::string_view const each : std::initializer_list<std::string_view>{
                 " Value", " (", " '", typeName<T>(), "'", " ,", " **", " {"}) {
            scanner.needString(each);
        }
        std::tuple<typename S::Type...> fields{S::initial()...};
        std::string storage;
        for (bool first = true;; first = false) {
            scanner.skipBlanks();
            if (scanner.atEnd()) {
                refuse({"premature end of value type ", shortTypeName<T>()});
            }
            if (scanner.current() == '}') {
                break;
            }
            if (!first) {
                scanner.needString(", ");
            }
            std::string_view const name = scanner.quoted(storage);
            scanner.needString(" : ");
            bool const known = [&]<std::size_t... I>(std::index_sequence<I...>) {
                return (
                    (name == S::Name::text &&
                     (std::get<I>(fields) = readAttribute<typename S::Type>(scanner, S::Name::text), true)) ||
                    ...);
            }
            (std::index_sequence_for<S...>());
            if (!known) {
                refuse({shortTypeName<T>(), " has no such attribute: ", name});
            }
        }
        scanner.needString("} ");
        scanner.needString(") ");
        return std::apply([](auto const&... values) { return T(values...); }, fields);
    }
}

template <class T>
using StorageTypeOf = std::remove_cvref_t<decltype(T::storage(std::declval<T const&>()))>;
/// The attributes that a value stores; a derived one has those of its base.
template <class T>
using StoredIn = typename StorageTypeOf<T>::Attributes;

/// The object that a reference names; null for None.
KOR_EXPORT Ptr<PtrInterface> readObject(TextScanner& scanner);

template <class T>
T readText(TextScanner& scanner) {
    if constexpr (!std::is_void_v<Pointed<T>>) {
        Ptr<PtrInterface> const found = readObject(scanner);
        T fitting = dynamic_cast<Pointed<T>*>(found.ptr());
        if (found && !fitting) {
            refuse({"the reference is not to a ", typeName<std::remove_const_t<Pointed<T>>>()});
        }
        return fitting;
    } else if constexpr (std::is_same_v<T, bool>) {
        return scanner.boolean();
    } else if constexpr (std::is_integral_v<T>) {
        TextScanner::Number const number = scanner.number();
        T const kept = static_cast<T>(number.modulo());
        if (!number.is(kept)) {
            numberIsCut(number, std::to_string(kept));
        }
        return kept;
    } else if constexpr (PatternValue<T>) {
        return readValue<T>(scanner, StoredIn<T>());
    } else {
        std::string storage;
        std::string_view const inside = scanner.quoted(storage);
        if constexpr (std::derived_from<T, String8>) {
            return T(inside);
        } else if constexpr (std::is_enum_v<T>) {
            static std::string const word(shortTypeName<T>());
            return enumeratorOfName<T>(inside, word.c_str());
        } else {
            std::optional<T> const value = T::fromText(inside);
            if (!value) {
                refuse({shortTypeName<T>(), " has no such text: ", inside});
            }
            return *value;
        }
    }
}

/// Moves a cursor behind what its scanner has read. A cursor outside of its string reads as one at its end.
struct Follow {
    Follow(String8::IteratorConst& cursor, String8::IteratorConst const& end)
        : it(cursor), text((cursor + -cursor.position()).until(end)),
          start(static_cast<std::size_t>(cursor.position()) < text.size() // of a negative one the largest
                    ? static_cast<std::size_t>(cursor.position())
                    : text.size()),
          scanner(text, start) {}
    ~Follow() { it += static_cast<S64>(scanner.position() - start); }
    Follow(Follow const&) = delete;

    String8::IteratorConst& it;
    std::string_view text;
    std::size_t start;
    TextScanner scanner;
};

template <class T>
T readTextAt(String8::IteratorConst& it, String8::IteratorConst const& end) {
    Follow follow(it, end);
    return readText<T>(follow.scanner);
}

} // namespace detail

/// Reads a value, or a reference to an object of the class T, as `T(it, end)` does, and leaves the cursor
/// behind it, or where the fault is when it raises. Columns count from the start of the string.
template <class T>
auto sequenceToValue(String8::IteratorConst& it, String8::IteratorConst const& end, T const* /*tag*/) {
    return detail::readTextAt<std::conditional_t<std::derived_from<T, PtrInterface>, Ptr<T>, T>>(it, end);
}

/// As sequenceToValue, for the attribute of that name: what is raised names it.
template <class T>
T deserializeAttr(String8::IteratorConst& it, String8::IteratorConst const& end, T const* /*tag*/,
                  String8 const& name) {
    detail::Follow follow(it, end);
    return detail::readAttribute<T>(follow.scanner, name.view());
}

/// The value of a whole text. Anything behind it raises "junk at column N deserializing TEXT".
template <class T>
T strepToValue(String8 const& text, T const* /*tag*/ = nullptr) {
    TextScanner scanner(text.view());
    T value = detail::readText<T>(scanner);
    if (!scanner.atEnd()) {
        detail::refuse(
            {"junk at column ", std::to_string(scanner.position()), " deserializing ", text.charPtr()});
    }
    return value;
}

/// Matches a pattern at the cursor and moves behind it, as TextScanner::needString does.
KOR_EXPORT void needString(String8::IteratorConst& it, String8::IteratorConst const& end,
                           char const* pattern);

/// Where references of this thread begin; null for nowhere, so that none is found. The thread holds the root.
/// The text of an entity is its full name in quotes, that of no object None. It is read back by going down
/// from the root: through directories by name, through maps of children by attribute and key. That of an
/// object without a name is not read back.
///
///     Kor::textRootIs(root);
///     Kor::strepToValue<Kor::Ptr<LifAppConfig>>("'loam/lifConfig/appConfig[\\'vtAppMpls\\']'");
KOR_EXPORT void textRootIs(Ptr<Entity> const& root);
/// How a path leads down from an entity: said once, while the library is loaded.
using TextDescent = Ptr<Entity> (*)(Ptr<Entity> from, std::string_view path);
void textDescentIs(TextDescent descent) noexcept;

KOR_EXPORT String8 valueToStrepOfRawPtr(Entity const* object, std::type_info const& type);
KOR_EXPORT String8 valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type);
/// Raises Kor::RangeException for a reference to what there is not.
KOR_EXPORT Ptr<Entity> sequenceToValueOfPtr(String8::IteratorConst& it, String8::IteratorConst const& end,
                                            Entity* tag);
KOR_EXPORT Ptr<PtrInterface> sequenceToValueOfPtr(String8::IteratorConst& it,
                                                  String8::IteratorConst const& end, PtrInterface* tag);
/// Raises Kor::RangeException: what was read before the cursor is no reference to an object of the type.
[[noreturn]] KOR_EXPORT void cannotConvert(String8::IteratorConst const& it,
                                           String8::IteratorConst const& end, std::type_info const& type);

} // namespace Kor
