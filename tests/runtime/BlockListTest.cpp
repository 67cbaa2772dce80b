#include "runtime/BlockList.h"

#include "tests/support/Random.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

using namespace Kor;

namespace {

struct Taken {
    void* block;
    std::size_t size;
    char filling;

    bool isWhole() const {
        return std::string(size, filling) == std::string(static_cast<char const*>(block), size);
    }
};

/// Takes and gives back blocks of all sizes, each filled to its end; `held` are left.
void takeAndGiveBack(support::Random& random, std::vector<Taken>& held) {
    for (int round = 0; round < 20000; ++round) {
        if (held.size() < 60 && random.below(2) == 0) {
            std::size_t const size = random.below(300) + 1;
            held.push_back({detail::newBlock(size), size, static_cast<char>('a' + random.below(26))});
            std::memset(held.back().block, held.back().filling, size);
        } else if (!held.empty()) {
            std::swap(held[random.below(static_cast<U32>(held.size()))], held.back());
            ASSERT_TRUE(held.back().isWhole());
            detail::deleteBlock(held.back().block, held.back().size);
            held.pop_back();
        }
    }
}

/// Of different sizes, given back by the other thread, and after those of a thread that has ended.
TEST(BlockList, BlocksNeverOverlap) {
    support::Random random;
    std::vector<Taken> held;
    takeAndGiveBack(random, held);
    std::thread([&] { takeAndGiveBack(random, held); }).join();
    takeAndGiveBack(random, held);
    for (Taken const& each : held) {
        EXPECT_TRUE(each.isWhole());
        detail::deleteBlock(each.block, each.size);
    }
}

} // namespace
