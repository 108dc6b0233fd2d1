#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli actions --project DIR: the project's toolbar actions in order, one per line,
// tab-separated: position, name, script.
int listActions(const QStringList &arguments);

// corvane-cli action run --project DIR --name NAME: runs the action's script in the project's
// folder through the user's shell, in the foreground with our standard streams, and exits with
// the script's status.
int actionCommand(const QStringList &arguments);

} // namespace corvane::cli
