#pragma once

/// The command line as manual pages, made from what the command line itself knows, so that none can be behind
/// it.

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

/// loamtunnel(1), in the man macros: what there is, and what holds for all commands.
std::string manualPage(CLI::App& app, std::string const& version);

/// loamtunnel-COMMAND(1). Throws CLI::OptionNotFound if there is no such command.
std::string manualPage(CLI::App& app, std::string const& command, std::string const& version);

/// The commands that have a page.
std::vector<std::string> commandNames(CLI::App& app);

} // namespace tool
