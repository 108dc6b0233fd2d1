#pragma once

#include <QStringList>

namespace corvane::cli {

// Runs one command line (the program name first) and returns the exit status.
int run(const QStringList &arguments);

} // namespace corvane::cli
