#pragma once

#include "source_control/GitFuture.h"
#include "support/TestEnvironment.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QString>
#include <QStringList>
#include <QTimer>

namespace corvane::test {

// A place for real repositories: its own HOME and global git configuration (user, "main" as the
// first branch, no system configuration, no prompts), English messages, and helpers that run git
// directly, the way a user at a terminal would. The environment is the test process's own, so
// GitService's children see the same.
class GitSandbox
{
public:
    GitSandbox();

    QString root() const { return m_environment.root(); }
    QString path(const QString &relative) const { return m_environment.path(relative); }

    // Runs git in `directory` and returns its standard output; fails the test on a non-zero exit
    // unless `mayFail`.
    QByteArray git(const QString &directory, const QStringList &arguments, bool mayFail = false) const;
    struct Run
    {
        int exitCode = 0;
        QByteArray output;
        QByteArray errorOutput;
    };
    Run gitRun(const QString &directory, const QStringList &arguments, const QByteArray &input = {}) const;

    // A repository with one commit of README.md on "main".
    QString makeRepository(const QString &name) const;
    QString makeBareRepository(const QString &name) const;
    // A repository cloned from a new bare one, with "main" pushed: origin/main exists.
    QString makeClone(const QString &name) const;

    void write(const QString &file, const QByteArray &content) const;
    void commitAll(const QString &directory, const QString &message) const;

private:
    TestEnvironment m_environment;
};

// Spins the event loop until the call has ended (at most `ms`), then returns its result.
template <typename T>
GitResult<T> await(const GitFuture<T> &future, int ms = 20000)
{
    QDeadlineTimer deadline(ms);
    QTimer tick; // wakes the loop now and then, so the deadline is seen
    tick.start(50);
    while (!future.isFinished() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!future.isFinished())
        return GitError::commandFailed(-999, QStringLiteral("the call did not end within %1 ms").arg(ms));
    return future.result();
}

} // namespace corvane::test
