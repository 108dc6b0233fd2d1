#pragma once

#include "core/Result.h"
#include "core/process/ByteTail.h"
#include "core/process/LineFramer.h"
#include "core/process/ProcessCommand.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QTimer>

#include <memory>
#include <optional>

namespace corvane {

// The one wrapper around a child process: agents, git, quality gates and tools all run through it.
//
// Threading: a ChildProcess belongs to the thread that created it (normally the main thread). Call
// it only from there; every signal is emitted on that thread, from its event loop. Nothing here
// waits: launch failures, output and the exit all arrive as signals, and stop() escalates on timers.
//
// The child leads a process group (and session) of its own, so interrupt(), terminate(), kill()
// and stop() reach everything it started, e.g. the commands of "/bin/sh -c". It has no controlling
// terminal: nothing can prompt for a password on a terminal. Destroying a ChildProcess kills its
// group without waiting; no child outlives its owner.
//
// One object runs one process once: after finished() or failedToStart(), make a new one.
class ChildProcess : public QObject
{
    Q_OBJECT

public:
    enum class State { NotStarted, Starting, Running, Finished, FailedToStart };
    Q_ENUM(State)
    // Crashed: ended by a signal, including the ones sent by stop(), terminate() and kill()
    // (see stopRequested()).
    enum class ExitKind { Normal, Crashed };
    Q_ENUM(ExitKind)
    // Lines: standard output framed into lines (lineReady). Raw: bytes as they come
    // (outputReady), for terminals and tools whose output is not line-based.
    enum class OutputMode { Lines, Raw };
    Q_ENUM(OutputMode)

    // Agents print replies of more than 1 MB as one line; the limit only guards against runaways.
    static constexpr qsizetype DefaultMaxLineLength = 64 * 1024 * 1024;
    static constexpr qsizetype DefaultErrorTailSize = 4096;

    explicit ChildProcess(OutputMode mode = OutputMode::Lines, QObject *parent = nullptr);
    ~ChildProcess() override;

    // Only before start().
    void setOutputMode(OutputMode mode);
    OutputMode outputMode() const { return m_mode; }
    // At any time.
    void setMaxLineLength(qsizetype bytes) { m_framer.setMaxLineLength(bytes); }
    void setErrorTailSize(qsizetype bytes) { m_errorTail.setCapacity(bytes); }

    // Starts the command with standard input as a pipe. Returns at once: the outcome is
    // stateChanged(Running) or failedToStart(), both from the event loop, never from inside start().
    void start(const ProcessCommand &command);
    // Children this process has started so far, for diagnostics and benchmarks.
    static quint64 startedCount();

    // Queued for the child's standard input, also while Starting. False once it cannot arrive.
    bool write(const QByteArray &data);
    // Closes standard input after what was written has gone out; the child sees end of file.
    void closeInput();

    // Signals to the whole group; false when nothing was there to receive them.
    bool interrupt(); // SIGINT: for agents, "stop this turn"
    bool terminate(); // SIGTERM
    bool kill();      // SIGKILL; also reaches processes the child left behind when it exited
    // The orderly end: close standard input, SIGTERM the group after graceMs, SIGKILL it killMs
    // after that. Calling it again while it runs changes nothing.
    void stop(int graceMs = 2000, int killMs = 3000);

    State state() const { return m_state; }
    bool isRunning() const { return m_state == State::Starting || m_state == State::Running; }
    // The child's pid, which is also its process group id; 0 before it was started.
    qint64 processId() const { return m_pid; }
    const ProcessCommand &command() const { return m_command; }
    // True once stop(), terminate() or kill() was called: a Crashed exit was then asked for.
    bool stopRequested() const { return m_stopRequested; }
    // The last bytes of standard error (DefaultErrorTailSize unless changed).
    QByteArray errorTail() const { return m_errorTail.bytes(); }
    QString errorTailText() const { return m_errorTail.text(); }

    struct Completed
    {
        QByteArray output;
        QByteArray errorOutput;
        int exitCode = 0;
        ExitKind kind = ExitKind::Normal;
        int signal = 0;
    };
    // Runs a command to its end and collects everything it printed, spinning a local event loop.
    // For tests and scripts only: it blocks its thread, so never call it from the window's thread.
    static Result<Completed> runSync(const ProcessCommand &command, const QByteArray &input = {},
                                     int timeoutMs = 30000);

signals:
    void stateChanged(corvane::ChildProcess::State state);
    void lineReady(const QByteArray &line);
    void outputReady(const QByteArray &data);
    // Standard error as it comes (also kept in errorTail()).
    void errorOutput(const QByteArray &data);
    // Emitted once, after every byte of standard output was delivered (the unterminated last
    // line included). Normal: exitCode is the code, signal 0. Crashed: exitCode -1, signal set.
    void finished(int exitCode, corvane::ChildProcess::ExitKind kind, int signal);
    // Instead of finished() when the program could not be run; the message names the program and
    // the code is the errno value when known (ENOENT: not installed or not in the PATH).
    void failedToStart(const corvane::Error &error);

private:
    struct Exit
    {
        int code = 0;
        ExitKind kind = ExitKind::Normal;
        int signal = 0;
    };

    void setState(State state);
    void onProcessError(QProcess::ProcessError error);
    void onProcessFinished(int code, QProcess::ExitStatus status);
    void failStart(const Error &error);
    void takeOutput();
    void takeErrorOutput();
    void logDroppedLines();
    void deliver();
    void escalate();
    bool signalGroup(int signal);

    OutputMode m_mode;
    State m_state = State::NotStarted;
    ProcessCommand m_command;
    // Not parented: when this object goes while the child still runs, the QProcess stays behind
    // to collect the exit and then deletes itself, instead of blocking in its destructor.
    std::unique_ptr<QProcess> m_process;
    qint64 m_pid = 0;
    bool m_groupMayHaveMembers = false;
    LineFramer m_framer{DefaultMaxLineLength};
    ByteTail m_errorTail{DefaultErrorTailSize};
    // Lines (or raw chunks) not yet emitted, and the exit that waits behind them.
    QList<QByteArray> m_pending;
    std::optional<Exit> m_exit;
    bool m_delivering = false;
    QTimer m_escalation;
    int m_killMs = 0;
    bool m_stopping = false;
    bool m_terminateSent = false;
    bool m_stopRequested = false;
};

} // namespace corvane
