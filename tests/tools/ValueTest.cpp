/// Values on their ways between text, JSON, bytes and rows, as a user sees it.

#include "tests/tools/Process.h"

#include <string>
#include <vector>

namespace {

using support::ends;
using support::loamtunnel;
using support::Outcome;

std::string const entryHead = "Value('Hardware::LoamTunnel::AradLifEntry', ** {";
std::string const pendingHead = "Value('Hardware::LoamTunnel::TcamSharingPendingRequest', ** {'entry': "
                                "Value('Hardware::LoamTunnel::TcamSharingEntry', ** {'request': "
                                "Value('Hardware::LoamTunnel::TcamSharingRequest', ** {";

TEST(Value, IsCheckedAndPrintedInEachForm) {
    std::string const entry = entryHead + "'dword0' : 0x64,'lifType': 'lifAcMp'})";
    std::string const pending =
        R"({"insert": true, "entry": {"policyId": 7, "request": {"intfId": "Ethernet5"}}})";
    for (auto [arguments, out] : support::Table<std::vector<std::string>, std::string>{
             {{"AradLifEntry", entry}, entryHead + "'lifType': 'lifAcMp', 'dword0': 100, 'dword1': 0})"},
             {{"Hardware::LoamTunnel::AradLifEntry", entry, "--to", "json"},
              R"({"lifType":"lifAcMp","dword0":"100","dword1":"0"})"},
             {{"AradLifEntry", entry, "--to", "row", "-c3,8"},
              "chip=3 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000006\n"
              "chip=8 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000003"},
             {{"TcamSharingPendingRequest", "--from", "json", pending},
              pendingHead + "'intfId': 'Ethernet5', 'fapId': 2048, 'l3FloodPortVlanId': 0}), 'policyId': "
                            "7}), 'insert': "
                            "True})"},
             {{"EvecFormat", "--from", "wire", "--to", "json", "0x00 04,0012"}, R"({"value":262162})"},
             {{"TagsToRemoveOption", " 'removeOneTag' "}, "'removeOneTag'"},
             {{"S32", "--to", "wire", "--", "-5"}, "ff ff ff fb"},
             {{"EedbAcConstants", "--from", "wire", "--to", "json", ""}, "{}"},
             {{"EedbAcConstants", "--from", "json", "--to", "wire", "{}"}, ""},
         }) {
        arguments.insert(arguments.begin(), "value");
        Outcome const outcome = loamtunnel(arguments);
        EXPECT_EQ(outcome.out, out + '\n');
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST(Value, IsRefusedInOneLine) {
    support::expectRefused(
        1,
        {
            {{"value", "EedbFormat", "'mpls'", "x"},
             "no EedbFormat is called 'mpls' x; there are invalid, mpls, arp, data, ac, trill and rif"},
            {{"value", "U8", "--", "-300"}, "U8: '-300' is no number such as 20 or 0x14"},
            {{"value", "AradLifEntry", entryHead + "'lifType': 'lifAcMp', 'dword1': -1})"},
             "AradLifEntry: attribute dword1: -1 would be cut to 18446744073709551615"},
            {{"value", "FapId", "--from", "wire", "0801"},
             "FapId: out of range: FapId::value < FapId::min or > FapId::null not allowed"},
            {{"value", "EedbFormat", "--from", "wire", "00000009"}, "EedbFormat: out of range: EedbFormat"},
            {{"value", "EvecFormat", "--from", "wire", "000401"},
             "EvecFormat: 3 bytes are too few or too many for its byte form"},
            {{"value", "EvecFormat", "--from", "wire", "0040g2"},
             "EvecFormat: '0040g2' is no bytes in hexadecimal, two digits each, such as 00 04 or 0x0004"},
            {{"value", "FenPortList", "--to", "wire", "'Vlan1'"}, "Fen::FenPortList has no byte form"},
            {{"value", "TcamSharingEntry", "--from", "json", R"({"request": {"fapId": {"value": 2049}}})"},
             "request.fapId.value: 2049 is too large; the field has 12 bits, at most 2048"},
            {{"value", "TcamSharingEntry", "--from", "json", R"({"request": [[7]]})"},
             "request: the array is no object of attributes"},
            {{"value", "LifType", "--from", "json", "4"}, "LifType: 4 is no LifType, which is given by name"},
            {{"value", "U64", "--from", "json", "1e3"}, "U64: '1e3' is no number such as 20 or 0x14"},
            {{"value", "EvecKey", "--to", "row", "-c3", "Value('Hardware::LoamTunnel::EvecKey', ** {})"},
             "EvecKey has no row format; the kinds are AradLifAcP2pToAc, AradLifAcMp, AradLifAcP2pToPwe, "
             "AradLifPweToP2p, AradLifLabelProtocolOrLsp, OutAcValue and EvecValue"},
        });
    support::expectRefused(
        2, {
               {{"value", "EvecKeyy", "1"}, "no type EvecKeyy; did you mean EvecKey?"},
               {{"value", "", "1"}, "no type '': the name is empty; give one, such as AradLifAcMp"},
               {{"value", "LifAppConfig", "1"},
                "LifAppConfig is a type of objects; there is text of values alone"},
               {{"value", "EvecKey"}, "value takes either a value or --file FILE"},
               {{"value", "EvecValue", "1", "--to", "row"},
                "--chip CHIP goes with --to row, and --to row with it"},
               {{"value", "EvecValue", "1", "--to", "xml"},
                "--to: no form xml; there are short, text, json, wire and row; see loamtunnel value --help"},
           });
}

TEST(Value, OfAFileIsOneALine) {
    Outcome const outcome = loamtunnel({"value", "String8", "-f", "-", "--to", "json"},
                                       "\xef\xbb\xbf# names\n'a # b'\n\n  # more\nc\n'd\\'e'\n'\xff'\n'\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "\"a # b\"\n\"c\"\n\"d'e\"\n");
    EXPECT_EQ(
        outcome.err,
        "loamtunnel: stdin:7: '?' has bytes that are no UTF-8, which JSON cannot hold; wire can\n"
        "loamtunnel: stdin:8: String8: expected the end of a quoted string at column 1\n");
}

TEST(Value, AsTextEncodesAsItsFieldsDo) {
    EXPECT_EQ(loamtunnel({"encode", "-c3", "--rows", "-f", "-"},
                         "AradLifAcMp vsi=100\n" + entryHead +
                             "'lifType': 'lifAcMp', 'dword0': 100})\nEvecValue 0x5\n")
                  .out,
              "chip=3 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000006\n"
              "chip=3 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000006\n"
              "chip=3 table=EvecTable variant=0 0x00000005 0x00000000\n");
    EXPECT_TRUE(ends(loamtunnel({"encode", "-c3", "Value('Hardware::LoamTunnel::AradLif', ** {})"}), 1,
                     "loamtunnel: no type Hardware:"));
    EXPECT_TRUE(ends(loamtunnel({"encode", "-c3", entryHead + "})"}), 1,
                     "loamtunnel: AradLifEntry of type lifGeneral has no "));
}

} // namespace
