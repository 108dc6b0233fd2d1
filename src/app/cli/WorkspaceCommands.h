#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli workspaces --project DIR: one line per workspace of the project.
int listWorkspaces(const QStringList &arguments);
// corvane-cli workspace new|archive|restore|delete ...: the window's operations, with the same
// confirmations; --yes gives consent, and without it what would be lost is printed and the
// command fails. Returns the exit status.
int workspaceCommand(const QStringList &arguments);

} // namespace corvane::cli
