#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli workspace pr create|show --id UUID: a pull request for the workspace's branch on
// GitHub (pushed first), or the linked one as GitHub has it now, as JSON.
int workspacePrCommand(const QStringList &arguments);

} // namespace corvane::cli
