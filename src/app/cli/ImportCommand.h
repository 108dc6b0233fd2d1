#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli import --project DIR [--list] [--all | --session ID...]: lists the session logs
// claude and codex left for a project's folder, or imports them as new workspaces.
int importCommand(const QStringList &arguments);

} // namespace corvane::cli
