#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli project show --project DIR [--measure]: the project page as one JSON object.
int projectCommand(const QStringList &arguments);

} // namespace corvane::cli
