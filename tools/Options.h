#pragma once

/// What the commands' options have in common on the command line.

#include "tools/Commands.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace tool {

/// The options that every command with results has.
void addOutput(CLI::App& command, Output& output, std::string const& own);

/// A number of at most `most`, in decimal or hexadecimal.
CLI::Option* addNumber(CLI::App& command, std::string const& name, std::function<void(U32)> set,
                       std::string const& text, U64 most = 0xffffffff);

/// `log record`, a command of `log`.
void addLogRecord(CLI::App& log, Context& context);

/// demo, driver, application, serve and the commands on what is served.
void addLiveCommands(CLI::App& app, Context& context);

} // namespace tool
