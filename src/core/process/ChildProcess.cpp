#include "core/process/ChildProcess.h"

#include "core/Log.h"
#include "core/MainThread.h"
#include "core/process/ProgramLookup.h"

#include <QEventLoop>
#include <QPointer>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace corvane {

namespace {

constexpr const char *Tag = "Process";

// Runs in the forked child before exec, so only async-signal-safe calls belong here.
void prepareChild(pid_t parent, int output)
{
    // A group and session of its own: signals to -pid reach everything the child starts, and
    // nothing reaches it from the terminal Corvane may have been started from.
    ::setsid();
    // If Corvane dies without running destructors, the kernel still takes the child with it.
    // (Strictly: when the thread that started it ends, which is the owner's thread.)
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(127);
    // Tools expect the default SIGPIPE, so "git log | head" ends quietly.
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(SIGPIPE, &action, nullptr);
    // QProcess has pointed both at /dev/null by now; the caller's descriptor replaces them.
    if (output >= 0) {
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
    }
}

} // namespace

ChildProcess::ChildProcess(OutputMode mode, QObject *parent)
    : QObject(parent), m_mode(mode)
{
    m_escalation.setSingleShot(true);
    connect(&m_escalation, &QTimer::timeout, this, &ChildProcess::escalate);
}

ChildProcess::~ChildProcess()
{
    if (!m_process)
        return;
    m_process->disconnect(this);
    if (m_process->state() != QProcess::NotRunning || m_groupMayHaveMembers)
        signalGroup(SIGKILL);
    QProcess *process = m_process.release();
    if (process->state() == QProcess::NotRunning) {
        // Later, not now: this destructor may run inside one of the QProcess's own signals.
        process->deleteLater();
    } else {
        // SIGKILL has been sent; the QProcess collects the exit and then goes too.
        connect(process, &QProcess::stateChanged, process, [process](QProcess::ProcessState state) {
            if (state == QProcess::NotRunning)
                process->deleteLater();
        });
    }
}

void ChildProcess::setOutputMode(OutputMode mode)
{
    if (m_state != State::NotStarted) {
        logLine(Tag, QStringLiteral("Output mode of %1 cannot change once started").arg(m_command.program));
        return;
    }
    m_mode = mode;
}

namespace {
std::atomic<quint64> startedChildren{0};
} // namespace

quint64 ChildProcess::startedCount()
{
    return startedChildren.load(std::memory_order_relaxed);
}

void ChildProcess::start(const ProcessCommand &command)
{
    if (m_state != State::NotStarted) {
        logLine(Tag, QStringLiteral("Ignored a second start of %1: a ChildProcess runs once").arg(m_command.program));
        return;
    }
    m_command = command;
    setState(State::Starting);

    // QProcess must live where its notifiers run: on the thread that owns this object.
    const Result<QString> program = QThread::currentThread() == thread()
        ? resolveProgram(command)
        : Result<QString>(Error(QStringLiteral("Could not start %1: started from a thread that does not own it")
                                    .arg(command.program)));
    if (!program) {
        // From the event loop, like a failure that QProcess only sees after fork: one path for callers.
        QMetaObject::invokeMethod(this, [this, error = program.error()] { failStart(error); }, Qt::QueuedConnection);
        return;
    }

    startedChildren.fetch_add(1, std::memory_order_relaxed);
    m_process = std::make_unique<QProcess>();
    m_process->setProgram(*program);
    m_process->setArguments(command.arguments);
    m_process->setWorkingDirectory(command.workingDirectory);
    m_process->setProcessEnvironment(command.environment);
    if (command.outputDescriptor >= 0) {
        m_process->setStandardOutputFile(QProcess::nullDevice());
        m_process->setStandardErrorFile(QProcess::nullDevice());
    }
    m_process->setChildProcessModifier([parent = ::getpid(), output = command.outputDescriptor] { prepareChild(parent, output); });

    QProcess *process = m_process.get();
    connect(process, &QProcess::started, this, [this] { setState(State::Running); });
    connect(process, &QProcess::readyReadStandardOutput, this, [this] {
        takeOutput();
        deliver();
    });
    connect(process, &QProcess::readyReadStandardError, this, &ChildProcess::takeErrorOutput);
    connect(process, &QProcess::errorOccurred, this, &ChildProcess::onProcessError);
    connect(process, &QProcess::finished, this, &ChildProcess::onProcessFinished);

    process->start(QIODevice::ReadWrite);
    m_pid = process->processId();
    m_groupMayHaveMembers = m_pid > 0;
}

bool ChildProcess::write(const QByteArray &data)
{
    if (!m_process || !isRunning())
        return false;
    return m_process->write(data) == data.size();
}

void ChildProcess::closeInput()
{
    if (m_process && isRunning())
        m_process->closeWriteChannel();
}

bool ChildProcess::interrupt()
{
    return signalGroup(SIGINT);
}

bool ChildProcess::terminate()
{
    m_stopRequested = true;
    return signalGroup(SIGTERM);
}

bool ChildProcess::kill()
{
    m_stopRequested = true;
    return signalGroup(SIGKILL);
}

void ChildProcess::stop(int graceMs, int killMs)
{
    if (!isRunning() || m_stopping)
        return;
    m_stopping = true;
    m_stopRequested = true;
    m_killMs = killMs;
    closeInput();
    m_escalation.start(qMax(graceMs, 0));
}

void ChildProcess::escalate()
{
    if (!isRunning())
        return;
    if (!m_terminateSent) {
        m_terminateSent = true;
        signalGroup(SIGTERM);
        m_escalation.start(qMax(m_killMs, 0));
        return;
    }
    logLine(Tag, QStringLiteral("%1 did not end within %2 ms of SIGTERM; killing it").arg(m_command.program).arg(m_killMs));
    signalGroup(SIGKILL);
}

bool ChildProcess::signalGroup(int signal)
{
    if (m_pid <= 0 || !m_groupMayHaveMembers)
        return false;
    const auto pid = pid_t(m_pid);
    if (::kill(-pid, signal) == 0)
        return true;
    // Between fork and setsid() the group does not exist yet. The child itself is signalled only
    // then: sent to both, a handled SIGINT would arrive twice. Its pid cannot belong to anyone
    // else while QProcess has not collected its exit.
    if (errno == ESRCH && m_process && m_process->state() != QProcess::NotRunning)
        return ::kill(pid, signal) == 0;
    return false;
}

void ChildProcess::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    emit stateChanged(state);
}

void ChildProcess::onProcessError(QProcess::ProcessError error)
{
    switch (error) {
    case QProcess::FailedToStart:
        QMetaObject::invokeMethod(this, [this, text = m_process->errorString()] {
            failStart(Error(QStringLiteral("Could not start %1: %2").arg(m_command.program, text)));
        }, Qt::QueuedConnection);
        break;
    case QProcess::WriteError:
    case QProcess::ReadError:
        logLine(Tag, QStringLiteral("%1: %2").arg(m_command.program, m_process->errorString()));
        break;
    default:
        break; // a crash is reported by finished()
    }
}

void ChildProcess::failStart(const Error &error)
{
    if (m_state != State::Starting)
        return;
    m_escalation.stop();
    m_groupMayHaveMembers = false;
    logLine(Tag, error.message);
    QPointer<ChildProcess> alive(this);
    setState(State::FailedToStart);
    if (alive)
        emit failedToStart(error);
}

void ChildProcess::onProcessFinished(int code, QProcess::ExitStatus status)
{
    m_escalation.stop();
    // QProcess has read the pipes before telling us; take what it holds before anything else.
    takeOutput();
    QPointer<ChildProcess> alive(this);
    takeErrorOutput();
    if (!alive)
        return; // an errorOutput() handler deleted us
    if (m_mode == OutputMode::Lines) {
        if (std::optional<QByteArray> last = m_framer.flush())
            m_pending.append(std::move(*last));
        logDroppedLines();
    }
    // Orphans (a shell's background job) keep the group alive; they go with kill() or with us.
    // Once the group is empty its id is never signalled again: it may come to mean someone else.
    m_groupMayHaveMembers = ::kill(-pid_t(m_pid), 0) == 0;
    if (status == QProcess::CrashExit)
        m_exit = Exit{-1, ExitKind::Crashed, code}; // QProcess reports the signal as the code
    else
        m_exit = Exit{code, ExitKind::Normal, 0};
    deliver();
}

void ChildProcess::takeOutput()
{
    const QByteArray chunk = m_process->readAllStandardOutput();
    if (chunk.isEmpty())
        return;
    if (m_mode == OutputMode::Raw) {
        m_pending.append(chunk);
        return;
    }
    m_pending.append(m_framer.feed(chunk));
    logDroppedLines();
}

void ChildProcess::takeErrorOutput()
{
    const QByteArray chunk = m_process->readAllStandardError();
    if (chunk.isEmpty())
        return;
    m_errorTail.append(chunk);
    emit errorOutput(chunk);
}

void ChildProcess::logDroppedLines()
{
    for (const qsizetype size : m_framer.takeDroppedLineSizes())
        logLine(Tag, QStringLiteral("Dropped a line of %1 bytes from %2: longer than the limit of %3")
                         .arg(size).arg(m_command.program).arg(m_framer.maxLineLength()));
}

// Emits pending output in order, then the exit. A handler that spins a nested event loop (a modal
// dialog) may bring more output in: it joins the queue behind the rest instead of overtaking it,
// and the exit still waits for all of it.
void ChildProcess::deliver()
{
    if (m_delivering)
        return;
    QPointer<ChildProcess> alive(this);
    m_delivering = true;
    while (!m_pending.isEmpty()) {
        const QByteArray item = m_pending.takeFirst();
        if (m_mode == OutputMode::Lines)
            emit lineReady(item);
        else
            emit outputReady(item);
        if (!alive)
            return; // a handler deleted us
    }
    m_delivering = false;
    if (!m_exit || m_state == State::Finished)
        return;
    setState(State::Finished);
    if (alive)
        emit finished(m_exit->code, m_exit->kind, m_exit->signal);
}

Result<ChildProcess::Completed> ChildProcess::runSync(const ProcessCommand &command, const QByteArray &input,
                                                      int timeoutMs)
{
    if (isMainThread() && QCoreApplication::instance()->inherits("QGuiApplication"))
        logLine(Tag, QStringLiteral("runSync(%1) blocks the main thread: tests and scripts only").arg(command.program));
    ChildProcess process(OutputMode::Raw);
    Completed completed;
    std::optional<Error> failure;
    bool timedOut = false;
    QEventLoop loop;
    connect(&process, &ChildProcess::outputReady, &loop, [&](const QByteArray &data) { completed.output += data; });
    connect(&process, &ChildProcess::errorOutput, &loop, [&](const QByteArray &data) { completed.errorOutput += data; });
    connect(&process, &ChildProcess::finished, &loop, [&](int code, ExitKind kind, int signal) {
        completed.exitCode = code;
        completed.kind = kind;
        completed.signal = signal;
        loop.quit();
    });
    connect(&process, &ChildProcess::failedToStart, &loop, [&](const Error &error) {
        failure = error;
        loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, [&] {
        timedOut = true;
        process.kill(); // finished() follows and ends the loop
    });
    process.start(command);
    if (!input.isEmpty())
        process.write(input);
    process.closeInput();
    loop.exec();
    if (failure)
        return *failure;
    if (timedOut)
        return Error(QStringLiteral("%1 did not finish within %2 ms").arg(command.program).arg(timeoutMs));
    return completed;
}

} // namespace corvane
