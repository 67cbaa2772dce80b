/// The commands, while one call of the system after the other fails under them (tests/preload/Faults.cpp).

#include "tests/tools/InFolder.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

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

std::string commandLine(FaultedCommand const& each) {
    std::string all = "loamtunnel";
    for (std::string const& word : each.words) {
        all += ' ' + word;
    }
    return all;
}

std::vector<std::string> linesUnderFaults(std::string const& all) {
    std::istringstream stream(all);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
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
        ASSERT_LE(whole.status, 3) << whole.err;
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
        for (std::string const& line : linesUnderFaults(content("faults/all"))) {
            std::string const name = line.substr(0, line.find(' '));
            SCOPED_TRACE("LOAM_FAULT=" + name + ' ' + commandLine(each));
            int const status = support::exitStatus(std::stoi(line.substr(name.size())));
            std::string const out = content("faults/" + name + ".out"),
                              err = content("faults/" + name + ".err");
            ++faults_;
            if (status == whole.status) {
                EXPECT_EQ(out, whole.out);
                EXPECT_EQ(err, whole.err);
                continue;
            }
            EXPECT_TRUE(status == 1 || status == 5 || status == 6) << status << err;
            EXPECT_EQ(name.find("EINTR"), name.npos) << err;
            EXPECT_EQ(name.find("short"), name.npos) << err;
            std::vector<std::string> const said = linesUnderFaults(err);
            EXPECT_FALSE(said.empty());
            EXPECT_LE(said.size(), linesUnderFaults(whole.err).size() + 1) << err;
            EXPECT_TRUE(std::ranges::all_of(said, [](std::string const& one) {
                return one.starts_with("loamtunnel: ");
            })) << err;
        }
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
    tool::Child const server =
        start({"serve", "--socket", socket(), "--writable", "lif=LifAppConfigDir"}, "serve.log");
    ASSERT_TRUE(eventually([&] { return content("serve.log").find("serving at") != std::string::npos; }));
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
        expectSound(each, canFail + "12" + liveCanFail, "100");
    }
    expectSound({{"run", "-", "--socket", socket()}, "get lif.appConfig\n"}, canGoOn + liveCanGoOn);
    for (FaultedCommand const& each :
         {FaultedCommand{{"log", "show", log}}, FaultedCommand{{"log", "check", log}},
          FaultedCommand{{"log", "replay", log}}, FaultedCommand{{"log", "diff", log, log}}}) {
        expectSound(each, canGoOn + ',' + canFail + "35");
    }
    EXPECT_GT(faults_, 300u);
    EXPECT_EQ(on("get", {count}).out, "3\n"); // the server has seen worse
}

} // namespace
