#include "console/Live.h"

#include "console/BoundedLines.h"
#include "console/Results.h"
#include "tests/tools/InFolder.h"

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <poll.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Kor::U32;
using support::ends;
using support::has;
using support::loamtunnel;
using support::Outcome;
using support::Table;

/// A folder for one test, and a server in it.
class Live : public support::InFolder {
protected:
    tool::Child serve(std::vector<std::string> const& more) const {
        std::vector<std::string> words{"serve", "--socket", socket()};
        words.insert(words.end(), more.begin(), more.end());
        return serving(words);
    }
};

TEST_F(Live, WhatOneProcessSetsAnotherOneGets) {
    auto server = serve({"lif=LifAppConfigDir", "evec=EvecStatus", "--writable"});
    std::string const count = "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]";
    ASSERT_EQ(on("set", {"lif.appConfig[vtAppMpls]"}).err, "");
    EXPECT_EQ(on("set", {count, "3"}).err, "");
    EXPECT_TRUE(
        ends(loamtunnel({"wait", "--socket", socket(), "--timeout", "50", count + "=4"}), 5, "it is 3"));

    EXPECT_EQ(on("del", {count}).out, "3\n");
    EXPECT_EQ(on("wait", {"--gone", count}).status, 0);

    Outcome const sync = on("sync", {"--wait", "done", "--json"});
    EXPECT_EQ(sync.status, 0) << sync.err;
    EXPECT_EQ(nlohmann::json::parse(sync.out)[0]["outcome"], "done");
    // A peer that has stopped holds up those who ask for all.
    tool::Child watching = start({"monitor", "--socket", socket()}, "monitor.log");
    ASSERT_TRUE(says("monitor.log", "lif"));
    auto const all = nlohmann::json::parse(on("sync", {"--all", "--json"}).out);
    EXPECT_EQ(all[0]["outcome"], "applied");
    EXPECT_EQ(all[0]["peers"], 2);
    // It is named, and so is the process itself.
    watching.kill(SIGSTOP);
    Outcome const held = loamtunnel({"sync", "--all", "--socket", socket(), "--timeout", "1000"});
    EXPECT_EQ(held.status, 5);
    EXPECT_EQ(held.err,
              "loamtunnel: within 1000 ms not all that was written has been applied: no answer from monitor "
              "(process " +
                  std::to_string(watching.id()) + ")\n");
    watching.kill(SIGKILL);

    EXPECT_EQ(on("trace", {"LoamTunnelTypes", "--set", "on,+10"}).status, 1);
    EXPECT_TRUE(has(on("trace", {"LoamTunnel.Types", "--set", "on"}).err,
                    "no facility LoamTunnel.Types; there are "));

    std::string const other = "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=101]";
    for (auto const& [command, words, message, status] :
         Table<std::string, std::vector<std::string>, std::string, int>{
             {"get", {"liff"}, "no root liff is offered; did you mean lif?", 4},
             {"get", {""}, "no root '' is offered; there are evec and lif", 4},
             {"set", {"", "1"}, "no root '' is offered; there are evec and lif", 4},
             {"monitor", {""}, "no root '' is offered", 4},
             {"get", {"lif."}, "has no attribute ''; there are appConfig", 1},
             {"get", {"lif.appConfig[]"}, "no VtAppId is called ''; there are vtAppNone", 1},
             {"get", {other}, other + " is not there", 4},
             {"wait", {other + "=many"}, "'many' is no number", 1},
             {"wait", {"lif.appConfg"}, "appConfig?", 1},
             {"wait", {"lif=3"}, "lif is an object, which is another one by its path or None, not 3", 1},
             {"monitor", {"lif.appConfig[vtAppVxlan].app"}, "lif.appConfig[vtAppVxlan] is not there", 4},
             {"wait",
              {"lif.appConfig[vtAppVxlan].ap"},
              "vtAppVxlan], of type LifAppConfig, has no attribute ap",
              1},
             {"wait", {"lif.appConfig[vtAppVxlan].app=vtAppVxlam"}, "did you mean vtAppVxlan?", 1},
             {"set",
              {"lif.appConfig[vtAppMpls].reqCount[AradLifEntry lifType=LifType(99)]", "3"},
              "no peer takes AradLifEntry lifType=LifType(99)",
              1},
             {"set", {count, "many"}, "many", 1}}) {
        EXPECT_TRUE(ends(on(command, words), status, message)) << message;
    }
    EXPECT_EQ(ended(server, SIGTERM), 0);
    Outcome const nobody = loamtunnel({"get", "--socket", socket(), "--timeout", "300", count});
    EXPECT_EQ(nobody.status, 6);
    EXPECT_EQ(std::ranges::count(nobody.err, '\n'), 1) << nobody.err;
    EXPECT_EQ(loamtunnel({"monitor", "--socket", socket(), "--for", "1"}).status, 6);
    for (char const* const command : {"tree", "monitor"}) {
        EXPECT_TRUE(ends(loamtunnel({command, "--socket", "tcp:no.such.host.invalid:1"}), 6,
                         "no connection to tcp:no.such.host.invalid:1: "))
            << command;
    }
}

TEST_F(Live, ManyPlacesAreSetOverOneConnection) {
    auto server = serve({"lif=LifAppConfigDir", "odd name=LifAppConfigDir", "--writable"});
    std::string const dir = "lif.appConfig[vtAppMpls]";
    Outcome const outcome =
        loamtunnel({"set", "--socket", socket(), "-f", "-"},
                   dir + "\n" + dir + ".reqCount[AradLifAcMp vsi=2] 3 # two\n" + dir +
                       ".reqCount[AradLifAcMp vsi=70000] 3\n" + dir + ".reqCount[AradLifAcMp vsi=10] 4\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "loamtunnel: stdin:3: " + dir +
                               ".reqCount[...].vsi: 70000 is too large; the field has 16 bits, at most "
                               "65535\n");
    EXPECT_EQ(loamtunnel({"run", "--socket", socket(), "-"},
                         "set " + dir + ".reqCount[AradLifAcMp vsi=1] 5\nget " + dir +
                             ".reqCount[AradLifAcMp vsi=2]\ndel " + dir + ".reqCount[AradLifAcMp vsi=10]\n")
                  .out,
              "3\n");
    EXPECT_EQ(loamtunnel({"shell", "--socket", socket()}, "get 'odd name'\n").out, "'odd name'\n");
    EXPECT_EQ(loamtunnel({"run", "--socket", file("none"), "--timeout", "100", "-"}, "list\n").status, 6);
    // All roots are there, whatever their names are, and members by key.
    EXPECT_EQ(on("tree", {}).out,
              "lif: LifAppConfigDir\n  appConfig[vtAppMpls]: LifAppConfig\n    app = vtAppMpls\n"
              "    reqCount[AradLifAcMp vsi=1] = 5\n    reqCount[AradLifAcMp vsi=2] = 3\n"
              "'odd name': LifAppConfigDir\n");
    EXPECT_EQ(on("get", {dir + ".reqCount", "--format", "csv", "--no-headings", "--form", "text"}).out,
              dir + ".reqCount[AradLifAcMp vsi=1],U32,5\n" + dir + ".reqCount[AradLifAcMp vsi=2],U32,3\n");
    EXPECT_EQ(
        nlohmann::json::parse(on("wait", {dir + ".reqCount[AradLifAcMp vsi=2]=3", "--json"}).out)[0]["value"],
        3);
    EXPECT_EQ(on("monitor", {"nosuch", "--for", "1"}).status, 4);
    EXPECT_EQ(ended(server, SIGTERM), 0);
    EXPECT_EQ(loamtunnel({"serve", "--socket", socket(), "v=AradLifAcMp"}).err,
              "loamtunnel: cannot serve v: AradLifAcMp is no type of entities\n");
}

TEST_F(Live, ALineIsCompletedFromTheProcessThatItIsAbout) {
    auto server = serve({"lif=LifAppConfigDir", "evec=EvecStatus", "--writable"});
    std::string const dir = "lif.appConfig[vtAppMpls]", count = dir + ".reqCount[AradLifAcMp vsi=7]";
    ASSERT_EQ(on("set", {dir}).status, 0);
    ASSERT_EQ(on("set", {count, "3"}).status, 0);
    ASSERT_EQ(on("trace", {"LoamTunnelTypes", "--set", "on"}).status, 0);
    std::string const patience = "60000"; // a busy machine may take longer than who types would wait
    auto const completed = [&](std::string const& command, std::vector<std::string> words) {
        words.insert(words.begin(), {"--complete", command, "--socket", socket(), "--timeout", patience});
        Outcome const outcome = loamtunnel(words);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    };
    EXPECT_EQ(completed("get", {""}), "evec\nlif\n");
    // A single one that goes on does so at once.
    EXPECT_EQ(completed("get", {"lif.app"}), completed("get", {"lif.appConfig["}));
    EXPECT_EQ(completed("monitor", {"evec", "lif.appConfig[vtAppMp"}), dir + "\n");
    EXPECT_EQ(completed("del", {dir + '.'}), dir + ".app\n" + dir + ".reqCount[\n");
    EXPECT_EQ(completed("get", {dir + ".reqCount[AradLifAcMp vsiA"}),
              dir + ".reqCount[AradLifAcMp vsiAssignmentMode=\n");
    EXPECT_EQ(completed("set", {dir + ".app", "vtAppMp"}), "vtAppMpls\n");
    EXPECT_EQ(completed("trace", {"LoamTunnelT"}), "LoamTunnelTypes\n");
    EXPECT_EQ(completed("explain", {"EvecKey fap"}), "EvecKey fapMask=\n");
    EXPECT_EQ(completed("explain", {"EvecKey", "fap"}), "fapMask=\n");
    EXPECT_EQ(completed("explain", {"AradLifAcMp vsi=7"}), "AradLifAcMp vsi=7\n");
    EXPECT_EQ(completed("explain", {"li"}), "lif\n");
    ::setenv("LOAM_SOCKET", socket().c_str(), 1);
    EXPECT_EQ(loamtunnel({"--complete", "log", "record", "--timeout", patience, "x.loamlog", "ev"}).out,
              "evec\n");
    ::unsetenv("LOAM_SOCKET");

    // One who waits longer than a line without --timeout does, and no longer than a wrong one says.
    server.kill(SIGSTOP);
    auto patient =
        start({"--complete", "get", "--socket", socket(), "--timeout", "60000", "li"}, "patient.log");
    for (char const* const timeout : {"--timeout=10", "--timeout=x", "--timeout=-5", "--format=text"}) {
        EXPECT_EQ(loamtunnel({"--complete", "get", "--socket", socket(), timeout, "li"}).out, "") << timeout;
        EXPECT_FALSE(patient.status()) << timeout;
    }
    server.kill(SIGKILL);
}

TEST_F(Live, AServerThatComesLateIsWaitedFor) {
    auto const waiting = start({"tree", "--socket", socket(), "--timeout", "20000"}, "tree.log");
    std::this_thread::sleep_for(300ms);
    auto const server = serve({"lif=LifAppConfigDir"});
    EXPECT_TRUE(eventually([&] { return content("tree.log") == "lif: LifAppConfigDir\n"; }))
        << content("tree.log");
}

TEST_F(Live, StatsAndTreesAreFilteredAndWatched) {
    std::ofstream(file("script")) << "new LifAppConfigDir lif\nset lif.appConfig[vtAppMpls]\n"
                                     "set lif.appConfig[vtAppVxlan]\n"
                                     "set lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1] 5\n";
    auto const server = serve({"--run", file("script")});
    EXPECT_EQ(on("tree", {"--entity", "*Mpls]", "--attribute", "reqCount"}).out,
              "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1] = 5\n");
    EXPECT_EQ(on("tree", {"--attribute", "app", "--form", "text"}).out,
              "lif.appConfig[vtAppMpls].app = 'vtAppMpls'\nlif.appConfig[vtAppVxlan].app = 'vtAppVxlan'\n");
    EXPECT_EQ(on("stats", {"--counter", "entities", "--format", "csv"}).out,
              "peer,counter,value\nstats,entities,0\n");
    EXPECT_EQ(on("stats", {"--peer", "nobody", "--no-headings"}).out, "");
    auto watching = start({"stats", "--socket", socket(), "--counter", "entities", "--watch", "1", "--json"},
                          "stats.log");
    auto const rows = [&] {
        std::string const text = content("stats.log");
        return std::ranges::count(text, '\n');
    };
    EXPECT_TRUE(eventually([&] { return rows() >= 2; }));
    EXPECT_EQ(ended(watching, SIGINT), 0);
    std::string const text = content("stats.log");
    EXPECT_EQ(nlohmann::json::parse(text.substr(0, text.find('\n')))["counter"], "entities");
}

TEST_F(Live, WhatIsServedReadOnlyIsNotWritten) {
    std::ofstream(file("script")) << "new LifAppConfigDir lif\nset lif.appConfig[vtAppMpls]\n";
    auto const server = serve({"--run", file("script")});
    EXPECT_TRUE(has(on("get", {"lif.appConfig"}).out, "vtAppMpls"));
    EXPECT_TRUE(ends(on("del", {"lif.appConfig[vtAppMpls]"}), 1, "root lif is offered read-only"));
    EXPECT_TRUE(has(on("get", {"lif.appConfig"}).out, "vtAppMpls"));
    EXPECT_EQ(on("trace", {"LoamTunnelTypes", "--set", "on"}).status, 1);
    EXPECT_FALSE(has(on("trace", {"--csv"}).out, ",on,8"));
}

TEST_F(Live, AMonitorWhoseOutputIsStuckCanBeEnded) {
    std::ofstream script(file("script"));
    script << "new LifAppConfigDir lif\nset lif.appConfig[vtAppMpls]\n";
    for (int i = 0; i < 2000; ++i) {
        script << "set lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=" << i << "] 1\n";
    }
    script.close();
    auto const server = serve({"--run", file("script")});
    ASSERT_EQ(::mkfifo(file("terminal").c_str(), 0600), 0);
    int const terminal = ::open(file("terminal").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(terminal, 0);
    auto monitor = start({"monitor", "--socket", socket()}, "terminal");
    pollfd written{terminal, POLLIN, 0};
    EXPECT_EQ(::poll(&written, 1, 20'000), 1);
    EXPECT_EQ(ended(monitor, SIGINT), 1);
    ::close(terminal);
}

TEST_F(Live, AConnectionIsRecordedAndReplayed) {
    std::string const log = file("log");
    auto const record = [&](std::string const& address) {
        return loamtunnel({"log", "record", "--socket", address, "--timeout", "20000", log, "lif", "--once"});
    };
    for (bool const isThere : {false, true}) { // what is there stays while there is nothing to record
        isThere ? static_cast<void>(std::ofstream(log) << "old") : void();
        EXPECT_EQ(
            loamtunnel({"log", "record", "--socket", file("nowhere"), "--timeout", "100", log, "--force"})
                .status,
            6);
        EXPECT_EQ(std::filesystem::exists(log), isThere);
    }
    EXPECT_EQ(content("log"), "old");
    std::filesystem::remove(log);

    std::ofstream(file("script")) << "new LifAppConfigDir lif\nset lif.appConfig[vtAppMpls]\n"
                                     "set lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1] 5\n"
                                     "new EvecStatus evec\n";
    auto const server = serve({"--run", file("script")});
    Outcome const outcome = record(socket());
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(support::modeOf(log), 0600u);
    EXPECT_TRUE(has(record(socket()).err, "is there already"));
    std::filesystem::create_symlink(log, file("link"));
    Outcome const link = loamtunnel({"log", "record", "--socket", socket(), file("link"), "--force"});
    EXPECT_TRUE(has(link.err, "symbolic link"));
    EXPECT_EQ(loamtunnel({"log", "record", "--socket", socket(), log, "lif", "--once", "--force"}).status, 0);

    // What is not there is told of, and what is there recorded.
    EXPECT_TRUE(
        ends(loamtunnel({"log", "record", "--socket", socket(), file("other"), "nosuch", "lif", "--once"}), 4,
             "no root nosuch is offered\n"));
    EXPECT_TRUE(has(loamtunnel({"log", "replay", file("other")}).out, "reqCount"));

    EXPECT_EQ(loamtunnel({"log", "check", log}).status, 0);
    std::set<std::string> said;
    for (auto const& row : nlohmann::json::parse(loamtunnel({"log", "show", log, "--json"}).out)) {
        said.insert(row["record"] == "control"
                        ? row["attribute"].get<std::string>() + ' ' + row["value"].dump()
                        : row["record"].get<std::string>());
    }
    for (char const* each : {"hello null", "offer \"lif\"", "offersKnown null", "want \"lif\"",
                             "announcement", "child", "set", "goodbye \"the client ends\""}) {
        EXPECT_TRUE(said.contains(each)) << each;
    }
    auto const state =
        nlohmann::json::parse(loamtunnel({"log", "replay", log, "--side", "accepting", "--json"}).out);
    ASSERT_EQ(state.size(), 3u) << state;
    EXPECT_EQ(state[2]["attribute"], "reqCount");
    EXPECT_EQ(state[2]["value"], 5);
}

TEST_F(Live, AMonitorTellsOfChangesAndOfANewServer) {
    auto server = serve({"lif=LifAppConfigDir", "--writable"});
    auto monitor = start({"monitor", "--socket", socket(), "--attribute", "reqCount"}, "monitor.log");
    ASSERT_TRUE(says("serve.log", "monitor is there"));
    auto columns =
        start({"monitor", "--socket", socket(), "--format", "csv", "--kind", "del"}, "columns.log");
    ASSERT_TRUE(says("serve.log", "the last message once more"));
    ASSERT_EQ(on("set", {"lif.appConfig[vtAppMpls]"}).err, "");
    std::string const count = "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1]";
    EXPECT_EQ(on("set", {count, "5"}).err, "");
    EXPECT_EQ(on("del", {count}).err, "");
    EXPECT_TRUE(says("monitor.log", " deleted"));
    EXPECT_TRUE(says("columns.log", "time,event,path,type,value,note\n20")) << content("columns.log");
    EXPECT_TRUE(has(content("monitor.log"), " = 5"));

    // The state that it begins with is filtered, too.
    EXPECT_EQ(on("set", {count, "7"}).err, "");
    EXPECT_EQ(on("set", {"lif.appConfig[vtAppVxlan]"}).err, "");
    EXPECT_EQ(on("set", {"lif.appConfig[vtAppVxlan].reqCount[AradLifAcMp vsi=2]", "8"}).err, "");
    auto filtered = start({"monitor", "--socket", socket(), "--entity", "*vtAppVxlan*"}, "filtered.log");
    EXPECT_TRUE(says("filtered.log", " = 8\n"));
    EXPECT_FALSE(has(content("filtered.log"), "vtAppMpls"));
    auto whole = start({"monitor", "--socket", socket()}, "whole.log");
    EXPECT_TRUE(eventually([&] {
        return content("whole.log").find("    app = vtAppMpls\n    reqCount[AradLifAcMp vsi=1] = 7\n") !=
               std::string::npos;
    })) << content("whole.log");

    ended(server, SIGKILL);
    server = serve({"lif=LifAppConfigDir", "--writable"});
    EXPECT_TRUE(says("monitor.log", "-- lif is resynchronised"));
    EXPECT_EQ(ended(monitor, SIGINT), 0);
}

TEST_F(Live, TraceRecordsAreReadFromAProcessAndFromItsOutput) {
    tool::Child driver =
        serving({"driver", "--socket", socket(), "--chip", "8", "--image", file("image")}, "driver.log");
    ASSERT_EQ(on("trace", {"LoamTunnelTypes", "--set", "on,+8,+7"}).status, 0);
    std::ofstream(file("lifs")) << "AradLifAcMp vsi=100\nAradLifAcMp vsi=101\n";
    ASSERT_EQ(on("application", {"--app", "vtAppMpls", "--file", file("lifs")}).err, "");

    // Once more, when all that it asks for is there.
    Outcome const again =
        on("application", {"--app", "vtAppMpls", "--file", file("lifs"), "--withdraw", "1"});
    EXPECT_EQ(again.out + again.err, "2 of 2 requests made, 1 LIFs\n");

    auto const count = [](std::string const& text) { return std::ranges::count(text, '\n'); };
    Outcome const all = on("trace", {"--records"});
    EXPECT_EQ(count(all.out), 2) << all.out << all.err;
    Outcome const some = on("trace", {"--records", "LoamTunnel*", "--level", "7,8", "--text", "jericho",
                                      "--unit", "LoamTunnelT*", "--function", "write*", "--json"});
    EXPECT_EQ(count(some.out), 2) << some.err;
    auto const first = nlohmann::json::parse(some.out.substr(0, some.out.find('\n')));
    EXPECT_EQ(first["level"], 8);
    EXPECT_TRUE(has(first["text"].get<std::string>(), "AradLifEntry"));
    for (std::vector<std::string> const& none : {std::vector<std::string>{"Other*"},
                                                 {"--level", "9"},
                                                 {"--text", "arad chip"},
                                                 {"--unit", "x"},
                                                 {"--function", "write"}}) {
        auto words = none;
        words.emplace_back("-r");
        Outcome const outcome = on("trace", words);
        EXPECT_EQ(outcome.out + outcome.err, "") << none.front();
    }
    EXPECT_EQ(on("trace", {"--follow", "--for", "1"}).out, all.out);
    ended(driver, SIGTERM);

    // What it has written is the same, without times and among other lines.
    Outcome const read =
        loamtunnel({"trace", "--file", file("driver.log"), "--format", "csv", "--no-headings"});
    EXPECT_EQ(count(read.out), count(all.out));
    EXPECT_TRUE(has(read.err, "no trace record"));
    EXPECT_EQ(
        loamtunnel({"trace", "--file", "-", "--level", "7"}, "F:8 u:1 f <c> t\nF:7 u:1 f <c> t t\nF:7 u f\n")
            .out,
        "F:7 u:1 f <c> t t\n");
}

/// A terminal that takes nothing until it is told to.
class SlowTerminal : public std::stringbuf {
public:
    void open() {
        std::lock_guard const lock(mutex_);
        isOpen_ = true;
        opened_.notify_all();
    }

protected:
    std::streamsize xsputn(char const* text, std::streamsize n) override {
        std::unique_lock lock(mutex_);
        opened_.wait(lock, [this] { return isOpen_; });
        return std::stringbuf::xsputn(text, n);
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool isOpen_ = false;
};

TEST(Monitor, ASlowTerminalLosesLinesAndIsToldHowMany) {
    SlowTerminal terminal;
    std::ostream out(&terminal);
    Kor::U64 lost = 0;
    {
        tool::BoundedLines lines(out, 10);
        lines.addAll(std::vector<std::string>(100, "state"));
        for (int i = 0; i < 1'000; ++i) {
            lines.add("line " + std::to_string(i));
        }
        lost = lines.lost();
        EXPECT_GE(lost, 1'000u - 20);
        EXPECT_FALSE(lines.drain(0ms));
        terminal.open();
    }
    // Each gap is told where it was; how many there are depends on when the writer looked.
    Kor::U64 told = 0;
    Kor::U64 written = 0;
    for (std::string const& line : support::linesOf(terminal.str())) {
        bool const isGap = line.starts_with("-- ");
        told += isGap ? std::stoull(line.substr(3)) : 0;
        written += !isGap;
    }
    EXPECT_EQ(told, lost);
    EXPECT_EQ(written, 1'100 - lost);
}

TEST(Monitor, FiltersByEntityAttributeAndKind) {
    tool::Watch::Change const set{"lif.appConfig[a].reqCount[x.y = 'b[.']"};
    auto const parts = tool::ChangeFilter::partsOf(set.path);
    EXPECT_EQ(parts.entity, "lif.appConfig[a]");
    EXPECT_EQ(parts.attribute, "reqCount");
    EXPECT_EQ(parts.key, "[x.y = 'b[.']");
    EXPECT_TRUE((tool::ChangeFilter{"lif.app*", "reqCount", "set"}.takes(set)));
    EXPECT_FALSE((tool::ChangeFilter{"lif.app*", "reqCount", "del"}.takes(set)));
    EXPECT_FALSE((tool::ChangeFilter{"evec*", "", ""}.takes(set)));
    EXPECT_FALSE((tool::ChangeFilter{"", "app", ""}.takes(set)));
    EXPECT_TRUE((tool::ChangeFilter{"", "", "del"}.takes({set.path, nullptr, true})));

    EXPECT_EQ(tool::parseWait("a.b[x=1]=2"),
              (std::pair{std::string("a.b[x=1]"), std::optional<std::string>("2")}));
    EXPECT_EQ(tool::parseWait("a.b[x=1]").second, std::nullopt);
}

} // namespace
