#include "source_control/workspaces/WorktreeRemoval.h"

#include "core/Log.h"
#include "core/MainThread.h"
#include "core/Paths.h"
#include "source_control/GitService.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>

#include <memory>

namespace corvane::worktrees {

namespace {

bool folderExists(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

// Deletes the folder when, and only when, it lies inside the worktrees root.
void deleteLeftovers(const QString &directory)
{
    if (!folderExists(directory))
        return;
    if (!isInsideWorktreesRoot(directory)) {
        logLine("SidebarVM", QStringLiteral("not deleting %1: it is outside the worktrees folder").arg(directory));
        return;
    }
    const QFileInfo info(directory);
    if (info.isSymLink()) {
        QFile::remove(directory); // the link only, never what it points to
        return;
    }
    QDir(directory).removeRecursively();
}

template <typename T, typename Step>
void forEachInTurn(std::shared_ptr<QStringList> items, qsizetype index, QObject *context, std::shared_ptr<T> acc,
                   GitPromise<T> promise, Step step)
{
    if (index >= items->size()) {
        promise.resolve(*acc);
        return;
    }
    step(items->at(index)).then(context, [=](auto result) {
        if (result)
            acc->add(*result);
        forEachInTurn<T>(items, index + 1, context, acc, promise, step);
    });
}

struct StatusSum : WorktreeDirtyStatus
{
    void add(const WorktreeDirtyStatus &s)
    {
        hasUncommittedChanges = hasUncommittedChanges || s.hasUncommittedChanges;
        unpushedCommitCount += s.unpushedCommitCount;
        changedFileCount += s.changedFileCount;
        if (s.unreadableReason)
            unreadableReason = unreadableReason ? *unreadableReason + QStringLiteral("; ") + *s.unreadableReason
                                                : *s.unreadableReason;
    }
};

struct ReportSum : RemovalReport
{
    ReportSum() { removed = true; }
    void add(const RemovalReport &r)
    {
        removed = removed && r.removed;
        if (!r.removed)
            message += (message.isEmpty() ? QString() : QStringLiteral("\n")) + r.message;
    }
};

} // namespace

QString newWorktreePath()
{
    return paths::worktreesRoot() + u'/' + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString resolvePath(const QString &worktreePath, const QString &projectFolder)
{
    if (worktreePath.startsWith(u'/'))
        return worktreePath;
    return QDir(projectFolder).filePath(worktreePath);
}

bool isInsideWorktreesRoot(const QString &path)
{
    const QString root = QFileInfo(paths::worktreesRoot()).canonicalFilePath();
    if (root.isEmpty())
        return false;
    // A link is judged by where it stands, not where it points; its target is never followed.
    const QFileInfo info(path);
    const QString parent = QFileInfo(info.absolutePath()).canonicalFilePath();
    if (parent.isEmpty() || info.fileName().isEmpty() || info.fileName() == u"." || info.fileName() == u"..")
        return false;
    const QString where = parent + u'/' + info.fileName();
    return where.startsWith(root + u'/');
}

GitFuture<WorktreeDirtyStatus> measure(const QString &directory, QObject *context)
{
    if (directory.isEmpty() || !QFileInfo(directory).isDir())
        return GitFuture<WorktreeDirtyStatus>::ready(WorktreeDirtyStatus{});
    GitPromise<WorktreeDirtyStatus> promise;
    const GitService git(directory);
    auto status = std::make_shared<WorktreeDirtyStatus>();
    git.fileStatuses().then(context, [=](const GitResult<QList<GitFileStatus>> &files) {
        if (files) {
            status->changedFileCount = int(files->size());
            status->hasUncommittedChanges = !files->isEmpty();
        } else {
            status->unreadableReason = files.error().description();
        }
        git.commitsAheadOfUpstream().then(context, [=](const GitResult<int> &ahead) {
            if (ahead) {
                status->unpushedCommitCount = *ahead;
                promise.resolve(*status);
                return;
            }
            git.commitsAheadOfDefaultBranch().then(context, [=](const GitResult<int> &fallback) {
                status->unpushedCommitCount = fallback.valueOr(0);
                promise.resolve(*status);
            });
        });
    });
    return promise.future();
}

GitFuture<WorktreeDirtyStatus> measureAll(const QStringList &directories, QObject *context)
{
    GitPromise<WorktreeDirtyStatus> promise;
    auto sum = std::make_shared<StatusSum>();
    GitPromise<StatusSum> inner;
    forEachInTurn<StatusSum>(std::make_shared<QStringList>(directories), 0, context, sum, inner,
                             [context](const QString &d) { return measure(d, context); });
    inner.future().then(context, [promise](const GitResult<StatusSum> &r) { promise.resolve(WorktreeDirtyStatus(*r)); });
    return promise.future();
}

GitFuture<RemovalReport> remove(const QString &projectFolder, const QString &directory, bool forceFirst,
                                QObject *context)
{
    GitPromise<RemovalReport> promise;
    const GitService git(projectFolder);
    auto prune = [=](const QString &gitMessage) {
        git.pruneWorktrees().then(context, [=](const GitResult<void> &) {
            RemovalReport report;
            report.removed = !folderExists(directory);
            if (!report.removed)
                report.message = QStringLiteral("Could not remove the worktree at %1: %2")
                                     .arg(directory, gitMessage.isEmpty() ? QStringLiteral("the folder is still there")
                                                                          : gitMessage);
            promise.resolve(report);
        });
    };
    // What git left behind (untracked build output, say) can be a large tree: deleted on a
    // worker thread, never on the window's.
    auto finish = [=](const QString &gitMessage) {
        if (!context) {
            deleteLeftovers(directory);
            prune(gitMessage);
            return;
        }
        runInBackground(context, [directory] {
            deleteLeftovers(directory);
            return true;
        }, [=](bool) { prune(gitMessage); });
    };
    git.removeWorktree(directory, forceFirst).then(context, [=](const GitResult<void> &first) {
        if (first || forceFirst) {
            finish(first ? QString() : first.error().description());
            return;
        }
        git.removeWorktree(directory, true).then(context, [=](const GitResult<void> &forced) {
            finish(forced ? QString() : forced.error().description());
        });
    });
    return promise.future();
}

GitFuture<RemovalReport> removeAll(const QString &projectFolder, const QStringList &directories, bool forceFirst,
                                   QObject *context)
{
    GitPromise<RemovalReport> promise;
    GitPromise<ReportSum> inner;
    forEachInTurn<ReportSum>(std::make_shared<QStringList>(directories), 0, context, std::make_shared<ReportSum>(),
                             inner, [=](const QString &d) { return remove(projectFolder, d, forceFirst, context); });
    inner.future().then(context, [promise](const GitResult<ReportSum> &r) { promise.resolve(RemovalReport(*r)); });
    return promise.future();
}

} // namespace corvane::worktrees
