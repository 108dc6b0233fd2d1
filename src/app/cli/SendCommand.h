#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli send: one turn of a chat, printed as it streams. Returns the exit status.
int sendCommand(const QStringList &arguments);

} // namespace corvane::cli
