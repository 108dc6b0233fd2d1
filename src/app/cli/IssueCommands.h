#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli issue new|show|move|edit|delete ...: planner cards without the window.
int issueCommand(const QStringList &arguments);
// corvane-cli issues [--project DIR] [--status S]: the board, column by column.
int listIssues(const QStringList &arguments);

} // namespace corvane::cli
