#include "runtime/Ring.h"

#include "tests/support/Random.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <vector>

using namespace Kor;

namespace {

/// Beside a queue that has all in one piece: pieces of every length are written and read in both ways at
/// every place, with the slack used to its end.
TEST(Ring, EachRecordIsInOnePieceWhateverItsPlace) {
    support::Random random;
    constexpr U32 size = 64, slack = 24;
    Ring ring(size, slack);
    std::deque<U8> wanted;
    U8 next = 0;
    bool full = false, empty = false;
    for (int round = 0; round < 20000; ++round) {
        ASSERT_EQ(ring.available(), wanted.size());
        ASSERT_EQ(ring.room(), size - 1 - wanted.size());
        full = full || ring.room() == 0;
        empty = empty || ring.available() == 0;
        if (random.below(2) == 0) {
            U32 const n = random.below(std::min(ring.room(), slack) + 1);
            std::vector<U8> piece(n);
            std::ranges::generate(piece, [&] { return next++; });
            wanted.insert(wanted.end(), piece.begin(), piece.end());
            if (random.below(2) == 0) {
                std::copy(piece.begin(), piece.end(), ring.linearWrite());
                ring.linearWrote(n);
                continue;
            }
            for (std::size_t done = 0; done != n;) {
                std::span<U8> const part = ring.writable();
                std::size_t const some = std::min(part.size(), n - done);
                std::copy_n(piece.begin() + static_cast<std::ptrdiff_t>(done), some, part.begin());
                ring.wrote(static_cast<U32>(some));
                done += some;
            }
        } else {
            bool const linear = random.below(2) == 0;
            std::span<U8 const> part = ring.readable();
            if (linear) {
                U32 const n = random.below(std::min(ring.available(), slack) + 1);
                part = {ring.linearRead(n), n};
            }
            ASSERT_TRUE(std::equal(part.begin(), part.end(), wanted.begin()));
            ring.nextBytes(static_cast<U32>(part.size()));
            wanted.erase(wanted.begin(), wanted.begin() + static_cast<std::ptrdiff_t>(part.size()));
            if (random.below(4) == 0) {
                ring.rewind();
            }
        }
    }
    EXPECT_TRUE(full && empty);
}

} // namespace
