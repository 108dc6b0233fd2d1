#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli issue new --project DIR --title TITLE [--body TEXT]
int issueCommand(const QStringList &arguments);
// corvane-cli run start|show|approve|discard|feedback ...: automation runs without the window.
int runCommand(const QStringList &arguments);

} // namespace corvane::cli
