#pragma once

#include "automation/AutomatedAgentOrchestrator.h"
#include "automation/CoordinatorMarkers.h"

#include <QHash>
#include <QObject>
#include <QUuid>

namespace corvane {

class ChatController;
class ChatSession;
class SessionManager;
struct AgentResult;

// Carries a run's traffic with its coordinator chat. Prompts go in through the chat's own road
// (stored as the user's message, the agent started or resumed when it is not running); each
// finished turn of a registered coordinator is read for markers, which move the run on one
// after another, the gates of a READY marker finishing before the next marker is looked at.
// The turn's tokens and cost count against the run's caps.
class CoordinatorBridge : public QObject, public AutomationCoordinatorBridge
{
    Q_OBJECT

public:
    CoordinatorBridge(SessionManager &sessions, ChatController &controller, StoreContext &context,
                      AutomatedAgentOrchestrator &orchestrator, QObject *parent = nullptr);
    ~CoordinatorBridge() override;

    void send(const QString &text, const QUuid &chatId) override;
    void registerRun(const AutomationRun &run) override;
    void unregister(const QUuid &chatId) override;
    bool isRegistered(const QUuid &chatId) const { return m_runByCoordinator.contains(chatId); }

    // At start-up, before the orchestrator's own: the coordinators of runs not closed.
    void restore();
    // The open runs whose coordinator was at work when the application last ended are sent on:
    // their agents start again and are told to carry on, without anyone opening the chat.
    void resumeInterruptedRuns();

    // A coordinator's turn ended with this text (the agent's result).
    void handleCoordinatorTurn(const QUuid &chatId, const QString &text);

signals:
    // Every marker of a turn has been handled (for tests and the command line).
    void turnHandled(const QUuid &chatId);

private:
    // Text typed into a coordinator chat whose run waits for review is the user's request for
    // changes: the next iteration starts with it instead of an ordinary message.
    bool routeInput(ChatSession &session, const QString &text);
    void watch(ChatSession *session);
    void turnCompleted(const QUuid &chatId, const AgentResult &result);
    void handleNext(const QUuid &runId, QList<CoordinatorSignal> pending, const QUuid &chatId);
    ChatSession *sessionFor(const QUuid &chatId);

    SessionManager &m_sessions;
    ChatController &m_controller;
    StoreContext &m_context;
    AutomatedAgentOrchestrator &m_orchestrator;
    QHash<QUuid, QUuid> m_runByCoordinator; // chat -> run
    QHash<QUuid, double> m_lastCost;        // chat -> the cost its agent process has reported so far
};

} // namespace corvane
