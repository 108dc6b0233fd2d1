#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli run start|show|approve|discard|feedback ...: automation runs without the window.
int runCommand(const QStringList &arguments);

} // namespace corvane::cli
