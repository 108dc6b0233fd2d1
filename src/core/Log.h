#pragma once

#include <QString>

#include <cstdio>

namespace corvane {

// One log line on standard output: "[Tag] text". There are no levels, and logging never changes
// behaviour. Safe from any thread.
void logLine(const char *tag, const QString &text);

// Where log lines go: standard output by default; a command-line tool whose standard output is
// its result sends them to standard error, or nowhere (nullptr).
void setLogStream(std::FILE *stream);

} // namespace corvane
