#include "tests/tools/Process.h"

#include <gtest/gtest.h>
#include <regex>
#include <string>

namespace {

using support::Outcome;
using support::Table;

Outcome simulate(std::string const& options) {
    return support::shell(LOAM_PROGRAM " " + options);
}

/// The checks see each promise that is broken, say which, and the story that shows it is short.
TEST(Simulate, APromiseThatIsBrokenIsNamed) {
    for (auto const& [options, message] : Table<std::string, std::string>{
             {"early", "a fence is answered, and owner 1 has 0 for .*, LIF \\d+, which was [1-9]"},
             {"twice", "a fence is answered twice"},
             {"never", "never answered: (\\d+) of \\1 fences"},
             {"undone", "a fence is answered done, and the owner has not said so"},
             {"forget", "a fence is answered, and chip \\d+ has 0 for .*, LIF \\d+, which was [1-9]"},
             {"forget --steps 1", "chip \\d+ has 0 for .*, LIF \\d+, not [1-9]"},
             {"keep", "a fence is answered, and owner 1 has [1-9]\\d* for .*, LIF \\d+, which was 0"},
             {"harm", "a peer that means harm changes .*, LIF \\d+ from [1-9]\\d* to 0"},
             {"cut", "a peer that means harm ends the connection of chip 2"},
         }) {
        Outcome const outcome = simulate("--seeds 50 --spoil " + options);
        EXPECT_EQ(outcome.status, 1) << options;
        EXPECT_TRUE(std::regex_search(outcome.out, std::regex("^seed \\d+: " + message))) << outcome.out;
        EXPECT_LT(support::linesOf(outcome.out).size(), 12) << outcome.out;
    }
}

TEST(Simulate, WithoutAFaultAndWithoutSenseItSaysSo) {
    EXPECT_TRUE(support::has(simulate("--seeds 2 --spoil none").out, "fences answered, nothing wrong"));
    EXPECT_TRUE(ends(simulate("--spoil all"), 2, "simulate: there is no promise to spoil all; --help tells"));
    EXPECT_TRUE(ends(simulate("--seed 1"), 2, "simulate: no option --seed; --help tells"));
    EXPECT_TRUE(ends(simulate("--first 1 --steps"), 2, "simulate: --steps has no value\n"));
}

} // namespace
