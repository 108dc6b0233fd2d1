#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli workspace status|commit|push|pull|fetch --id UUID: the inspector's git actions on
// the workspace's folder. Failures print "<Action> failed: " and git's own message, and exit 1.
int workspaceGitCommand(const QString &action, const QStringList &arguments);

} // namespace corvane::cli
