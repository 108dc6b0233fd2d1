#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli sweep [--dry-run]: the archive retention sweep, now. Returns the exit status.
int sweepCommand(const QStringList &arguments);

} // namespace corvane::cli
