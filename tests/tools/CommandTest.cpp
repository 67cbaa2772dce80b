#include "forms/Text.h"
#include "tables/TableInfos.h"
#include "tests/tools/Process.h"
#include "values/LoamTunnelTypes.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using support::expectRefused;
using support::has;
using support::loamtunnel;
using support::Outcome;

TEST(Command, SaysInOneLineWhatIsWrong) {
    std::string const someKinds = "AradLifAcP2pToAc, AradLifAcMp, AradLifAcP2pToPwe, AradLifPweToP2p, "
                                  "AradLifLabelProtocolOrLsp, OutAcValue and EvecValue";
    std::string someCommands = "there are " + loamtunnel({"--commands"}).out;
    someCommands.pop_back();
    for (auto at = someCommands.find('\n'); at != someCommands.npos; at = someCommands.find('\n')) {
        someCommands.replace(at, 1, at == someCommands.rfind('\n') ? " and " : ", ");
    }
    expectRefused(
        1,
        {
            // The entry
            {{"encode", "-c8", "AradLifAcMp", "vsii=1"}, "AradLifAcMp has no field vsii; did you mean vsi?"},
            {{"encode", "-c8", "AradLifAcMp", "vlanEditVid1=4096"},
             "vlanEditVid1: 4096 is too large; the field has 12 bits, at most 4095"},
            {{"encode", "-c8", "AradLifAcMp", "ttLearnEnable=maybe"},
             "ttLearnEnable: 'maybe' is no number such as 20 or 0x14, nor one of false and true"},
            {{"encode", "-c8", "[AradLifAcMp,vsi=1]"},
             "no kind of entry [AradLifAcMp,vsi=1]; there are " + someKinds},
            {{"encode", "-c8", "AradLifAcMp", "vsi="}, "vsi: '' is no number such as 20 or 0x14"},
            {{"encode", "-c8", "AradLifAcMp", "vsi"},
             "AradLifAcMp: 'vsi' is not of the form field=value, such as vsi=1"},
            {{"encode", "-c8", "AradLifAcMp", "vsi=1", "vsi=2"}, "vsi is given twice"},
            {{"encode", "-c8", "AradLifAcMp", "lifType=lifTrill"},
             "AradLifAcMp of type lifTrill has no row format; the kinds are " + someKinds},
            {{"encode", "-c8", "lifTrill"},
             "an entry of type lifTrill has no row format; the kinds are " + someKinds},
            {{"encode", "-c9", "AradLifAcP2pToAc", "outLif=65536"},
             "outLif: 65536 is too large for the row of chip 9, at most 65535"},
            {{"encode", "-c8", "-e32768", "AradLifAcMp"},
             "no entry 32768 in LifTable variant 1 on chip 8; there are 0 to 32767"},
            {{"encode", "-c8", "-f", "/nowhere/lifs"},
             "cannot read /nowhere/lifs: No such file or directory"},
            {{"encode", "-c8", "-f", "/"}, "cannot read /: Is a directory"},
            // The row
            {{"decode", "-c8", "-v1", "1", "2", "3"},
             "a row of LifTable has 4 words of 32 bits, word 0 first, not 3"},
            {{"decode", "-c8", "-v1", "1", "2", "3", "4x"},
             "'4x' is no 32-bit word in hexadecimal, such as 0x1f or 0000001f"},
            {{"decode", "-c8", "-v1", "100000000,0,0,0"},
             "'100000000' is no 32-bit word in hexadecimal, such as 0x1f or 0000001f"},
            // The place
            {{"addr", "-c8", "--array", "2", "5"},
             "no array element 2 in LifTable variant 0 on chip 8; there are 0 to 1"},
            {{"addr", "-c8", "-tEvecTable", "--identifier", "1", "5"},
             "no identifier 1 in EvecTable on chip 8; there is 0 alone"},
        });
    // The command line
    expectRefused(
        2,
        {
            {{"schema", "[LifAppConfig]"},
             "no type [LifAppConfig]; did you mean LifAppConfig or LifAppConfigDir?"},
            {{}, "which command? There are " + someCommands.substr(10) + "; see loamtunnel --help"},
            {{"encodd"}, "no command encodd; did you mean encode?"},
            {{"xyzzy"}, "no command xyzzy; " + someCommands},
            {{"encode", "-c6", "AradLifAcMp"},
             "no tables on a chip 6; there are chips 3, 4, 5, 7, 8, 9 and 10"},
            {{"encode", "AradLifAcMp"}, "encode takes either --chip CHIP or --all-chips"},
            {{"encode", "-c8"}, "encode takes either an entry, such as AradLifAcMp vsi=100, or --file FILE"},
            {{"decode", "-c8", "0"}, "LifTable on chip 8 has variants 0 to 4; give one with --variant"},
            {{"decode", "-c8", "-v5", "0"}, "LifTable on chip 8 has no variant 5; its variants are 0 to 4"},
            {{"decode", "-c8", "-v1000", "0"}, "--variant: '1000' is no number from 0 to 255"},
            {{"decode", "-c8", "-tEsemMgmtReq", "-v1", "0"},
             "EsemMgmtReq on chip 8 has no variant 1; 0 is its only one"},
            {{"layout", "-c8", "-tOutAcBnak"}, "no table OutAcBnak; did you mean OutAcBank?"},
            {{"layout", "-c8", "--diff", "3", "4"},
             "--chip goes with no --diff; see loamtunnel layout --help"},
            {{"addr", "-c8", "one"}, "'one' is no row number"},
            {{"kinds", "Nope"}, "no kind of entry Nope; there are " + someKinds},
            {{"tables", "--json", "--format", "csv"},
             "--format goes with no --json; see loamtunnel tables --help"},
            {{"tables", "--json=0"}, "json takes no value; see loamtunnel tables --help"},
            {{"--json", "tables"}, "--json stands behind tables; see loamtunnel tables --help"},
            {{"monitor", "--for", "0"}, "--for: '0' is no number from 1 to 4294967295"},
            {{"log", "check", "x", "--until", "1"},
             "no option --until; there are -h, --help, --side, --format, --json and --no-headings; see "
             "loamtunnel "
             "log check --help"},
            {{"tables", "--format", "xml"},
             "--format: no format xml; there are table, json and csv; see loamtunnel tables --help"},
            {{"tables", "--colour"},
             "no option --colour; there are -h, --help, -c, --chip, --format, --json and --no-headings; see "
             "loamtunnel "
             "tables --help"},
        });
}

TEST(Command, OfManyEntriesTheGoodOnesAreDone) {
    Outcome const outcome =
        loamtunnel({"encode", "-c3,5", "--rows", "-f", "-"}, "# all kinds of trouble\n"
                                                             "lifAcMp vsi=0x10  # good\r\n"
                                                             "\n"
                                                             "lifAcMp vid=1\n"
                                                             "lifAcP2pToAc outLif=65537\n"
                                                             "lifAcMp vsi=17");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "chip=3 table=LifTable variant=1 0x00000010 0x00000000 0x00000000 0x00000006\n"
                           "chip=5 table=LifTable variant=1 0x00000010 0x00000000 0x00000000 0x00000003\n"
                           "chip=3 table=LifTable variant=0 0x00100007 0x00000000 0x00000000 0x00000000\n"
                           "chip=3 table=LifTable variant=1 0x00000011 0x00000000 0x00000000 0x00000006\n"
                           "chip=5 table=LifTable variant=1 0x00000011 0x00000000 0x00000000 0x00000003\n");
    EXPECT_EQ(
        outcome.err,
        "loamtunnel: stdin:4: AradLifAcMp has no field vid; did you mean vlanEditVid2 or "
        "vlanEditVid1?\n"
        "loamtunnel: stdin:5: outLif: 65537 is too large for the row of chip 5, at most 65535\n"
        "loamtunnel: stdin:5: outLif=65537 of AradLifAcP2pToAc loses bits on chip 3: the row keeps 1\n");

    Outcome const rows =
        loamtunnel({"decode", "-f", "-", "--check"},
                   outcome.out + "chip=8 variant=1 0 0 0 80000000\n"
                                 "variant=1 0 0 0 0\nchip=6 0 0 0 0\nchip=8 variant=x 0\nchip=8 y=0");
    EXPECT_EQ(rows.status, 1);
    EXPECT_EQ(rows.out, "");
    EXPECT_EQ(rows.err,
              "loamtunnel: stdin:6: bits that no field owns are set: 127\n"
              "loamtunnel: stdin:7: which chip? Put chip=8 before the words, or give --chip\n"
              "loamtunnel: stdin:8: no tables on a chip 6; there are chips 3, 4, 5, 7, 8, 9 and 10\n"
              "loamtunnel: stdin:9: 'variant=x' is no variant; one is a number of at most 255\n"
              "loamtunnel: stdin:10: 'y=0' is not expected; a row is chip=8 table=LifTable variant=1 and its "
              "words\n");
}

TEST(Command, EveryExampleBecomesARowOfEveryChip) {
    std::pair<char const*, int> const files[] = {{"lifs.txt", 300}, {"out-acs.txt", 30}, {"evecs.txt", 15}};
    for (auto const& [file, least] : files) {
        Outcome const rows =
            loamtunnel({"encode", "-a", "--rows", "-f", std::string(LOAM_EXAMPLES "/") + file});
        EXPECT_EQ(rows.status, 0) << file;
        for (std::string const& line : support::linesOf(rows.err)) { // of fields that some chips do not have
            EXPECT_TRUE(line.find(" does not reach the row of chip") != line.npos ||
                        line.find(" loses bits on chips 3 and 4") != line.npos)
                << line;
        }
        auto const count = std::ranges::count(rows.out, '\n');
        EXPECT_GE(count, least * 7) << file;
        Outcome const back = loamtunnel({"decode", "--check", "-f", "-"}, rows.out);
        EXPECT_EQ(back.status, 0) << back.err;
        EXPECT_EQ(back.out.substr(0, back.out.find(':')), std::to_string(count) + " rows");
    }
}

TEST(Command, EncodeAndDecodeShowTheSameFields) {
    std::vector<std::string> const entry{"AradLifAcMp", "vsi=100", "vlanEditVid1=20", "--nonzero"};
    std::vector<std::string> encode{"encode", "--chip", "8", "--entry", "5", "--array", "1"};
    encode.insert(encode.end(), entry.begin(), entry.end());
    std::string const fields = "vsi[15:0]: 100\nvlanEditVid1[59:48]: 20\ntype[97:96]: 3\n";
    EXPECT_EQ(loamtunnel(encode).out,
              "chip 8, LifTable variant 1: AradLifAcMp vsi=100 vlanEditVid1=20\n"
              "words: 0x00000064 0x00140000 0x00000000 0x00000003\n"
              "address: 0x00688005 block 0x3a aux 0x00 (entry 5, array 1, identifier 0)\n" +
                  fields);
    EXPECT_EQ(loamtunnel({"decode", "-c8", "-v1", "--nonzero", "64,0x140000 0", "A0000003"}).out,
              fields + "unowned bits: 125, 127\n");
    encode.emplace_back("--json");
    json const encoded = json::parse(loamtunnel(encode).out);
    ASSERT_EQ(encoded.size(), 1u);
    EXPECT_EQ(encoded[0]["address"], "0x00688005");
    json const decoded = json::parse(
        loamtunnel({"decode", "-c8", "-v1", "--nonzero", "64 140000 0 3", "--format", "json"}).out);
    EXPECT_EQ(decoded["fields"], encoded[0]["fields"]);
    EXPECT_EQ(decoded["words"], encoded[0]["words"]);
    EXPECT_EQ(decoded["fields"][1], json::parse(R"({"name":"vlanEditVid1","hi":59,"lo":48,"value":20})"));
}

TEST(Command, ARowOfAFileIsToldByItsLine) {
    std::string const rows =
        "chip=3 table=EpniIsidTable 1000005\n\nchip=8 table=TcamActionTable variant=0 80000000\n";
    EXPECT_EQ(loamtunnel({"decode", "-f", "-", "--nonzero", "--format", "csv", "--no-headings"}, rows).out,
              "stdin:1,3,EpniIsidTable,0,isid,23,0,5\n"
              "stdin:1,3,EpniIsidTable,0,parity,24,24,1\n"
              "stdin:3,8,TcamActionTable,0,,31,31,set\n");
    json const decoded = json::parse(loamtunnel({"decode", "-f", "-", "--json"}, rows).out);
    EXPECT_EQ(decoded[1]["where"], "stdin:3");
    EXPECT_EQ(decoded[1]["unowned"], json::parse(R"([{"hi":31,"lo":31}])"));
}

TEST(Command, LayoutDiffTellsWhatChanged) {
    EXPECT_EQ(loamtunnel({"layout", "--diff", "5", "8"}).out,
              "table     variant  field       change    chip 5  chip 8\n"
              "LifTable        2  eeiIsLabel  gone      44:44\n"
              "LifTable        4  expectBos   appeared          51:51\n");
    EXPECT_EQ(loamtunnel({"layout", "--diff", "3", "8", "-tEvecTable", "--format", "csv", "--no-headings"})
                  .out.substr(0, 107),
              "EvecTable,any,entry0InnerTpidIdx,grown,13:12,14:12\n"
              "EvecTable,any,entry0MembershipCheckType,appeared,,18:18\n");
    json const moved = json::parse(loamtunnel({"layout", "--diff", "8", "3", "-v4", "--json"}).out);
    auto const row =
        std::ranges::find_if(moved, [](json const& each) { return each["field"] == "inRifMsb"; });
    ASSERT_NE(row, moved.end());
    EXPECT_EQ((*row)["change"], "shrunk");
    EXPECT_EQ(loamtunnel({"layout", "--diff", "9", "8", "--no-headings"}).out, "");
}

/// The page has what the sheets say: each field of each form once, in the lanes that it is drawn in, and a
/// listing of all has it, too.
TEST(Command, ThePageOfTablesAndTheListingHaveAllForms) {
    std::string const page = loamtunnel({"layout", "--html"}).out;
    std::string const opening = "<script id=\"data\" type=\"application/json\">";
    auto const start = page.find(opening) + opening.size();
    json const data = json::parse(page.substr(start, page.find("</script>", start) - start));
    ASSERT_EQ(data.size(), Hardware::tableInfos().size());
    std::size_t forms = 0, fields = 0;
    for (json const& shown : data) {
        auto const& table = *Hardware::tableInfo(shown["name"].get<std::string>());
        json columns = json::array(), names = json::array();
        for (auto const& field : table.fields) {
            columns.push_back({field.name, field.id, field.type, field.typeBytes});
        }
        for (Kor::U32 variant = 0; variant < table.variantBound; ++variant) {
            names.push_back(table.variantName(variant));
        }
        json sheet = shown;
        sheet.erase("chips");
        EXPECT_EQ(sheet, json({{"name", table.name},
                               {"words", table.words},
                               {"anyVariant", table.ignoresVariant},
                               {"variants", names},
                               {"fields", columns}}));
        for (auto const& [chip, variants] : shown["chips"].items()) {
            auto const number = static_cast<Kor::U32>(std::stoul(chip));
            ASSERT_EQ(variants.size(),
                      table.ignoresVariant ? table.variants(number) != 0 : table.variants(number));
            for (Kor::U32 variant = 0; variant < variants.size(); ++variant, ++forms) {
                json form = variants[variant];
                form.erase("lanes");
                auto const& at = *table.geometry(number, variant);
                EXPECT_EQ(form, json({{"entries", at.entries},
                                      {"array", at.arrayElements},
                                      {"base", Kor::Forms::hex(at.base, 8)},
                                      {"block", Kor::Forms::hex(at.blockBase, 2)},
                                      {"blocks", at.maxIdentifier + 1}}))
                    << table.name << " chip " << chip << " variant " << variant;
                std::multiset<json> drawn, expected;
                for (json const& lane : variants[variant]["lanes"]) {
                    drawn.insert(lane.begin(), lane.end());
                }
                for (auto const& place : table.row(number, variant)) {
                    expected.insert(json{place.field - table.fields.data(), place.lo(), place.at.width});
                }
                fields += expected.size();
                EXPECT_EQ(drawn, expected) << table.name << " chip " << chip << " variant " << variant;
            }
        }
    }
    EXPECT_GT(forms, 7 * data.size());
    EXPECT_EQ(json::parse(loamtunnel({"layout", "--all", "--json"}).out).size(), fields);
    json const one = json::parse(loamtunnel({"layout", "--all", "--chip", "8", "-v4", "--json"}).out);
    json row = json::parse(loamtunnel({"layout", "--chip", "8", "-v4", "--json"}).out)[0];
    row.update({{"chip", 8}, {"table", "LifTable"}, {"variant", 4}});
    EXPECT_NE(std::ranges::find(one, row), one.end()) << row;
}

TEST(Command, ListingsHaveThreeForms) {
    EXPECT_EQ(
        loamtunnel({"addr", "-c10", "-tEvecTable", "--identifier", "1", "5", "0x1f", "--format", "csv"}).out,
        "chip,table,array,identifier,entry,address,block,aux\n"
        "10,EvecTable,0,1,5,0x001c0005,0x35,0x00\n"
        "10,EvecTable,0,1,31,0x001c001f,0x35,0x00\n");
    EXPECT_EQ(loamtunnel({"addr", "-c8", "--array", "1", "5", "--no-headings"}).out,
              "8  LifTable  1  0  5  0x00688005  0x3a  0x00\n");
    json const tables = json::parse(loamtunnel({"tables", "--json"}).out);
    auto const line = [&](int chip, char const* table, char const* variants) {
        return std::ranges::find_if(tables, [&](json const& each) {
            return each["chip"] == chip && each["table"] == table && each["variants"] == variants;
        });
    };
    // A line for each chip; OutAcBank has two on 5, 7 and 10, EsemMgmtReq on 10.
    EXPECT_EQ(tables.size(), 7 * Hardware::tableInfos().size() + 4)
        << "a new table that is not on all chips, or has several sizes on one, is counted here";
    ASSERT_NE(line(7, "OutAcBank", "1-2"), tables.end());
    EXPECT_EQ((*line(7, "OutAcBank", "1-2"))["array"], 1);
    EXPECT_EQ((*line(7, "OutAcBank", "0"))["array"], 22);
    EXPECT_EQ((*line(10, "IngressVECTable", "any"))["blocks"], 2);
    EXPECT_EQ(loamtunnel({"kinds", "lifAcMp", "--format", "csv", "--no-headings"}).out.substr(0, 33),
              "AradLifAcMp,LifTable,1,vsi,16,655");
    EXPECT_EQ(
        loamtunnel({"run", "--format", "csv", "--no-headings", "-"}, "new String8 s 'a,\"b\"'\nget s\n").out,
        ",get,s,String8,\"'a,\"\"b\"\"'\",\n");
}

TEST(Command, SchemaIsSavedAndCompared) {
    EXPECT_EQ(loamtunnel({"schema", "LifAppConfigDir", "AradLifBank"}).out,
              "Hardware::LoamTunnel::LifAppConfigDir  entity, base Kor::Entity, made from (name: Kor::Name)\n"
              "  The logical interfaces (LIFs) that all applications ask for\n"
              "  154  korHasAttrLogInterface(): bool                    "
              "Whether the entity travels on an attribute log\n"
              "  258  appConfig[Hardware::Loam::VtAppId]: LifAppConfig  What this application asks for\n\n"
              "Hardware::LoamTunnel::AradLifBank  enumeration\n"
              "  The banks that a LIF index can count from; there is no number 3\n"
              "    1  lifBankTunnelTermination  The bank of tunnel termination\n"
              "    2  lifBankManaged            The first of the managed banks\n"
              "    4  lifBankMax                No bank: part of the null index\n");
    json const view =
        json::parse(loamtunnel({"schema", "AradLifAcMp", "--json"}).out)["types"][0]["attributes"].back();
    EXPECT_EQ(view["view"], json::parse(R"({"word": "dword1", "low": 33, "bits": 2})"));
    EXPECT_EQ(view["most"], "3");
    EXPECT_EQ(view["meaning"],
              "Row field type as it is stored. The encoder never reads it; it writes acMp, 3");
    std::string const file = testing::TempDir() + "schema-" + std::to_string(getpid());
    std::string saved = loamtunnel({"schema", "--json"}).out;
    std::ofstream(file) << saved;
    EXPECT_EQ(loamtunnel({"schema", "--diff", file}).out, "");
    std::string const was = "\"id\": 259";
    saved.replace(saved.find(was), was.size(), "\"id\": 300");
    // What is for people is no difference.
    saved.replace(saved.find("Which tunnels"), 13, "All tunnels");
    std::ofstream(file) << saved;
    Outcome const changed = loamtunnel({"schema", "--diff", "-"}, saved);
    EXPECT_EQ(changed.status, 3);
    EXPECT_EQ(changed.out, "Hardware::LoamTunnel::LoamTunnelCommonSmData.vlanHelper: id is 259, was 300\n");
    // Of a type alone nothing is said of others; what stands elsewhere, or has another size, is told.
    EXPECT_EQ(loamtunnel({"schema", "--diff", file, "OutAcKey", "AradLifBank"}).out, "");
    nlohmann::ordered_json types =
        nlohmann::ordered_json::parse(saved)["types"]; // as older programs have saved it
    auto& key = *std::ranges::find_if(
        types, [](auto const& each) { return each["name"] == "Hardware::LoamTunnel::OutAcKey"; });
    std::swap(key["attributes"][0], key["attributes"][1]);
    key["size"] = 1;
    std::swap(types[3], types[4]);
    std::ofstream(file) << types;
    std::string const keyText = "Hardware::LoamTunnel::OutAcKey: size is " +
                                std::to_string(sizeof(Hardware::LoamTunnel::OutAcKey)) +
                                ", was 1\n"
                                "Hardware::LoamTunnel::OutAcKey.fapMask: in another order, stands where "
                                "acFormat stood\n";
    EXPECT_EQ(loamtunnel({"schema", "--diff", file, "AradLifBank", "OutAcKey"}).out, keyText);
    EXPECT_EQ(loamtunnel({"schema", "--diff", file}).out,
              changed.out + keyText +
                  "Hardware::LoamTunnel::TunnelTerminationStatus: in another order, stands where "
                  "Hardware::LoamTunnel::VtepToNhIdMapConfig stood\n");
    unlink(file.c_str());
    // What no stack and no patience is deep enough for.
    std::ofstream(file) << std::string(300'000, '[') + std::string(300'000, ']');
    EXPECT_EQ(loamtunnel({"schema", "--diff", file}).status, 1);
    unlink(file.c_str());
    EXPECT_EQ(loamtunnel({"schema", "--diff", LOAM_EXAMPLES "/lifs.txt"}).status, 1);
}

/// The words of a text that begin so.
std::set<std::string> wordsThatBegin(std::string const& text, std::string const& beginning) {
    std::set<std::string> words;
    for (std::string word : support::wordsOf(text)) {
        word = word.substr(0, word.find_first_of(",\\;.:`)'="));
        if (word.starts_with(beginning) && word != beginning) {
            words.insert(word);
        }
    }
    return words;
}

/// A manual page, with minuses as they are typed.
std::string manualPage(std::vector<std::string> const& of) {
    std::string page = loamtunnel(of).out;
    for (auto at = page.find("\\-"); at != page.npos; at = page.find("\\-", at)) {
        page.replace(at, 2, "-");
    }
    return page;
}

TEST(Command, ManualAndCompletionKnowEveryOption) {
    EXPECT_TRUE(loamtunnel({"--version"}).out.starts_with("loamtunnel "));
    std::string const contents = manualPage({"--manual-page"});
    // What may stand in place of the last word, without what it means.
    auto const completed = [](std::string const& line) {
        std::vector<std::string> words = support::wordsOf("--complete " + line.substr(0, line.rfind(' ')));
        words.push_back(line.substr(line.rfind(' ') + 1));
        Outcome const outcome = loamtunnel(words);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        std::string all;
        for (std::string const& each : support::linesOf(outcome.out)) {
            all += (all.empty() ? "" : " ") + each.substr(0, each.find('\t'));
        }
        return all;
    };
    std::vector<std::string> commands;
    for (std::string const& line : support::linesOf(loamtunnel({"--help"}).out)) {
        if (line.starts_with("  ") && line[2] != ' ' && line[2] != '-') {
            commands.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    ASSERT_GT(commands.size(), 20u);
    for (char const* const each : {"record", "show", "check", "replay", "diff"}) {
        commands.push_back(std::string("log ") + each);
    }
    for (std::string const& command : commands) {
        std::string const text = loamtunnel(support::wordsOf(command + " --help")).out;
        std::string const options = text.substr(0, text.find("\n\n  loamtunnel"));
        std::string const page = command.substr(0, command.find(' '));
        std::string const manual = manualPage({"--manual-page", page});
        EXPECT_TRUE(has(contents, "loamtunnel-" + page + "\\fR(1)")) << command;
        EXPECT_TRUE(has(manual, "\\fBloamtunnel " + command)) << command;
        std::string const offered = completed(command + " --") + ' ';
        for (std::string const& option : wordsThatBegin(options.substr(options.find("Options:")), "--")) {
            EXPECT_TRUE(option == "--help" || manual.find(option) != manual.npos) << command << ' ' << option;
            EXPECT_TRUE(has(offered, option + ' ')) << command << ' ' << option;
        }
    }
    EXPECT_EQ(loamtunnel({"--complete", "lay"}).out,
              "layout\tDraw the bits of a row, or compare two chips\n");
    for (auto const& [line, expected] : support::Table<char const*, char const*>{
             {"layout --chip 8 --table Evec", "EvecTable"},
             {"layout --table=Evec", "--table=EvecTable"},
             {"layout -c 1", "10"},
             {"layout --diff 5 1", "10"},
             {"tables --chip 8,1", "8,10"},
             {"log re", "replay record"},
             {"log show --side acc", "accepting"},
             {"log show --side accepting --m", "--more"},
             {"encode AradLifAcM", "AradLifAcMp"},
             {"encode --chip 8 AradLifAcMp vsi=1 vlanEditV", "vlanEditVid1= vlanEditVid2="},
             {"schema LifAppConfig LifAppC", "LifAppConfig LifAppConfigDir"},
             {"kinds AradLifAcMp ", ""},
             {"value OutAcValue ac0.vi", "ac0.vid1= ac0.vid2="},
             {"value EvecKey index=1 ", "fapMask="},
             {"value EvecValue evec0.innerVidSrc=4 evec0.nT", "evec0.nTagsToRemove="},
             {"value EvecEntry EvecEntry ke", "key="},
             {"value EvecEntry key=(EvecKey index=1 fap", "fapMask="},
             {"value EvecEntry EvecEntry key=(Ev", "key=(EvecKey fapMask= key=(EvecKey index="},
             {"value AradLifEntry (Ara", ""},
             {"value VtAppId vtAppMp", "vtAppMpls"},
             {"value --from ", "short text json wire"},
             {"stats --format ", "table json csv"},
             {"serve lif=LifAppC", "lif=LifAppConfigDir"},
             {"application --app vtAppM", "vtAppMpls vtAppMulticast vtAppMirroring"},
             {"monitor --kind ", "set del"},
             {"driver --image x", ""}, // a file is the shell's own affair
             {"nosuch ", ""},
             {"encode -- --", ""},
             {"get --socket /no/such/place li", ""},
         }) {
        EXPECT_EQ(completed(line), expected) << line;
    }
}

} // namespace
