/// The program as a person has it: in a pseudo-terminal; and what is written about it, there and in a pipe.

#include "tests/tools/Terminal.h"

#include "tests/tools/InFolder.h"

#include <algorithm>
#include <fstream>

namespace {

using namespace std::chrono_literals;
using support::has;
using support::loamtunnel;
using support::Outcome;
using support::Terminal;

class InTerminal : public support::InFolder {
protected:
    InTerminal() { ::setenv("XDG_STATE_HOME", file("state").c_str(), 1); }
    ~InTerminal() override { ::unsetenv("XDG_STATE_HOME"); }

    tool::Child serve() const {
        return serving({"serve", "--socket", socket(), "--writable", "lif=LifAppConfigDir"});
    }
};

TEST_F(InTerminal, AShellCompletesGoesOnAndConnectsAgain) {
    auto server = serve();
    Terminal shell({"shell", "--socket", socket()});
    ASSERT_TRUE(shell.shows("loamtunnel> ")) << shell.all();
    // A command, a root, an attribute and a key's enumerator, each from its beginning.
    shell.type("set li\t.a\tvtAppMp\t\n");
    ASSERT_TRUE(shell.shows("loamtunnel> ")) << shell.all();
    // The kind of a key, and its fields.
    shell.type("set lif.appConfig[vtAppMp\t.req\tAradLifAcM\t vsi=\t7] 3\n");
    EXPECT_TRUE(shell.shows("loamtunnel> "));
    shell.type("tree\n");
    EXPECT_TRUE(shell.shows("app = vtAppMpls\r\n    reqCount[AradLifAcMp vsi=7] = 3\r\n")) << shell.all();
    // What may stand there, where it is more than one.
    shell.type("get lif.appConfig[vtAppM\t");
    EXPECT_TRUE(shell.shows("vtAppMirroring]  vtAppMpls]  vtAppMulticast]")) << shell.all();
    shell.type("\003");
    EXPECT_TRUE(shell.shows("\r\nloamtunnel> ")) << shell.all();
    shell.type("schema --ch\t\n");
    EXPECT_TRUE(shell.shows("\r\n0x")) << shell.all();

    shell.type("gett lif\n");
    EXPECT_TRUE(shell.shows("no command gett; did you mean get")) << shell.all();
    shell.type("wait lif.appConfig[vtAppVxlan] --timeout 20000\n");
    std::this_thread::sleep_for(300ms);
    shell.type("\003");
    EXPECT_TRUE(shell.shows("ended by a signal\r\n")) << shell.all();
    shell.type("monitor lif --attribute reqCount\n");
    EXPECT_TRUE(shell.shows("reqCount[AradLifAcMp vsi=7] = 3\r\n")) << shell.all();
    EXPECT_EQ(on("set", {"lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=7]", "4"}).status, 0);
    EXPECT_TRUE(shell.shows("reqCount[AradLifAcMp vsi=7] = 4\r\n")) << shell.all();
    shell.type("\003");
    EXPECT_TRUE(shell.shows("loamtunnel> "));
    shell.type("\033[A\033[A\033[A\n"); // three lines up
    EXPECT_TRUE(shell.shows("no command gett")) << shell.all();

    ended(server, SIGKILL);
    EXPECT_TRUE(shell.shows("-- the connection is lost: ")) << shell.all();
    shell.type("tree --timeout 100\n");
    EXPECT_TRUE(shell.shows("no connection to " + socket())) << shell.all();
    server = serve();
    shell.type("tree\n");
    EXPECT_TRUE(shell.shows("connected again to " + socket())) << shell.all();
    EXPECT_TRUE(shell.shows("lif: LifAppConfigDir\r\n")) << shell.all();
    EXPECT_TRUE(shell.shows("loamtunnel> "));
    std::this_thread::sleep_for(500ms); // a prompt is there a little before the keys are
    shell.type("\004");
    EXPECT_EQ(shell.join(), 0) << shell.all();
    EXPECT_TRUE(has(content("state/loamtunnel/history"), "monitor"));
    EXPECT_EQ(support::modeOf(file("state/loamtunnel/history")), 0600u);
}

TEST_F(InTerminal, SyncTellsWhomItWaitsFor) {
    auto server = serve();
    auto watching = start({"monitor", "--socket", socket()}, "monitor.log");
    auto stopped = start({"monitor", "--socket", socket()}, "stopped.log");
    for (char const* const log : {"monitor.log", "stopped.log"}) {
        ASSERT_TRUE(says(log, "lif"));
    }
    stopped.kill(SIGSTOP);
    Terminal sync({"sync", "--socket", socket(), "--all", "--timeout", "60000"}, 200);
    EXPECT_TRUE(
        sync.shows("waits for 1 of 2 peers of serve: monitor (process " + std::to_string(stopped.id()) + ')'))
        << sync.all();
    stopped.kill(SIGCONT);
    EXPECT_TRUE(sync.shows("applied")) << sync.all();
    EXPECT_EQ(sync.join(), 0);
}

TEST_F(InTerminal, AShellRunsTheLinesOfAPipe) {
    auto const server = serve();
    Outcome const outcome =
        loamtunnel({"shell", "--socket", socket()},
                   "# comment\n\nset lif.appConfig[vtAppMpls] # a child\n"
                   "get lif.appConfig[vtAppMpls].app\nget lif.appConfig[vtAppVxlan].app\n"
                   "gett\nget 'unclosed\ntree --entity '*Mpls*' --attribute app --form text\n"
                   "wait lif --socket x\nget 'lif.appConfig'\nquit\nget lif.appConfig[vtAppMpls].app\n");
    EXPECT_EQ(outcome.status, 4) << "that of the first that failed";
    EXPECT_EQ(outcome.out, "vtAppMpls\nlif.appConfig[vtAppMpls].app = 'vtAppMpls'\n"
                           "lif.appConfig[vtAppMpls] = lif.appConfig[vtAppMpls]\n");
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 4) << outcome.err;
    for (char const* const each :
         {"loamtunnel: stdin:5: lif.appConfig[vtAppVxlan]", "stdin:6: no command gett",
          "stdin:7: ", "stdin:9: no option --socket; "}) {
        EXPECT_TRUE(has(outcome.err, each));
    }
    EXPECT_EQ(loamtunnel({"shell", "--socket", socket()}, "get lif\n").status, 0);
    EXPECT_EQ(loamtunnel({"shell", "--socket", file("nowhere"), "--timeout", "100"}, "get lif\n").status, 6);
    Outcome const full = loamtunnel({"sh"});
    EXPECT_EQ(full.status, 2);
}

TEST_F(InTerminal, TopIsRefreshedInPlaceAndSorted) {
    auto server = serve();
    auto const monitor = start({"monitor", "--socket", socket()}, "monitor.log");
    Terminal top({"top", "--socket", socket(), "--every", "200"}, 90, 20);
    ASSERT_TRUE(top.shows("\033[H" + socket())) << top.all();
    ASSERT_TRUE(top.shows("connections, by records/s")) << top.all();
    EXPECT_TRUE(top.shows("monitor")) << top.all();
    EXPECT_TRUE(top.shows("\033[H"));
    EXPECT_EQ(top.modes(), tcflag_t{ISIG});
    top.type("s");
    EXPECT_TRUE(top.shows("by in/s")) << top.all();
    ended(server, SIGKILL);
    EXPECT_TRUE(top.shows("no connection to ")) << top.all();
    server = serve();
    EXPECT_TRUE(top.shows("connections, by in/s")) << top.all();
    top.type("q");
    EXPECT_EQ(top.join(), 0);
    EXPECT_EQ(top.modes(), tcflag_t{ICANON | ECHO | ISIG}) << "the terminal is not as it was";
    std::size_t begin = 0; // no line is wider than the terminal
    std::string const& all = top.all();
    for (std::size_t end = all.find("\033[K", begin); end != all.npos; end = all.find("\033[K", begin)) {
        std::size_t const start = std::max(begin, all.rfind('\n', end) + 1);
        EXPECT_LT(end - start, 90u + 6u) << all.substr(start, end - start);
        begin = end + 3;
    }

    Outcome const once = on("top", {"--once", "--sort", "peer", "--no-headings"});
    EXPECT_EQ(once.status, 0) << once.err;
    EXPECT_GE(std::ranges::count(once.out, '\n'), 1) << once.out;
    EXPECT_FALSE(has(once.out, "\033"));
    EXPECT_EQ(on("top", {"--once", "--json"}).out.find("{\"time\":\""), 0u);
    EXPECT_EQ(on("top", {"--sort", "nosuch"}).status, 2);
}

// Long work says how far it is and what it waits for, and leaves nothing behind.
TEST_F(InTerminal, LongWorkShowsWhatItWaitsFor) {
    std::ofstream(file("entries")) << "AradLifAcMp vsi=1\n";
    Terminal application({"application", "--socket", socket(), "--timeout", "1500", "--app", "vtAppMpls",
                          "--file", file("entries")});
    EXPECT_TRUE(
        application.shows("\r\033[K0 of 1 requests made, 0 LIFs; waits for the connection to the driver"))
        << application.all();
    EXPECT_TRUE(application.shows("not done within 1500 ms: 0 of 1 requests made")) << application.all();
    EXPECT_EQ(application.join(), 6);

    Terminal tree({"tree", "--socket", socket(), "--timeout", "1200"});
    EXPECT_TRUE(tree.shows("waits for " + socket() + ": cannot connect")) << tree.all();
    EXPECT_EQ(tree.join(), 6);

    auto const server = serve();
    ASSERT_EQ(loamtunnel({"log", "record", "--socket", socket(), file("log"), "--once"}).status, 0);
    Terminal replay({"/bin/sh", "-c",
                     "{ head -c 60 log; sleep 3; tail -c +61 log; } | " LOAM_PROGRAM
                     " log replay /dev/stdin"},
                    120, 40, folder());
    EXPECT_TRUE(replay.shows("records to the second ")) << replay.all();
    EXPECT_TRUE(replay.shows("\r\033[K\033[1mentity")) << replay.all();
    EXPECT_EQ(replay.join(), 0);

    Terminal encode(
        {"/bin/sh", "-c", "{ cat entries; sleep 3; cat entries; } | " LOAM_PROGRAM " encode -c8 -f - > rows"},
        120, 40, folder());
    EXPECT_TRUE(encode.shows("1 entries encoded; reads stdin:2")) << encode.all();
    EXPECT_EQ(encode.join(), 0);
    EXPECT_TRUE(has(content("rows"), "vsi[15:0]: 1"));
    EXPECT_TRUE(encode.all().ends_with("\r\033[K")) << encode.all();
}

TEST_F(InTerminal, BashZshAndFishCompleteALiveTree) {
    auto server = serve();
    ASSERT_EQ(on("set", {"lif.appConfig[vtAppMpls]"}).status, 0);
    ASSERT_EQ(on("set", {"lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=7]", "3"}).status, 0);
    std::string const path = LOAM_PROGRAM;
    std::string const scripts = LOAM_SOURCES "/tools/completion";
    std::string missing;
    for (auto const& [command, setUp] : support::Table<std::vector<std::string>, std::string>{
             {{"/bin/bash", "--norc", "-i"}, ". " + scripts + "/loamtunnel.bash"},
             {{"/usr/bin/zsh", "-f", "-i"},
              "fpath=(" + scripts + " $fpath); autoload -U compinit; compinit -u -D"},
             {{"/usr/bin/fish", "--no-config", "-i"}, "source " + scripts + "/loamtunnel.fish"}}) {
        SCOPED_TRACE(command[0]);
        if (::access(command[0].c_str(), X_OK) != 0) {
            missing += ' ' + command[0];
            continue;
        }
        std::vector<std::string> words{"/usr/bin/env", "LOAM_SOCKET=" + socket(), "HOME=" + folder(),
                                       "PATH=" + path.substr(0, path.rfind('/')) + ":/usr/bin:/bin"};
        words.insert(words.end(), command.begin(), command.end());
        Terminal shell(words, 120, 40, folder());
        shell.type(setUp + "; touch begun\n");
        ASSERT_TRUE(eventually([&] { return std::filesystem::exists(file("begun")); })) << shell.all();
        auto const prints = [&](std::string const& line, std::string const& result) {
            shell.type(line + " >out; touch done\n");
            EXPECT_TRUE(eventually([&] { return std::filesystem::exists(file("done")); })) << shell.all();
            EXPECT_EQ(content("out"), result) << shell.all();
            std::filesystem::remove(file("done"));
        };
        // Each part from its beginning, within quotes: what goes on does not close them, what is whole does.
        // A busy machine may take longer than who types would wait.
        prints("loamtunnel get --timeout 60000 'lif.appConfig[vtAppMpls].r\tAcMp vsi=7\t", "3\n");
        prints("loamtunnel wait --timeout 60000 lif.appConfig\\[vtAppMpls\\].app=vtAppMp\t",
               "lif.appConfig[vtAppMpls].app = vtAppMpls\n");
        prints("loamtunnel value VtA\tvtAppMp\t --t\twire", "00 00 00 07\n");
        std::filesystem::remove(file("begun"));
    }
    if (!missing.empty()) {
        GTEST_SKIP() << "not tried, since they are not here:" << missing;
    }
}

// The commands of docs/tools.md do what stands there, for a person and for a script.
TEST_F(InTerminal, TheCommandsOfTheGuideDoWhatItSays) {
    std::ifstream guide(LOAM_SOURCES "/docs/tools.md");
    std::vector<std::pair<std::string, std::string>> commands; // and what they print
    bool isIn = false;
    for (std::string line; std::getline(guide, line);) {
        if (line.starts_with("```")) {
            isIn = line == "```console";
        } else if (isIn && line.starts_with("$ ")) {
            commands.emplace_back(line.substr(2), "");
        } else if (isIn) {
            ASSERT_FALSE(commands.empty());
            commands.back().second += line + '\n';
        }
    }
    ASSERT_GE(commands.size(), 12u);
    std::string const path = LOAM_PROGRAM;
    std::string const begin =
        "PATH=" + path.substr(0, path.rfind('/')) + ":$PATH; export LOAM_SOCKET=" + socket() + "; ";
    for (bool const isTerminal : {true, false}) {
        tool::Child server =
            start({"serve", "--socket", socket(), "--writable", "lif=LifAppConfigDir"}, "guide.log");
        for (auto const& [command, prints] : commands) {
            if (command.ends_with('&')) {
                continue; // the server, which is there
            }
            SCOPED_TRACE(command + (isTerminal ? " in a terminal" : " in a pipe"));
            std::string out;
            if (isTerminal) {
                Terminal terminal({"/bin/sh", "-c", begin + command}, 200, 60, folder());
                EXPECT_EQ(terminal.join(), 0);
                out = terminal.all();
                std::erase(out, '\r');
                for (char const* const each : {"\033[1m", "\033[0m"}) {
                    for (std::size_t at = out.find(each); at != out.npos; at = out.find(each)) {
                        out.erase(at, 4);
                    }
                }
            } else {
                EXPECT_EQ(
                    std::system(
                        ("cd " + folder() + "; { " + begin + command + "; } > out 2>&1 < /dev/null").c_str()),
                    0);
                out = content("out");
            }
            if (!prints.empty()) {
                EXPECT_EQ(out, prints);
            }
        }
        EXPECT_EQ(ended(server, SIGTERM), 0);
        std::filesystem::remove(file("lif.loamlog"));
    }
}

} // namespace
