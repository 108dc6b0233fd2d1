#pragma once

// A repository with something wrong on every count the project page measures: stale branches
// (tips 120 days old), stashes, uncommitted files, and two worktrees beside it, one of which no
// workspace will claim.
#include "GitSandbox.h"

#include <QDateTime>
#include <QDir>

namespace corvane::test {

struct HygieneRepo
{
    QString repo;
    QString usedWorktree; // on branch "used"
    QString orphanWorktree; // on branch "orphan"
    QStringList staleBranches;
};

inline HygieneRepo makeHygieneRepo(const GitSandbox &sandbox, const QString &name, int staleCount = 4, int stashCount = 2,
                                   int untrackedCount = 2)
{
    HygieneRepo made;
    made.repo = QDir(sandbox.makeRepository(name)).canonicalPath();
    // git reads the dates from its environment, which its children here share with the test.
    const QByteArray old = QDateTime::currentDateTimeUtc().addDays(-120).toString(Qt::ISODate).toUtf8();
    qputenv("GIT_AUTHOR_DATE", old);
    qputenv("GIT_COMMITTER_DATE", old);
    for (int i = 0; i < staleCount; ++i) {
        const QString branch = QStringLiteral("old/topic-%1").arg(i);
        sandbox.git(made.repo, {"switch", "-q", "-c", branch});
        sandbox.write(made.repo + QStringLiteral("/old-%1.txt").arg(i), "old work\n");
        sandbox.commitAll(made.repo, QStringLiteral("Old work %1").arg(i));
        sandbox.git(made.repo, {"switch", "-q", "main"});
        made.staleBranches << branch;
    }
    qunsetenv("GIT_AUTHOR_DATE");
    qunsetenv("GIT_COMMITTER_DATE");
    sandbox.git(made.repo, {"branch", "fresh"});
    for (int i = 0; i < stashCount; ++i) {
        sandbox.write(made.repo + "/README.md", QByteArray("changed ") + QByteArray::number(i) + "\n");
        sandbox.git(made.repo, {"stash", "push", "-q", "-m", QStringLiteral("try %1").arg(i)});
    }
    for (int i = 0; i < untrackedCount; ++i)
        sandbox.write(made.repo + QStringLiteral("/notes-%1.txt").arg(i), "draft\n");
    made.usedWorktree = made.repo + "-used";
    made.orphanWorktree = made.repo + "-orphan";
    sandbox.git(made.repo, {"worktree", "add", "-q", "-b", "used", made.usedWorktree});
    sandbox.git(made.repo, {"worktree", "add", "-q", "-b", "orphan", made.orphanWorktree});
    return made;
}

} // namespace corvane::test
