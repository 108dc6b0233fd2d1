#include "automation/QualityGateRunner.h"

#include "core/process/ChildProcess.h"
#include "core/process/TailPipe.h"
#include "core/store/StoreContext.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <csignal>

namespace corvane {

namespace gates {

QList<QualityGate> runnable(QList<QualityGate> gates)
{
    gates.removeIf([](const QualityGate &gate) { return !gate.isEnabled; });
    std::stable_sort(gates.begin(), gates.end(), [](const QualityGate &a, const QualityGate &b) { return a.order < b.order; });
    return gates;
}

QString feedback(const QualityGate &gate, const ExecutionOutcome &outcome)
{
    QString text = gate.feedbackTemplate;
    text.replace(QStringLiteral("{name}"), gate.name);
    text.replace(QStringLiteral("{exitCode}"), QString::number(outcome.exitCode));
    text.replace(QStringLiteral("{output}"), outcome.outputTail);
    return text;
}

} // namespace gates

GateExecution::GateExecution(QualityGate gate, QString defaultWorkingDirectory, QObject *parent)
    : QObject(parent), m_gate(std::move(gate)), m_defaultDirectory(std::move(defaultWorkingDirectory))
{
}

GateExecution::~GateExecution() = default;

void GateExecution::start()
{
    ProcessCommand command;
    command.program = QStringLiteral("/bin/sh");
    command.arguments = {QStringLiteral("-c"), m_gate.command};
    command.workingDirectory = m_gate.workingDirOverride && !m_gate.workingDirOverride->isEmpty()
                                   ? *m_gate.workingDirOverride : m_defaultDirectory;
    auto fail = [this](const QString &why) {
        emit finished({-1, QStringLiteral("Failed to launch gate '%1': %2").arg(m_gate.name, why), 0});
    };
    m_output = std::make_unique<TailPipe>(tailBytes);
    if (Status opened = m_output->open(); !opened) {
        QTimer::singleShot(0, this, [fail, why = opened.error().message] { fail(why); });
        return;
    }
    command.outputDescriptor = m_output->writeEnd();

    m_process = std::make_unique<ChildProcess>(ChildProcess::OutputMode::Raw);
    auto clock = std::make_shared<QElapsedTimer>();
    auto *timeout = new QTimer(this);
    timeout->setSingleShot(true);
    // A coarse timer may fire 5% early: a gate gets all of its time.
    timeout->setTimerType(Qt::PreciseTimer);
    connect(m_process.get(), &ChildProcess::failedToStart, this, [fail](const Error &error) { fail(error.message); });
    connect(m_process.get(), &ChildProcess::finished, this,
            [this, clock, timeout](int exitCode, ChildProcess::ExitKind kind, int signal) {
                timeout->stop();
                m_output->drain();
                // A gate ended by a signal reports it as a shell would: 128 + its number.
                const int code = kind == ChildProcess::ExitKind::Normal ? exitCode : 128 + signal;
                emit finished({code, m_output->text(), clock->nsecsElapsed() / 1e9});
            });
    clock->start();
    if (m_gate.timeoutSeconds >= 1) {
        timeout->setInterval(std::chrono::seconds(m_gate.timeoutSeconds));
        connect(timeout, &QTimer::timeout, this, [this] {
            if (!m_process->terminate())
                return;
            QTimer::singleShot(killAfterTermMs, m_process.get(), [process = m_process.get()] {
                if (process->isRunning())
                    process->kill();
            });
        });
        timeout->start();
    }
    m_process->start(command);
    m_output->closeWriteEnd(); // the child has its copy; ours would keep the pipe from ending
}

QualityGateRunner::QualityGateRunner(StoreContext &context, QObject *parent)
    : QObject(parent), m_context(context)
{
}

bool QualityGateRunner::runGates(const QList<QualityGate> &gates, std::optional<QUuid> runId, qint64 iterationNumber,
                                 const QString &workingDirectory)
{
    if (isRunning())
        return false;
    m_queue = gates::runnable(gates);
    m_runId = runId;
    m_iteration = iterationNumber;
    m_workingDirectory = workingDirectory;
    m_result = {};
    m_running = true;
    // Always from the event loop, so a caller connects to finished() after calling.
    QTimer::singleShot(0, this, &QualityGateRunner::next);
    return true;
}

void QualityGateRunner::next()
{
    if (m_queue.isEmpty())
        return finish();
    const QualityGate gate = m_queue.first();
    emit gateStarted(gate.name);
    m_current = new GateExecution(gate, m_workingDirectory, this);
    connect(m_current, &GateExecution::finished, this, &QualityGateRunner::gateFinished);
    m_current->start();
}

void QualityGateRunner::gateFinished(const ExecutionOutcome &outcome)
{
    const QualityGate gate = m_queue.takeFirst();
    m_current->deleteLater();
    m_current.clear();
    GateResult result;
    result.runId = m_runId;
    result.gateName = gate.name;
    result.iterationNumber = m_iteration;
    result.passed = outcome.exitCode == gate.successExitCode;
    result.exitCode = outcome.exitCode;
    result.durationSeconds = outcome.duration;
    result.outputTail = outcome.outputTail;
    m_context.insert(result);
    m_result.results.append(result);
    if (!result.passed && gate.isRequired) {
        m_result.failedGate = gate;
        m_result.feedback = gates::feedback(gate, outcome);
        m_queue.clear();
    }
    next();
}

void QualityGateRunner::finish()
{
    (void)m_context.save(); // the results are a record of what ran; the run goes on without them
    m_running = false;
    emit finished(m_result);
}

} // namespace corvane
