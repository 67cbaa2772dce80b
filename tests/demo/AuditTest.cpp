#include "tools/Audit.h"

#include "console/Live.h"
#include "demo/ChipImage.h"
#include "demo/Family.h"
#include "forms/Entries.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "tests/demo/OnDriver.h"

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Hardware::LoamTunnel;
using Kor::U32;
using support::ends;
using support::has;
using support::Outcome;
using support::Table;
namespace fs = std::filesystem;

constexpr char const* examples =
    LOAM_EXAMPLES "/lifs.txt," LOAM_EXAMPLES "/out-acs.txt," LOAM_EXAMPLES "/evecs.txt";

/// Whether "name[hi:lo]" has the bit.
bool hasBit(std::string const& what, U32 bit) {
    unsigned hi = 0;
    unsigned lo = 0;
    std::size_t const at = what.find('[');
    return at != what.npos && std::sscanf(what.c_str() + at, "[%u:%u]", &hi, &lo) == 2 && lo <= bit &&
           bit <= hi;
}

TEST(AuditRows, AnAnswerThatIsNoneIsRefused) {
    std::string const row = R"({"who": [], "table": "EvecTable", "variant": 0, "array": 0, "entry": 1,)"
                            R"( "wanted": "0 0", "actual": "0 1"})";
    auto const rows = [](std::string const& answer) {
        return tool::chipRows([&](std::string const&) { return tool::parseJson(answer); });
    };
    auto const withRow = [&](std::string const& before, std::string const& after) {
        return R"({"chip": 8, "waiting": 0, "rows": [)" +
               std::string(row).replace(row.find(before), before.size(), after) + "]}";
    };
    EXPECT_EQ(rows(R"({"chip": 8, "waiting": 2, "rows": [)" + row + "]}").waiting, 2u);
    EXPECT_EQ(rows(R"({"chip": 8, "waiting": 0, "refused": 3, "rows": []})").refused, 3u);
    for (std::string const& wrong : std::vector<std::string>{
             "[]", R"({"chip": 6, "waiting": 0, "rows": []})", R"({"chip": 8, "waiting": -1, "rows": []})",
             R"({"chip": 8, "waiting": 0, "refused": "3", "rows": []})",
             R"({"chip": 8, "waiting": 0, "rows": "x"})", R"({"chip": 8, "waiting": 0, "rows": [{}]})",
             R"({"chip": 8, "rows": []})", R"({"chip": "8", "waiting": 0, "rows": {}})",
             R"({"chip": [8], "waiting": 0, "rows": []})", R"({"chip": 8, "waiting": 0, "rows": [7]})",
             withRow("EvecTable", "Evec"), withRow("0 0", "0 0 0"), withRow("0 1", "0 1ffffffff"),
             withRow("[]", "{}"), withRow("[]", R"([{"app": "x"}])"),
             withRow("[]", R"([{"app": "x", "index": 4294967296}])"), withRow("[]", R"(["vtAppMpls"])"),
             withRow("\"variant\": 0", "\"variant\": 256"), withRow("\"array\": 0", "\"array\": 1"),
             withRow("\"array\": 0", "\"array\": -1"), withRow("\"entry\": 1", "\"entry\": 512"),
             // Its place is in the table, if it is counted in 32 bits.
             withRow("\"array\": 0", "\"array\": 8388608"), withRow("\"entry\": 1", "\"entry\": 1e0"),
             withRow("}", "}, " + row), R"({"chip": 8, "waiting": 0, "rows": [], "next": "0 0"})"}) {
        EXPECT_THROW(rows(wrong), tool::Refused) << wrong;
    }
    // Of several answers, each row is in one, and all are of one chip.
    for (char const* const second :
         {R"({"chip": 8, "waiting": 0, "rows": [ROW]})", R"({"chip": 9, "waiting": 0, "rows": []})"}) {
        std::string later = second;
        if (std::size_t const at = later.find("ROW"); at != later.npos) {
            later.replace(at, 3, row);
        }
        auto const ask = [&](std::string const& next) {
            return tool::parseJson(
                next.empty() ? R"({"chip": 8, "waiting": 0, "next": "0 1", "rows": [)" + row + "]}" : later);
        };
        EXPECT_THROW(tool::chipRows(ask), tool::Refused) << later;
    }
}

class Audit : public support::OnDriver {
protected:
    std::string json(std::string const& command, std::vector<std::string> more, int status) const {
        more.emplace_back("--json");
        Outcome const outcome = on(command, more);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        return outcome.out;
    }
    std::string explained(std::string const& what, int status) const {
        Outcome const outcome = on("explain", {what});
        EXPECT_EQ(outcome.status, status) << outcome.err;
        return outcome.out + outcome.err;
    }
    std::vector<std::vector<std::string>> const sources_{{}, {"--image", image_}};
};

TEST_F(Audit, AProcessThatIsNoDriverIsSaidToBeNone) {
    auto const server = InFolder::serving({"serve", "--socket", socket(), "lif=LifAppConfigDir"});
    for (auto const& [command, words] :
         std::map<std::string, std::vector<std::string>>{{"audit", {}}, {"explain", {"AradLifAcMp vsi=1"}}}) {
        EXPECT_TRUE(ends(on(command, words), 1, "it is no driver, or an older one")) << command;
    }
}

TEST_F(Audit, AnOddAnswerToExplainIsRefusedInALineAndPrintsNothing) {
    std::string answer;
    auto const service = Kor::makePtr<Kor::NboAttrLog::Service>();
    service->handlerIs("explain",
                       [&](Kor::NboAttrLog::Session&, Kor::String8 const&) { return Kor::String8(answer); });
    Kor::Link::Loop loop;
    Kor::Link::ListenerConfig config;
    config.service = service;
    Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(socket()), config);
    auto const tick = loop.every(std::chrono::milliseconds(10), [] {});
    auto const explain = [&](std::string const& form) {
        fs::remove(file("explain.log"));
        std::vector<std::string> command{"explain", "--socket", socket(), "x"};
        if (!form.empty()) {
            command.push_back(form);
        }
        auto child = start(command, "explain.log");
        loop.runUntil([&] { return child.status().has_value(); }, std::chrono::seconds(20));
        return child.join();
    };
    auto const whole = [](std::string const& application) {
        return R"({"chip": 8, "key": "k", "applications": [)" + application + "]}";
    };
    std::string const row =
        R"({"app": "x", "count": 1, "row": {"table": "EvecTable", "variant": 0, "array": 0,)"
        R"( "entry": 1, "wanted": "0 0", "actual": "0 1"}})";
    auto const withRow = [&](std::string const& before, std::string const& after) {
        return whole(std::string(row).replace(row.find(before), before.size(), after));
    };
    for (std::string const& wrong :
         {std::string(), std::string("[]"), std::string(R"({"chip": 8, "applications": 3})"), whole("3"),
          whole(R"({"app": "x", "row": 1})"), whole(R"({"app": "x", "answered": 1e999})"),
          withRow("EvecTable", "Evec\\nTable"), withRow("\"variant\": 0", "\"variant\": 1e99"),
          withRow("0 1", "0 1 2"), R"({"chip": 6, "applications": [)" + row + "]}"}) {
        answer = wrong;
        for (char const* const form : {"--json", ""}) {
            EXPECT_EQ(explain(form), 1) << wrong;
            std::string const said = content("explain.log");
            EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
            EXPECT_TRUE(has(said, "odd answer"));
        }
    }
    // What may be left out, and numbers without a meaning.
    for (std::string const& odd :
         {whole("{}"), whole(R"({"app": "x", "answered": -1, "answeredBefore": 99999999999999999999})"),
          whole(R"({"app": ["x"], "count": {"a": 1}, "connection": {"peer": null}, "index": -5})")}) {
        answer = odd;
        EXPECT_EQ(explain(""), 0) << odd << content("explain.log");
        EXPECT_EQ(explain("--json"), 0) << odd << content("explain.log");
        EXPECT_NO_THROW(tool::parseJson(content("explain.log"))) << content("explain.log");
    }
}

TEST_F(Audit, ASignalEndsALookThatWaits) {
    auto driver = serving(words());
    auto audit = start({"audit", "--socket", socket(), "--every", "1", "--timeout", "600000"}, "audit.log");
    ASSERT_TRUE(says("audit.log", "none differs"));
    driver.kill(SIGSTOP);
    std::this_thread::sleep_for(std::chrono::milliseconds(1'500)); // so that it looks again
    audit.kill(SIGINT);
    EXPECT_TRUE(eventually([&] { return audit.status().has_value(); }));
    EXPECT_EQ(ended(audit, SIGKILL), 0) << content("audit.log");
    driver.kill(SIGCONT);
}

TEST_F(Audit, EachBitThatIsFlippedInAnImageIsNamed) {
    auto driver = serving(words());
    ASSERT_EQ(start(asking(examples), "application.log").join(), 0) << content("application.log");
    EXPECT_EQ(on("audit", {}).status, 0);
    EXPECT_EQ(on("audit", {"--image", image_}).status, 0);

    std::map<std::string, std::map<U32, std::set<U32>>> flipped; // by table and row
    {
        std::map<std::string, tool::ChipTable> const tables{
            {"LifTable", tool::lifTable}, {"OutAcBank", tool::outAcTable}, {"EvecTable", tool::evecTable}};
        tool::ChipImage image(image_, Hardware::jerichoChip8, tool::ChipImage::readWrite);
        for (auto const& [name, table] : tables) {
            std::vector<U32> rows;
            for (auto at = image.nextUsed(table, 0, image.rows(table)); at;
                 at = image.nextUsed(table, *at + 1, image.rows(table))) {
                rows.push_back(*at);
            }
            ASSERT_GT(rows.size(), 10u);
            auto const bits = static_cast<U32>(image.read(table, rows[0]).size() * 32);
            for (U32 bit = 0; bit < bits; ++bit) {
                U32 const row = rows[bit % rows.size()];
                tool::Words words = image.read(table, row);
                words[bit / 32] ^= U32{1} << bit % 32;
                image.write(table, row, words);
                flipped[name][row].insert(bit);
            }
        }
        tool::Words stray(image.read(tool::lifTable, 5).size());
        stray[3] = 1;
        image.write(tool::lifTable, 5, stray); // where nobody has anything
    }
    for (auto const& from : sources_) {
        auto const findings = nlohmann::json::parse(json("audit", from, 3));
        auto rest = flipped;
        bool isStrayFound = false;
        for (auto const& each : findings) {
            std::string const table = each.at("table");
            auto const entries = table == "LifTable" ? 32768u : (table == "OutAcBank" ? 4096u : 512u);
            U32 const row = each.at("array").get<U32>() * entries + each.at("row").get<U32>();
            if (each.at("who") == "nobody") {
                EXPECT_EQ(row, 5u);
                isStrayFound = true;
                continue;
            }
            ASSERT_TRUE(flipped.at(table).contains(row)) << each;
            std::size_t const named =
                std::erase_if(rest.at(table).at(row), [&](U32 bit) { return hasBit(each.at("field"), bit); });
            EXPECT_TRUE(named != 0 ||
                        std::ranges::any_of(flipped.at(table).at(row),
                                            [&](U32 bit) { return hasBit(each.at("field"), bit); }))
                << each;
        }
        EXPECT_TRUE(isStrayFound);
        for (auto const& [table, rows] : rest) {
            for (auto const& [row, bits] : rows) {
                EXPECT_TRUE(bits.empty()) << table << " row " << row << ": a bit is not named";
            }
        }
    }
    // The image is made anew at a start.
    ended(driver, SIGKILL);
    EXPECT_EQ(support::loamtunnel({"audit", "--socket", socket(), "--timeout", "200"}).status, 6);
    driver = serving(words());
    EXPECT_EQ(on("audit", {"--image", image_}).status, 0);
}

TEST_F(Audit, NothingIsTakenForADifferenceWhileProcessesComeAndAreKilled) {
    auto driver = serving(words());
    std::vector<tool::Child> audits;
    for (auto const& from : sources_) {
        std::vector<std::string> command{"audit", "--socket", socket(), "--every", "1", "--rounds", "6"};
        command.insert(command.end(), from.begin(), from.end());
        audits.push_back(start(command, "audit" + std::to_string(audits.size()) + ".log"));
    }
    unsigned turn = 0;
    while (!std::ranges::all_of(audits, [](tool::Child& each) { return each.status().has_value(); })) {
        ASSERT_LT(++turn, 200u);
        auto application =
            start(asking(examples, {"--withdraw", std::to_string(turn * 37 % 300), "--pace", "1"}),
                  "application.log");
        std::this_thread::sleep_for(std::chrono::milliseconds(150 + turn * 53 % 300));
        ended(application, SIGKILL);
        if (turn % 4 == 0) {
            ended(driver, SIGKILL);
            driver = serving(words());
        }
    }
    for (std::size_t i = 0; i < audits.size(); ++i) {
        std::string const log = content("audit" + std::to_string(i) + ".log");
        EXPECT_EQ(audits[i].join(), 0) << log;
        EXPECT_TRUE(has(log, "none differs"));
    }
}

TEST_F(Audit, ARequestIsExplainedDownToItsRowOrToWhatIsMissing) {
    auto driver = serving(words(image_, "7"));
    ask("AradLifAcMp vsi=100\nAradLifAcMp vsi=100\nOutAcValue ac0.vid1=20 ac1.vid1=30\n"
        "EvecValue evec1.nTagsToRemove=1\n");
    for (auto const& [what, status, says] : Table<std::string, int, std::vector<char const*>>{
             {"AradLifAcMp vsi=100",
              0,
              {"vtAppMpls asks: 2", "index: 28672", "answered: 2", "vsi[15:0]: 100", "LifTable"}},
             {"lifConfig.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]", 0, {"index: 28672"}},
             {"lifStatus.appStatus[vtAppMpls].lifEntry[AradLifAcMp vsi=100]", 0, {"index: 28672"}},
             {"lifConfig.appConfig[vtAppEvpn].reqCount[AradLifAcMp vsi=100]", 4, {"vtAppEvpn does not ask"}},
             {"AradLifAcMp vsi=101", 4, {"no application asks for it"}},
             {"OutAcKey fapMask=0 acFormat=(OutAcFormat vid1=30)", 0, {"half 1", "ac1ActionVid1"}},
             {"evecConfig.appConfig[vtAppMpls].entry[fapMask=0 index=1]", 0, {"entry1NTagsToRemove"}},
             {"evecStatus.owner[EvecKey fapMask=0 index=1]", 0, {"EvecTable"}},
             {"EvecKey fapMask=1 index=1", 4, {"no application asks"}},
             {"EvecFormat 3", 1, {"nothing that is asked for here"}},
             {"lifConfig.appConfig[vtAppMpls]", 1, {"names no request"}},
             {"lifConfig.appConfig[vtApp].reqCount[AradLifAcMp vsi=1]", 1, {"no application vtApp"}},
             {"lifConfig.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1", 1, {"]"}},
             {"nonsense", 1, {""}},
         }) {
        std::string const text = explained(what, status);
        for (char const* const part : says) {
            EXPECT_TRUE(has(text, part)) << what;
        }
    }
    auto const answer = nlohmann::json::parse(json("explain", {"EvecKey fapMask=0 index=1"}, 0));
    auto const& asker = answer.at("applications").at(0);
    EXPECT_EQ(asker.at("row").at("actual"), asker.at("row").at("wanted"));
    EXPECT_EQ(asker.at("row").at("address"), "0x260000");
    EXPECT_FALSE(asker.at("fields").empty());
    std::string const row = on("explain", {"--format", "csv", "EvecKey fapMask=0 index=1"}).out;
    EXPECT_TRUE(has(row, "\nEvecKey fapMask=0 index=1,vtAppMpls,") && has(row, "EvecTable,") &&
                has(row, ",0x260000,"))
        << row;
    EXPECT_TRUE(has(on("explain", {"--format", "csv", "--no-headings", "AradLifAcMp vsi=101"}).out,
                    "no application asks for it\n"));

    // What an application cannot have, while it is there; and what is left when the driver starts anew.
    Kor::Link::Loop loop;
    auto const config = evecAppConfigFactory(Hardware::Loam::vtAppVxlan);
    EvecKey const slot(Sideband::Fapmask::of({0}), Hardware::Loam::EvecIndex(0));
    config->entryIs(EvecEntry(slot, EvecFormat(3)));
    Kor::Link::ConnectorConfig how;
    how.session = tool::sessionConfig("late");
    how.setUp = [&](Kor::NboAttrLog::Session& session) { session.push("evecConfig", config); };
    Kor::Link::Connector const connector(loop, Kor::Link::Address::parse(socket()), how);
    EXPECT_TRUE(loop.runUntil([&] { return content("driver.log").find("slot 0") != std::string::npos; },
                              std::chrono::seconds(20)));
    std::string const refused = explained("evecConfig.appConfig[vtAppVxlan].entry[fapMask=0 index=0]", 4);
    EXPECT_TRUE(has(refused, "connection: late"));
    EXPECT_TRUE(has(refused, "missing: refused: slot 0 belongs to vtAppMpls"));
    std::string why;
    connector.session()->fence(Kor::NboAttrLog::FenceLevel::done,
                               [&](Kor::NboAttrLog::FenceResult const& result) { why = result.why.view(); });
    loop.runUntil([&] { return !why.empty(); }, std::chrono::seconds(20));
    EXPECT_EQ(why,
              "1 request has no place; vtAppVxlan, EvecKey fapMask=0 index=0: slot 0 belongs to vtAppMpls");
    EXPECT_TRUE(has(on("audit", {}).err, "; 1 requests are refused and have no row"));
    // Somebody else asks as that application: not without saying so.
    std::ofstream(file("evec")) << "AradLifAcMp vsi=200\n";
    auto const config200 = lifAppConfigFactory(Hardware::Loam::vtAppEvpn);
    bool isTaken = false;
    std::string lost;
    connector.session()->push("lifConfig", config200, Kor::NboAttrLog::Access::writable,
                              [&](bool isAccepted, Kor::String8 const& text) {
                                  isTaken = isTaken || isAccepted;
                                  lost = isAccepted ? "" : std::string(text.view());
                              });
    ASSERT_TRUE(loop.runUntil([&] { return isTaken; }, std::chrono::seconds(20)));
    auto const tick = loop.every(std::chrono::milliseconds(10), [] {});
    for (bool const takesOver : {false, true}) {
        std::vector<std::string> const more(takesOver ? 1 : 0, "--takeover");
        auto other = start(asking(file("evec"), more, "vtAppEvpn"), "other.log");
        loop.runUntil([&] { return other.status().has_value(); }, std::chrono::seconds(60));
        EXPECT_EQ(other.join(), takesOver ? 0 : 1) << content("other.log");
        EXPECT_EQ(lost.empty(), !takesOver) << lost;
    }
    EXPECT_TRUE(has(content("other.log"), "(process " + std::to_string(getpid()) + ", since "));
    EXPECT_TRUE(has(content("other.log"), "--takeover takes its place"));
    ended(driver, SIGKILL);
    driver = serving(words(image_, "7"));
    std::string const later = explained("AradLifAcMp vsi=100", 4);
    EXPECT_TRUE(has(later, "answered: before the driver's start at 2"));
    EXPECT_TRUE(has(later, "it is from before the driver's start"));
}

} // namespace
