#include "platform/SiliconKit/AsicBase.h"
#include "support/Random.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

namespace {

using Kor::U32;
using Kor::U8;

bool bitOf(U8 const* bytes, int bit) {
    return (bytes[bit / 8] >> (bit % 8)) & 1;
}

/// One bit at a time, with no knowledge of words.
void setSlowly(U8* buf, U8 const* src, int width, int offset) {
    for (int i = 0; i < width; ++i) {
        U8& byte = buf[(offset + i) / 8];
        U8 const mask = static_cast<U8>(1 << ((offset + i) % 8));
        byte = static_cast<U8>(bitOf(src, i) ? byte | mask : byte & ~mask);
    }
}

TEST(Bits, AnyWidthAtAnyOffsetEqualsOneBitAtATime) {
    support::Random random;
    for (int round = 0; round < 200000; ++round) {
        constexpr int sizes[] = {1, 2, 4, 8, 16, 32};
        int const valueBytes = sizes[random.below(6)];
        int const width = 1 + static_cast<int>(random.below(static_cast<U32>(std::min(valueBytes * 8, 256))));
        int const offset = static_cast<int>(random.below(64));
        int const length = (offset + width + 7) / 8 + static_cast<int>(random.below(9));
        std::array<U8, 64> buffer;
        std::array<U8, 32> value;
        random.fill(buffer.data(), buffer.size());
        random.fill(value.data(), value.size());
        auto expected = buffer;
        setSlowly(expected.data(), value.data(), width, offset);
        SiliconKit::setBuf(buffer.data(), length, value.data(), valueBytes, width, offset);
        ASSERT_EQ(buffer, expected) << "width " << width << " offset " << offset << " length " << length;

        std::array<U8, 32> read{};
        SiliconKit::getBuf(buffer.data(), length, read.data(), valueBytes, width, offset);
        for (int bit = 0; bit < 256; ++bit) {
            ASSERT_EQ(bitOf(read.data(), bit), bit < width && bitOf(value.data(), bit))
                << "bit " << bit << " width " << width << " offset " << offset;
        }
    }
}

TEST(Bits, NothingBeyondTheBufferIsTouched) {
    std::array<U8, 4> buffer{};
    std::array<U8, 8> ones;
    ones.fill(0xff);
    SiliconKit::setBuf(buffer.data(), 2, ones.data(), 8, 40, 4);
    EXPECT_EQ(buffer, (std::array<U8, 4>{0xf0, 0xff, 0, 0}));
    std::array<U8, 8> read{};
    buffer.fill(0xff);
    SiliconKit::getBuf(buffer.data(), 2, read.data(), 8, 40, 4);
    EXPECT_EQ(read, (std::array<U8, 8>{0xff, 0x0f}));
}

} // namespace
