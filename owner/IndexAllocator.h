#pragma once

/// Which indexes of a range are taken: the lowest free one is handed out first. Where an owner has several
/// banks, or gives each application a part of a bank, it has one allocator for each. It is no part of the
/// model: what others must know of an index stands in a status entity.
///
///     IndexAllocator lifs(0, places.capacity());          // owner/LifPlace.h
///     for (auto const& known : journal) {
///         lifs.take(known.index);                         // what was given out before a restart
///     }
///     if (std::optional<U32> const index = lifs.take()) {
///         ...; lifs.release(*index);
///     } else {
///         ...                                             // full
///     }
///     for (U32 const index : lifs) { ... }                // the taken ones, from the lowest
///
/// A bit for each index, in words of 64, and above them words that tell which of 64 words below are full and
/// which are not empty. So taking, releasing and finding cost at most six steps for each way, whatever is
/// taken; the memory is 1 bit for each index up to the highest that was ever taken, and a 31st of that: 17 KB
/// for 131,072. It is allocated as indexes are taken, and kept.
///
/// Copies are independent of each other. One thread at a time; any number may read.

#include "runtime/Types.h"

#include <cstddef>
#include <iterator>
#include <optional>
#include <vector>

namespace Hardware::LoamTunnel {

using Kor::U32;
using Kor::U64;

class KOR_EXPORT IndexAllocator {
public:
    class Iterator;

    /// The indexes `first` to `first + capacity - 1`, all free. Kor::RangeException when the last is above
    /// 0xffffffff. A capacity of 0 is full from the start.
    IndexAllocator(U32 first, U32 capacity);

    U32 first() const noexcept { return first_; }
    U32 capacity() const noexcept { return capacity_; }
    /// How many are taken.
    U32 count() const noexcept { return count_; }
    bool isFull() const noexcept { return count_ == capacity_; }

    /// Takes the lowest free index; none when all are taken. Throws nothing but std::bad_alloc, and then
    /// nothing is taken.
    std::optional<U32> take();

    /// Takes this one. False when it is taken already; Kor::RangeException when it is outside of the range.
    bool take(U32 index);

    /// Frees an index. False when it was not taken, which an index outside of the range never is.
    bool release(U32 index) noexcept;

    /// Frees all.
    void releaseAll() noexcept;

    /// False for an index outside of the range, too.
    bool isTaken(U32 index) const noexcept;

    /// The lowest free or taken index that is not below `from`, which may lie outside of the range; none when
    /// there is none.
    std::optional<U32> nextFree(U32 from) const noexcept;
    std::optional<U32> nextTaken(U32 from) const noexcept;

    /// A walk over the taken indexes, from the lowest. A step finds the next one that is taken by then, so
    /// any index may be taken or released between two steps.
    Iterator begin() const noexcept;
    Iterator end() const noexcept;

    /// The bytes that it has allocated.
    std::size_t bytes() const noexcept;

private:
    using Words = std::vector<U64>;
    /// A bit for each word of the level below. What a level has no word for is neither full nor non-empty.
    struct Summary {
        Words full{};
        Words some{};
    };

    bool has(U32 index) const noexcept { return index >= first_ && index - first_ < capacity_; }
    void mark(U64 at);
    template <class Bits>
    std::optional<U32> next(U32 from, Bits const& bits) const noexcept;

    U32 first_;
    U32 capacity_;
    U32 count_ = 0;
    Words taken_{};
    std::vector<Summary> above_{};
};

/// See begin().
class IndexAllocator::Iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = U32;
    using difference_type = std::ptrdiff_t;
    using pointer = U32 const*;
    using reference = U32;

    Iterator() noexcept = default;

    U32 operator*() const noexcept { return *at_; }
    Iterator& operator++() noexcept {
        at_ = *at_ == 0xffffffff ? std::nullopt : of_->nextTaken(*at_ + 1);
        return *this;
    }
    Iterator operator++(int) noexcept {
        Iterator const before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(Iterator const& a, Iterator const& b) noexcept { return a.at_ == b.at_; }

private:
    friend IndexAllocator;
    Iterator(IndexAllocator const* of, std::optional<U32> at) noexcept : of_(of), at_(at) {}

    IndexAllocator const* of_ = nullptr;
    std::optional<U32> at_{};
};

inline IndexAllocator::Iterator IndexAllocator::begin() const noexcept {
    return {this, nextTaken(first_)};
}
inline IndexAllocator::Iterator IndexAllocator::end() const noexcept {
    return {this, std::nullopt};
}

} // namespace Hardware::LoamTunnel
