#pragma once

/// What every enumeration of the model has, from its C++ declaration alone: the names and numbers of its
/// enumerators, a checked conversion from a number and from a name, and its text.
///
///     enum LifType : U32 { lifGeneral = 0, lifAcP2pToAc = 1, lifAcMp = 4 };
///     KOR_ENUMERATION(LifType)                     // in its namespace, beside it; with what it means as in runtime/Texts.h
///     KOR_ENUMERATION_BODY(LifType)                // in one source file, same namespace
///
/// From then on:
///
///     LifType type = LifTypeInstance(4);           // lifAcMp
///     LifTypeInstance(99);                         // Kor::RangeException, "LifType"
///     stringValue(lifAcMp);                        // "lifAcMp"
///
/// An enumeration is stored in 32 bits, and its numbers lie in 0 to 31. A name is found by a walk over the
/// enumerators; a text is one allocation. Any thread.

#include "reflect/FwkType.h"
#include "runtime/Exception.h"
#include "runtime/String8.h"
#include "runtime/Texts.h"
#include "runtime/TypeName.h"
#include "runtime/Types.h"

#include <array>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Kor {

// Declared for the enumerations; reflect/Text.h has them.
template <class T>
String8 valueToStrep(T const& value);

/// One enumerator: its number and its name.
struct Enumerator {
    U32 number;
    std::string_view name;
};

namespace detail {

inline constexpr U32 enumeratorBound = 32;

/// A number that is no enumerator prints as a cast, "(LifType)12".
template <class E, U32 N>
constexpr std::string_view enumeratorAt() {
    constexpr std::string_view name = printedValue<static_cast<E>(N)>();
    return name.front() == '(' ? std::string_view() : shortName(name);
}

template <class E, U32... N>
constexpr auto enumeratorsOf(std::integer_sequence<U32, N...>) {
    std::array<Enumerator, (std::size_t{0} + ... + !enumeratorAt<E, N>().empty())> all{};
    std::size_t next = 0;
    for (Enumerator const each : {Enumerator{N, enumeratorAt<E, N>()}...}) {
        if (!each.name.empty()) {
            all[next++] = each;
        }
    }
    return all;
}

} // namespace detail

/// The enumerators of E by rising number, which is the order of their declaration.
template <class E>
inline constexpr auto
    enumerators = detail::enumeratorsOf<E>(std::make_integer_sequence<U32, detail::enumeratorBound>());

/// Whether E has an enumerator of that number. One look at a word of bits.
template <class E>
constexpr bool isEnumerator(U32 number) noexcept {
    constexpr U32 bits = [] {
        U32 all = 0;
        for (Enumerator const& each : enumerators<E>) {
            all |= U32{1} << each.number;
        }
        return all;
    }();
    return number < detail::enumeratorBound && (bits >> number & 1) != 0;
}

/// The name of the enumerator, or `word(number)` for a number that is none. Never fails.
template <class E>
std::string enumeratorText(E value, std::string_view word) {
    for (Enumerator const& each : enumerators<E>) {
        if (each.number == static_cast<U32>(value)) {
            return std::string(each.name);
        }
    }
    return std::string(word) + '(' + std::to_string(static_cast<S32>(value)) + ')';
}

/// The enumerator of that number; otherwise a Kor::RangeException with the word.
template <class E>
E enumeratorOfNumber(U32 number, char const* word) {
    if (!isEnumerator<E>(number)) {
        throwRangeException(word);
    }
    return static_cast<E>(number);
}

/// The enumerator of that name; otherwise a Kor::RangeException with the word.
template <class E>
E enumeratorOfName(std::string_view name, char const* word) {
    for (Enumerator const& each : enumerators<E>) {
        if (each.name == name) {
            return static_cast<E>(each.number);
        }
    }
    throwRangeException(word);
}

} // namespace Kor

/// Declares the operations that carry the enumeration's name. Streaming prints the
/// bare name; a number that is no enumerator prints as `LifType(99)`.
#define KOR_ENUMERATION(E, ...)                                                                              \
    using Kor::valueToStrep;                                                                                 \
    KOR_EXPORT std::ostream& operator<<(std::ostream& stream, E value);                                      \
    KOR_ENUMERATION_PARTS(E, KOR_EXPORT, inline, , __VA_ARGS__)

#define KOR_ENUMERATION_BODY(E)                                                                              \
    KOR_ENUMERATION_BODIES(E, , #E)                                                                          \
    std::ostream& operator<<(std::ostream& stream, E value) {                                                \
        return stream << Kor::enumeratorText(value, #E);                                                     \
    }

/// The same within a class: the operations are static, but for the streaming. A wrong number is reported with
/// the outer class's name, a wrong name without.
#define KOR_NESTED_ENUMERATION(E, ...)                                                                       \
    KOR_ENUMERATION_PARTS(E, static, static, friend, __VA_ARGS__)                                            \
    friend Kor::String8 nestedStringValue(E value) {                                                         \
        return stringValue(value);                                                                           \
    }                                                                                                        \
    friend std::ostream& operator<<(std::ostream& stream, E value) {                                         \
        return stream << stringValue(value).view();                                                          \
    }

#define KOR_NESTED_ENUMERATION_BODY(Outer, E) KOR_ENUMERATION_BODIES(E, Outer::, #Outer "::" #E)

/// What both declare, and define.
#define KOR_ENUMERATION_PARTS(E, declared, defined, beside, ...)                                             \
    declared E E##Instance(unsigned int number);                                                             \
    declared E E##Instance(Kor::String8 const& name);                                                        \
    declared Kor::String8 stringValue(E value);                                                              \
    using E##_GenericIf_ = Kor::BoxOf<E>;                                                                    \
    using E##__Type = Kor::TypeOf<E>;                                                                        \
    defined Kor::KorType* _fwkType_##E() {                                                                   \
        return Kor::fwkTypeOf<E>();                                                                          \
    }                                                                                                        \
    beside consteval auto korTextsOf(std::type_identity<E>) {                                                \
        return Kor::texts(__VA_ARGS__);                                                                      \
    }
#define KOR_ENUMERATION_BODIES(E, Outer, word)                                                               \
    Outer E Outer E##Instance(unsigned int number) {                                                         \
        return Kor::enumeratorOfNumber<Outer E>(number, word);                                               \
    }                                                                                                        \
    Outer E Outer E##Instance(Kor::String8 const& name) {                                                    \
        return Kor::enumeratorOfName<Outer E>(name.view(), #E);                                              \
    }                                                                                                        \
    Kor::String8 Outer stringValue(Outer E value) {                                                          \
        return Kor::String8(Kor::enumeratorText(value, word));                                               \
    }
