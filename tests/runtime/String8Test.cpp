#include "runtime/String8.h"

#include "runtime/Exception.h"
#include "runtime/OneAtATime.h"

#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <string>

using namespace Kor;

namespace {

TEST(String8, SharesItsBytesAndReadsNullAsEmpty) {
    char const* const null = nullptr;
    String8 const empty, moved = "text";
    String8 text = "ab";
    String8 shared = text;
    EXPECT_EQ(shared.charPtr(), text.charPtr());
    text += "c";
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(shared, "ab");
    EXPECT_EQ("<" + text + ">" + null, "<abc>");
    text = null;
    EXPECT_EQ(text, empty);
    EXPECT_EQ(text, null);
    EXPECT_FALSE(shared == null);
    String8 const taken = std::move(shared);
    EXPECT_EQ(shared, ""); // NOLINT: a string that was moved from holds null
    EXPECT_STREQ(shared.charPtr(), "");
    EXPECT_EQ(shared.begin(), shared.end());
    EXPECT_EQ(taken, "ab");
}

TEST(String8, CopiesExactlyTheGivenBytesAlsoOfItself) {
    String8 text;
    text.init("hello", 1, 3);
    EXPECT_EQ(text, "ell");
    EXPECT_EQ(text.charPtr()[3], '\0');
    text.init(text.charPtr(), 2, 1);
    EXPECT_EQ(text, "l");
    String8 const zeros(std::string_view("a\0b", 3));
    EXPECT_EQ(zeros.length(), 3u);
    EXPECT_NE(zeros, "a");
    EXPECT_LT(String8("a"), zeros);
    EXPECT_LT(String8("\x7f"), String8("\x80"));
}

TEST(String8, TheCursorKeepsTheTextAndReadsZeroOutside) {
    String8::IteratorConst it, end;
    {
        String8 const text = "xyz";
        it = text.begin();
        end = text.end();
    }
    EXPECT_EQ(end - it, 3);
    std::string read;
    for (auto at = it; at != end; ++at) {
        read += static_cast<char>(*at);
    }
    EXPECT_EQ(read, "xyz");
    EXPECT_EQ(it[1], 'y');
    EXPECT_EQ(*end, 0);
    EXPECT_EQ(*(it + -1), 0);
    EXPECT_EQ((it + 1).until(end), "yz");
    EXPECT_EQ(end.until(it), "");
    EXPECT_EQ(it.until(String8("xyz").end()), "");
    EXPECT_EQ((it + -5).until(it + 50), "xyz");
    constexpr S64 far = std::numeric_limits<S64>::max();
    EXPECT_EQ(*((it + far) + far) + (it + far)[far], 0);
    EXPECT_EQ((it + (S64{1} << 32)) - end, (S64{1} << 32) - 3); // a long string has such places
}

TEST(String8, FormatsTextOfAnyLength) {
    EXPECT_EQ(format("%s-%03u", "lif", 7u), "lif-007");
    for (std::size_t length : {254u, 255u, 256u, 257u, 5000u}) {
        std::string const text(length, 'x');
        EXPECT_EQ(format("%s", text.c_str()).view(), text);
    }
}

TEST(OneAtATime, GivesTheKnownHashesHoweverTheBytesAreFed) {
    static_assert(OneAtATime{}.finish() == 0);
    static_assert(OneAtATime{}.add(U8{'a'}).finish() == 0xca2e9442);
    EXPECT_EQ(String8("The quick brown fox jumps over the lazy dog").hash(), 0x519e91f5u);
    U32 const whole = OneAtATime{}.add(U64{0x0807060504030201}).finish();
    EXPECT_EQ(OneAtATime{}.add(U16{0x0201}).add(U8{3}).add(U8{4}).add(U32{0x08070605}).finish(), whole);
    EXPECT_EQ(OneAtATime{}.add(std::array<U8, 8>{1, 2, 3, 4, 5, 6, 7, 8}).finish(), whole);
    EXPECT_EQ(String8("\1\2\3\4\5\6\7\10").hash(), whole);
}

TEST(Exception, CarriesMessageAndIdsThroughCopies) {
    try {
        throwRangeException(format("value %d", 9));
    } catch (Exception const& error) {
        Exception const copy = error;
        EXPECT_EQ(copy.message(), "value 9");
        EXPECT_TRUE(copy.hasId(Exception::Id::range));
        EXPECT_FALSE(copy.hasId(Exception::Id::attrLogEntity));
        EXPECT_TRUE(copy.byCaller());
    }
    EXPECT_THROW(throwInternalException("odd"), InternalException);
    AttrLogEntityException const wrong;
    EXPECT_STREQ(static_cast<std::exception const&>(wrong).what(), "Entity is the wrong type");
    EXPECT_EQ(wrong.ids(), Exception::IdBitArray().add(Exception::Id{42}));
    RangeException const both("both", Exception::IdBitArray().add(Exception::Id{42}));
    EXPECT_TRUE(both.hasId(Exception::Id{12}) && both.hasId(Exception::Id{42}));
}

TEST(Expect, KnowsWhatTheCodeUpTheStackIsPreparedFor) {
    auto const range = RangeException("").ids();
    EXPECT_FALSE(Expect::isExpected(range));
    {
        Expect const outer(Exception::Id::range);
        {
            Expect const inner(Exception::Id::attrLogEntity);
            EXPECT_TRUE(Expect::isExpected(range));
            EXPECT_FALSE(Expect::isExpected(InternalException("").ids()));
            Expect const any(Exception::Id::none);
            EXPECT_TRUE(Expect::isExpected(InternalException("").ids()));
        }
        EXPECT_FALSE(Expect::isExpected(AttrLogEntityException().ids()));
    }
    EXPECT_FALSE(Expect::isExpected(range));
}

} // namespace
