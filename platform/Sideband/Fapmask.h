#pragma once

/// A set of forwarding chips, numbered 0 to 127.
///
///     Sideband::Fapmask mask = Sideband::Fapmask::of({0, 3});
///     mask.has(3);                 // true
///     std::cout << mask;           // '0,3'
///     if (mask.isEmpty()) { ... }
///
/// A mask is 16 bytes, ordered and hashed by its four words. Any thread may use its own copy.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "reflect/Value.h"
#include "runtime/Contract.h"
#include "runtime/Exception.h"
#include "runtime/OneAtATime.h"
#include "runtime/Types.h"

#include <compare>
#include <initializer_list>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Sideband {

using Kor::U32;

class Fapmask {
public:
    // clang-format off
    static constexpr auto korTexts = Kor::texts(
        "", "A set of forwarding chips, numbered 0 to 127",
        "static constexpr U32 size = 128", "How many chips there can be",
        "Fapmask()", "The empty set",
        "Fapmask(U32 word0, U32 word1, U32 word2, U32 word3)", "Chip n is bit n % 32 of word n / 32",
        "static Fapmask of(std::initializer_list<U32> chips)", "The set of those chips, each up to 127",
        "bool has(U32 chip) const", "Whether the chip is in the set; false for a number above 127",
        "void hasIs(U32 chip, bool in)", "Puts the chip in or takes it out; requires a number up to 127",
        "bool isEmpty() const", "Whether no chip is in the set",
        "U32 word(U32 index) const", "Word 0, 1, 2 or 3; requires one of these",
        "void foldInto(Kor::OneAtATime& hash) const", "Folds the 16 bytes into a hash",
        "void appendTextTo(std::string& text) const", "Appends the chips in quotes, runs drawn together: '0-3,7'",
        "static std::optional<Fapmask> fromText(std::string_view text)", "The set of such a text without its quotes, or none");
    // clang-format on

    static constexpr U32 size = 128;

    constexpr Fapmask() = default;
    /// Chip n is bit n % 32 of word n / 32.
    constexpr Fapmask(U32 word0, U32 word1, U32 word2, U32 word3) : word_{word0, word1, word2, word3} {}

    /// On an attribute log: 16 bits, of which bit i says that there are any of the chips 16i to 16i + 15,
    /// then those groups in their order, 16 bits each. Bits above 7 raise Kor::RangeException.
    template <Kor::AttrLogReader In>
    Fapmask(In* in, Kor::StreamBogon) {
        U32 const groups = in->nextU16();
        if (groups > 0xff) {
            Kor::throwRangeException("Fapmask has no group of chips above 7");
        }
        for (U32 i = 0; i < 8; ++i) {
            if (((groups >> i) & 1) != 0) {
                word_[i / 2] |= U32{in->nextU16()} << (i % 2 * 16);
            }
        }
    }
    void writeTo(auto& out) const {
        U32 groups = 0;
        for (U32 i = 0; i < 8; ++i) {
            groups |= U32{group(i) != 0} << i;
        }
        out.put(static_cast<Kor::U16>(groups));
        for (U32 i = 0; i < 8; ++i) {
            if (group(i) != 0) {
                out.put(group(i));
            }
        }
    }

    static constexpr Fapmask of(std::initializer_list<U32> chips) {
        Fapmask mask;
        for (U32 const chip : chips) {
            mask.hasIs(chip, true);
        }
        return mask;
    }

    /// False for a number above 127.
    constexpr bool has(U32 chip) const { return chip < size && ((word_[chip / 32] >> (chip % 32)) & 1) != 0; }

    /// Requires a number up to 127.
    constexpr void hasIs(U32 chip, bool in) {
        Kor::require(chip < size, [&] {
            return Kor::Breach{"Sideband::Fapmask::hasIs", "no chip " + std::to_string(chip)};
        });
        if (chip < size) {
            U32 const bit = 1u << (chip % 32);
            word_[chip / 32] = in ? word_[chip / 32] | bit : word_[chip / 32] & ~bit;
        }
    }

    constexpr bool isEmpty() const { return *this == Fapmask(); }

    /// Word 0, 1, 2 or 3; requires one of these.
    constexpr U32 word(U32 index) const {
        Kor::require(index < 4, [&] {
            return Kor::Breach{"Sideband::Fapmask::word", "no word " + std::to_string(index)};
        });
        return index < 4 ? word_[index] : 0;
    }

    /// Folds the 16 bytes in, in memory order.
    constexpr void foldInto(Kor::OneAtATime& hash) const {
        for (U32 const word : word_) {
            hash.add(word);
        }
    }

    /// The chips in quotes, runs drawn together: '0-3,7', or '' for none.
    void appendTextTo(std::string& text) const {
        text += '\'';
        for (U32 chip = 0; chip < size; ++chip) {
            if (!has(chip)) {
                continue;
            }
            U32 last = chip;
            while (has(last + 1)) {
                ++last;
            }
            text.append(text.back() == '\'' ? "" : ",").append(std::to_string(chip));
            if (last != chip) {
                text.append("-").append(std::to_string(last));
            }
            chip = last;
        }
        text += '\'';
    }

    /// The mask of such a text without its quotes, or none.
    KOR_EXPORT static std::optional<Fapmask> fromText(std::string_view text);

    friend constexpr bool operator==(Fapmask const&, Fapmask const&) = default;
    friend constexpr std::strong_ordering operator<=>(Fapmask const&, Fapmask const&) = default;

private:
    constexpr Kor::U16 group(U32 i) const { return static_cast<Kor::U16>(word_[i / 2] >> (i % 2 * 16)); }

    U32 word_[4] = {};
};

KOR_EXPORT std::ostream& operator<<(std::ostream& stream, Fapmask const& mask);

} // namespace Sideband
