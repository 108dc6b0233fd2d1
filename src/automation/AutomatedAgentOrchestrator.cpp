#include "automation/AutomatedAgentOrchestrator.h"

#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/records/AutomationIteration.h"
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

namespace corvane {

namespace automation {

AutomationTriggerReason triggerReasonForGate(const std::optional<QString> &gateName)
{
    if (!gateName)
        return AutomationTriggerReason::gateFailed;
    const QString name = gateName->toLower();
    if (name.contains(QLatin1String("build")))
        return AutomationTriggerReason::buildFailed;
    if (name.contains(QLatin1String("test")))
        return AutomationTriggerReason::testsFailed;
    if (name.contains(QLatin1String("lint")))
        return AutomationTriggerReason::lintFailed;
    return AutomationTriggerReason::gateFailed;
}

QString userFeedbackPrompt(qint64 iteration, const QString &note)
{
    return QStringList{QStringLiteral("# Automation: user feedback (iteration %1)").arg(iteration), QString(),
                       QStringLiteral("The user reviewed the last pass and requested changes. Address the"),
                       QStringLiteral("feedback below, apply the necessary edits, and continue iterating."), QString(),
                       QStringLiteral("## Feedback"), note, QString(), QStringLiteral("## Protocol reminder"),
                       QStringLiteral("When you are done with this iteration and want quality gates to run,"),
                       QStringLiteral("emit on its own line:"), QString(),
                       QStringLiteral("    [CORVANE:READY_FOR_VALIDATION]")}
        .join(QLatin1Char('\n'));
}

QString reviewPrompt(qint64 iteration)
{
    return QStringList{QStringLiteral("# Automation: quality gates passed (iteration %1)").arg(iteration), QString(),
                       QStringLiteral("Every quality gate passed. Invoke the `reviewer` subagent on the diff now, then"),
                       QStringLiteral("report its verdict on a line of its own, exactly one of:"), QString(),
                       QStringLiteral("    [CORVANE:REVIEW_VERDICT=approved]"),
                       QStringLiteral("    [CORVANE:REVIEW_VERDICT=needs_changes]"),
                       QStringLiteral("    [CORVANE:REVIEW_VERDICT=rejected]"), QString(),
                       QStringLiteral("For needs_changes, put the reviewer's points between"),
                       QStringLiteral("[CORVANE:REVIEW_FEEDBACK_BEGIN] and [CORVANE:REVIEW_FEEDBACK_END] lines first.")}
        .join(QLatin1Char('\n'));
}

} // namespace automation

namespace {

AutomationRunPhase phaseFor(AutomationRunStatus status, AutomationRunPhase current)
{
    switch (status) {
    case AutomationRunStatus::planning: return AutomationRunPhase::planning;
    case AutomationRunStatus::implementing: return AutomationRunPhase::implementing;
    case AutomationRunStatus::validating: return AutomationRunPhase::validating;
    case AutomationRunStatus::reviewing: return AutomationRunPhase::reviewing;
    case AutomationRunStatus::awaitingUserReview: return AutomationRunPhase::awaitingReview;
    case AutomationRunStatus::done: return AutomationRunPhase::done;
    case AutomationRunStatus::idle:
    case AutomationRunStatus::blocked:
    case AutomationRunStatus::failed: return current; // a stopped run shows where it stopped
    }
    return current;
}

} // namespace

AutomatedAgentOrchestrator::AutomatedAgentOrchestrator(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_center(center)
{
}

std::shared_ptr<AutomationRun> AutomatedAgentOrchestrator::startRun(
    const std::optional<QUuid> &issueId, const std::shared_ptr<Workspace> &workspace,
    const std::shared_ptr<Chat> &coordinatorChat, const AutomationFlow &flow, qint64 creationMode,
    const std::optional<QString> &initialPrompt, AutomationRunCaps caps)
{
    AutomationRun made;
    if (workspace)
        made.workspaceId = workspace->id;
    made.issueId = issueId;
    made.coordinatorChatId = coordinatorChat->id;
    made.flowName = flow.name;
    made.coordinatorPromptSnapshot = flow.coordinatorPrompt;
    made.creationModeRaw = creationMode;
    made.statusRaw = made.currentPhaseRaw = AutomationRun::initialStatusRaw(flow.skipImplementationPhase);
    made.iterationCount = 1;
    made.startedAt = m_now();
    auto run = m_context.insert(std::move(made));

    AutomationIteration first;
    first.runId = run->id;
    first.number = 1;
    first.startedAt = run->startedAt;
    m_context.insert(std::move(first));

    coordinatorChat->agentRoleRaw = QStringLiteral("coordinator");
    if (workspace)
        workspace->automationStatusRaw = run->statusRaw;
    if (Status saved = m_context.save(); !saved)
        logLine("Orchestrator", QStringLiteral("start save failed: ") + saved.error().message);
    m_active.insert(run->id, {caps, run->startedAt});
    if (m_bridge)
        m_bridge->registerRun(*run);
    if (initialPrompt && !initialPrompt->isEmpty())
        send(*run, *initialPrompt);
    announce(*run);
    return run;
}

void AutomatedAgentOrchestrator::restoreActiveRuns()
{
    auto runs = m_context.fetch<AutomationRun>();
    if (!runs)
        return;
    bool wrote = false;
    for (const auto &run : *runs) {
        if (run->isClosed())
            continue;
        // The clock goes on from the run's own start: time spent closed counts too.
        m_active.insert(run->id, {AutomationRunCaps(), run->startedAt});
        if (run->workspaceId)
            if (const auto workspace = m_context.get<Workspace>(*run->workspaceId);
                workspace && workspace->automationStatusRaw != run->statusRaw) {
                workspace->automationStatusRaw = run->statusRaw;
                wrote = true;
            }
    }
    if (wrote)
        (void)m_context.save();
}

bool AutomatedAgentOrchestrator::capsExceeded(const AutomationRun &run) const
{
    const auto active = m_active.constFind(run.id);
    if (active == m_active.cend())
        return false; // a run not under caps is never stopped by them
    const AutomationRunCaps &caps = active->caps;
    return run.iterationCount >= caps.maxIterations || run.cumulativeTokens >= caps.maxCumulativeTokens
        || run.cumulativeCostUSD >= caps.maxCumulativeCostUSD
        || active->startedAt.secsTo(m_now()) >= caps.maxWallClockSeconds;
}

void AutomatedAgentOrchestrator::transition(const std::shared_ptr<AutomationRun> &run, AutomationRunStatus status)
{
    run->setStatus(status);
    run->setCurrentPhase(phaseFor(status, run->currentPhase()));
    if (run->workspaceId)
        if (const auto workspace = m_context.get<Workspace>(*run->workspaceId))
            workspace->automationStatusRaw = run->statusRaw;
    if (Status saved = m_context.save(); !saved)
        logLine("Orchestrator", QStringLiteral("transition save failed: ") + saved.error().message);
    announce(*run);
}

void AutomatedAgentOrchestrator::beginIteration(const std::shared_ptr<AutomationRun> &run, AutomationTriggerReason reason,
                                                const std::optional<QString> &note, const QString &prompt)
{
    auto iterations = m_context.fetchOrEmpty<AutomationIteration>(
        Query(where::eq("runId", run->id)).orderBy("number", false));
    if (!iterations.isEmpty())
        iterations.first()->finishedAt = m_now();
    AutomationIteration next;
    next.runId = run->id;
    next.number = run->iterationCount + 1;
    next.triggerReasonRaw = toRaw(reason);
    next.triggerNote = note;
    next.startedAt = m_now();
    m_context.insert(std::move(next));
    run->iterationCount += 1;
    transition(run, AutomationRunStatus::implementing);
    if (m_bridge)
        m_bridge->registerRun(*run);
    send(*run, prompt);
}

void AutomatedAgentOrchestrator::validate(const std::shared_ptr<AutomationRun> &run, const QList<QualityGate> &gates,
                                          const QString &workingDirectory, std::function<void()> done)
{
    transition(run, AutomationRunStatus::validating);
    const auto latest = m_context.fetchFirst<AutomationIteration>(
        Query(where::eq("runId", run->id)).orderBy("number", false));
    const qint64 iteration = latest && *latest ? (*latest)->number : run->iterationCount;
    auto *runner = new QualityGateRunner(m_context, this);
    connect(runner, &QualityGateRunner::finished, this, [this, run, runner, done](const GateRunResult &result) {
        runner->deleteLater();
        gatesFinished(run, result);
        if (done)
            done();
    });
    runner->runGates(gates, run->id, iteration, workingDirectory);
}

void AutomatedAgentOrchestrator::gatesFinished(const std::shared_ptr<AutomationRun> &run, const GateRunResult &result)
{
    if (result.allPassed()) {
        const auto flow = flowNamed(run->flowName);
        if (flow && flow->skipReviewPhase) {
            transition(run, AutomationRunStatus::awaitingUserReview);
            return;
        }
        transition(run, AutomationRunStatus::reviewing);
        // Nothing else would wake the coordinator if its turn ended with the ready marker.
        send(*run, automation::reviewPrompt(run->iterationCount));
        return;
    }
    const std::optional<QString> gateName = result.failedGate ? std::optional(result.failedGate->name) : std::nullopt;
    if (capsExceeded(*run)) {
        finish(run, AutomationRunStatus::blocked,
               QStringLiteral("Gate '%1' failed and the run hit its iteration/token/cost cap.")
                   .arg(gateName.value_or(QStringLiteral("?"))));
        return;
    }
    if (result.feedback) {
        beginIteration(run, automation::triggerReasonForGate(gateName), gateName, *result.feedback);
        return;
    }
    finish(run, AutomationRunStatus::blocked, QStringLiteral("Gate failed without a feedback template"));
}

void AutomatedAgentOrchestrator::applyReviewVerdict(const std::shared_ptr<AutomationRun> &run, ReviewVerdict verdict,
                                                    const std::optional<QString> &feedback)
{
    run->reviewVerdictRaw = toRaw(verdict);
    switch (verdict) {
    case ReviewVerdict::approved:
        transition(run, AutomationRunStatus::awaitingUserReview);
        return;
    case ReviewVerdict::needsChanges:
        if (capsExceeded(*run))
            finish(run, AutomationRunStatus::blocked, QStringLiteral("Review requested changes but the run hit its iteration cap."));
        else
            beginIteration(run, AutomationTriggerReason::reviewNeedsChanges, QStringLiteral("review"),
                           feedback.value_or(QStringLiteral("Reviewer requested changes.")));
        return;
    case ReviewVerdict::rejected:
        finish(run, AutomationRunStatus::failed, feedback.value_or(QStringLiteral("Reviewer rejected the change.")));
        return;
    }
}

void AutomatedAgentOrchestrator::userRequestedChanges(const std::shared_ptr<AutomationRun> &run,
                                                      const std::optional<QString> &feedback)
{
    if (capsExceeded(*run)) {
        finish(run, AutomationRunStatus::blocked, QStringLiteral("User requested changes but the run hit its iteration cap."));
        return;
    }
    QString note = feedback.value_or(QString()).trimmed();
    if (note.isEmpty())
        note = QStringLiteral("User requested changes.");
    // A run awaiting review is off its caps until the user sends it on: it goes back under them.
    if (!m_active.contains(run->id))
        m_active.insert(run->id, {AutomationRunCaps(), run->startedAt});
    beginIteration(run, AutomationTriggerReason::userFeedback, QStringLiteral("user"),
                   automation::userFeedbackPrompt(run->iterationCount + 1, note));
}

void AutomatedAgentOrchestrator::finish(const std::shared_ptr<AutomationRun> &run, AutomationRunStatus status,
                                        const std::optional<QString> &failureReason)
{
    if (failureReason)
        run->failureReason = failureReason;
    run->finishedAt = m_now();
    transition(run, status);
    m_active.remove(run->id);
    if (m_bridge)
        m_bridge->unregister(run->coordinatorChatId);
}

void AutomatedAgentOrchestrator::addTurnUsage(const std::shared_ptr<AutomationRun> &run, qint64 tokens, double costUSD)
{
    if (tokens <= 0 && costUSD <= 0)
        return;
    run->cumulativeTokens += std::max<qint64>(0, tokens);
    run->cumulativeCostUSD += std::max(0.0, costUSD);
    (void)m_context.save();
    announce(*run);
}

std::optional<PermissionMode> AutomatedAgentOrchestrator::flowPermissionMode(const QUuid &workspaceId) const
{
    const auto runs = m_context.fetchOrEmpty<AutomationRun>(Query(where::eq("workspaceId", workspaceId)).orderBy("startedAt", false));
    for (const auto &run : runs) {
        if (run->isClosed())
            continue;
        const auto flow = flowNamed(run->flowName);
        if (!flow)
            return std::nullopt;
        return store::EnumCodec<PermissionMode>::tryFromRaw(flow->permissionModeRaw);
    }
    return std::nullopt;
}

std::shared_ptr<AutomationRun> AutomatedAgentOrchestrator::latestRun(const QUuid &workspaceId) const
{
    auto latest = m_context.fetchFirst<AutomationRun>(Query(where::eq("workspaceId", workspaceId)).orderBy("startedAt", false));
    return latest ? latest.value() : nullptr;
}

std::shared_ptr<AutomationRun> AutomatedAgentOrchestrator::inputRun(const QUuid &workspaceId) const
{
    const auto runs = m_context.fetchOrEmpty<AutomationRun>(Query(where::eq("workspaceId", workspaceId)).orderBy("startedAt", false));
    for (const auto &run : runs)
        if (!run->isClosed() || run->status() == AutomationRunStatus::awaitingUserReview)
            return run;
    return nullptr;
}

std::shared_ptr<AutomationFlow> AutomatedAgentOrchestrator::flowNamed(const QString &name) const
{
    auto flow = m_context.fetchFirst<AutomationFlow>(Query(where::eq("name", name)));
    return flow ? flow.value() : nullptr;
}

void AutomatedAgentOrchestrator::announce(const AutomationRun &run)
{
    const broadcast::AutomationRunUpdated update{run.id, run.workspaceId.value_or(QUuid())};
    QMetaObject::invokeMethod(this, [this, update] { broadcast::post(m_center, update); }, Qt::QueuedConnection);
}

void AutomatedAgentOrchestrator::send(const AutomationRun &run, const QString &prompt)
{
    if (m_bridge)
        m_bridge->send(prompt, run.coordinatorChatId);
}

} // namespace corvane
