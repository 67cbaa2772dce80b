#include "owner/IndexAllocator.h"

#include "runtime/Exception.h"

#include <algorithm>
#include <bit>
#include <string>

namespace Hardware::LoamTunnel {

namespace {

constexpr U64 wordBits = 64;

U64 bitOf(U64 at) {
    return U64{1} << (at % wordBits);
}

U64 wordOf(std::vector<U64> const& words, U64 number) {
    return number < words.size() ? words[number] : 0;
}

/// Words are added in doubles, as one at a time would copy all of them again and again.
void growTo(std::vector<U64>& words, U64 number, U64 limit) {
    if (number >= words.size()) {
        words.reserve(std::clamp<std::size_t>(words.size() * 2, number + 1, limit));
        words.resize(number + 1);
    }
}

U64 wordsFor(U64 bits) {
    return (bits + wordBits - 1) / wordBits;
}

} // namespace

IndexAllocator::IndexAllocator(U32 first, U32 capacity) : first_(first), capacity_(capacity) {
    if (capacity != 0 && capacity - 1 > 0xffffffff - first) {
        Kor::throwRangeException(Kor::String8("no " + std::to_string(capacity) + " indexes from " +
                                              std::to_string(first) + " on; the last may be 4294967295"));
    }
    for (U64 words = wordsFor(capacity); words > 1; words = wordsFor(words)) {
        above_.emplace_back();
    }
}

/// Marks a free index as taken.
void IndexAllocator::mark(U64 at) {
    U64 word = at / wordBits;
    U64 limit = wordsFor(capacity_);
    growTo(taken_, word, limit);
    for (Summary& level : above_) {
        word /= wordBits;
        limit = wordsFor(limit);
        growTo(level.full, word, limit);
        growTo(level.some, word, limit);
    }
    // Nothing can fail from here on.
    taken_[at / wordBits] |= bitOf(at);
    ++count_;
    bool isFull = taken_[at / wordBits] == ~U64{0};
    for (Summary& level : above_) {
        at /= wordBits;
        level.some[at / wordBits] |= bitOf(at);
        if (isFull) {
            level.full[at / wordBits] |= bitOf(at);
            isFull = level.full[at / wordBits] == ~U64{0};
        }
    }
}

std::optional<U32> IndexAllocator::take() {
    std::optional<U32> const index = nextFree(first_);
    if (index) {
        mark(*index - first_);
    }
    return index;
}

bool IndexAllocator::take(U32 index) {
    if (!has(index)) {
        Kor::throwRangeException(Kor::String8(
            "index " + std::to_string(index) + " is out of range; there are " +
            (capacity_ == 0 ? "none"
                            : std::to_string(first_) + " to " + std::to_string(first_ + (capacity_ - 1)))));
    }
    if (isTaken(index)) {
        return false;
    }
    mark(index - first_);
    return true;
}

bool IndexAllocator::release(U32 index) noexcept {
    if (!isTaken(index)) {
        return false;
    }
    U64 at = index - first_;
    taken_[at / wordBits] &= ~bitOf(at);
    --count_;
    bool isEmpty = taken_[at / wordBits] == 0;
    for (Summary& level : above_) {
        at /= wordBits;
        level.full[at / wordBits] &= ~bitOf(at);
        if (isEmpty) {
            level.some[at / wordBits] &= ~bitOf(at);
            isEmpty = level.some[at / wordBits] == 0;
        }
    }
    return true;
}

void IndexAllocator::releaseAll() noexcept {
    std::ranges::fill(taken_, 0);
    for (Summary& level : above_) {
        std::ranges::fill(level.full, 0);
        std::ranges::fill(level.some, 0);
    }
    count_ = 0;
}

bool IndexAllocator::isTaken(U32 index) const noexcept {
    return has(index) && (wordOf(taken_, (index - first_) / wordBits) & bitOf(index - first_)) != 0;
}

/// The next index at which a bit is set in all levels: up to the first word that has one behind `from`, and
/// down again to the lowest in it. `bits(level, number)` gives a word, level 0 that of the indexes.
template <class Bits>
std::optional<U32> IndexAllocator::next(U32 from, Bits const& bits) const noexcept {
    U64 at = from > first_ ? from - first_ : 0;
    for (std::size_t level = 0; at < capacity_ && level <= above_.size(); ++level) {
        U64 const found = bits(level, at / wordBits) & (~U64{0} << (at % wordBits));
        if (found != 0) {
            at = at / wordBits * wordBits + static_cast<U64>(std::countr_zero(found));
            while (level > 0) {
                --level;
                at = at * wordBits + static_cast<U64>(std::countr_zero(bits(level, at)));
            }
            return at < capacity_ ? std::optional<U32>(first_ + static_cast<U32>(at)) : std::nullopt;
        }
        at = at / wordBits + 1;
    }
    return std::nullopt;
}

std::optional<U32> IndexAllocator::nextFree(U32 from) const noexcept {
    return next(from, [this](std::size_t level, U64 number) {
        return ~wordOf(level == 0 ? taken_ : above_[level - 1].full, number);
    });
}

std::optional<U32> IndexAllocator::nextTaken(U32 from) const noexcept {
    return next(from, [this](std::size_t level, U64 number) {
        return wordOf(level == 0 ? taken_ : above_[level - 1].some, number);
    });
}

std::size_t IndexAllocator::bytes() const noexcept {
    std::size_t words = taken_.capacity();
    for (Summary const& level : above_) {
        words += level.full.capacity() + level.some.capacity();
    }
    return words * sizeof(U64) + above_.capacity() * sizeof(Summary);
}

} // namespace Hardware::LoamTunnel
