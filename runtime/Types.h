#pragma once

/// The scalars of the library: their names, by width in bits, and what they are to a tool.
///
///     U32 const count = 3;                                        // S32 has a sign
///     static_assert(Kor::scalarOf<U32>() == Kor::Scalar::number);
///
/// All of it is known to the compiler. Arithmetic is that of C++: a value that is too large wraps without a
/// word, and ranges are checked where a header says so.

#include "runtime/Texts.h"

#include <cstdint>
#include <type_traits>

/// What programs outside of the library get at: a class, a function, a variable.
#define KOR_EXPORT __attribute__((visibility("default")))

namespace Kor {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using S32 = std::int32_t;
using S64 = std::int64_t;

/// Number of an attribute within its type, see Kor::KorAttr.
using AttributeId = S32;

/// A raw byte buffer that the caller owns.
using BytePtr = U8*;

/// What a type is that has no attributes: what its text is, and how a tool writes and reads it.
enum class Scalar : U8 {
    none,         ///< it has attributes or enumerators, or is an object
    boolean,      ///< True or False
    number,       ///< without a sign; its size says how far it goes
    signedNumber, ///< the same with one
    string,       ///< characters in quotes, also those that stand for something else
    buffer,       ///< bytes of the caller's, which no text tells
};

/// That of a T without attributes.
template <class T>
consteval Scalar scalarOf() {
    if constexpr (std::is_same_v<T, bool>) {
        return Scalar::boolean;
    } else if constexpr (std::is_integral_v<T>) {
        constexpr bool isSigned = std::is_signed_v<T>;
        return isSigned ? Scalar::signedNumber : Scalar::number;
    } else if constexpr (std::is_pointer_v<T>) {
        return Scalar::buffer;
    } else {
        constexpr bool isClass = std::is_class_v<T>;
        return isClass ? Scalar::string : Scalar::none;
    }
}

// clang-format off
consteval auto korTextsOf(std::type_identity<bool>) { return texts("", "True or false: a type of C++ itself, which no header declares"); }
consteval auto korTextsOf(std::type_identity<U8>) { return texts("", "A number of 8 bits", "using U8 = std::uint8_t", "0 to 255"); }
consteval auto korTextsOf(std::type_identity<U16>) { return texts("", "A number of 16 bits", "using U16 = std::uint16_t", "0 to 65535"); }
consteval auto korTextsOf(std::type_identity<U32>) { return texts("", "A number of 32 bits", "using U32 = std::uint32_t", "0 to 4294967295"); }
consteval auto korTextsOf(std::type_identity<U64>) { return texts("", "A number of 64 bits", "using U64 = std::uint64_t", "0 to 18446744073709551615"); }
consteval auto korTextsOf(std::type_identity<S32>) { return texts("", "A number of 32 bits with a sign", "using S32 = std::int32_t", "-2147483648 to 2147483647"); }
consteval auto korTextsOf(std::type_identity<S64>) { return texts("", "A number of 64 bits with a sign", "using S64 = std::int64_t", "-9223372036854775808 to 9223372036854775807"); }
consteval auto korTextsOf(std::type_identity<BytePtr>) { return texts("", "The first of some bytes that the caller owns", "using BytePtr = U8*", "How many they are is said beside it"); }
// clang-format on

} // namespace Kor
