#pragma once

#include "agent/AgentStreamDelegate.h"
#include "agent/session/ChatSessionUIHandler.h"
#include "agent/session/PendingRequests.h"
#include "agent/session/PlanState.h"
#include "core/records/Enums.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class AgentAdapter;
class BackgroundNotifier;
class ChatSessionUIHandler;
class Store;
class StoreContext;
struct Chat;
struct Message;

enum class ChatActivityState { idle, processing, waitingForPermission, completed };
enum class PermissionScope { once, session };

// The runtime of one chat: owns the agent adapter, turns the agent's events into stored
// messages, and keeps the chat's activity state. It lives while the chat is open anywhere,
// also with no view attached; everything runs on the main thread.
class ChatSession : public QObject, public AgentStreamDelegate
{
    Q_OBJECT

public:
    ChatSession(const QUuid &chatId, const QString &chatName, const QString &workingDirectory, Store &store,
                QObject *parent = nullptr);
    ~ChatSession() override;

    QUuid chatId() const { return m_chatId; }
    QString chatName() const { return m_chatName; }
    QString workingDirectory() const { return m_workingDirectory; }
    StoreContext &context() { return *m_context; }
    // The chat record in this session's context; null when it is gone from the store.
    std::shared_ptr<Chat> chat();

    AgentAdapter *adapter() const { return m_adapter.get(); }
    void setAdapter(std::unique_ptr<AgentAdapter> adapter);
    std::unique_ptr<AgentAdapter> takeAdapter();

    void setUiHandler(ChatSessionUIHandler *handler, QObject *lifetime);
    // Told when a turn ends or the agent waits for an answer; not owned, may be null.
    void setNotifier(BackgroundNotifier *notifier) { m_notifier = notifier; }
    bool hasUiHandler() const { return m_uiLifetime != nullptr; }

    const QList<std::shared_ptr<Message>> &messages() const { return m_messages; }
    void setMessages(QList<std::shared_ptr<Message>> messages);

    bool isAgentStarted() const { return m_isAgentStarted; }
    bool isAgentReady() const { return m_isAgentReady; }
    void setAgentStarted(bool started) { m_isAgentStarted = started; }
    void setAgentReady(bool ready) { m_isAgentReady = ready; }
    ChatActivityState activityState() const { return m_activityState; }
    void setActivityState(ChatActivityState state);

    std::optional<QString> pendingMigrationPrompt() const { return m_pendingMigrationPrompt; }
    void setPendingMigrationPrompt(std::optional<QString> prompt) { m_pendingMigrationPrompt = std::move(prompt); }

    void appendMessage(const std::shared_ptr<Message> &message);
    void addSystemMessage(const QString &text);
    void showInitializingIndicator();
    void removeInitializingIndicator();
    void clearCurrentRows();
    void updateInputStatus();
    // After a stop, or when the process went away with a prompt open: every row finished,
    // nothing waiting, idle.
    void cleanupOnInterrupt();
    // "/clear": every message of the chat and its agent session go; the adapter is dropped (the
    // caller has ended its process) and the session waits to be started again.
    void resetConversation();
    // End of the session's life: the process ends, unsaved changes are dropped.
    void cleanup();

    // Answers from the user to what the agent waits for. Each answers the agent, updates the rows
    // and the activity state, and closes the prompt that asked.
    void handlePermissionApproval(const QString &requestId, PermissionScope scope);
    void handlePermissionDenial(const QString &requestId);
    void handleQuestionAnswer(const QString &text);
    void handleQuestionCancel();
    void handlePlanApproval();
    void handlePlanRejection();
    // The user switched the mode with requests open: those the new mode allows are approved once.
    void permissionModeDidChange(PermissionMode mode);
    // The mode decisions use when there is no adapter yet (the stored preference).
    void setDefaultPermissionMode(PermissionMode mode) { m_defaultPermissionMode = mode; }

    // Oldest first.
    QList<AgentPermissionRequest> pendingRequests() const { return m_pendingRequests.inArrivalOrder(); }
    // The request a keyboard answer goes to: the oldest one, the plan aside (it has its own card).
    std::optional<AgentPermissionRequest> oldestPendingRequest() const;
    std::optional<AgentPermissionRequest> pendingRequest(const QString &requestId) const;
    const std::optional<QList<AgentQuestion>> &pendingQuestion() const { return m_pendingQuestion; }
    bool isSessionApproved(const QString &toolName) const { return m_sessionApprovedTools.contains(toolName); }
    const PlanState &planState() const { return m_plan; }

    // The save throttle (2.5 s) and the stall thresholds of tests can be shortened.
    void setSaveInterval(int milliseconds) { m_saveIntervalMs = milliseconds; }
    int saveCount() const { return m_saveCount; }

    // AgentStreamDelegate
    void didInitialize(const AgentSessionInfo &info) override;
    void agentDidBecomeReady() override;
    void didChangeStatus(const std::optional<QString> &status) override;
    void didStartThinking() override;
    void didReceiveText(const QString &text) override;
    void didStartTool(const QString &name, const QString &toolUseId, const QVariantMap &input) override;
    void didReceiveToolResult(const QString &toolUseId, const QString &output) override;
    void didReportToolProgress(const QString &toolName, double elapsedSeconds) override;
    void didComplete(const AgentResult &result) override;
    void didFail(const AgentError &error) override;
    void didStall(double seconds) override;
    void didRequestPermission(const AgentPermissionRequest &request) override;
    void didCancelPermissionRequest(const QString &requestId) override;
    void didAskUserQuestion(const QList<AgentQuestion> &questions, const QString &requestId,
                            const QVariantMap &toolInput) override;

signals:
    void activityStateChanged(const QUuid &chatId, corvane::ChatActivityState state);
    // A turn ended: completed (with the result text) or failed (with the description).
    void turnCompleted(const QUuid &chatId, const corvane::AgentResult &result);
    void turnFailed(const QUuid &chatId, const QString &description);
    void permissionRequested(const QUuid &chatId, const corvane::AgentPermissionRequest &request);
    void questionAsked(const QUuid &chatId, const QList<corvane::AgentQuestion> &questions);
    void planApprovalRequested(const QUuid &chatId);
    void planStateChanged(const QUuid &chatId);
    // Something waits for an answer and no view is attached: the shell opens a window of its own
    // under `key` (a request id, or "question"), so a background agent is never left waiting.
    void floatingPromptRequested(const QUuid &chatId, const QString &key);
    // The prompt under `key` is answered or gone; its window closes. "plan" is the plan window.
    void promptClosed(const QUuid &chatId, const QString &key);

private:
    void log(const QString &text) const;
    void settleFinishedRows();
    std::shared_ptr<Message> makeRow(MessageRole role, MessageContentType type, const QString &content,
                                     bool complete) const;
    void save(const char *caller);
    void throttledSave();
    void removeRow(std::shared_ptr<Message> &row, const char *caller);
    void finishRow(const std::shared_ptr<Message> &row);
    void finishOrphanedTools();
    bool hasPendingPrompt() const;
    // Permissions, questions and plans (ChatSessionPrompts.cpp).
    PermissionMode currentPermissionMode() const;
    void answer(const QString &requestId, bool allow, const std::optional<QVariantMap> &input,
                const std::optional<QString> &message);
    void autoApprove(const AgentPermissionRequest &request, const QString &why);
    void showPermission(const AgentPermissionRequest &request);
    void showPlanForApproval(const AgentPermissionRequest &request);
    std::shared_ptr<Message> takePermissionRow(const QString &requestId);
    void afterRequestAnswered();
    void showThinkingRow();
    void notifyPlanChanged();
    void askForAnswer(const QString &key);
    void forgetOpenPrompts();
    template <typename Fn>
    void toUi(Fn fn);

    QUuid m_chatId;
    QString m_chatName;
    QString m_workingDirectory;
    std::unique_ptr<StoreContext> m_context;
    QByteArray m_logTag;
    std::shared_ptr<Chat> m_chat;
    std::unique_ptr<AgentAdapter> m_adapter;
    ChatSessionUIHandler *m_uiHandler = nullptr;
    QPointer<QObject> m_uiLifetime;

    QList<std::shared_ptr<Message>> m_messages;
    std::shared_ptr<Message> m_currentThinking;
    std::shared_ptr<Message> m_currentTool;
    std::shared_ptr<Message> m_currentResponse;
    std::shared_ptr<Message> m_initializing;
    QHash<QString, std::shared_ptr<Message>> m_activeSubagents;
    QHash<QString, std::shared_ptr<Message>> m_toolRows; // by tool-use id, until the turn ends
    QList<std::shared_ptr<Message>> m_pendingPermissionMessages;
    PendingRequests m_pendingRequests;
    QSet<QString> m_sessionApprovedTools;
    std::optional<QList<AgentQuestion>> m_pendingQuestion;
    QString m_pendingQuestionRequestId;
    std::shared_ptr<Message> m_questionRow;
    PlanState m_plan;
    QSet<QString> m_hiddenToolUseIds;
    std::optional<QString> m_currentHiddenToolName;
    std::optional<QString> m_planApprovalRequestId;
    std::optional<QVariantMap> m_planApprovalInput;
    PermissionMode m_defaultPermissionMode = PermissionMode::ask;

    bool m_turnHadText = false;
    bool m_isAgentStarted = false;
    bool m_isAgentReady = false;
    ChatActivityState m_activityState = ChatActivityState::idle;
    std::optional<QString> m_pendingMigrationPrompt;
    std::optional<QDate> m_lastRecordedActivityDay;

    QTimer m_saveTimer;
    QElapsedTimer m_sinceLastSave;
    int m_saveIntervalMs = 2500;
    QElapsedTimer m_sinceSaveError;
    int m_saveCount = 0;
    BackgroundNotifier *m_notifier = nullptr;
    // Rows that may still change; finished rows leave it after a save (see settleFinishedRows).
    QList<std::shared_ptr<Message>> m_unsettled;
};

template <typename Fn>
void ChatSession::toUi(Fn fn)
{
    // Always later, from the event loop: a handler is never re-entered from inside an event.
    QMetaObject::invokeMethod(this, [this, fn = std::move(fn)] {
        if (m_uiHandler && m_uiLifetime)
            fn(*m_uiHandler);
    }, Qt::QueuedConnection);
}

} // namespace corvane

Q_DECLARE_METATYPE(corvane::ChatActivityState)
