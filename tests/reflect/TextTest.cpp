#include "support/AnyValue.h"
#include "support/Refusal.h"
#include "support/Values.h"

#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Kor;
using namespace Hardware::LoamTunnel;
using support::eachValue;
using support::randomValue;

template <class T>
std::string refusal(std::string const& text) {
    return support::refusal([&] { strepToValue<T>(String8(text)); });
}

// What becomes of any other text, TextFuzz tries.
TEST(Text, OfEveryTypeSurvives) {
    support::Random random;
    auto const types = support::textTypes();
    EXPECT_GT(types.size(), 80u);
    for (KorType const* type : types) {
        for (int round = 0; round < 30; ++round) {
            bool const isDefault = round == 0 && !type->isEnumType(); // 0 may be no enumerator
            auto const box = isDefault ? support::defaultBox(*type) : support::randomBox(*type, random);
            std::string const text = support::textOf(box);
            if (support::isStateless(*type)) {
                ASSERT_EQ(text, "") << type->typeName();
                ASSERT_THROW(support::readAny(*type, text), RangeException);
                continue;
            }
            ASSERT_TRUE(support::areEqual(support::readAny(*type, text), box)) << text;
        }
    }
}

/// Were the time of any of these quadratic, or a step of the reader a call within a call, this would not end.
TEST(Text, OfMegabytesIsReadInProportion) {
    std::size_t const size = std::size_t{1} << 21;
    auto const many = [&](std::string const& piece) {
        std::string all;
        while (all.size() < size) {
            all += piece;
        }
        return all;
    };
    std::string const entry = "Value('Hardware::LoamTunnel::AradLifEntry', ** {";
    EXPECT_EQ(strepToValue<EvecFormat>(String8(many(" ") + '5' + many("\t"))), EvecFormat(5));
    EXPECT_EQ(strepToValue<EvecFormat>(String8(many("0") + '5')), EvecFormat(5));
    EXPECT_EQ(strepToValue<String8>(String8('\'' + many("\\x") + '\'')).length(), size / 2);
    EXPECT_EQ(strepToValue<AradLifEntry>(String8(entry + many("'dword0': 7, ") + "'dword1': 1})")),
              AradLifEntry(lifGeneral, 7, 1));
    EXPECT_TRUE(strepToValue<Sideband::Fapmask>(String8('\'' + many("0-9,") + "127'")).has(127));
    EXPECT_GT(strepToValue<Fen::FenPortList>(String8('\'' + many("Vlan1,") + "Vlan2'")).ports().size(),
              size / 8);
    EXPECT_EQ(refusal<AradLifEntry>(many("(")).substr(0, 8), "expected");
    EXPECT_EQ(refusal<EedbFormat>('\'' + many("\\'")),
              "expected the end of a quoted string at column " + std::to_string(size + 1));
    std::string const nested = "Value('Hardware::LoamTunnel::TcamSharingPendingRequest', ** {'entry': ";
    EXPECT_EQ(refusal<TcamSharingPendingRequest>(many(nested)).substr(0, 26), "attribute entry: expected ");
    EXPECT_EQ(refusal<EvecFormat>('5' + many("x")).substr(0, 4), "junk");
}

TEST(Text, StreamsAsItIsWritten) {
    support::Random random;
    eachValue([&]<class T>() {
        T const value = randomValue<T>(random);
        std::ostringstream streamed;
        streamed << value;
        ASSERT_EQ(streamed.str(), valueToStrep(value).view());
        ASSERT_EQ(strepToValue<T>(valueToStrep(value)), value);
    });
}

TEST(Text, SaysWhatIsWrong) {
    std::string const head = "Value('Hardware::LoamTunnel::AradLifEntry', ** {";
    EXPECT_EQ(refusal<AradLifEntry>(head), "premature end of value type AradLifEntry");
    EXPECT_EQ(refusal<AradLifEntry>(head + "'dword0': 1"), "premature end of value type AradLifEntry");
    EXPECT_EQ(refusal<AradLifEntry>(head + "'dword9': 1})"), "AradLifEntry has no such attribute: dword9");
    EXPECT_EQ(refusal<AradLifEntry>(head + "'dword0': 1,})"), "expected a quoted string at column 60");
    EXPECT_EQ(refusal<AradLifEntry>(head + "'dword0': x})"),
              "attribute dword0: expected an integer at column 58");
    EXPECT_EQ(refusal<AradLifEntry>(head + "'lifType': 'mpls'})"), "attribute lifType: LifType");
    EXPECT_EQ(refusal<AradLifEntry>(head + "'dword0': 99999999999999999999})"),
              "attribute dword0: expected an integer of at most 64 bits at column 58");
    EXPECT_EQ(refusal<AradLifEntry>(head + "})"), "accepted");
    EXPECT_EQ(refusal<AradLifEntry>(head + "}) x"),
              "junk at column 51 deserializing Value('Hardware::LoamTunnel::AradLifEntry', ** {}) x");
    EXPECT_EQ(refusal<AradLifAcMp>(head + "})").substr(0, 9), "expected ");
    EXPECT_EQ(refusal<EedbFormat>("'mpls' x"), "junk at column 7 deserializing 'mpls' x");
    EXPECT_EQ(refusal<EedbFormat>("mpls"), "expected a quoted string at column 0");
    EXPECT_EQ(refusal<EedbFormat>("'MPLS'"), "EedbFormat");
    EXPECT_EQ(refusal<EvecFormat>("0x80000"), "EvecFormat::value < 0 or > 0x7ffff not allowed");
    EXPECT_EQ(
        refusal<EvecOwner>("Value('Hardware::LoamTunnel::EvecOwner', ** {'key': Value('Hardware::LoamTunnel::"
                           "EvecKey', ** {'fapMask': '128'})})"),
        "attribute key: attribute fapMask: Fapmask has no such text: 128");
    EXPECT_EQ(refusal<AradLifIndex>("Value('Hardware::LoamTunnel::AradLifIndex', ** {'index': 131073})"),
              "AradLifIndex::index < 0 or > AradLifIndex::null not allowed");
}

TEST(Text, TakesWhatAPersonTypes) {
    EXPECT_EQ(strepToValue<EvecFormat>("5").value(), 0x40005u);
    EXPECT_EQ(strepToValue<OutAcFormat>(" 0xfF "), OutAcFormat(255));
    EXPECT_EQ(strepToValue<OutAcFormat>("-1"), OutAcFormat(~Kor::U64{0}));
    EXPECT_EQ(strepToValue<AradIvecFormat>("0x123456789").word(), 0x23456789u);
    EXPECT_EQ(strepToValue<EedbFormat>("\"mpls\""), Hardware::LoamTunnel::mpls);
    EXPECT_EQ(strepToValue<EedbFormat>("'m\\pls'"), Hardware::LoamTunnel::mpls);
    EXPECT_EQ(strepToValue<bool>(" True"), true);
    EXPECT_EQ(strepToValue<EedbValue>("Value('Hardware::LoamTunnel::EedbValue',**{'word1':1,'word1':2})"),
              EedbValue(0, 2, 0));
    EXPECT_EQ(
        strepToValue<EvecOwner>(" Value ( 'Hardware::LoamTunnel::EvecOwner' ,\n** { 'app' :\t'vtAppMpls' , "
                                "'key' : Value ( 'Hardware::LoamTunnel::EvecKey' , ** { 'index' : 4 , "
                                "'fapMask' : '3' } ) } ) "),
        EvecOwner(EvecKey(Sideband::Fapmask::of({3}), Loam::EvecIndex(4)), Loam::vtAppMpls));
    EXPECT_EQ(strepToValue<EedbAcConstants>("Value('Hardware::LoamTunnel::EedbAcConstants', ** {})"),
              EedbAcConstants());
    EXPECT_THROW(strepToValue<EedbAcConstants>(valueToStrep(EedbAcConstants())), RangeException);
}

TEST(Text, CutsNumbersUnlessTheyAreToBeExact) {
    EXPECT_EQ(strepToValue<Kor::U8>("-300"), 212);
    ExactNumbers const outer;
    { ExactNumbers const inner; }
    EXPECT_EQ(refusal<Kor::U8>("300"), "300 would be cut to 44");
    EXPECT_EQ(refusal<Kor::U8>("+300"), "300 would be cut to 44");
    EXPECT_EQ(refusal<Kor::U8>("-0x12c"), "-300 would be cut to 212");
    EXPECT_EQ(refusal<Kor::U64>("-1"), "-1 would be cut to 18446744073709551615");
    EXPECT_EQ(refusal<Kor::S32>("0x80000000"), "2147483648 would be cut to -2147483648");
    EXPECT_EQ(refusal<Kor::S32>("-18446744073709551615"), "-18446744073709551615 would be cut to 1");
    EXPECT_EQ(
        refusal<EvecOwner>("Value('Hardware::LoamTunnel::EvecOwner', ** {'key': Value('Hardware::LoamTunnel::"
                           "EvecKey', ** {'index': 65536})})"),
        "attribute key: attribute index: attribute value: 65536 would be cut to 0");
    EXPECT_EQ(strepToValue<Kor::U8>("-0"), 0);
    EXPECT_EQ(strepToValue<Kor::U64>("0xffffffffffffffff"), ~Kor::U64{0});
    EXPECT_EQ(strepToValue<Kor::S32>("-2147483648"), std::numeric_limits<Kor::S32>::min());
    EXPECT_EQ(strepToValue<Kor::S64>("-9223372036854775808"), std::numeric_limits<Kor::S64>::min());
}

TEST(Text, ACursorIsLeftBehindWhatWasRead) {
    String8 const text = "'mpls' 7,8";
    auto it = text.begin();
    auto const end = text.end();
    EXPECT_EQ(sequenceToValue(it, end, static_cast<EedbFormat*>(nullptr)), Hardware::LoamTunnel::mpls);
    EXPECT_EQ(it.position(), 7);
    EXPECT_EQ(deserializeAttr(it, end, static_cast<Kor::U16*>(nullptr), "n"), 7);
    EXPECT_EQ(*it, ',');
    try {
        deserializeAttr(it, end, static_cast<Kor::U16*>(nullptr), "n");
        FAIL();
    } catch (RangeException const& exception) {
        EXPECT_STREQ(exception.what(), "attribute n: expected an integer at column 8");
    }
    EXPECT_EQ(*it, ','); // where the fault is

    String8 const pair = "Value('Hardware::LoamTunnel::OutAcKey', ** {'acFormat': x})";
    it = pair.begin();
    EXPECT_THROW(sequenceToValue(it, pair.end(), static_cast<OutAcKey*>(nullptr)), RangeException);
    EXPECT_EQ(*it, 'x');

    String8 const two = "5 0x80000";
    it = two.begin();
    EXPECT_EQ(EvecFormat(it, two.end()).value(), 0x40005u);
    EXPECT_EQ(support::refusal([&] { EvecFormat(it, two.end()); }),
              "EvecFormat::value < 0 or > 0x7ffff not allowed");
    EXPECT_EQ(it, two.end());
    for (S64 const outside : {S64{-1}, S64{10}}) {
        it = two.begin() + outside;
        EXPECT_EQ(support::refusal([&] { EvecValue(it, two.end()); }),
                  "attribute word0: expected an integer at column 9");
        EXPECT_EQ(it.position(), outside);
    }
}

TEST(Text, AVariantReadsAndWritesItsOwnName) {
    String8 const text = Hardware::LoamTunnel::valueToStrep(AradLifAcMp(lifAcMp, 1, 2));
    auto it = text.begin();
    EXPECT_EQ(AradLifAcMp(it, text.end()), AradLifAcMp(lifAcMp, 1, 2));
    it = text.begin();
    EXPECT_THROW(AradLifEntry(it, text.end()), RangeException);
}

TEST(Text, OfAnEnumerationIsFoundWithoutItsNamespace) {
    EXPECT_EQ(valueToStrep(static_cast<EedbFormat>(9)), "'EedbFormat(9)'");
    EXPECT_EQ(valueToStrep(AradIvecFormat::removeOneTag), "'removeOneTag'");
    EXPECT_EQ(support::refusal([] { AradIvecFormat::TagsToRemoveOptionInstance(3u); }),
              "AradIvecFormat::TagsToRemoveOption");
    EXPECT_EQ(refusal<AradIvecFormat::TagsToRemoveOption>("'x'"), "TagsToRemoveOption");
}

} // namespace
