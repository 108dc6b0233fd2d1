#pragma once

#include "source_control/GitTypes.h"

#include <QString>
#include <QStringList>

// One-line pictures of git values, so a failing comparison reads as a list of cases:
// "M* a b.txt; R c.txt <- b.txt" is a modified file with unstaged changes, then a staged rename.
namespace corvane::test {

inline QString describe(const GitFileStatus &file)
{
    QString text = gitStatusLetter(file.status);
    if (file.hasUnstagedChanges)
        text += u'*';
    text += u' ' + file.path;
    if (file.originalPath)
        text += QStringLiteral(" <- ") + *file.originalPath;
    return text;
}

inline QString describe(const QList<GitFileStatus> &files)
{
    QStringList parts;
    for (const GitFileStatus &file : files)
        parts << describe(file);
    return parts.join(QStringLiteral("; "));
}

inline QString describeHeader(const StatusSummary &summary)
{
    QStringList parts;
    parts << (summary.isRepository ? "repository" : "not a repository");
    parts << (summary.branch ? "branch " + *summary.branch : QStringLiteral("detached"));
    if (summary.upstream)
        parts << "upstream " + *summary.upstream;
    parts << QStringLiteral("+%1 -%2").arg(summary.ahead).arg(summary.behind);
    parts << (summary.hasCommits ? "commits" : "no commits");
    return parts.join(QStringLiteral(", "));
}

inline QString describe(const QList<GitBranch> &branches)
{
    QStringList parts;
    for (const GitBranch &branch : branches)
        parts << (branch.isCurrent ? "*" : "") + branch.name + (branch.upstream ? " -> " + *branch.upstream : QString())
                     + (branch.isRemote ? " (remote)" : "");
    return parts.join(QStringLiteral("; "));
}

inline QString describe(const QList<GitWorktree> &worktrees)
{
    QStringList parts;
    for (const GitWorktree &worktree : worktrees)
        parts << worktree.path + " [" + worktree.branch.value_or("detached") + "]" + (worktree.isLocked ? " locked" : "");
    return parts.join(QStringLiteral("; "));
}

inline QString describe(const QList<GitStash> &stashes)
{
    QStringList parts;
    for (const GitStash &stash : stashes)
        parts << QStringLiteral("%1: %2").arg(stash.id).arg(stash.message);
    return parts.join(QStringLiteral("; "));
}

inline QString describe(const DiffStats &stats)
{
    QStringList parts;
    for (auto it = stats.cbegin(); it != stats.cend(); ++it)
        parts << QStringLiteral("%1 +%2 -%3").arg(it.key()).arg(it->additions).arg(it->deletions);
    return parts.join(QStringLiteral("; "));
}

inline QString describe(const QList<GitRemote> &remotes)
{
    QStringList parts;
    for (const GitRemote &remote : remotes)
        parts << remote.name + " " + remote.url;
    return parts.join(QStringLiteral("; "));
}

inline QString describe(const QList<StaleBranch> &branches)
{
    QStringList parts;
    for (const StaleBranch &branch : branches)
        parts << QStringLiteral("%1 %2d").arg(branch.name).arg(branch.daysSinceLastCommit);
    return parts.join(QStringLiteral("; "));
}

} // namespace corvane::test
