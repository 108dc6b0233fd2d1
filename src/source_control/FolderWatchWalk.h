#pragma once

#include "source_control/InotifyHub.h"

#include <QList>
#include <QString>

#include <memory>

namespace corvane {

struct WatchedFolder
{
    int watch = -1;
    QString relativePath; // from the monitored root, without leading slash; empty for the root
};

struct FolderWatchWalkResult
{
    QList<WatchedFolder> folders;
    int failedFolders = 0;
    int lastError = 0; // errno of the last folder that could not be watched
};

// The inotify mask of a watched folder: what counts as a change of a file or folder in it.
quint32 folderWatchMask();

// Watches `relativeStart` under `root` and every folder below it, depth first, never entering a
// folder named ".git" (git's own bookkeeping never counts as a change) nor following symbolic
// links. Plain POSIX directory reads, so it may run on a worker thread; it stops early once the
// subscription is closed.
FolderWatchWalkResult watchFolderTree(InotifyHub &hub, const std::shared_ptr<InotifySubscription> &subscription,
                                      const QString &root, const QString &relativeStart);

} // namespace corvane
