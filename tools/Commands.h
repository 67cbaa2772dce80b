#pragma once

/// The rows of all commands, each in the file of its command; those of the demo are in demo/Commands.h.

#include "demo/Commands.h"

namespace tool {

extern Command const encodeCommand, kindsCommand, valueCommand, decodeCommand, layoutCommand, addrCommand,
    tablesCommand, schemaCommand, serveCommand, treeCommand, getCommand, setCommand, delCommand, waitCommand,
    monitorCommand, syncCommand, explainCommand, auditCommand, statsCommand, traceCommand, topCommand,
    shellCommand, runCommand, logCommand;
/// Of `log`.
extern Command const logRecordCommand;

} // namespace tool
