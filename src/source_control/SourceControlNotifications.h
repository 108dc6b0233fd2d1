#pragma once

#include <QString>

namespace corvane::sourceControlNotification {

// A working tree changed on disk; posted by FileSystemMonitor and by the actions that change files.
inline const QString fileSystemDidChange = QStringLiteral("fileSystemDidChange");
// HEAD of a checkout changed: a branch switch made outside the program reaches the interface.
inline const QString gitStateDidChange = QStringLiteral("gitStateDidChange");
// The payload key of both: the watched directory, as a path.
inline const QString workingDirectoryKey = QStringLiteral("workingDirectory");

} // namespace corvane::sourceControlNotification
