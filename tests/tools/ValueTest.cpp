/// Values on their ways between text, JSON, bytes and rows: from within for every type, and as a user sees
/// it.

#include "console/Failure.h"
#include "forms/Values.h"
#include "support/AnyValue.h"
#include "tests/tools/Process.h"

#include <string>
#include <vector>

namespace {

using support::loamtunnel;
using support::Outcome;

TEST(Value, OfEveryTypeGoesThroughJsonAndBytes) {
    support::Random random;
    unsigned withoutBytes = 0;
    for (Kor::KorType const* type : support::textTypes()) {
        for (int round = 0; round < 10; ++round) {
            support::Box const box = support::randomBox(*type, random);
            try {
                std::string const inJson = Kor::Forms::jsonText(*box);
                ASSERT_TRUE(support::areEqual(Kor::Forms::readJson(*type, inJson), box)) << inJson;
            } catch (tool::Refused const& refused) { // the bytes of a string may be no UTF-8
                ASSERT_NE(std::string(refused.what()).find("no UTF-8"), std::string::npos) << refused.what();
            }
            std::string const inShort = Kor::Forms::shortText(*box);
            ASSERT_TRUE(support::areEqual(Kor::Forms::readValue(*type, inShort), box))
                << inShort << ' ' << support::textOf(box);
            if (!support::isStateless(*type)) {
                ASSERT_TRUE(support::areEqual(Kor::Forms::readValue(*type, support::textOf(box)), box))
                    << support::textOf(box);
            }
            try {
                std::string const hex = Kor::Forms::wireText(*box);
                ASSERT_TRUE(support::areEqual(Kor::Forms::readWire(*type, hex), box)) << hex;
            } catch (tool::Refused const& refused) {
                ASSERT_TRUE(std::string(refused.what()).ends_with(" has no byte form")) << refused.what();
                ++withoutBytes;
                break;
            }
        }
    }
    EXPECT_EQ(withoutBytes, 1u); // a list of ports
}

std::string const entryHead = "Value('Hardware::LoamTunnel::AradLifEntry', ** {";
std::string const pendingHead = "Value('Hardware::LoamTunnel::TcamSharingPendingRequest', ** {'entry': "
                                "Value('Hardware::LoamTunnel::TcamSharingEntry', ** {'request': "
                                "Value('Hardware::LoamTunnel::TcamSharingRequest', ** {";

TEST(Value, IsCheckedAndPrintedInEachForm) {
    std::string const entry = entryHead + "'dword0' : 0x64,'lifType': 'lifAcMp'})";
    std::string const pending =
        R"({"insert": true, "entry": {"policyId": 7, "request": {"intfId": "Ethernet5"}}})";
    struct Case {
        std::vector<std::string> arguments;
        std::string out;
    } const cases[] = {
        {{"AradLifEntry", entry}, entryHead + "'lifType': 'lifAcMp', 'dword0': 100, 'dword1': 0})"},
        {{"Hardware::LoamTunnel::AradLifEntry", entry, "--to", "json"},
         R"({"lifType":"lifAcMp","dword0":"100","dword1":"0"})"},
        {{"AradLifEntry", entry, "--to", "wire"},
         "00 00 00 04 00 00 00 00 00 00 00 64 00 00 00 00 00 00 00 00"},
        {{"AradLifEntry", entry, "--to", "row", "-c3,8"},
         "chip=3 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000006\n"
         "chip=8 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000003"},
        {{"TcamSharingPendingRequest", "--from", "json", pending},
         pendingHead +
             "'intfId': 'Ethernet5', 'fapId': 2048, 'l3FloodPortVlanId': 0}), 'policyId': 7}), 'insert': "
             "True})"},
        {{"EvecFormat", "--from", "wire", "--to", "json", "0x00 04,0012"}, R"({"value":262162})"},
        {{"EvecValue", "--from", "json", "--to", "row", "-c3", R"({"word0": 18})"},
         "chip=3 table=EvecTable variant=0 0x00000012 0x00000000"},
        {{"TagsToRemoveOption", " 'removeOneTag' "}, "'removeOneTag'"},
        {{"S32", "--to", "wire", "--", "-5"}, "ff ff ff fb"},
        {{"EedbAcConstants", "--from", "wire", "--to", "json", ""}, "{}"},
        {{"EedbAcConstants", "--from", "json", "--to", "wire", "{}"}, ""},
    };
    for (Case const& each : cases) {
        std::vector<std::string> arguments = each.arguments;
        arguments.insert(arguments.begin(), "value");
        Outcome const outcome = loamtunnel(arguments);
        EXPECT_EQ(outcome.out, each.out + '\n');
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST(Value, IsRefusedInOneLine) {
    std::string const tooLarge = "Value('Hardware::LoamTunnel::AradLifAcP2pToAc', "
                                 "** {'lifType': 'lifAcP2pToAc', 'dword0': 68719476736})";
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string message;
    } const cases[] = {
        {{"AradLifEntry", entryHead + "'dword0': x})"},
         1,
         "AradLifEntry: attribute dword0: expected an integer at column 58"},
        {{"EedbFormat", "'mpls'", "x"},
         1,
         "no EedbFormat is called 'mpls' x; there are invalid, mpls, arp, data, ac, trill and rif"},
        {{"U8", "300"}, 1, "U8: 300 is too large; the field has 8 bits, at most 255"},
        {{"U8", "--", "-300"}, 1, "U8: '-300' is no number such as 20 or 0x14"},
        {{"AradLifEntry", entryHead + "'lifType': 'lifAcMp', 'dword1': -1})"},
         1,
         "AradLifEntry: attribute dword1: -1 would be cut to 18446744073709551615"},
        {{"TcamSharingEntry", "--from", "json", R"({"policyId": 1, "request": {}, "policyId": 2})"},
         1,
         "TcamSharingEntry: policyId is given twice"},
        {{"FapId", "2049"}, 1, "FapId: 2049 is too large; the field has 12 bits, at most 2048"},
        {{"FapId", "--from", "wire", "0801"},
         1,
         "FapId: out of range: FapId::value < FapId::min or > FapId::null not allowed"},
        {{"EedbFormat", "--from", "wire", "00000009"}, 1, "EedbFormat: out of range: EedbFormat"},
        {{"EvecFormat", "--from", "wire", "000401"},
         1,
         "EvecFormat: 3 bytes are too few or too many for its byte form"},
        {{"EvecFormat", "--from", "wire", "0040g2"},
         1,
         "EvecFormat: '0040g2' is no bytes in hexadecimal, two digits each, such as 00 04 or 0x0004"},
        {{"FenPortList", "--to", "wire", "'Vlan1'"}, 1, "Fen::FenPortList has no byte form"},
        {{"TcamSharingRequest", "--from", "json", R"({"fapid": 7})"},
         1,
         "TcamSharingRequest has no field fapid; did you mean fapId?"},
        {{"TcamSharingEntry", "--from", "json", R"({"request": {"fapId": {"value": 65536}}})"},
         1,
         "request.fapId.value: 65536 is too large; the field has 12 bits, at most 2048"},
        {{"TcamSharingEntry", "--from", "json", R"({"request": {"fapId": 2049}})"},
         1,
         "request.fapId: 2049 is too large; the field has 12 bits, at most 2048"},
        {{"TcamSharingEntry", "--from", "json", R"({"request": [[7]]})"},
         1,
         "request: the array is no object of attributes"},
        {{"LifType", "--from", "json", "4"}, 1, "LifType: 4 is no LifType, which is given by name"},
        {{"U64", "--from", "json", "1e3"}, 1, "U64: '1e3' is no number such as 20 or 0x14"},
        {{"U64", "--from", "json", "[1"}, 1, "U64: no JSON, from byte 3 on"},
        {{"EvecKey", "--to", "row", "-c3", "Value('Hardware::LoamTunnel::EvecKey', ** {})"},
         1,
         "EvecKey has no row format; the kinds are AradLifAcP2pToAc, AradLifAcMp, AradLifAcP2pToPwe, "
         "AradLifPweToP2p, AradLifLabelProtocolOrLsp, OutAcValue and EvecValue"},
        {{"AradLifAcP2pToAc", "--to", "row", "-c8", tooLarge},
         1,
         "outLif: 65536 is too large for the row of chip 8, at most 65535"},
        {{"EvecKeyy", "1"}, 2, "no type EvecKeyy; did you mean EvecKey?"},
        {{"", "1"}, 2, "no type '': the name is empty; give one, such as AradLifAcMp"},
        {{"LifAppConfig", "1"}, 2, "LifAppConfig is a type of objects; there is text of values alone"},
        {{"EvecKey"}, 2, "value takes either a value or --file FILE"},
        {{"EvecValue", "1", "--to", "row"}, 2, "--chip CHIP goes with --to row, and --to row with it"},
        {{"EvecValue", "1", "--to", "xml"},
         2,
         "--to: no form xml; there are short, text, json, wire and row; see loamtunnel value --help"},
    };
    for (Case const& each : cases) {
        std::vector<std::string> arguments = each.arguments;
        arguments.insert(arguments.begin(), "value");
        Outcome const outcome = loamtunnel(arguments);
        EXPECT_EQ(outcome.err, "loamtunnel: " + each.message + '\n');
        EXPECT_EQ(outcome.status, each.status) << each.message;
        EXPECT_EQ(outcome.out, "") << each.message;
    }
}

TEST(Value, OfAFileIsOneALine) {
    Outcome const outcome = loamtunnel({"value", "String8", "-f", "-", "--to", "json"},
                                       "\xef\xbb\xbf# names\n'a # b'\n\n  # more\nc\n'd\\'e'\n'\xff'\n'\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "\"a # b\"\n\"c\"\n\"d'e\"\n");
    EXPECT_EQ(
        outcome.err,
        "loamtunnel: stdin:7: '?' has bytes that are no UTF-8, which JSON cannot hold; text and wire can\n"
        "loamtunnel: stdin:8: String8: expected the end of a quoted string at column 1\n");
}

TEST(Value, AsTextEncodesAsItsFieldsDo) {
    std::pair<std::string, std::string> const cases[] = {
        {"AradLifAcMp vsi=100 useInLif=1",
         entryHead + "'lifType': 'lifAcMp', 'dword0': 100, 'dword1': 0x100000000})"},
        {"lifLabelPweP2p modelIsPipe=1",
         "Value('Hardware::LoamTunnel::AradLifPweToP2p',**{'lifType':'lifLabelPweP2p','dword0':16})"},
        {"OutAcValue ac0.format=1 ac1.format=0",
         "Value ( 'Hardware::LoamTunnel::OutAcValue', ** {'word1': 4})"},
        {"EvecValue evec0=5", "EvecValue 0x5"},
    };
    for (auto const& [fields, text] : cases) {
        Outcome const byField = loamtunnel({"encode", "-a", "--rows", fields});
        Outcome const byText = loamtunnel({"encode", "-a", "--rows", "-f", "-"}, text);
        EXPECT_EQ(byField.status, 0) << byField.err;
        EXPECT_EQ(byText.out, byField.out) << text << byText.err;
    }
    EXPECT_EQ(
        loamtunnel({"encode", "-c3", "Value('Hardware::LoamTunnel::AradLif', ** {})"}).err.substr(0, 29),
        "loamtunnel: no type Hardware:");
    EXPECT_EQ(loamtunnel({"encode", "-c3", entryHead + "})"}).err.substr(0, 51),
              "loamtunnel: AradLifEntry of type lifGeneral has no ");
}

} // namespace
