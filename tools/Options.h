#pragma once

/// What the commands' options have in common on the command line.

#include "tools/Completion.h"
#include "tools/LiveCommands.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace tool {

/// The options that every command with results has.
void addOutput(CLI::App& command, Output& output, std::string const& own);

/// How values look, for commands that print some.
void addForm(CLI::App& command, Output& output);

/// An option for one of a few words, which are each a `what`.
void addChoice(CLI::App& command, std::string const& name, std::string& choice,
               std::vector<std::string> const& known, std::string const& text,
               std::string const& type = "FORM", std::string const& what = "form");

/// The address of a process, and how long to wait for it.
/// In a shell its own, of which the time alone can be chosen.
void addLive(CLI::App& command, Context const& context, LiveOptions& live);

/// A number of at most `most`, in decimal or hexadecimal.
CLI::Option* addNumber(CLI::App& command, std::string const& name, std::function<void(U32)> set,
                       std::string const& text, U64 most = 0xffffffff);

/// `log record`, a command of `log`.
void addLogRecord(CLI::App& log, Context& context);

void addTop(CLI::App& app, Context& context);
void addShell(CLI::App& app, Context& context);
/// The commands that a shell has, and what each takes.
void addShellCommands(CLI::App& app, Context& context);
std::vector<CommandWords> shellCommands(Context& context);

/// demo, driver, application, serve and the commands on what is served.
void addLiveCommands(CLI::App& app, Context& context);

} // namespace tool
