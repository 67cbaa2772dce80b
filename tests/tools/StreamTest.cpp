/// Reading and writing that fail: each command ends at once, with one line and status 1.

#include "tests/tools/Process.h"

#include <string>

namespace {

/// Runs the words in a shell, in which $p is the program. It is to end so, with those words alone, if any.
void expectEnd(int status, std::string const& words, std::string const& err) {
    support::Outcome const outcome = support::shell("bash -c 'p=" LOAM_PROGRAM "; " + words + "'");
    EXPECT_EQ(outcome.status, status) << words << '\n' << outcome.err;
    EXPECT_EQ(outcome.err, err.empty() ? "" : "loamtunnel: " + err + '\n') << words;
}

/// A server of its own in $d, the folder of one command, which is behind it.
std::string beside(std::string const& server, std::string const& command) {
    return "d=$(mktemp -d); echo AradLifAcMp vsi=1 >$d/one; $p " + server +
           " -s $d/s 2>/dev/null & until [ -S $d/s ]; do sleep 0.01; done; " + command +
           "; s=$?; kill %1; wait; rm -r $d; exit $s";
}

std::string const noSpace = "cannot write the results: No space left on device";
std::string const broken = "cannot write the results: Broken pipe";

TEST(Streams, AFullDiskEndsACommandAtOnce) {
    for (std::string const each :
         {"encode -c3 -f " LOAM_EXAMPLES "/evecs.txt", "encode -c3 --json -f " LOAM_EXAMPLES "/evecs.txt",
          "kinds", "tables --format csv", "schema --json", "schema --json-schema", "value U8 1",
          "layout -c8 -v1 --svg", "run " LOAM_EXAMPLES "/requests.txt", "--help", "--version",
          "--manual-page"}) {
        expectEnd(1, "$p " + each + " >/dev/full", noSpace);
    }
    // It does not go on to what is far behind: this has no end.
    expectEnd(1, "yes AradLifAcMp vsi=1 | timeout 20 $p encode -c8 --rows -f - >/dev/full", noSpace);
}

TEST(Streams, AReaderThatHasGoneEndsACommand) {
    expectEnd(1,
              "yes AradLifAcMp vsi=1 | timeout 20 $p encode -c8 --json -f - | head -1 >/dev/null; "
              "exit ${PIPESTATUS[1]}",
              broken);
}

TEST(Streams, WhoLooksAtAProcessAndCannotWriteEnds) {
    for (auto const& [server, command] :
         {std::pair{"serve l=LifAppConfigDir", "monitor --for 5"},
          std::pair{"driver -c8 --image $d/image", "application -a vtAppMpls -f $d/one"}}) {
        std::string const run = "timeout 20 $p " + std::string(command) + " -s $d/s ";
        expectEnd(1, beside(server, run + ">/dev/full"), noSpace);
        expectEnd(1, beside(server, run + "| true; (exit ${PIPESTATUS[0]})"), broken);
    }
}

// A file that is opened later does not take the place of a stream that was closed, and its bytes.
TEST(Streams, OneThatIsClosedAtTheStartIsNoOther) {
    expectEnd(0,
              beside("serve l=LifAppConfigDir",
                     "$p log record $d/r --once -s $d/s 2>&- && $p log check $d/r | grep -q true"),
              "");
    expectEnd(1, "$p kinds >&-", "cannot write the results: Bad file descriptor");
    expectEnd(1, "$p value -f - U8 <&-", "cannot read the standard input: Bad file descriptor");
}

TEST(Streams, AReadErrorIsNoEnd) {
    for (std::string const each :
         {"encode -c8 -f -", "decode -c8 -v1 -f -", "value U8 -f -", "run -", "trace --file -"}) {
        expectEnd(1, "$p " + each + " </", "cannot read the standard input: Is a directory");
    }
}

TEST(Streams, OptionsWithoutEffectAreRefused) {
    for (std::string const each :
         {"encode -c8 --array 1 AradLifAcMp", "encode -c8 --rows --json AradLifAcMp",
          "encode -c8 --rows --nonzero AradLifAcMp", "decode --check --json -f -", "layout --html --json",
          "layout --all --svg", "layout --all --variant 99", "schema --json-schema --json",
          "get --form wire x", "get --form text --json x", "tables --format json --no-headings"}) {
        EXPECT_EQ(support::shell("bash -c '" LOAM_PROGRAM " " + each + "'").status, 2) << each;
    }
}

} // namespace
