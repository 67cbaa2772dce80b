#pragma once

/// The hash of all keys: one-at-a-time, 32 bits, fed byte by byte.
///
///     Kor::U32 h = Kor::OneAtATime{}.add(lifType).add(dword0).add(dword1).finish();
///
/// Integers go in least significant byte first, whatever the host's order. A field that has a hash of its own
/// goes in as that hash, four bytes. Everything is inline and unrolled: the cost is about five dependent
/// instructions a byte.

#include "runtime/Types.h"

#include <concepts>
#include <cstddef>
#include <utility>

namespace Kor {

class OneAtATime {
public:
    /// Folds in an unsigned integer of 1, 2, 4 or 8 bytes.
    template <std::unsigned_integral T>
    [[gnu::always_inline]] constexpr OneAtATime& add(T value) noexcept {
        addEach(value, std::make_index_sequence<sizeof(T)>{});
        return *this;
    }

    /// Folds in `size` bytes in memory order.
    [[gnu::always_inline]] constexpr OneAtATime& addBytes(U8 const* bytes, std::size_t size) noexcept {
        for (std::size_t i = 0; i != size; ++i) {
            fold(bytes[i]);
        }
        return *this;
    }

    /// The finished hash. The state stays: more can be added and finished again.
    [[gnu::always_inline]] constexpr U32 finish() const noexcept {
        U32 h = state_;
        h += h << 3;
        h ^= h >> 11;
        h += h << 15;
        return h;
    }

private:
    template <class T, std::size_t... Byte>
    [[gnu::always_inline]] constexpr void addEach(T value, std::index_sequence<Byte...>) noexcept {
        (fold(static_cast<U8>(value >> (8 * Byte))), ...);
    }

    [[gnu::always_inline]] constexpr void fold(U8 byte) noexcept {
        state_ += byte;
        state_ += state_ << 10;
        state_ ^= state_ >> 6;
    }

    U32 state_ = 0;
};

} // namespace Kor
