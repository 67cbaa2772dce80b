/// The commands, while one call of the system after the other fails under them (tests/preload/Faults.cpp).

#include "tests/tools/InFolder.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::linesOf;
using support::loamtunnel;
using support::Outcome;

struct FaultedCommand {
    std::vector<std::string> words;
    std::string input{};
};

/// Kinds of faults, each with its error, and how many of them at most. After some a program can go on.
std::string const canGoOn = "read:EINTR:3,read:short:3,write:EINTR:3,write:short:4,open:EINTR:3";
std::string const canFail = "read:EIO:2,write:ENOSPC:3,open:EMFILE:2,memory:ENOMEM:";
std::string const liveCanGoOn =
    ",receive:EINTR:4,receive:short:5,send:EINTR:3,send:short:4,connect:EINTR:2,wait:EINTR:5";
std::string const liveCanFail = ",receive:ECONNRESET:2,send:ECONNRESET:2,socket:EMFILE:2";

/// While there is a connection, and while all of it ends.
std::string const atTheEnd = ",memory:ENOMEM:-40,memory:ENOMEM:-16+";

std::string commandLine(FaultedCommand const& each) {
    std::string all = "loamtunnel";
    for (std::string const& word : each.words) {
        all += ' ' + word;
    }
    return all;
}

/// Rates, times and sizes are not the same twice.
std::string withoutNumbers(std::string const& text) {
    std::string result;
    for (char const c : text) {
        bool const isDigit =
            std::isdigit(static_cast<unsigned char>(c)) != 0 || (c == '.' && result.ends_with('#'));
        if (!isDigit || !result.ends_with('#')) {
            result += isDigit ? '#' : c;
        }
    }
    return result;
}

/// After these nothing at all is to be seen.
bool canGoOnAlone(std::string const& fault) {
    return fault.find("EINTR") != fault.npos || fault.find("short") != fault.npos;
}

/// But for the lines of one who connects again, and of a goodbye for which there was no memory.
std::string withoutLosses(std::string const& err) {
    std::string result;
    for (std::string const& line : linesOf(err)) {
        bool const isLoss = line.starts_with("loamtunnel: no connection: ") ||
                            line.find(" handlerExceptionNote ") != line.npos;
        result += isLoss ? "" : line + '\n';
    }
    return result;
}

class Faults : public support::InFolder {
protected:
    void SetUp() override {
#ifdef LOAM_OTHER_ALLOCATOR
        GTEST_SKIP() << "the sanitizer has an allocator of its own and wants to be loaded first";
#endif
    }

    /// Either all is as without the fault, or one line says what was wrong and the status is that of a
    /// failure. After an end by a signal and short pieces all is as without. What has failed may be tried
    /// until the time is over, if one is given.
    void expectSound(FaultedCommand const& command, std::string const& faults,
                     char const* timeout = nullptr) {
        FaultedCommand each = command;
        if (timeout != nullptr) {
            each.words.insert(each.words.end(), {"--socket", socket(), "--timeout", "20000"});
        }
        Outcome const whole = loamtunnel(each.words, each.input);
        ASSERT_LE(whole.status, 4) << whole.err;
        if (timeout != nullptr) {
            each.words.back() = timeout;
        }
        std::string const in = file("faults");
        std::filesystem::remove_all(in);
        std::filesystem::create_directory(in);
        Outcome const maker =
            loamtunnel(each.words, each.input,
                       "LD_PRELOAD=" LOAM_FAULTS_LIBRARY " LOAM_FAULTS_IN=" + in + " LOAM_FAULTS=" + faults);
        ASSERT_EQ(maker.status, 0) << maker.err;
        for (std::string const& line : linesOf(content("faults/all"))) {
            std::string const name = line.substr(0, line.find(' '));
            SCOPED_TRACE("LOAM_FAULT=" + name + ' ' + commandLine(each));
            int const status = support::exitStatus(std::stoi(line.substr(name.size())));
            std::string const out = content("faults/" + name + ".out"),
                              err = content("faults/" + name + ".err");
            ++faults_;
            if (err.find("failed to register TLS destructor") != err.npos) {
                continue; // the C library itself ends a process there
            }
            if (status == whole.status) {
                EXPECT_EQ(withoutNumbers(out), withoutNumbers(whole.out));
                EXPECT_EQ(withoutNumbers(canGoOnAlone(name) ? err : withoutLosses(err)),
                          withoutNumbers(canGoOnAlone(name) ? whole.err : withoutLosses(whole.err)));
                continue;
            }
            EXPECT_FALSE(canGoOnAlone(name)) << err;
            expectFailure(status, err, linesOf(whole.err).size() + 1);
        }
    }
    static void expectFailure(int status, std::string const& err, std::size_t mostLines) {
        EXPECT_TRUE(status == 1 || status == 5 || status == 6) << status << err;
        EXPECT_NE(err, "");
        std::vector<std::string> const said = linesOf(withoutLosses(err));
        EXPECT_LE(said.size(), mostLines) << err;
        EXPECT_TRUE(std::ranges::all_of(said, [](std::string const& one) {
            return one.starts_with("loamtunnel: ");
        })) << err;
    }

    /// With one fault, in this process and in those that it starts.
    tool::Child under(std::string const& fault, std::vector<std::string> words,
                      std::string const& log) const {
        words.insert(words.begin(), {"/usr/bin/env", "LD_PRELOAD=" LOAM_FAULTS_LIBRARY, "LOAM_FAULT=" + fault,
                                     LOAM_PROGRAM});
        std::filesystem::remove(file(log));
        return {std::move(words), file(log)};
    }
    /// Nobody works in this folder any more.
    bool isAlone() const {
        for (auto const& each : std::filesystem::directory_iterator("/proc")) {
            if (support::contentOf(each.path() / "cmdline").find(folder()) != std::string::npos) {
                return false;
            }
        }
        return true;
    }
    tool::Child driver() const {
        return serving({"driver", "--chip", "8", "--image", file("image"), "--socket", socket()},
                       "driver.log");
    }

    unsigned faults_ = 0;
};

TEST_F(Faults, EndACommandOrChangeNothing) {
    std::string const lifs = LOAM_EXAMPLES "/lifs.txt", requests = LOAM_EXAMPLES "/requests.txt";
    std::string const row = "chip=8 table=LifTable variant=1 0x00000064 0x00140000 0x00000000 0x00000003\n";
    std::ofstream(file("schema.json")) << loamtunnel({"schema", "--json"}).out;
    std::ofstream(file("records")) << "LoamTunnelTypes:8 a.cpp:3 f c text\nno record\n";
    std::ofstream(file("rows")) << row << row;
    FaultedCommand const cases[] = {
        {{"--help"}},
        {{"encode", "--help"}},
        {{"--manual-page", "encode"}},
        {{"--complete", "tree", "-"}},
        {{"encode", "--all-chips", "--entry", "1", "--file", lifs}},
        {{"encode", "--chip", "8", "--json", "--file", "-"}, "AradLifAcMp vsi=100\nOutAcValue ac0.vid1=1\n"},
        {{"encode", "--all-chips", "--format", "csv", "AradLifAcMp", "vsi=100"}},
        {{"kinds", "--json"}},
        {{"value", "--to", "json", "AradLifEntry", "AradLifAcMp vsi=100"}},
        {{"value", "--from", "json", "EvecKey", R"({"fapMask": "0-3", "index": {"value": 4}})"}},
        {{"value", "EvecFormat", "--file", "-"}, "0x12\n0x13\n"},
        {{"decode", "--file", file("rows")}},
        {{"decode", "--json", "--file", "-"}, row},
        {{"decode", "--check", "--file", "-"}, row + row},
        {{"layout", "--chip", "8", "--variant", "4"}},
        {{"layout", "--chip", "8", "--svg"}},
        {{"layout", "--diff", "5", "8", "--json"}},
        {{"layout", "--html"}},
        {{"addr", "--chip", "8", "5"}},
        {{"tables"}},
        {{"schema", "LifAppConfig"}},
        {{"schema", "--json"}},
        {{"schema", "--cpp", "AradLifEntry"}},
        {{"schema", "--json-schema", "EvecKey"}},
        {{"schema", "--diff", file("schema.json")}},
        {{"run", requests}},
        {{"run", "--json", "-"}, "new LifAppConfigDir lif\nset lif.appConfig[vtAppMpls]\ntree lif\n"},
        {{"trace", "--file", file("records")}},
    };
    for (FaultedCommand const& each : cases) {
        expectSound(each, canGoOn + ',' + canFail + "35");
    }
    EXPECT_GT(faults_, 700u);
}

TEST_F(Faults, EndALiveCommandOrChangeNothing) {
    auto const server = serving({"serve", "--socket", socket(), "--writable", "lif=LifAppConfigDir"});
    std::string const count = "lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]";
    ASSERT_EQ(on("set", {"lif.appConfig[vtAppMpls]"}).err, "");
    ASSERT_EQ(on("set", {count, "3"}).err, "");
    std::string const log = file("log");
    Outcome const recorded = loamtunnel({"log", "record", log, "--once", "--socket", socket()});
    ASSERT_EQ(recorded.status, 0) << recorded.err;
    FaultedCommand const cases[] = {
        {{"tree"}},
        {{"get", count}},
        {{"set", count, "3"}},
        {{"set", "--file", "-"}, count + " 3\n"},
        {{"wait", count + "=3"}},
        {{"sync", "--wait", "done"}},
        {{"stats", "--counter", "handlerExceptions", "--json"}},
        {{"trace", "LoamTunnelTypes", "--set", "off"}},
        {{"shell"}, "get lif.appConfig\nset " + count + " 3\ntree\n"},
    };
    for (FaultedCommand const& each : cases) {
        expectSound(each, canGoOn + liveCanGoOn, "20000");
        expectSound(each, canFail + "12" + liveCanFail + atTheEnd, "100");
    }
    expectSound({{"run", "-", "--socket", socket()}, "get lif.appConfig\n"}, canGoOn + liveCanGoOn);
    for (FaultedCommand const& each :
         {FaultedCommand{{"log", "show", log}}, FaultedCommand{{"log", "check", log}},
          FaultedCommand{{"log", "replay", log}}, FaultedCommand{{"log", "diff", log, log}}}) {
        expectSound(each, canGoOn + ',' + canFail + "35" + atTheEnd);
    }
    EXPECT_GT(faults_, 800u);
    EXPECT_EQ(on("get", {count}).out, "3\n"); // the server has seen worse
}

TEST_F(Faults, EndWhoAsksADriverOrChangeNothing) {
    tool::Child const chip = driver();
    std::ofstream(file("entries")) << "AradLifAcMp vsi=1\nAradLifAcMp vsi=2\nOutAcValue ac0.vid1=1\n";
    FaultedCommand const asking{
        {"application", "--app", "vtAppMpls", "--file", file("entries"), "--takeover"}};
    expectSound(asking, canGoOn + liveCanGoOn, "20000");
    expectSound(asking, canFail + "8" + liveCanFail + atTheEnd, "300");
    for (FaultedCommand const& each :
         {FaultedCommand{{"explain", "AradLifAcMp vsi=7"}}, FaultedCommand{{"audit"}},
          FaultedCommand{{"audit", "--image", file("image")}},
          FaultedCommand{{"top", "--once", "--every", "50", "--json"}},
          FaultedCommand{{"shell"}, "stats\naudit\n"}}) {
        expectSound(each, canGoOn + liveCanGoOn, "20000");
        expectSound(each, canFail + "8" + liveCanFail + atTheEnd, "100");
    }
    EXPECT_GT(faults_, 200u);
}

TEST_F(Faults, LoseNothingOfWhatIsWatched) {
    auto const server =
        serving({"serve", "--socket", socket(), "--writable", "lif=LifAppConfigDir", "evec=EvecStatus"});
    std::string const app = "lif.appConfig[vtAppMpls]", log = file("log");
    ASSERT_EQ(on("set", {app}).err, "");
    ASSERT_EQ(on("set", {app + ".reqCount[AradLifAcMp vsi=100]", "3"}).err, "");
    std::string const state = loamtunnel({"monitor", "--for", "1", "--socket", socket()}).out;
    std::vector<std::string> const faults{
        "read:EIO:2",         "write:short:1",      "write:ENOSPC:1",    "open:EMFILE:1",
        "memory:ENOMEM:7700", "memory:ENOMEM:8200", "receive:short:2",   "receive:ECONNRESET:2",
        "send:EINTR:1",       "send:short:2",       "send:ECONNRESET:2", "connect:EINTR:1",
        "wait:EINTR:3",       "socket:EMFILE:1",    "socket:EMFILE:2",   "change:EIO:1",
        "sync:EIO:1"};
    std::vector<tool::Child> watching;
    for (std::size_t i = 0; i < faults.size(); ++i) {
        std::string const& fault = faults[i];
        SCOPED_TRACE("LOAM_FAULT=" + fault);
        for (std::size_t next = watching.size(); next < std::min(i + 4, faults.size());
             ++next) { // a second each
            watching.push_back(under(faults[next], {"monitor", "--for", "1", "--socket", socket()},
                                     "monitor" + std::to_string(next)));
        }
        std::filesystem::remove(log);
        // What says so at the end has all of it, again if a connection was lost.
        tool::Child recording = under(
            fault, {"log", "record", log, "--once", "--timeout", "2000", "--socket", socket()}, "record.log");
        int const status = recording.join();
        if (status == 0) {
            EXPECT_EQ(loamtunnel({"log", "check", log}).status, 0);
            EXPECT_NE(loamtunnel({"log", "replay", log, "--side", "accepting"}).out.find("vsi=100"),
                      std::string::npos);
        } else {
            expectFailure(status, content("record.log"), 2);
        }
        int const watched = watching[i].join();
        std::string const seen = content("monitor" + std::to_string(i));
        if (watched == 0) {
            for (std::string const& line : linesOf(state)) {
                EXPECT_NE(seen.find(line), std::string::npos) << line << '\n' << seen;
            }
        } else {
            EXPECT_TRUE(watched == 1 || watched == 6) << watched;
            EXPECT_NE(seen.find("loamtunnel: "), std::string::npos) << seen;
        }
    }
    EXPECT_EQ(on("get", {app + ".reqCount[AradLifAcMp vsi=100]"}).out, "3\n");
    EXPECT_EQ(on("sync", {}).status, 0);
}

/// Whatever fails under it, what a driver has acknowledged is there afterwards.
TEST_F(Faults, LoseNothingThatADriverHasAcknowledged) {
    unsigned served = 0, ended = 0, vsi = 0;
    for (std::string const fault :
         {"read:EIO:1",           "read:EIO:6",         "write:ENOSPC:2",     "write:ENOSPC:9",
          "write:EIO:20",         "write:short:5",      "write:EINTR:12",     "open:EMFILE:1",
          "open:EMFILE:4",        "open:EMFILE:7",      "sync:EIO:1",         "sync:EIO:4",
          "sync:EIO:7",           "change:EIO:1",       "change:EIO:2",       "open:EINTR:1",
          "memory:ENOMEM:100",    "memory:ENOMEM:8400", "memory:ENOMEM:8700", "memory:ENOMEM:9300",
          "receive:ECONNRESET:2", "receive:short:3",    "receive:EINTR:2",    "send:ECONNRESET:2",
          "send:short:2",         "send:EINTR:3",       "socket:EMFILE:1",    "socket:EMFILE:2",
          "connect:EMFILE:1",     "connect:EINTR:1",    "wait:EINTR:4"}) {
        SCOPED_TRACE("LOAM_FAULT=" + fault);
        std::filesystem::remove(file("entries"));
        std::ofstream(file("entries")) << "AradLifAcMp vsi=" << ++vsi << '\n';
        tool::Child faulty = under(
            fault, {"driver", "--chip", "8", "--image", file("image"), "--socket", socket()}, "faulty.log");
        serves(faulty, "faulty.log");
        Outcome const asked = faulty.status()
                                  ? Outcome{6, "", ""}
                                  : loamtunnel({"application", "--app", "vtAppMpls", "--file",
                                                file("entries"), "--socket", socket(), "--timeout", "3000"});
        faulty.kill(SIGTERM);
        ASSERT_TRUE(eventually([&] { return faulty.status().has_value(); })) << content("faulty.log");
        served += asked.status == 0;
        ended += faulty.status() != 0;
        EXPECT_TRUE(asked.status == 0 || asked.status == 1 || asked.status >= 5) << asked.status << asked.err;
        EXPECT_TRUE(faulty.status() == 0 || faulty.status() == 1)
            << *faulty.status() << content("faulty.log");
        if (faulty.status() != 0) {
            EXPECT_NE(content("faulty.log").find("loamtunnel: "), std::string::npos);
        }
        EXPECT_FALSE(std::filesystem::exists(socket())) << content("faulty.log");
        tool::Child sound = driver();
        Outcome const there = on("explain", {"AradLifAcMp vsi=" + std::to_string(vsi)});
        EXPECT_TRUE(asked.status != 0 || there.out.find("index: ") != std::string::npos)
            << there.out << there.err;
        EXPECT_EQ(on("audit", {}).status, 0);
        EXPECT_EQ(InFolder::ended(sound, SIGTERM), 0);
    }
    EXPECT_GT(served, 15u);
    EXPECT_GT(ended, 3u);
}

TEST_F(Faults, EndAServerWithAWordOrNotAtAll) {
    std::string const app = "lif.appConfig[vtAppMpls]";
    unsigned ended = 0;
    for (std::string const fault :
         {"read:EINTR:1",         "open:EMFILE:1",      "open:EMFILE:2",      "memory:ENOMEM:30",
          "memory:ENOMEM:7600",   "memory:ENOMEM:7800", "memory:ENOMEM:8200", "memory:ENOMEM:9000",
          "receive:ECONNRESET:1", "receive:EINTR:2",    "receive:short:3",    "send:EINTR:1",
          "send:short:2",         "send:ECONNRESET:1",  "socket:EMFILE:1",    "socket:EMFILE:2",
          "socket:EMFILE:3",      "connect:EMFILE:1",   "connect:EINTR:1",    "wait:EINTR:3"}) {
        SCOPED_TRACE("LOAM_FAULT=" + fault);
        tool::Child server =
            under(fault, {"serve", "--socket", socket(), "--writable", "lif=LifAppConfigDir"}, "serve.log");
        serves(server, "serve.log");
        if (!server.status()) { // what it says is set is there
            Outcome const set = loamtunnel({"set", app, "--socket", socket(), "--timeout", "3000"});
            EXPECT_TRUE(set.status == 0 || !canGoOnAlone(fault)) << set.err;
            Outcome const got = loamtunnel({"get", app + ".app", "--socket", socket(), "--timeout", "3000"});
            EXPECT_TRUE(got.out == "vtAppMpls\n" || set.status != 0 || server.status()) << set.err << got.err;
        }
        server.kill(SIGTERM);
        ASSERT_TRUE(eventually([&] { return server.status().has_value(); }));
        ended += server.status() != 0;
        if (server.status() != 0) {
            expectFailure(*server.status(), content("serve.log"), 6); // who came and went, and why it ends
        }
        EXPECT_FALSE(std::filesystem::exists(socket()));
    }
    EXPECT_GT(ended, 2u);
}

TEST_F(Faults, LeaveNoProcessOfADemo) {
    std::vector<std::string> const words{"demo", "--file", LOAM_EXAMPLES "/lifs.txt", "--folder",
                                         file("run")};
    Outcome const whole = loamtunnel(words);
    ASSERT_EQ(whole.status, 0) << whole.err;
    unsigned done = 0;
    for (std::string const fault :
         {"read:EINTR:3", "read:short:2", "read:EIO:4", "write:ENOSPC:2", "write:EINTR:1", "open:EMFILE:3",
          "memory:ENOMEM:300", "memory:ENOMEM:9000", "receive:short:4", "receive:ECONNRESET:3",
          "send:EINTR:2", "socket:EMFILE:1", "wait:EINTR:5"}) {
        Outcome const outcome =
            loamtunnel(words, "", "LD_PRELOAD=" LOAM_FAULTS_LIBRARY " LOAM_FAULT=" + std::string(fault));
        SCOPED_TRACE("LOAM_FAULT=" + std::string(fault) + '\n' + outcome.err);
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1 || outcome.status == 6);
        if (outcome.status == 0) {
            EXPECT_EQ(outcome.out, whole.out);
            ++done;
        } else {
            EXPECT_NE(outcome.err.find("loamtunnel: "), std::string::npos);
        }
        EXPECT_TRUE(eventually([&] { return isAlone(); }));
    }
    EXPECT_GT(done, 3u);
}

} // namespace
