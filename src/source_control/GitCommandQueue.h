#pragma once

#include "source_control/GitError.h"

#include <QByteArray>
#include <QObject>
#include <QQueue>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// What one git command left behind.
struct GitCommandOutcome
{
    QByteArray output;
    QByteArray errorOutput;
    int exitCode = 0;
    // Set when the command did not succeed: git's non-zero exit with its standard error, a death
    // by signal, or the platform's error when git could not be started.
    std::optional<GitError> failure;

    bool succeeded() const { return !failure; }
};

// The serial execution context behind a GitService: operations run one at a time in the order
// they were queued, and an operation may run several git commands before it ends. Nothing waits:
// each command is a ChildProcess whose end arrives from the event loop of the queue's thread.
//
// The queue keeps itself alive while it has work, so a caller may let its GitService go right
// after a call; the call still runs to its end (a commit is never cut off half-way).
class GitCommandQueue : public QObject, public std::enable_shared_from_this<GitCommandQueue>
{
    Q_OBJECT

public:
    using Done = std::function<void()>;
    // Runs when every earlier operation has ended; calls `done` exactly once, when it has ended.
    using Operation = std::function<void(const Done &done)>;
    using Next = std::function<void(const GitCommandOutcome &)>;

    // Lives on the calling thread, which needs an event loop. Deleted from that loop.
    static std::shared_ptr<GitCommandQueue> create(const QString &workingDirectory, const QString &program);

    QString workingDirectory() const { return m_workingDirectory; }
    QString program() const { return m_program; }

    void enqueue(Operation operation);
    // For the running operation: runs git with `arguments` (each one argument, no shell) in the
    // working directory, then `next` with the outcome. `input`, when given, is written to git's
    // standard input before it is closed; otherwise git reads end of file at once.
    void execute(const QStringList &arguments, Next next, const QByteArray &input = {});

    // Operations queued or running.
    int pendingCount() const { return int(m_pending.size()) + (m_active ? 1 : 0); }

    // Runs one command outside any queue, for checks that must not wait behind a slow call.
    static void executeDetached(QObject *owner, const QString &program, const QString &workingDirectory,
                                const QStringList &arguments, const QByteArray &input, Next next);

private:
    GitCommandQueue(const QString &workingDirectory, const QString &program);

    void pump();
    void finish(quint64 operation);

    QString m_workingDirectory;
    QString m_program;
    QQueue<Operation> m_pending;
    bool m_active = false;
    bool m_pumping = false;
    quint64 m_operation = 0;
    std::shared_ptr<GitCommandQueue> m_keepAlive;
};

} // namespace corvane
