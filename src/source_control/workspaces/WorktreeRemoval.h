#pragma once

#include "source_control/GitFuture.h"
#include "source_control/workspaces/WorkspaceTypes.h"

#include <QString>
#include <QStringList>

class QObject;

namespace corvane::worktrees {

// A fresh folder for a new worktree: worktreesRoot() and a new UUID in upper case. The path says
// nothing about its project or branch; only the records do.
QString newWorktreePath();

// A stored worktree path as a folder: absolute as it stands, else below the project's folder.
QString resolvePath(const QString &worktreePath, const QString &projectFolder);

// Whether `path` (after resolving links and "..") lies strictly inside worktreesRoot(). Only such
// folders are ever deleted recursively: a record pointing at a user's own folder can never make
// us wipe it.
bool isInsideWorktreesRoot(const QString &path);

// What removing the worktree at `directory` would destroy. A folder that does not exist is clean.
// Results arrive on `context`'s thread; nothing arrives when it is destroyed first.
GitFuture<WorktreeDirtyStatus> measure(const QString &directory, QObject *context);
// The sum over several worktrees.
GitFuture<WorktreeDirtyStatus> measureAll(const QStringList &directories, QObject *context);

struct RemovalReport
{
    bool removed = false; // the folder is gone
    QString message; // why not, when it is still there
};

// Removes the worktree at `directory` from the repository at `projectFolder`: "worktree remove"
// (with "--force" at once when `forceFirst`, else plain and then forced), then deletes whatever
// git left behind when the folder lies inside worktreesRoot(), then "worktree prune". Never asks:
// the callers have the user's consent. A folder that was already gone counts as removed.
GitFuture<RemovalReport> remove(const QString &projectFolder, const QString &directory, bool forceFirst,
                                QObject *context);
// remove() for each folder in turn; removed only when every one went.
GitFuture<RemovalReport> removeAll(const QString &projectFolder, const QStringList &directories, bool forceFirst,
                                   QObject *context);

} // namespace corvane::worktrees
