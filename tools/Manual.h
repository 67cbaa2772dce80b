#pragma once

/// The command line as a manual page and as completions for bash, made from what the command line itself
/// knows, so that neither can be behind it.

#include <string>

namespace CLI {
class App;
}

namespace tool {

/// loamtunnel(1), in the man macros.
std::string manualPage(CLI::App const& app, std::string const& version);

/// What bash sources to complete the words of a command line: commands, options, and the values that are a
/// choice of the library's: chips, tables, types, kinds, applications.
std::string bashCompletion(CLI::App const& app);

} // namespace tool
