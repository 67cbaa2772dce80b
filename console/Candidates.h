#pragma once

/// What may stand at the end of one of the program's own command lines, for completion in bash, zsh and fish
/// (tools/completion). Commands, options and choices are those of the command line, types and fields those of
/// this program; paths, keys and facilities are asked of the process that the line is about.
///
///     tool::candidates(app, {"layout", "--table", "Evec"}); // EvecTable

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

struct Candidate {
    /// A whole word in place of the last one. Where it ends with `=`, `[`, `.` or a blank it goes on.
    std::string text;
    /// What an option or a command is for.
    std::string meaning{};
};

/// For the last of the words, which may be empty. A process is waited for 300 ms at most, or as long as the
/// line's own `--timeout` says, but not above ten seconds; nothing is said of what goes wrong.
std::vector<Candidate> candidates(CLI::App& app, std::vector<std::string> const& words);

} // namespace tool
