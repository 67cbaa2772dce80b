/// Reading and writing that fail: each command ends at once, with one line and status 1.

#include "tests/tools/Process.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

/// Runs the words behind the program's name in a shell, in which $p is the program.
int status(std::string const& words, std::string& err) {
    std::string const file = testing::TempDir() + "stream-" + std::to_string(getpid());
    std::string const command = "bash -c 'p=" LOAM_PROGRAM "; " + words + "' 2>" + file;
    int const result = std::system(command.c_str());
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    unlink(file.c_str());
    err = text.str();
    return WIFEXITED(result) ? WEXITSTATUS(result) : 256 + WTERMSIG(result);
}

std::string const examples = LOAM_EXAMPLES;

TEST(Streams, AFullDiskEndsACommandAtOnce) {
    for (std::string const& each :
         {"encode -c3 -f " + examples + "/evecs.txt", "encode -c3 --json -f " + examples + "/evecs.txt",
          std::string("kinds"), std::string("tables --format csv"), std::string("schema --json"),
          std::string("schema --json-schema"), std::string("value U8 1"), std::string("layout -c8 -v1 --svg"),
          "run " + examples + "/requests.txt", std::string("--help"), std::string("--version"),
          std::string("--manual-page")}) {
        std::string err;
        EXPECT_EQ(status("$p " + each + " >/dev/full", err), 1) << each;
        EXPECT_EQ(err, "loamtunnel: cannot write the results: No space left on device\n") << each;
    }
    // It does not go on to what is far behind: this has no end.
    std::string err;
    EXPECT_EQ(status("yes AradLifAcMp vsi=1 | timeout 20 $p encode -c8 --rows -f - >/dev/full", err), 1);
    EXPECT_EQ(std::ranges::count(err, '\n'), 1) << err;
}

TEST(Streams, AReaderThatHasGoneEndsACommand) {
    std::string err;
    EXPECT_EQ(status("yes AradLifAcMp vsi=1 | timeout 20 $p encode -c8 --json -f - | head -1 >/dev/null; "
                     "exit ${PIPESTATUS[1]}",
                     err),
              1);
    EXPECT_EQ(err, "loamtunnel: cannot write the results: Broken pipe\n");
}

TEST(Streams, WhoLooksAtAProcessAndCannotWriteEnds) {
    for (auto const& [server, command] :
         {std::pair{"serve l=LifAppConfigDir", "monitor --for 5"},
          std::pair{"driver -c8 --image $d/image", "application -a vtAppMpls -f $d/one"}}) {
        for (auto const& [to, why] : {std::pair{">/dev/full", "No space left on device"},
                                      std::pair{"| true; (exit ${PIPESTATUS[0]})", "Broken pipe"}}) {
            std::string err;
            EXPECT_EQ(
                status("d=$(mktemp -d); echo AradLifAcMp vsi=1 >$d/one; $p " + std::string(server) +
                           " -s $d/s 2>/dev/null & until [ -S $d/s ]; do sleep 0.01; done; timeout 20 $p " +
                           command + " -s $d/s " + to + "; s=$?; kill %1; wait; rm -r $d; exit $s",
                       err),
                1)
                << command;
            EXPECT_EQ(err, "loamtunnel: cannot write the results: " + std::string(why) + "\n") << command;
        }
    }
}

// A file that is opened later does not take the place of a stream that was closed, and its bytes.
TEST(Streams, OneThatIsClosedAtTheStartIsNoOther) {
    std::string err;
    EXPECT_EQ(
        status("d=$(mktemp -d); $p serve -s $d/s l=LifAppConfigDir 2>/dev/null & until [ -S $d/s ]; do "
               "sleep 0.01; done; $p log record $d/r --once -s $d/s 2>&- && $p log check $d/r >&2; s=$?; "
               "kill %1; wait; rm -r $d; exit $s",
               err),
        0);
    EXPECT_NE(err.find("true"), std::string::npos) << err;
    EXPECT_EQ(status("$p kinds >&-", err), 1);
    EXPECT_EQ(err, "loamtunnel: cannot write the results: Bad file descriptor\n");
    EXPECT_EQ(status("$p value -f - U8 <&-", err), 1);
    EXPECT_EQ(err, "loamtunnel: cannot read the standard input: Bad file descriptor\n");
}

TEST(Streams, AReadErrorIsNoEnd) {
    for (std::string const each :
         {"encode -c8 -f -", "decode -c8 -v1 -f -", "value U8 -f -", "run -", "trace --file -"}) {
        std::string err;
        EXPECT_EQ(status("$p " + each + " </", err), 1) << each;
        EXPECT_EQ(err, "loamtunnel: cannot read the standard input: Is a directory\n") << each;
    }
}

TEST(Streams, OptionsWithoutEffectAreRefused) {
    for (std::string const each : {"encode -c8 --array 1 AradLifAcMp", "encode -c8 --rows --json AradLifAcMp",
                                   "encode -c8 --rows --nonzero AradLifAcMp", "decode --check --json -f -",
                                   "layout --html --json", "layout --all --svg", "layout --all --variant 99",
                                   "schema --json-schema --json", "get --form wire x"}) {
        std::string err;
        EXPECT_EQ(status("$p " + each + " </dev/null", err), 2) << each << err;
    }
}

} // namespace
