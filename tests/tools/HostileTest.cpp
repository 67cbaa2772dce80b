/// Every command on a live tree, with a server that means harm, and with one that says nothing: what reaches
/// the terminal, and how the command ends.

#include "console/Live.h"
#include "forms/Json.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"
#include "runtime/PlainText.h"
#include "support/Entities.h"
#include "tests/tools/InFolder.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;
using namespace std::chrono_literals;
using support::ends;
using support::has;
using support::loamtunnel;
using support::Outcome;

/// Clears a terminal, by two ways to write it, turns the direction, and is no UTF-8 at its end.
constexpr char const* evil = "\033[2J\u009b2J\u202egnp.exe\u2066\r\x9b\xff";
/// The same, as far as a name of the attribute log may have it.
constexpr char const* evilName = "x\u009b2J\u202egnp.exe\u2066\x9b";

void expectPlain(std::string const& text) {
    for (std::string const& line : support::linesOf(text)) {
        EXPECT_EQ(Kor::plainText(line), line);
    }
}

class Hostile : public support::InFolder {
protected:
    int serve() const {
        Kor::Link::Loop loop;
        auto const service = Kor::makePtr<Service>();
        auto const dir = lifAppConfigDirFactory(Kor::Name(evilName));
        dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(AradLifAcMp(), 1);
        service->offer("lif", dir);
        service->offer("lifStatus", lifAppConfigDirFactory("lifStatus"));
        service->offer(Kor::Name(evilName), lifAppConfigDirFactory(Kor::Name(evilName)));
        std::ostringstream text;
        Kor::Forms::JsonWriter(text).string(evil);
        std::string const quoted = text.str();
        auto const answer = [&](char const* verb, std::string const& reply) {
            service->handlerIs(Kor::Name(verb),
                               [reply](Session&, Kor::String8 const&) { return Kor::String8(reply); });
        };
        answer("stats", R"({"peers": [{"peer": )" + quoted + ", " + quoted + R"(: 7, "deep": )" +
                            std::string(20'000, '[') + std::string(20'000, ']') +
                            R"(}], "handlerExceptions": 0, )" + quoted + ": 1}");
        answer("trace", R"([{"facility": )" + quoted + R"(, "enabled": true, "levels": [8], "passed": 1}])");
        U64 number = 0;
        service->handlerIs("traceRecords", [&](Session&, Kor::String8 const&) {
            number += 1;
            return Kor::String8(R"({"last": )" + std::to_string(number) + R"(, "records": [{"number": )" +
                                std::to_string(number) + R"(, "time": 1.5, "facility": )" + quoted +
                                R"(, "level": 8, "unit": )" + quoted + R"(, "line": 7, "function": )" +
                                quoted + R"(, "context": )" + quoted + R"(, "text": )" + quoted + "}]}");
        });
        service->handlerIs("sync", [](Session&, Kor::String8 const&) -> Kor::String8 {
            Kor::throwRangeException(Kor::String8(evil));
        });
        Kor::Link::ListenerConfig config;
        config.service = service;
        config.session.name = Kor::Name(evilName);
        Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(socket()), config);
        loop.run();
        return 0;
    }
};

TEST_F(Hostile, NothingThatATerminalObeysComesThroughAndEachCommandEnds) {
    support::Forked const server([this] { return serve(); });
    ASSERT_TRUE(eventually([this] { return std::filesystem::exists(socket()); }));
    std::ofstream(file("entries")) << "AradLifAcMp vsi=1\n";
    std::vector<std::vector<std::string>> const commands{
        {"tree"},
        {"get", "lif"},
        {"get", "lif.appConfig"},
        {"get", std::string(evilName)},
        {"get", std::string("lif.") + evil},
        {"set", "lif.appConfig[vtAppVxlan]"},
        {"del", "lif.appConfig[vtAppMpls]"},
        {"wait", "lif"},
        {"wait", std::string("lif.appConfig[") + evil + "]"},
        {"monitor", "--for", "1"},
        {"stats"},
        {"stats", "--format", "csv"},
        {"stats", "--format", "json"},
        {"top", "--once"},
        {"top", "--once", "--json"},
        {"trace"},
        {"trace", "--format", "csv"},
        {"trace", "--format", "json"},
        {"trace", "--records"},
        {"trace", "--records", "--format", "csv"},
        {"trace", "--records", "--format", "json"},
        {"trace", "--follow", "--for", "1"},
        {"log", "record", file("log"), "--once"},
        {"application", "--app", "vtAppMpls", "--file", file("entries")},
    };
    for (auto command : commands) {
        SCOPED_TRACE(Kor::plainText(command[0] + ' ' + command.back()));
        command.insert(command.end(), {"--socket", socket(), "--timeout", "1000"});
        auto const begin = std::chrono::steady_clock::now();
        Outcome const outcome = loamtunnel(command);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 15s);
        EXPECT_LE(outcome.status, 6); // of those that are documented
        EXPECT_FALSE(outcome.out.empty() && outcome.err.empty() && command[0] != "set");
        expectPlain(outcome.out);
        expectPlain(outcome.err);
    }
    Outcome const shell = loamtunnel(
        {"shell", "--socket", socket(), "--timeout", "1000"},
        std::string("tree\nget lif.appConfig\nstats\ntrace\nmonitor --for 1\nget ") + evil + "\nwait lif\n");
    EXPECT_EQ(shell.status, 1);
    EXPECT_TRUE(has(shell.out, "LifAppConfigDir"));
    expectPlain(shell.out);
    expectPlain(shell.err);
    for (std::string const how : {"show", "check", "replay"}) {
        for (std::string const form : {"table", "csv", "json"}) {
            SCOPED_TRACE(how + ' ' + form);
            Outcome const outcome = loamtunnel({"log", how, file("log"), "--format", form});
            EXPECT_FALSE(outcome.out.empty() && outcome.err.empty());
            expectPlain(outcome.out);
            expectPlain(outcome.err);
        }
    }
}

TEST_F(Hostile, WhatAMonitorHoldsHasALimit) {
#ifdef LOAM_OTHER_ALLOCATOR
    GTEST_SKIP() << "the allocator does not tell what is held";
#endif
    support::Forked const server([this] {
        Kor::Link::Loop loop;
        auto const service = Kor::makePtr<Service>();
        auto const dir = lifAppConfigDirFactory("lif");
        auto const config = dir->appConfigIs(Loam::vtAppMpls);
        support::fill(*config, 300'000);
        service->offer("lif", dir);
        Kor::Link::ListenerConfig serving;
        serving.service = service;
        Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(socket()), serving);
        loop.run();
        return 0;
    });
    ASSERT_TRUE(eventually([this] { return std::filesystem::exists(socket()); }));
    for (std::vector<std::string> command : {std::vector<std::string>{"monitor", "--for", "30"}, {"tree"}}) {
        command.insert(command.end(), {"--socket", socket(), "--memory", "16", "--timeout", "30000"});
        EXPECT_TRUE(ends(loamtunnel(command), 1, "takes more than 16 MiB here, which is the limit"));
    }
}

class Ends : public support::InFolder {
protected:
    /// What is in the folder, but for what the test has put there.
    std::string left() const {
        std::string names;
        for (auto const& each : std::filesystem::directory_iterator(folder())) {
            std::string const name = each.path().filename();
            names += name == "silent" || name == "entries" || name == "log" || name == "command.log" ||
                             name.starts_with("chip.img") || name.starts_with("live") || name == "run"
                         ? ""
                         : name + ' ';
        }
        return names + (std::filesystem::exists(file("chip.img.lock")) ? "lock" : "");
    }
};

TEST_F(Ends, ASignalEndsEachCommandAsItsWorkIsAndNothingIsLeft) {
    // It takes connections, and says nothing.
    int const silent = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un at{};
    at.sun_family = AF_UNIX;
    file("silent").copy(at.sun_path, sizeof at.sun_path - 1);
    ASSERT_EQ(::bind(silent, reinterpret_cast<sockaddr const*>(&at), sizeof at), 0);
    ASSERT_EQ(::listen(silent, 100), 0);
    auto const live =
        serving({"driver", "--chip", "8", "--image", file("live.img"), "--socket", file("live")}, "live.log");
    std::ofstream(file("entries")) << "AradLifAcMp vsi=1\n";
    // Told: it runs until then. Cut off: its result was not there yet.
    enum Work { told, cutOff };
    std::vector<std::string> const withoutAnswer{"silent", "nowhere"},
        everywhere{"silent", "nowhere", "live"};
    std::vector<int> accepted;
    // The sign is what it prints once it is at work there; else it is a moment later.
    for (auto const& [given, work, places, sign] :
         support::Table<std::vector<std::string>, Work, std::vector<std::string>, std::string>{
             {{"tree"}, cutOff, withoutAnswer, ""},
             {{"get", "lif"}, cutOff, withoutAnswer, ""},
             {{"set", "lif", "1"}, cutOff, withoutAnswer, ""},
             {{"del", "lif[1]"}, cutOff, withoutAnswer, ""},
             {{"wait", "lifStatus.appStatus[vtAppMpls]", "--timeout", "60000"}, cutOff, everywhere, ""},
             {{"sync"}, cutOff, withoutAnswer, ""},
             {{"explain", "EvecKey fapMask=0 index=4"}, cutOff, withoutAnswer, ""},
             {{"shell"}, cutOff, withoutAnswer, ""},
             {{"stats"}, cutOff, withoutAnswer, ""},
             {{"stats", "--watch", "60"}, told, everywhere, ""},
             {{"trace"}, cutOff, withoutAnswer, ""},
             {{"trace", "--follow"}, told, everywhere, ""},
             {{"top", "--every", "60000"}, told, everywhere, ""},
             {{"top", "--once", "--every", "60000"}, cutOff, everywhere, ""},
             {{"audit"}, cutOff, withoutAnswer, ""},
             {{"audit", "--every", "60"}, told, everywhere, "none differs"},
             {{"monitor"}, told, everywhere, "lifStatus"},
             {{"log", "record", file("log"), "--force"}, told, {"silent", "live"}, ""},
             {{"log", "record", file("log"), "--force", "--once"}, cutOff, {"silent"}, ""},
             {{"application", "--app", "vtAppMpls", "--file", file("entries")}, cutOff, withoutAnswer, ""},
             {{"application", "--app", "vtAppMpls", "--file", file("entries"), "--pace", "60000"},
              cutOff,
              {"live"},
              ""},
             {{"serve", "lif=LifAppConfigDir"}, told, {"socket"}, "serving at"},
             {{"driver", "--chip", "8", "--image", file("chip.img")}, told, {"socket"}, "serving at"},
         }) {
        for (std::string const& place : places) {
            for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
                SCOPED_TRACE(given[0] + ' ' + place + ' ' + std::to_string(signal));
                std::filesystem::remove(file("command.log"));
                auto words = given;
                words.insert(words.end(), {"--socket", file(place)});
                auto command = start(words, "command.log");
                ASSERT_TRUE(work == cutOff ||
                            eventually([&] { return support::hears(command.id(), signal); }));
                pollfd connecting{silent, POLLIN, 0};
                if (!sign.empty() && place != "silent" && place != "nowhere") {
                    ASSERT_TRUE(says("command.log", sign));
                } else if (place == "silent" && ::poll(&connecting, 1, 10'000) == 1) {
                    accepted.push_back(::accept(silent, nullptr, nullptr)); // it stays without an answer
                } else {
                    std::this_thread::sleep_for(50ms);
                }
                command.kill(signal);
                EXPECT_TRUE(eventually([&] { return command.status().has_value(); }));
                EXPECT_EQ(command.status(), work == told ? 0 : 128 + signal) << content("command.log");
                EXPECT_EQ(left(), "");
            }
        }
    }
    for (int const each : accepted) {
        ::close(each);
    }
    ::close(silent);
    // What nohup starts outlives the terminal.
    auto const before = std::signal(SIGHUP, SIG_IGN);
    auto server = start({"serve", "lif=LifAppConfigDir", "--socket", socket()}, "command.log");
    static_cast<void>(std::signal(SIGHUP, before));
    ASSERT_TRUE(eventually([&] { return support::hears(server.id(), SIGTERM); }));
    server.kill(SIGHUP);
    EXPECT_EQ(on("sync", {}).status, 0);
    EXPECT_EQ(ended(server, SIGTERM), 0);
}

TEST_F(Ends, ADefaultSocketLiesInAFolderOfTheUsersOwn) {
    ::setenv("XDG_RUNTIME_DIR", folder().c_str(), 1);
    auto server = serving({"serve", "lif=LifAppConfigDir"}, "command.log");
    EXPECT_EQ(loamtunnel({"tree"}).out, "lif: LifAppConfigDir\n");
    EXPECT_EQ(support::modeOf(file("loamtunnel")), 0700u);
    EXPECT_EQ(ended(server, SIGTERM), 0);
    ASSERT_EQ(::chmod(file("loamtunnel").c_str(), 0777), 0);
    EXPECT_TRUE(has(loamtunnel({"serve", "lif=LifAppConfigDir"}).err, "is no folder of this user's own"));
    ::unsetenv("XDG_RUNTIME_DIR");
}

/// A pipe that nobody reads; terminals and sockets are those of MessagesTest.
TEST_F(Ends, AReaderThatIsStuckStopsNoServer) {
    ASSERT_EQ(::mkfifo(file("run").c_str(), 0600), 0);
    int const fifo = ::open(file("run").c_str(), O_RDWR | O_CLOEXEC);
    tool::Child server = start({"serve", "lif=LifAppConfigDir", "--socket", socket()}, "run");
    ASSERT_TRUE(eventually([this] { return std::filesystem::exists(socket()); }));
    Kor::Link::Loop loop;
    std::string const name(60, 'x'); // which the server tells with each that comes and goes
    for (int i = 0; i < 1000; ++i) {
        // The file is there a moment before somebody listens.
        Kor::Link::ConnectorConfig const how = i == 0 ? tool::connectorConfig(name) : tool::connectOnce(name);
        Kor::Link::Connector connector(loop, Kor::Link::Address::parse(socket()), how);
        ASSERT_TRUE(loop.runUntil([&] { return connector.isEstablished(); }, 10s)) << i;
    }
    EXPECT_EQ(loamtunnel({"tree", "--socket", socket()}).out, "lif: LifAppConfigDir\n");
    // It is counted each second.
    EXPECT_TRUE(eventually([this] {
        return has(loamtunnel({"stats", "--socket", socket()}).out, "messagesLost");
    }));
    EXPECT_EQ(ended(server, SIGTERM), 0);
    ::close(fifo);
}

} // namespace
