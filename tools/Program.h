#pragma once

/// The whole program: reads the arguments, runs a command, and returns the exit status.
///
///     return tool::run({"addr", "--chip", "8", "5"}, {std::cin, std::cout, std::cerr});
///
/// What a command throws becomes one line on `Context::err` and a status.

#include "console/Completion.h"
#include "console/Context.h"

#include <string>
#include <vector>

namespace tool {

int run(std::vector<std::string> const& arguments, Context context);

/// The commands that a shell has, and what each takes.
std::vector<CommandWords> shellCommands(Context& context);

} // namespace tool
