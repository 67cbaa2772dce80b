#pragma once

/// A fixed set of bit positions held in one word.
///
///     Kor::BitSet<29, unsigned int> flags;
///     flags.set(19);                       // positions 0 to 28; others break the contract
///     if (flags.test(19)) { ... }

#include "runtime/Contract.h"

#include <string>

namespace Kor {

template <int bits, class Word>
class BitSet {
    static_assert(bits > 0 && bits <= static_cast<int>(8 * sizeof(Word)));

public:
    constexpr BitSet() noexcept = default;
    /// The word as it stands, bits beyond the last position included.
    constexpr explicit BitSet(Word word) noexcept : word_(word) {}

    constexpr BitSet& set(int pos) {
        word_ |= bit(pos, "set");
        return *this;
    }
    constexpr BitSet& reset(int pos) {
        word_ &= static_cast<Word>(~bit(pos, "reset"));
        return *this;
    }
    constexpr BitSet& setTo(int pos, bool on) { return on ? set(pos) : reset(pos); }
    constexpr bool test(int pos) const { return (word_ & bit(pos, "test")) != 0; }

    constexpr Word word() const noexcept { return word_; }

    friend constexpr bool operator==(BitSet const&, BitSet const&) noexcept = default;

private:
    static constexpr Word bit(int pos, [[maybe_unused]] char const* operation) {
        require(pos >= 0 && pos < bits, [&] {
            return Breach{std::string("Kor::BitSet::") + operation,
                          "pos>=0 && pos<bits, but pos is " + std::to_string(pos)};
        });
        return static_cast<Word>(Word{1} << pos);
    }

    Word word_ = 0;
};

} // namespace Kor
