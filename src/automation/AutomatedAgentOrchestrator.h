#pragma once

#include "automation/QualityGateRunner.h"
#include "core/Result.h"
#include "core/records/AutomationFlow.h"
#include "core/records/AutomationRun.h"
#include "core/records/Enums.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class NotificationCenter;
class StoreContext;
struct Chat;
struct Workspace;

// The limits of one run; every run gets these.
struct AutomationRunCaps
{
    qint64 maxIterations = 8;
    qint64 maxCumulativeTokens = 2000000;
    double maxCumulativeCostUSD = 25.0;
    double maxWallClockSeconds = 3600.0;
};

// How the orchestrator reaches a run's coordinator chat: prompts out, and which chats' turns
// are read for markers.
class AutomationCoordinatorBridge
{
public:
    virtual ~AutomationCoordinatorBridge() = default;
    virtual void send(const QString &text, const QUuid &chatId) = 0;
    virtual void registerRun(const AutomationRun &run) = 0;
    virtual void unregister(const QUuid &chatId) = 0;
};

namespace automation {

// The trigger of an iteration after a failed gate, from the gate's name: "build" before "test"
// before "lint", case aside; none of them (or no gate) is a plain gate failure.
AutomationTriggerReason triggerReasonForGate(const std::optional<QString> &gateName);
// The prompt that carries the user's "Request changes" to the coordinator, for iteration N.
QString userFeedbackPrompt(qint64 iteration, const QString &note);
// What the coordinator is told when the gates of a reviewing flow pass: run the reviewer now.
QString reviewPrompt(qint64 iteration);

} // namespace automation

// The state machine of automation runs: one issue driven by one coordinator chat through
// implementing, validating and reviewing until the user approves or discards. It writes the
// run's records, decides every transition, keeps each run under its caps and tells the
// coordinator what to do next. Lives on the main thread; every change is saved as it happens
// (best effort) and announced with AutomationRunUpdated.
class AutomatedAgentOrchestrator : public QObject
{
    Q_OBJECT

public:
    AutomatedAgentOrchestrator(StoreContext &context, NotificationCenter &center, QObject *parent = nullptr);

    void setBridge(AutomationCoordinatorBridge *bridge) { m_bridge = bridge; }
    // For tests of the wall-clock cap.
    void setClock(std::function<QDateTime()> now) { m_now = std::move(now); }

    std::shared_ptr<AutomationRun> startRun(const std::optional<QUuid> &issueId, const std::shared_ptr<Workspace> &workspace,
                                            const std::shared_ptr<Chat> &coordinatorChat, const AutomationFlow &flow,
                                            qint64 creationMode, const std::optional<QString> &initialPrompt,
                                            AutomationRunCaps caps = {});
    // At start-up: runs not closed are under their caps again, their clocks kept.
    void restoreActiveRuns();

    // Runs the gates in the workspace's folder and moves the run on by their outcome; `done`
    // follows once the run has moved (the bridge handles a turn's next marker only then).
    void validate(const std::shared_ptr<AutomationRun> &run, const QList<QualityGate> &gates,
                  const QString &workingDirectory, std::function<void()> done = {});
    void applyReviewVerdict(const std::shared_ptr<AutomationRun> &run, ReviewVerdict verdict,
                            const std::optional<QString> &feedback);
    void userRequestedChanges(const std::shared_ptr<AutomationRun> &run, const std::optional<QString> &feedback);
    void finish(const std::shared_ptr<AutomationRun> &run, AutomationRunStatus status,
                const std::optional<QString> &failureReason = std::nullopt);
    // The tokens and cost of a finished coordinator turn count against the run's caps.
    void addTurnUsage(const std::shared_ptr<AutomationRun> &run, qint64 tokens, double costUSD);

    bool capsExceeded(const AutomationRun &run) const;
    bool isActive(const QUuid &runId) const { return m_active.contains(runId); }
    // The permission mode the workspace's open run's flow asks for, or none.
    std::optional<PermissionMode> flowPermissionMode(const QUuid &workspaceId) const;
    // The run a workspace shows: its latest by start.
    std::shared_ptr<AutomationRun> latestRun(const QUuid &workspaceId) const;
    // The run the coordinator chat's input belongs to: the latest of the workspace's runs that
    // are still open or wait for the user's review.
    std::shared_ptr<AutomationRun> inputRun(const QUuid &workspaceId) const;
    std::shared_ptr<AutomationFlow> flowNamed(const QString &name) const;

private:
    struct ActiveRun
    {
        AutomationRunCaps caps;
        QDateTime startedAt;
    };

    void transition(const std::shared_ptr<AutomationRun> &run, AutomationRunStatus status);
    void beginIteration(const std::shared_ptr<AutomationRun> &run, AutomationTriggerReason reason,
                        const std::optional<QString> &note, const QString &prompt);
    void gatesFinished(const std::shared_ptr<AutomationRun> &run, const GateRunResult &result);
    void announce(const AutomationRun &run);
    void send(const AutomationRun &run, const QString &prompt);

    StoreContext &m_context;
    NotificationCenter &m_center;
    AutomationCoordinatorBridge *m_bridge = nullptr;
    std::function<QDateTime()> m_now = [] { return QDateTime::currentDateTime(); };
    QHash<QUuid, ActiveRun> m_active;
};

} // namespace corvane
