#include "source_control/GitCommandQueue.h"

#include "core/process/ChildProcess.h"
#include "source_control/ParserSupport.h"

namespace corvane {

namespace {

// git's standard error as the user reads it: trimmed, or a fixed text when it is not UTF-8.
QString errorMessage(const QByteArray &errorOutput)
{
    const std::optional<QString> text = gitparse::strictUtf8(errorOutput);
    return text ? text->trimmed() : QStringLiteral("Unknown git error");
}

void startCommand(QObject *owner, const QString &program, const QString &workingDirectory,
                  const QStringList &arguments, const QByteArray &input, GitCommandQueue::Next next)
{
    auto *process = new ChildProcess(ChildProcess::OutputMode::Raw, owner);
    auto outcome = std::make_shared<GitCommandOutcome>();
    QObject::connect(process, &ChildProcess::outputReady, process,
                     [outcome](const QByteArray &data) { outcome->output += data; });
    QObject::connect(process, &ChildProcess::errorOutput, process,
                     [outcome](const QByteArray &data) { outcome->errorOutput += data; });
    QObject::connect(process, &ChildProcess::finished, process,
                     [process, outcome, next](int exitCode, ChildProcess::ExitKind kind, int signal) {
        outcome->exitCode = exitCode;
        if (kind == ChildProcess::ExitKind::Crashed) {
            QString message = errorMessage(outcome->errorOutput);
            if (message.isEmpty())
                message = QStringLiteral("git was ended by signal %1").arg(signal);
            outcome->failure = GitError::commandFailed(exitCode, message);
        } else if (exitCode != 0) {
            outcome->failure = GitError::commandFailed(exitCode, errorMessage(outcome->errorOutput));
        }
        process->deleteLater();
        next(*outcome);
    });
    QObject::connect(process, &ChildProcess::failedToStart, process, [process, outcome, next](const Error &error) {
        outcome->exitCode = -1;
        outcome->failure = GitError::launchFailed(error);
        process->deleteLater();
        next(*outcome);
    });

    ProcessCommand command;
    command.program = program;
    command.arguments = arguments;
    command.workingDirectory = workingDirectory;
    // Nobody is at a terminal to answer: a remote that wants a password fails at once with git's
    // message instead of waiting for ever (an empty GIT_ASKPASS turns the askpass helpers off).
    command.environment.insert(QStringLiteral("GIT_TERMINAL_PROMPT"), QStringLiteral("0"));
    command.environment.insert(QStringLiteral("GIT_ASKPASS"), QString());
    // A status refresh would otherwise take index.lock to write back what it learned, and a
    // discard or stage started at that moment fails with "index.lock: File exists".
    command.environment.insert(QStringLiteral("GIT_OPTIONAL_LOCKS"), QStringLiteral("0"));
    process->start(command);
    if (!input.isEmpty())
        process->write(input);
    process->closeInput();
}

} // namespace

std::shared_ptr<GitCommandQueue> GitCommandQueue::create(const QString &workingDirectory, const QString &program)
{
    // Deleted from the event loop: the last reference may go inside a handler of its own child.
    return std::shared_ptr<GitCommandQueue>(new GitCommandQueue(workingDirectory, program),
                                            [](GitCommandQueue *queue) { queue->deleteLater(); });
}

GitCommandQueue::GitCommandQueue(const QString &workingDirectory, const QString &program)
    : m_workingDirectory(workingDirectory), m_program(program)
{
}

void GitCommandQueue::enqueue(Operation operation)
{
    m_pending.enqueue(std::move(operation));
    if (!m_keepAlive)
        m_keepAlive = shared_from_this();
    pump();
}

void GitCommandQueue::execute(const QStringList &arguments, Next next, const QByteArray &input)
{
    Q_ASSERT(m_active);
    startCommand(this, m_program, m_workingDirectory, arguments, input, std::move(next));
}

void GitCommandQueue::executeDetached(QObject *owner, const QString &program, const QString &workingDirectory,
                                      const QStringList &arguments, const QByteArray &input, Next next)
{
    startCommand(owner, program, workingDirectory, arguments, input, std::move(next));
}

// Starts queued operations while none is running. An operation that ends at once (a refusal
// before git runs) lets the loop go on instead of nesting deeper.
void GitCommandQueue::pump()
{
    if (m_pumping)
        return;
    m_pumping = true;
    while (!m_active && !m_pending.isEmpty()) {
        m_active = true;
        const quint64 operation = ++m_operation;
        const Operation next = m_pending.dequeue();
        next([this, operation] { finish(operation); });
    }
    m_pumping = false;
    if (!m_active && m_pending.isEmpty()) {
        // The last reference may be this one; the deleter only schedules the deletion.
        std::shared_ptr<GitCommandQueue> release = std::move(m_keepAlive);
    }
}

void GitCommandQueue::finish(quint64 operation)
{
    if (!m_active || operation != m_operation)
        return;
    m_active = false;
    pump();
}

} // namespace corvane
