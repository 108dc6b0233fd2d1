#pragma once

#include "core/Broadcasts.h"

// The source-control broadcasts, named in core/Broadcasts.h (GitStateChanged, FileSystemChanged).
namespace corvane::sourceControlNotification {

using broadcast::fileSystemDidChange;
using broadcast::gitStateDidChange;
// The payload key of both: the watched directory, as a path.
inline const QString workingDirectoryKey = QStringLiteral("workingDirectory");

} // namespace corvane::sourceControlNotification
