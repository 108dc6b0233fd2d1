#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli gate add --project DIR --name NAME --command CMD [--timeout S] [--optional]
// [--feedback TEMPLATE]: a quality gate for the project (made for the folder when needed).
int gateCommand(const QStringList &arguments);
// corvane-cli gates --project DIR: one line per gate, in the order they run.
int listGates(const QStringList &arguments);

} // namespace corvane::cli
