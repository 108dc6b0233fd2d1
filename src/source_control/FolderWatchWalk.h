#pragma once

#include "source_control/InotifyHub.h"

#include <QByteArray>
#include <QDeadlineTimer>
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

// Watches a folder and every folder below it, depth first, never entering a folder named ".git"
// (git's own bookkeeping never counts as a change) nor following symbolic links. Each folder is
// watched before it is read, so an entry made meanwhile is either read or reported.
//
// Resumable: run() goes on until the deadline and may be called again, from another thread, to
// finish. Plain POSIX directory reads, no Qt objects; it stops once the subscription is closed.
class FolderWatchWalk
{
public:
    FolderWatchWalk(const QString &root, const QString &relativeStart);

    // True when the whole tree has been walked (or the subscription closed). Adds what it watched
    // to `result`.
    bool run(InotifyHub &hub, const std::shared_ptr<InotifySubscription> &subscription,
             QDeadlineTimer deadline, FolderWatchWalkResult &result);

private:
    QByteArray m_root;
    QList<QByteArray> m_pending; // relative paths still to watch and read
};

// The whole walk at once.
FolderWatchWalkResult watchFolderTree(InotifyHub &hub, const std::shared_ptr<InotifySubscription> &subscription,
                                      const QString &root, const QString &relativeStart);

} // namespace corvane
