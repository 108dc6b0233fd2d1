#pragma once

#include <QStringList>

namespace corvane::cli {

// corvane-cli flows|agents|skills [--project DIR]: rescans the definition files the window shows
// and prints one line per definition: name, scope ("user" or "project"), file.
int listDefinitions(const QString &kind, const QStringList &arguments);
// corvane-cli skill history --file PATH | skill restore --file PATH --version N.
int skillCommand(const QStringList &arguments);

} // namespace corvane::cli
