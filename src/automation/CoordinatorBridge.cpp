#include "automation/CoordinatorBridge.h"

#include "agent/AgentModelCatalogue.h"
#include "agent/AgentResult.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "agent/session/SessionManager.h"
#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/QualityGate.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

namespace corvane {

namespace {

// What a turn cost in tokens: what went in (new and newly cached) and what came out. Reads from
// the cache are left out: they are cheap, and counting them would end long runs for nothing.
qint64 tokensOf(const AgentResult &result)
{
    if (!result.usage)
        return 0;
    const QVariantMap &usage = *result.usage;
    return usage.value("input_tokens").toLongLong() + usage.value("output_tokens").toLongLong()
        + usage.value("cache_creation_input_tokens").toLongLong();
}

const QString Resume = QStringLiteral("Corvane was restarted while you were working on this run. Carry on where you left "
                                      "off; when the implementation is complete, emit on its own line:\n\n"
                                      "    [CORVANE:READY_FOR_VALIDATION]");

} // namespace

CoordinatorBridge::CoordinatorBridge(SessionManager &sessions, ChatController &controller, StoreContext &context,
                                     AutomatedAgentOrchestrator &orchestrator, QObject *parent)
    : QObject(parent), m_sessions(sessions), m_controller(controller), m_context(context), m_orchestrator(orchestrator)
{
    connect(&m_sessions, &SessionManager::sessionCreated, this, &CoordinatorBridge::watch);
    for (const QUuid &chatId : m_sessions.sessionIds())
        watch(m_sessions.existingSession(chatId));
    m_orchestrator.setBridge(this);
    m_controller.setInputRoute([this](ChatSession &session, const QString &text) { return routeInput(session, text); });
}

CoordinatorBridge::~CoordinatorBridge()
{
    m_controller.setInputRoute({});
    m_orchestrator.setBridge(nullptr);
}

bool CoordinatorBridge::routeInput(ChatSession &session, const QString &text)
{
    const auto chat = session.chat();
    if (!chat || !chat->isCoordinator() || !chat->workspaceId)
        return false;
    const auto run = m_orchestrator.inputRun(*chat->workspaceId);
    if (!run || run->status() != AutomationRunStatus::awaitingUserReview)
        return false;
    logLine("ChatVC", QStringLiteral("Routing chat input as automation feedback (run=%1)").arg(run->id.toString(QUuid::WithoutBraces)));
    m_orchestrator.userRequestedChanges(run, text);
    return true;
}

void CoordinatorBridge::watch(ChatSession *session)
{
    if (session)
        connect(session, &ChatSession::turnCompleted, this, &CoordinatorBridge::turnCompleted);
}

ChatSession *CoordinatorBridge::sessionFor(const QUuid &chatId)
{
    const auto chat = m_context.get<Chat>(chatId);
    if (!chat)
        return nullptr;
    const auto workspace = chat->workspaceId ? m_context.get<Workspace>(*chat->workspaceId) : nullptr;
    const auto project = chat->projectId ? m_context.get<Project>(*chat->projectId) : nullptr;
    const auto folder = chat->workingDirectory(workspace.get(), project.get());
    if (!folder)
        return nullptr;
    return m_sessions.session(chatId, chat->name, *folder);
}

void CoordinatorBridge::send(const QString &text, const QUuid &chatId)
{
    ChatSession *session = sessionFor(chatId);
    const auto chat = m_context.get<Chat>(chatId);
    if (!session || !chat) {
        logLine("Automation", QStringLiteral("No coordinator chat %1 to send to").arg(chatId.toString(QUuid::WithoutBraces)));
        return;
    }
    const auto stored = chat->modelId ? AgentModelCatalogue::byId(*chat->modelId) : std::nullopt;
    const AgentModelDescriptor model = stored && stored->agentType == AgentType::claudeCode
                                           ? *stored : AgentModelCatalogue::forAgentType(AgentType::claudeCode).value(0);
    const PermissionMode mode = chat->workspaceId ? m_orchestrator.flowPermissionMode(*chat->workspaceId).value_or(PermissionMode::acceptEdits)
                                                  : PermissionMode::acceptEdits;
    m_controller.bind(*session, model, mode);
    if (Status sent = m_controller.sendMessage(*session, text, {}, model, mode); !sent)
        logLine("Automation", QStringLiteral("The coordinator could not be told: ") + sent.error().message);
}

void CoordinatorBridge::registerRun(const AutomationRun &run)
{
    m_runByCoordinator.insert(run.coordinatorChatId, run.id);
}

void CoordinatorBridge::unregister(const QUuid &chatId)
{
    m_runByCoordinator.remove(chatId);
}

void CoordinatorBridge::restore()
{
    for (const auto &run : m_context.fetchOrEmpty<AutomationRun>())
        if (!run->isClosed())
            registerRun(*run);
}

void CoordinatorBridge::resumeInterruptedRuns()
{
    const auto registered = m_runByCoordinator; // sending may register runs again
    for (auto it = registered.cbegin(); it != registered.cend(); ++it) {
        const auto run = m_context.get<AutomationRun>(it.value());
        if (!run || run->isClosed() || m_sessions.hasSession(it.key()))
            continue;
        send(Resume, it.key());
    }
}

void CoordinatorBridge::turnCompleted(const QUuid &chatId, const AgentResult &result)
{
    const auto runId = m_runByCoordinator.constFind(chatId);
    if (runId == m_runByCoordinator.cend())
        return;
    // claude reports the cost of its whole process so far: the turn's share is the difference.
    const double before = m_lastCost.value(chatId, 0);
    const double turnCost = result.cost >= before ? result.cost - before : result.cost;
    m_lastCost.insert(chatId, result.cost);
    if (const auto run = m_context.get<AutomationRun>(*runId))
        m_orchestrator.addTurnUsage(run, tokensOf(result), turnCost);
    // Once the session has finished with its turn: a marker may send the next prompt at once.
    QMetaObject::invokeMethod(this, [this, chatId, text = result.text] { handleCoordinatorTurn(chatId, text); },
                              Qt::QueuedConnection);
}

void CoordinatorBridge::handleCoordinatorTurn(const QUuid &chatId, const QString &text)
{
    const auto runId = m_runByCoordinator.constFind(chatId);
    if (runId == m_runByCoordinator.cend())
        return;
    const auto run = m_context.get<AutomationRun>(*runId);
    QList<CoordinatorSignal> found = run && !run->isClosed() ? markers::parseSignals(text) : QList<CoordinatorSignal>();
    handleNext(*runId, std::move(found), chatId);
}

void CoordinatorBridge::handleNext(const QUuid &runId, QList<CoordinatorSignal> pending, const QUuid &chatId)
{
    const auto run = m_context.get<AutomationRun>(runId);
    if (run && run->isClosed())
        unregister(run->coordinatorChatId);
    if (!run || pending.isEmpty()) {
        emit turnHandled(chatId);
        return;
    }
    const CoordinatorSignal signal = pending.takeFirst();
    if (signal.kind == CoordinatorSignal::Kind::reviewVerdict) {
        m_orchestrator.applyReviewVerdict(run, signal.verdict, signal.feedback);
        return handleNext(runId, std::move(pending), chatId);
    }
    const auto workspace = run->workspaceId ? m_context.get<Workspace>(*run->workspaceId) : nullptr;
    const auto project = workspace && workspace->projectId ? m_context.get<Project>(*workspace->projectId) : nullptr;
    const auto folder = workspace ? workspace->workingDirectory(project.get()) : std::nullopt;
    if (!project || !folder) {
        logLine("Automation", QStringLiteral("Run %1 has no workspace folder: its gates cannot run").arg(runId.toString(QUuid::WithoutBraces)));
        return handleNext(runId, std::move(pending), chatId);
    }
    QList<QualityGate> gates;
    for (const auto &gate : m_context.fetchOrEmpty<QualityGate>(Query(where::eq("projectId", project->id)).orderBy("order")))
        gates.append(*gate);
    if (const auto flow = m_orchestrator.flowNamed(run->flowName); flow && flow->enabledGateNames)
        gates.removeIf([&](const QualityGate &gate) { return !flow->enabledGateNames->contains(gate.name); });
    m_orchestrator.validate(run, gates, *folder, [this, runId, pending, chatId] { handleNext(runId, pending, chatId); });
}

} // namespace corvane
