#pragma once

/// The one-at-a-time hash, by which values are spread over the buckets of a map and compared between
/// processes.
///
///     U32 h = Kor::OneAtATime{}.add(lifType).add(dword0).add(dword1).finish();
///
/// Fields are folded in declared order, each least significant byte first; a field that has a hash of its own
/// is folded in as that finished hash: `.add(field.hash())`. The width of the argument counts, so give each
/// field with the type that it is stored in. Everything is constexpr, inline and unrolled: about 0.8 ns a
/// byte.
///
/// Any thread; nothing is allocated or thrown.

#include "runtime/Types.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <span>

namespace Kor {

class OneAtATime {
public:
    /// Folds in the bytes of an integer, least significant first. A bool is one byte.
    template <std::unsigned_integral T>
    constexpr OneAtATime& add(T value) noexcept {
        return addInteger(value, std::make_index_sequence<sizeof(T)>());
    }

    /// Folds in the bytes of a fixed block, in order.
    template <std::size_t N>
    constexpr OneAtATime& add(std::array<U8, N> const& block) noexcept {
        return addBlock(block, std::make_index_sequence<N>());
    }

    /// Folds in bytes whose number is known only at run time.
    constexpr OneAtATime& add(std::span<U8 const> bytes) noexcept {
        for (U8 byte : bytes) {
            fold(byte);
        }
        return *this;
    }

    /// The hash of what was folded in so far.
    constexpr U32 finish() const noexcept {
        U32 h = state_;
        h += h << 3;
        h ^= h >> 11;
        h += h << 15;
        return h;
    }

private:
    constexpr void fold(U8 byte) noexcept {
        state_ += byte;
        state_ += state_ << 10;
        state_ ^= state_ >> 6;
    }
    // Inlined, so that the state stays in a register from field to field.
    template <class T, std::size_t... I>
    [[gnu::always_inline]] constexpr OneAtATime& addInteger(T value, std::index_sequence<I...>) noexcept {
        (fold(static_cast<U8>(value >> (8 * I))), ...);
        return *this;
    }
    template <class Block, std::size_t... I>
    constexpr OneAtATime& addBlock(Block const& block, std::index_sequence<I...>) noexcept {
        (fold(block[I]), ...);
        return *this;
    }

    U32 state_ = 0;
};

} // namespace Kor
