/// `loamtunnel log` over a recording that is made here.

#include "forms/Recording.h"
#include "model/LoamTunnelModel.h"
#include "tests/tools/Process.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using nlohmann::json;
using support::ends;
using support::loamtunnel;

/// A directory with one count, which changes and whose parent is unmounted at the end.
std::string recordingOf(std::string const& name, U32 count, std::vector<U8> const& more = {}) {
    std::string const path = testing::TempDir() + name + std::to_string(getpid());
    std::ofstream file(path, std::ios::binary);
    auto const demuxer = makePtr<Demuxer>(Side::connecting);
    RecordingOut recording(file);
    auto const send = [&](U64 time) {
        demuxer->flow();
        recording.write(Side::connecting, time, demuxer->out()->readable());
        demuxer->out()->nextBytes(demuxer->out()->readable().size());
    };
    auto const dir = lifAppConfigDirFactory("lif");
    auto const config = dir->appConfigIs(Loam::vtAppMpls);
    config->reqCountIs(AradLifEntry(lifAcMp, 1, 2), 1);
    demuxer->mount(dir);
    send(1'500'000);
    config->reqCountIs(AradLifEntry(lifAcMp, 1, 2), count);
    send(2'000'007);
    recording.write(Side::connecting, 3'000'000, more);
    return path;
}

TEST(Log, ShowsChecksReplaysAndCompares) {
    std::string const two = recordingOf("two", 2), three = recordingOf("three", 3);
    std::string const key =
        "Value('Hardware::LoamTunnel::AradLifEntry', ** {'lifType': 'lifAcMp', 'dword0': 1, "
        "'dword1': 2})";
    auto const shown = json::parse(loamtunnel({"log", "show", two, "-mm", "--json", "--form", "text"}).out);
    EXPECT_EQ(shown.front()["record"], "announcement");
    EXPECT_EQ(shown.back()["time"], "2.000007");
    EXPECT_EQ(shown.back()["from"], "connecting");
    EXPECT_EQ(shown.back()["entity"], "lif.appConfig[vtAppMpls]");
    EXPECT_EQ(shown.back()["attribute"], "reqCount");
    EXPECT_EQ(shown.back()["key"], key);
    EXPECT_EQ(shown.back()["value"], 2);
    EXPECT_EQ(shown.back()["bytes"], "001c010b8604000000040000000000000001000000000000000200000002");
    EXPECT_EQ(json::parse(loamtunnel({"log", "show", two, "--side", "accepting", "--json"}).out),
              json::array());

    EXPECT_EQ(loamtunnel({"log", "check", two}).status, 0);
    EXPECT_EQ(json::parse(loamtunnel({"log", "replay", two, "--json", "--form", "text"}).out),
              json::parse(R"([{"entity": "lif", "attribute": null, "key": null,
                               "value": "Hardware::LoamTunnel::LifAppConfigDir"},
                              {"entity": "lif", "attribute": "appConfig", "key": "'vtAppMpls'",
                               "value": "Hardware::LoamTunnel::LifAppConfig"},
                              {"entity": "lif.appConfig[vtAppMpls]", "attribute": "reqCount", "key": ")" +
                          key + R"(", "value": 2}])"));
    EXPECT_EQ(loamtunnel({"log", "diff", two, two}).status, 0);
    auto const differs = loamtunnel({"log", "diff", two, three, "--json"});
    EXPECT_EQ(differs.status, 3);
    EXPECT_EQ(json::parse(differs.out)[0]["difference"], "changed");
    EXPECT_EQ(json::parse(differs.out)[0]["before"], 2);
    EXPECT_EQ(json::parse(differs.out)[0]["after"], 3);
}

// A part of a recording begins with the state that there was.
TEST(Log, LooksAtAPartOfTheTime) {
    std::string const path = recordingOf("part", 2);
    auto const rowsOf = [&](std::vector<std::string> words) {
        words.insert(words.begin() + 2, path);
        words.emplace_back("--json");
        return json::parse(loamtunnel(words).out);
    };
    auto const late = rowsOf({"log", "show", "--from", "1.6"});
    ASSERT_EQ(late.size(), 4u) << late;
    EXPECT_EQ(late[2]["record"], "state");
    EXPECT_EQ(late[2]["time"], "1.600000");
    EXPECT_EQ(late[2]["value"], 1);
    EXPECT_EQ(late[3]["record"], "set");
    EXPECT_EQ(late[3]["value"], 2);
    EXPECT_EQ(late[2]["key"], late[3]["key"]);
    EXPECT_EQ(rowsOf({"log", "show", "--from", "2.000007"}).back(), late.back()) << "which is in";
    EXPECT_EQ(rowsOf({"log", "show", "--from", "9"}).size(), 3u) << "the state alone";
    auto const early = rowsOf({"log", "show", "--until", "2.000006"});
    EXPECT_EQ(early.back()["value"], "1");
    EXPECT_EQ(rowsOf({"log", "replay", "--until", "1.5"}).back()["value"], 1);
    EXPECT_EQ(rowsOf({"log", "replay", "--until", "1.4"}), json::array());
    auto const both = rowsOf({"log", "replay", "--from", "1.6"}).back();
    EXPECT_EQ(both["value"], 2);
    EXPECT_EQ(both["before"], 1);
    EXPECT_TRUE(rowsOf({"log", "replay", "--from", "1"}).back()["before"].is_null());
    for (char const* const time :
         {"", "x", "1.", "-1", "1.5x", "1.2345678", "0x10", "99999999999999999999"}) {
        EXPECT_TRUE(
            ends(loamtunnel({"log", "show", path, "--from", time}), 2, "is no time in seconds, such as 1.5"))
            << time;
    }
    for (char const* const command : {"show", "replay"}) {
        auto const none = loamtunnel({"log", command, path, "--from", "2", "--until", "1.5"});
        EXPECT_EQ(none.status, 2);
        EXPECT_EQ(none.err,
                  "loamtunnel: --from 2.000000 is after --until 1.500000: there is nothing between them\n");
    }
}

// What one side has mounted the other one writes, too.
TEST(Log, ReplaysWhatBothSidesHaveWritten) {
    std::string const path = testing::TempDir() + "both" + std::to_string(getpid());
    Ptr<LifAppConfigDir> theirs;
    auto const mine = lifAppConfigDirFactory("lif");
    {
        std::ofstream file(path, std::ios::binary);
        RecordingOut recording(file);
        auto const a = makePtr<Demuxer>(Side::connecting), b = makePtr<Demuxer>(Side::accepting);
        b->rootHookIs([&](Ptr<Entity> const& offered) {
            theirs = ptrCast<LifAppConfigDir>(offered);
            return offered;
        });
        auto const exchange = [&] {
            for (auto const& [from, to, side] :
                 {std::tuple{a, b, Side::connecting}, std::tuple{b, a, Side::accepting}}) {
                from->flow();
                auto const bytes = from->out()->readable();
                recording.write(side, 1, bytes);
                to->in()->feed(bytes);
                from->out()->nextBytes(bytes.size());
                to->receive();
            }
        };
        AradLifEntry const one(lifAcMp, 1, 0), two(lifAcMp, 2, 0);
        mine->appConfigIs(Loam::vtAppMpls)->reqCountIs(one, 1);
        a->mount(mine);
        exchange();
        ASSERT_TRUE(theirs && theirs->appConfig(Loam::vtAppMpls));
        theirs->appConfig(Loam::vtAppMpls)->reqCountIs(one, 2);
        theirs->appConfigIs(Loam::vtAppVxlan)->reqCountIs(two, 3); // a child from the other side
        theirs->appConfigIs(Loam::vtAppEvpn);
        exchange();
        mine->appConfig(Loam::vtAppVxlan)->reqCountIs(two, 4);
        mine->appConfigDel(Loam::vtAppEvpn);
        exchange();
    }
    auto const state = json::parse(loamtunnel({"log", "replay", path, "--json"}).out);
    std::map<std::string, int> counts;
    for (auto const& row : state) {
        if (row["attribute"] == "reqCount") {
            counts[row["entity"]] = row["value"];
        }
    }
    EXPECT_EQ(counts, (std::map<std::string, int>{{"lif.appConfig[vtAppMpls]", 2},
                                                  {"lif.appConfig[vtAppVxlan]", 4}}));
    EXPECT_EQ(state.size(), 5u);
    EXPECT_EQ(loamtunnel({"log", "check", path}).err, "");
}

TEST(Log, SaysWhereARecordingIsUnsound) {
    std::string const stray = recordingOf("stray", 2, {0, 0});
    std::string const outOfRange =
        recordingOf("range", 2, {0, 28, 1, 11, 0x86, 4, 0, 0, 0, 99, 0, 0, 0, 0, 0,
                                 0, 0,  1, 0,  0,    0, 0, 0, 0, 0,  2, 0, 0, 0, 1});
    for (auto const& [arguments, says] : support::Table<std::vector<std::string>, std::string>{
             {{"log", "check", "/nowhere/log"}, "cannot read /nowhere/log: No such file or directory"},
             {{"log", "check", "/"}, "cannot read /: Is a directory"},
             {{"log", "check", LOAM_PROGRAM},
              std::string(LOAM_PROGRAM) + ": recording is unsound at byte 0: it does not begin as one"},
             {{"log", "show", stray},
              "unsound record at byte 205 of the connecting side, in the chunk at byte "},
             {{"log", "replay", stray}, "record is shorter than its attribute"},
             {{"log", "check", outOfRange}, "record at byte 205 of the connecting side is refused: LifType"},
         }) {
        auto const outcome = loamtunnel(arguments);
        EXPECT_TRUE(ends(outcome, 1, says)) << says;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
    EXPECT_EQ(loamtunnel({"log"}).status, 2);
    EXPECT_EQ(loamtunnel({"log", "diff", stray}).status, 2);
    EXPECT_EQ(loamtunnel({"log", "check", stray, "--side", "nobody"}).status, 2);
}

} // namespace
