#pragma once

#include "core/records/GateResult.h"
#include "core/records/QualityGate.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class ChildProcess;
class TailPipe;
class StoreContext;

// What one gate's shell gave back.
struct ExecutionOutcome
{
    int exitCode = -1;  // -1: it could not be launched; 128 + N: ended by signal N
    QString outputTail; // the last bytes of standard output and error together, or the launch failure
    double duration = 0; // seconds; 0 when it could not be launched
};

// Runs one gate: "/bin/sh -c <command>" in the gate's folder (or the workspace's), its output
// merged, its own process group. Only the last `tailBytes` of the output are ever held, however
// much the gate prints. A gate past its time-out gets SIGTERM, its whole group with it (a test
// runner's grandchildren too), and SIGKILL two seconds later. Nothing here blocks: the outcome
// arrives as finished(), from the event loop.
class GateExecution : public QObject
{
    Q_OBJECT

public:
    static constexpr qsizetype tailBytes = 8192;
    static constexpr int killAfterTermMs = 2000;

    GateExecution(QualityGate gate, QString defaultWorkingDirectory, QObject *parent = nullptr);
    ~GateExecution() override;

    void start();

signals:
    void finished(const corvane::ExecutionOutcome &outcome);

private:
    QualityGate m_gate;
    QString m_defaultDirectory;
    std::unique_ptr<TailPipe> m_output;
    std::unique_ptr<ChildProcess> m_process;
};

// The outcome of one validation: a GateResult per gate that ran, and the feedback of the first
// required gate that failed.
struct GateRunResult
{
    std::optional<QualityGate> failedGate;
    QList<GateResult> results;
    std::optional<QString> feedback;

    bool allPassed() const { return !failedGate; }
};

namespace gates {

// The enabled gates in their order.
QList<QualityGate> runnable(QList<QualityGate> gates);
// The gate's feedback template with "{name}", "{exitCode}" and "{output}" filled in, in that order.
QString feedback(const QualityGate &gate, const ExecutionOutcome &outcome);

} // namespace gates

// Runs a validation: the enabled gates one after another, stopping at the first required one that
// fails. Each result is stored as it comes (best effort: a failed save does not stop the run).
class QualityGateRunner : public QObject
{
    Q_OBJECT

public:
    QualityGateRunner(StoreContext &context, QObject *parent = nullptr);

    // One validation at a time; false when one is under way.
    bool runGates(const QList<QualityGate> &gates, std::optional<QUuid> runId, qint64 iterationNumber,
                  const QString &workingDirectory);
    bool isRunning() const { return bool(m_current) || m_running; }

signals:
    // A gate is about to run (its name), for progress.
    void gateStarted(const QString &name);
    void finished(const corvane::GateRunResult &result);

private:
    void next();
    void gateFinished(const ExecutionOutcome &outcome);
    void finish();

    StoreContext &m_context;
    QList<QualityGate> m_queue;
    std::optional<QUuid> m_runId;
    qint64 m_iteration = 1;
    QString m_workingDirectory;
    GateRunResult m_result;
    QPointer<GateExecution> m_current;
    bool m_running = false;
};

} // namespace corvane

Q_DECLARE_METATYPE(corvane::ExecutionOutcome)
Q_DECLARE_METATYPE(corvane::GateRunResult)
