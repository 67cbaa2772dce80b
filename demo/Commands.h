#pragma once

/// The rows of the demo's commands: a driver, an application, and both as processes.

#include "console/Command.h"

namespace tool {

extern Command const demoCommand, driverCommand, applicationCommand;

} // namespace tool
