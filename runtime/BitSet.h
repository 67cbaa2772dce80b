#pragma once

/// Kor::BitSet, a fixed set of bit positions in one word.
///
///     Kor::BitSet<29, unsigned> flags(0x4000000);
///     flags.set(4);
///     if (flags.test(26)) { ... }
///
/// Positions run from 0 to bits - 1; another one is a broken contract. The whole word, with what bits it may
/// have above the positions, can be read and replaced.
///
/// A plain value: no allocation, any thread that owns it.

#include "runtime/Contract.h"
#include "runtime/Types.h"

#include <string>

namespace Kor {

template <int bits, class Word>
class BitSet {
    static_assert(bits > 0 && bits <= int{8 * sizeof(Word)});

public:
    constexpr BitSet() noexcept = default;
    constexpr explicit BitSet(Word word) noexcept : word_(word) {}

    constexpr void set(int pos) { word_ |= bit(pos); }
    constexpr void reset(int pos) { word_ &= ~bit(pos); }
    constexpr void bitIs(int pos, bool on) { on ? set(pos) : reset(pos); }
    constexpr bool test(int pos) const { return (word_ & bit(pos)) != 0; }
    constexpr Word word() const noexcept { return word_; }

    friend constexpr bool operator==(BitSet, BitSet) noexcept = default;

private:
    static constexpr Word bit(int pos) {
        require(pos >= 0 && pos < bits, [pos] {
            return Breach{"Kor::BitSet",
                          "position " + std::to_string(pos) + " is not below " + std::to_string(bits)};
        });
        return Word{1} << (static_cast<unsigned>(pos) % (8 * sizeof(Word)));
    }

    Word word_ = 0;
};

} // namespace Kor
