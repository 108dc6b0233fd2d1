#pragma once

#include <QString>

namespace corvane {

// One log line on standard output: "[Tag] text". There are no levels, and logging never changes
// behaviour. Safe from any thread.
void logLine(const char *tag, const QString &text);

} // namespace corvane
