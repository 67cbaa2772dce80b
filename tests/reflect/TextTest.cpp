#include "support/Refusal.h"
#include "support/Values.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

using namespace Kor;
using namespace Hardware::LoamTunnel;
using support::eachValue;
using support::randomValue;

template <class T>
std::string refusal(std::string const& text) {
    return support::refusal([&] { strepToValue<T>(String8(text)); });
}

/// The text with its outermost attributes in reverse order, and blanks around every token.
std::string disordered(std::string const& text) {
    if (!text.starts_with("Value(")) {
        return ' ' + text + "\t ";
    }
    std::size_t const open = text.find('{');
    std::vector<std::string> attributes;
    int depth = 0;
    bool inString = false;
    std::string current;
    for (char const c : text.substr(open + 1, text.size() - open - 3)) {
        inString ^= c == '\'';
        depth += !inString && (c == '{' || c == '(') ? 1 : !inString && (c == '}' || c == ')') ? -1 : 0;
        if (c == ',' && depth == 0 && !inString) {
            attributes.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    attributes.push_back(current);
    std::string result = " Value ( " + text.substr(6, open - 6 - 5) + " ,\n ** { ";
    for (std::size_t i = attributes.size(); i-- > 0;) {
        std::string attribute = attributes[i];
        attribute.replace(attribute.find(':'), 1, " : ");
        result += attribute + (i ? " , " : " ");
    }
    return result + "} ) ";
}

TEST(Text, EveryValueSurvivesIt) {
    support::Random random;
    eachValue([&]<class T>() {
        for (int round = 0; round < 200; ++round) {
            T const value = round == 0 ? T() : randomValue<T>(random);
            String8 const text = valueToStrep(value);
            ASSERT_EQ(strepToValue<T>(text), value) << text;
            std::ostringstream streamed;
            streamed << value;
            ASSERT_EQ(streamed.str(), text.view());
            std::string const other = disordered(std::string(text.view()));
            ASSERT_EQ(strepToValue<T>(String8(other)), value) << other;
        }
    });
}

/// Every change of one character reads as a value or is refused with a RangeException, and so is every
/// beginning.
TEST(Text, DamageIsRefusedOrGivesAValue) {
    support::Random random;
    eachValue([&]<class T>() {
        std::string const text(valueToStrep(randomValue<T>(random)).view());
        for (std::size_t at = 0; at < text.size(); ++at) {
            refusal<T>(text.substr(0, at));
            for (char const c :
                 {'\0', ' ', '\'', '"', '\\', '0', '9', 'z', '-', ',', '{', '}', '(', ')', '\xff'}) {
                std::string damaged = text;
                damaged[at] = c;
                refusal<T>(damaged);
                damaged = text;
                damaged.insert(at, 1, c);
                refusal<T>(damaged);
            }
        }
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
    EXPECT_EQ(strepToValue<EedbAcConstants>("Value('Hardware::LoamTunnel::EedbAcConstants', ** {})"),
              EedbAcConstants());
    EXPECT_THROW(strepToValue<EedbAcConstants>(valueToStrep(EedbAcConstants())), RangeException);
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
        EXPECT_STREQ(exception.what(), "attribute n: expected an integer at column 0");
    }
    EXPECT_EQ(*it, ','); // where the fault is

    String8 const pair = "Value('Hardware::LoamTunnel::OutAcKey', ** {'acFormat': x})";
    it = pair.begin();
    EXPECT_THROW(sequenceToValue(it, pair.end(), static_cast<OutAcKey*>(nullptr)), RangeException);
    EXPECT_EQ(*it, 'x');
}

} // namespace
