#pragma once

/// The scalar names of the library: unsigned by width in bits, and the signed 32 bits.

#include <cstdint>

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

} // namespace Kor
