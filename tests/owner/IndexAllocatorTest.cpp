#include "owner/IndexAllocator.h"

#include "support/Random.h"
#include "support/Refusal.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace {

using Hardware::LoamTunnel::IndexAllocator;
using Kor::U32;
using Kor::U64;
using Set = std::set<U32>;

/// The lowest number from `from` on that is not in the set, the slow way.
std::optional<U32> lowestFree(Set const& taken, U32 from, U64 end) {
    U64 index = from;
    for (auto at = taken.lower_bound(from); at != taken.end() && *at == index; ++at) {
        ++index;
    }
    return index < end ? std::optional<U32>(static_cast<U32>(index)) : std::nullopt;
}

std::optional<U32> lowestTaken(Set const& taken, U32 from) {
    auto const found = taken.lower_bound(from);
    return found != taken.end() ? std::optional<U32>(*found) : std::nullopt;
}

void expectSame(IndexAllocator const& allocator, Set const& taken) {
    ASSERT_EQ(allocator.count(), taken.size());
    ASSERT_EQ(allocator.isFull(), taken.size() == allocator.capacity());
    ASSERT_TRUE(std::equal(allocator.begin(), allocator.end(), taken.begin(), taken.end()));
}

/// Random operations on an allocator and a set; `fullness` of 100 are takes, so that it fills or empties.
void runBeside(support::Random& random, U32 first, U32 capacity, int steps) {
    SCOPED_TRACE("first " + std::to_string(first) + " capacity " + std::to_string(capacity));
    U64 const end = U64{first} + capacity;
    IndexAllocator allocator(first, capacity);
    Set taken;
    U32 fullness = 50;
    for (int step = 0; step < steps; ++step) {
        if (step % 512 == 0) {
            fullness = random.below(4) * 33;
        }
        // Often near the bounds of words.
        U32 index = first + (capacity == 0 ? 0 : random.below(capacity));
        if (random.below(4) == 0) {
            index = static_cast<U32>(std::min<U64>(end == 0 ? 0 : end - 1, index / 64 * U64{64} + 63));
        }
        U32 const what = random.below(100);
        if (what < fullness / 2) {
            auto const expected = lowestFree(taken, first, end);
            ASSERT_EQ(allocator.take(), expected);
            if (expected) {
                taken.insert(*expected);
            }
        } else if (what < fullness && capacity != 0 && index >= first && index < end) {
            ASSERT_EQ(allocator.take(index), taken.insert(index).second);
        } else if (what < 90) {
            if (random.below(2) == 0 && !taken.empty()) {
                index = *taken.begin();
            }
            ASSERT_EQ(allocator.release(index), taken.erase(index) != 0);
        } else {
            U32 const from = random.below(8) == 0 ? static_cast<U32>(random.next()) : index;
            ASSERT_EQ(allocator.nextFree(from), lowestFree(taken, std::max(from, first), end));
            ASSERT_EQ(allocator.nextTaken(from), lowestTaken(taken, from));
            ASSERT_EQ(allocator.isTaken(from), taken.contains(from));
        }
        if (step % 256 == 0) {
            ASSERT_NO_FATAL_FAILURE(expectSame(allocator, taken));
        }
    }
    IndexAllocator copy = allocator;
    allocator.releaseAll();
    ASSERT_NO_FATAL_FAILURE(expectSame(allocator, {}));
    ASSERT_EQ(allocator.nextFree(0), lowestFree({}, first, end));
    ASSERT_NO_FATAL_FAILURE(expectSame(copy, taken));
}

TEST(IndexAllocator, DoesWhatASetDoes) {
    support::Random random;
    for (U32 const capacity : {0u, 1u, 2u, 63u, 64u, 65u, 127u, 128u, 4095u, 4096u, 4097u, 5000u, 8192u}) {
        for (U32 const first : {0u, 1u, 16384u, 0xffffffffu - 8191}) {
            ASSERT_NO_FATAL_FAILURE(runBeside(random, first, capacity, 3000));
        }
    }
    for (U32 const capacity : {131072u, 262145u, 16777217u, 0xffffffffu}) {
        ASSERT_NO_FATAL_FAILURE(runBeside(random, 0, capacity > 16777217 ? 1u << 20 : capacity, 3000));
    }
}

TEST(IndexAllocator, TheEndsOfTheNumbersAreIndexesToo) {
    IndexAllocator all(0, 0xffffffff);
    EXPECT_EQ(all.take(), 0u);
    EXPECT_EQ(all.nextFree(0xfffffffe), 0xfffffffeu);
    EXPECT_EQ(all.nextFree(0xffffffff), std::nullopt);
    EXPECT_FALSE(all.isTaken(0xffffffff));
}

TEST(IndexAllocator, WhatIsOutsideOfTheRangeIsRefusedInWords) {
    IndexAllocator allocator(16, 32);
    EXPECT_EQ(support::refusal([&] { allocator.take(15); }), "index 15 is out of range; there are 16 to 47");
    EXPECT_EQ(support::refusal([&] { allocator.take(48); }), "index 48 is out of range; there are 16 to 47");
    EXPECT_EQ(support::refusal([] { IndexAllocator(7, 0).take(7); }),
              "index 7 is out of range; there are none");
    EXPECT_EQ(support::refusal([] { IndexAllocator(2, 0xffffffff); }),
              "no 4294967295 indexes from 2 on; the last may be 4294967295");
    EXPECT_EQ(allocator.count(), 0u);
    EXPECT_FALSE(allocator.release(15));
    EXPECT_FALSE(allocator.isTaken(48));
}

TEST(IndexAllocator, AWalkGoesOnWhateverIsTakenAndReleased) {
    IndexAllocator allocator(0, 10000);
    for (U32 i = 0; i < 10000; i += 10) {
        allocator.take(i);
    }
    // Each step releases where it is, takes what lies behind it, and one that it will still meet.
    std::vector<U32> met;
    for (U32 const index : allocator) {
        met.push_back(index);
        allocator.release(index);
        if (index % 10 == 0 && index > 0) {
            allocator.take(index - 1);
            allocator.take(index + 5);
        }
    }
    EXPECT_EQ(met.size(), 1000u + 999u);
    EXPECT_TRUE(std::ranges::is_sorted(met));
    EXPECT_EQ(allocator.count(), 999u);
}

TEST(IndexAllocator, ItsMemoryFollowsTheHighestIndex) {
    IndexAllocator large(0, 0xffffffff);
    EXPECT_LT(large.bytes(), 1000u);
    for (U32 i = 0; i < 64; ++i) {
        large.take();
    }
    EXPECT_LT(large.bytes(), 1000u);
    IndexAllocator lifs(0, 131072);
    lifs.take(131071);
    EXPECT_LT(lifs.bytes(), 131072u / 8 * 32 / 31 + 300);
    while (lifs.take()) {
    }
    EXPECT_LT(lifs.bytes(), 131072u / 8 * 32 / 31 + 300);
}

} // namespace
