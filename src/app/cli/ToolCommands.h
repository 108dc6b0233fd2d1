#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli ports [--json]: the listening TCP ports of the store's projects, as the Ports tool
// lists them.
int portsCommand(const QStringList &arguments);

// corvane-cli run-commands --project DIR [--json]: the commands proposed for the folder's build
// files.
int runCommandsCommand(const QStringList &arguments);

} // namespace corvane::cli
