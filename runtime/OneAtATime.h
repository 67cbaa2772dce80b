#pragma once

/// The hash of the values: one byte after the other, in 32-bit arithmetic.
///
///     U32 hash = Kor::OneAtATime().add(lifType).add(dword0).add(dword1).finish();
///
/// Integers go in least significant byte first. Everything is inline and unrolls; nothing allocates or
/// throws.

#include "runtime/Types.h"

#include <concepts>
#include <cstddef>
#include <type_traits>

namespace Kor {

class OneAtATime {
public:
    template <std::unsigned_integral T>
    constexpr OneAtATime& add(T value) noexcept {
        for (std::size_t byte = 0; byte < sizeof(T); ++byte) {
            addByte(static_cast<U8>(value >> (8 * byte)));
        }
        return *this;
    }

    template <class E>
    requires std::is_enum_v<E>
    constexpr OneAtATime& add(E value) noexcept {
        return add(static_cast<std::make_unsigned_t<std::underlying_type_t<E>>>(value));
    }

    constexpr OneAtATime& addBytes(U8 const* bytes, std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            addByte(bytes[i]);
        }
        return *this;
    }

    /// The hash of what has gone in; more can't be added to the result.
    constexpr U32 finish() const noexcept {
        U32 h = state_;
        h += h << 3;
        h ^= h >> 11;
        h += h << 15;
        return h;
    }

private:
    constexpr void addByte(U8 byte) noexcept {
        state_ += byte;
        state_ += state_ << 10;
        state_ ^= state_ >> 6;
    }

    U32 state_ = 0;
};

} // namespace Kor
