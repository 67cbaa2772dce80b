#include "runtime/PlainText.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

using Kor::characterLength;
using Kor::plainJson;
using Kor::plainText;
using Kor::textStart;

TEST(PlainText, KeepsWhatCanBeShownAndReplacesWhatATerminalObeys) {
    std::pair<std::string, std::string> const cases[] = {
        {"", ""},
        {"a b~", "a b~"},
        {"\u00a0\u00e9\u4e2d\U0001f600", "\u00a0\u00e9\u4e2d\U0001f600"},
        {"a\033[31mb\n\tc\x7f", "a?[31mb??c?"},
        {std::string("\0x", 2), "?x"},
        {"\u0080\u009b5n\u009f", "??5n?"},
        {"\u061c\u200e\u200f\u2028\u2029\u202a\u202e\u2066\u2069", "?????????"},
        {"\u061b\u200d\u2010\u2027\u202f\u2065\u206a", "\u061b\u200d\u2010\u2027\u202f\u2065\u206a"},
        {"\x9b"
         "5n",
         "?5n"},                                     // a byte that some terminals take for a C1
        {"\xc3(\xe2\x82", "?(??"},                   // cut characters
        {"\xc0\x8a\xe0\x80\x8a", "?????"},           // a line end in too many bytes
        {"\xed\xa0\x80\xf4\x90\x80\x80", "???????"}, // half of a pair, above the last one
    };
    for (auto const& [text, plain] : cases) {
        EXPECT_EQ(plainText(text), plain);
        EXPECT_EQ(plainText(plainText(text)), plain);
    }
}

TEST(PlainText, EscapesInJsonAndKeepsItsLines) {
    EXPECT_EQ(plainJson("{\n  \"a\u202e\u0085\": \"\u00e9\"\n}"), "{\n  \"a\\u202e\\u0085\": \"\u00e9\"\n}");
}

TEST(PlainText, CutsBetweenCharacters) {
    EXPECT_EQ(textStart("abc", 3), "abc");
    EXPECT_EQ(textStart("abcd", 3), "abc");
    EXPECT_EQ(textStart("a\u4e2d", 3), "a");
    EXPECT_EQ(textStart("a\u4e2db", 4), "a\u4e2d");
    EXPECT_EQ(textStart("a\u4e2d", 0), "");
    EXPECT_EQ(textStart("\x80\x80\x80\x80\x80\x80", 5).size(), 5u); // which is no text anyway
    EXPECT_EQ(characterLength(""), 0u);
}

} // namespace
