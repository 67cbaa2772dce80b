/// What people and other programs write: JSON within its bounds, fields, and the short form.

#include "forms/Entries.h"
#include "forms/Json.h"
#include "forms/Path.h"
#include "forms/SchemaJson.h"
#include "forms/Text.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Kor::Forms;

std::string refusal(std::function<void()> const& attempt) {
    try {
        attempt();
    } catch (Refused const& refused) {
        return refused.what();
    }
    return "";
}

TEST(Json, IsReadWithinItsBounds) {
    Json const json = parseJson(R"({"a": [1, -2, 1.5e3, true, null, "\u00e9\n"], "b": {}})");
    EXPECT_EQ(json.at("a").members[2].second.text, "1.5e3");
    EXPECT_EQ(json.at("a").members[5].second.text, "\xc3\xa9\n");
    for (bool const isIndented : {false, true}) {
        std::ostringstream text;
        JsonWriter(text, isIndented).value(json);
        EXPECT_EQ(parseJson(text.str()), json) << text.str();
    }
    EXPECT_EQ(refusal([] { parseJson("1e999"); }), "the number is too large, at byte 5");
    EXPECT_EQ(refusal([] { parseJson(R"({"a":1,"a":2})"); }), "a is given twice");
    EXPECT_EQ(refusal([] { parseJson("[1"); }), "no JSON, from byte 3 on");
    EXPECT_EQ(refusal([] { parseJson(std::string(300'000, '[')); }),
              "JSON is nested too deeply: at most 64 objects and arrays in one another");
    std::string keys = "{";
    for (int i = 0; i < 100'000; ++i) {
        keys.append(i > 0 ? ",\"" : "\"").append(std::to_string(i)).append("\":1");
    }
    EXPECT_EQ(parseJson(keys + '}').members.size(), 100'000u); // were it quadratic, this would take a minute
}

TEST(Json, HasNothingThatIsNoUtf8) {
    for (std::string_view const good : {"", "a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
        EXPECT_TRUE(isUtf8(good)) << good;
    }
    for (std::string_view const bad :
         {"\x80", "\xc0\x80", "\xe0\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82"}) {
        EXPECT_FALSE(isUtf8(bad));
        std::ostringstream text;
        JsonWriter(text).string(bad);
        EXPECT_TRUE(isUtf8(text.str()));
    }
}

TEST(Fields, ThatContradictEachOtherAreRefused) {
    EXPECT_EQ(refusal([] { parseEntry("EvecValue evec0=0x7ffff evec0.nTagsToRemove=0"); }),
              "evec0=0x7ffff and evec0.nTagsToRemove=0 name the same bits: evec0 would become 524284; give "
              "one of the two");
    EXPECT_NE(refusal([] { parseEntry("OutAcValue ac0.vid1=1 word0=0xffffffff"); }), "");
    EXPECT_NE(refusal([] { parseEntry("lifLabelProtocolOrLsp vsiMsb=0 vsi=0x6000"); }), "");
    // What agrees is no contradiction, whatever the order.
    EXPECT_EQ(shortText(*parseEntry("EvecValue evec0.nTagsToRemove=3 evec0=0x40003").value),
              shortText(*parseEntry("EvecValue evec0=0x40003 evec0.nTagsToRemove=3").value));
    EXPECT_NE(refusal([] { parseEntry("AradLifAcMp vsi=1 vsi=1"); }), "");
}

TEST(Fields, HaveTheirLimitsInMessages) {
    Kor::KorType const& type = typeNamed("AradLifEntry");
    EXPECT_EQ(fieldNamed(typeNamed("FapId"), "value").most, 2048u);
    EXPECT_EQ(fieldNamed(typeNamed("EvecValue"), "word0").most, 0x3fffffffffu);
    EXPECT_EQ(fieldNamed(typeNamed("AradLifPweToP2p"), "terminationProfile").most, 7u);
    for (std::string const text : {"AradLifAcMp vsi=70000", "AradLifAcMp vsi=0x11170"}) {
        EXPECT_EQ(refusal([&] { readValue(type, text); }),
                  "vsi: " + text.substr(16) + " is too large; the field has 16 bits, at most 65535");
    }
    EXPECT_EQ(
        refusal([&] { readJson(type, R"({"dword0": "18446744073709551616"})"); }),
        "dword0: 18446744073709551616 is too large; the field has 64 bits, at most 18446744073709551615");
    EXPECT_EQ(jsonText(*readJson(type, R"({"dword0": 5, "dword1": "0x10"})")),
              R"({"lifType":"lifGeneral","dword0":"5","dword1":"16"})");
}

// A type tells what it does to bits: tried with all that there are, and with none.
TEST(Fields, AreCheckedAndSetAsTheirTypesTell) {
    auto const isRefused = [](Kor::KorType const& type, std::string const& bytes) {
        return !refusal([&] { readWire(type, bytes); }).empty();
    };
    for (SchemaType const& each : schemaTypes()) {
        Kor::KorType const& type = *each.type;
        std::vector<Argument> const arguments =
            type.isValue() && !type.isEnumType() ? constructorArguments(type) : std::vector<Argument>();
        std::string whole, ones;
        for (Argument const& argument : arguments) {
            ones = wireText(*fieldNamed(type, argument.name).get(*defaultOf(type)));
            std::ranges::replace_if(
                ones, [](char c) { return c != ' '; }, 'f');
            std::string bytes = wireText(*defaultOf(type));
            bytes.replace(whole.size(), ones.size(), ones);
            Kor::Shape const& shape = type.typeAttr()->attr(Kor::String8(argument.name))->shape();
            EXPECT_EQ(isRefused(type, bytes) && !isRefused(*argument.type, ones) &&
                          !isNumberType(*argument.type),
                      shape.checkedOnWire)
                << shortName(type) << '.' << argument.name;
            whole += ones + ' ';
        }
        if (arguments.size() == 1 && isNumberType(*arguments[0].type)) {
            refusal([&] { // where 0 is out of its range
                Box const made = readJson(type, "0");
                EXPECT_EQ(numberOf(*fieldNamed(type, arguments[0].name).get(*made)), type.abilities().always);
            });
        }
    }
}

TEST(Json, OfAnObjectIsReadWhereAShortFormIs) {
    Kor::KorType const& type = typeNamed("EvecKey");
    Box const box = readValue(type, R"( {"fapMask": "0-3", "index": {"value": 4}} )");
    EXPECT_EQ(shortText(*box), "EvecKey fapMask=0-3 index=4");
    EXPECT_EQ(shortText(*readValue(typeNamed("EvecEntry"), R"(key={"fapMask":"0-3"} format=0x40003)")),
              shortText(*readValue(typeNamed("EvecEntry"), "key=(EvecKey fapMask=0-3) format=0x40003")));
    EXPECT_EQ(shortText(*readValue(typeNamed("AradLifEntry"), R"(AradLifAcMp vsi=7)")),
              shortText(*readValue(typeNamed("AradLifEntry"),
                                   jsonText(*readValue(typeNamed("AradLifEntry"), "AradLifAcMp vsi=7")))));
    EXPECT_NE(refusal([&] {
                  readValue(type, R"({"fapMask": "0-3", "indx": 4})", {}, "root.entry[...]");
              }).find("index"),
              std::string::npos);
    EXPECT_NE(refusal([&] { readValue(type, "{"); }), "");
}

TEST(ShortForm, OfANumberThatIsNoEnumeratorIsRead) {
    Kor::KorType const& type = typeNamed("VtAppId");
    Box const box = readValue(type, "VtAppId(99)");
    EXPECT_EQ(shortText(*box), "VtAppId(99)");
    EXPECT_EQ(jsonText(*box), "\"VtAppId(99)\"");
    EXPECT_EQ(numberOf(*readJson(type, "\"VtAppId(99)\"")), 99u);
    EXPECT_EQ(shortText(*readValue(type, "7")), "vtAppMpls");
    EXPECT_EQ(shortText(*readValue(type, "VtAppId(4294967295)")), "VtAppId(-1)"); // as texts have it
    EXPECT_EQ(numberOf(*readValue(type, "VtAppId(-1)")), 0xffffffffu);
    EXPECT_THROW(readValue(type, "VtAppId(-2147483649)"), Refused);
    // Within values, whichever form they have.
    for (char const* const of : {"AradLifEntry lifType=LifType(99) dword0=3",
                                 "VtepToNhIdMapStatusEntry nhId=4 addStatus=TableAddStatus(77)"}) {
        Box const value = readNamed(of);
        EXPECT_EQ(textOf(readNamed(textOf(value))), textOf(value)) << of;
        EXPECT_EQ(jsonText(*readJson(*value->type(), jsonText(*value))), jsonText(*value)) << of;
    }
}

TEST(Paths, LeadToWhatIsPrinted) {
    for (auto const& [name, path] : std::initializer_list<std::pair<char const*, char const*>>{
             {"lif", "lif"},
             {"it's", "'it\\'s'"},
             {"a\\x9b", "'a\\\\x9b'"},
             {"a\x1b[1m", "'a\\x1b[1m'"},
             {"\xc3\xa4\xc2\x9b'\xff", "'\xc3\xa4\\xc2\\x9b\\'\\xff'"},
         }) {
        EXPECT_EQ(rootText(name), path);
        EXPECT_EQ(rootOf(std::string(path) + ".app"), name);
    }
    Roots roots;
    auto const dir = Hardware::LoamTunnel::lifAppConfigDirFactory("its own name");
    roots.add("a [root]", boxOfEntity(dir));
    std::string const root = rootText("a [root]");
    EXPECT_EQ(rootOf(root + ".appConfig"), "a [root]");
    set(roots.at(root + ".appConfig[vtAppMpls]"), "", roots);
    std::string const count = root + ".appConfig[vtAppMpls].reqCount";
    for (int const vsi : {10, 9, 100}) {
        set(roots.at(count + "[AradLifAcMp vsi=" + std::to_string(vsi) + ']'), "3", roots);
    }
    std::vector<std::string> paths;
    walk(roots.at(root), 16, [&](Node const& node) {
        paths.push_back(node.path);
        EXPECT_EQ(roots.at(node.path).path, node.path);
    });
    std::string const key = "[AradLifAcMp vsi=";
    EXPECT_EQ(paths, (std::vector<std::string>{root, root + ".appConfig[vtAppMpls]",
                                               root + ".appConfig[vtAppMpls].app", count + key + "9]",
                                               count + key + "10]", count + key + "100]"}));
    // An object is printed as the path of it.
    std::string const unknown = root + ".appConfig[VtAppId(99)]";
    set(roots.at(unknown), "", roots);
    for (std::string const& path : {paths[1], unknown}) {
        EXPECT_EQ(valueText(Form::shortForm, valueAt(roots.at(path)), &roots), path);
        EXPECT_EQ(valueText(Form::text, valueAt(roots.at(path)), &roots), path);
        set(roots.at(path), path, roots); // which is there already
    }
    EXPECT_THROW(itemsAt(roots.at(count + key + "11]")), NotThere);
    EXPECT_THROW(roots.at(root + ".appConfig[vtAppEvpn].app"), NotThere);
    EXPECT_THROW(del(roots.at(count + key + "11]")), NotThere);
    EXPECT_EQ(numberOf(*del(roots.at(count + key + "9]"))), 3u);
}

} // namespace
