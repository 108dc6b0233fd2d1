#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli search TEXT [--messages|--workspaces]: quick search from the command line, one
// JSON object per hit and line, in the palette's order and with its limits.
int searchCommand(const QStringList &arguments);

} // namespace corvane::cli
