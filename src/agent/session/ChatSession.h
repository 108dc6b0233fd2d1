#pragma once

#include "agent/AgentStreamDelegate.h"
#include "agent/AgentQuestion.h"
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
class Store;
class StoreContext;
struct Chat;
struct Message;

enum class ChatActivityState { idle, processing, waitingForPermission, completed };
enum class PermissionScope { once, session };

// Everything that lives only while one turn runs: the rows still being written and what the
// agent waits for. However a turn ends (a result, a failure, a stop), its rows are finished
// and it starts over as `TurnState{}`.
struct TurnState
{
    std::shared_ptr<Message> thinking;
    std::shared_ptr<Message> tool;     // the tool row results without a known id go to
    std::shared_ptr<Message> response; // the assistant text still streaming
    QHash<QString, std::shared_ptr<Message>> toolRows;  // by tool-use id
    QHash<QString, std::shared_ptr<Message>> subagents; // by tool-use id
    bool hadText = false;

    PendingRequests requests;
    QList<std::shared_ptr<Message>> permissionRows;
    std::optional<QList<AgentQuestion>> question;
    QString questionRequestId;
    std::shared_ptr<Message> questionRow;
    PlanState plan;
    std::optional<QString> planRequestId;
    QVariantMap planInput;
    QSet<QString> hiddenToolUseIds; // the agent's planning tools, which leave no row
    std::optional<QString> hiddenToolName;

    bool isStreaming() const { return thinking || response || tool; }
    bool hasOpenPrompt() const { return !requests.isEmpty() || question.has_value(); }
};

// What the input shows under the text field while the agent works or waits.
struct InputStatus
{
    QString text;
    bool waiting = false;
    bool operator==(const InputStatus &) const = default;
};

// The runtime of one chat: owns the agent adapter, turns the agent's events into stored
// messages, and keeps the chat's activity state. It lives while the chat is open anywhere,
// also with no view attached; everything runs on the main thread.
//
// Whoever shows the chat listens to its signals. Those marked "later" are always delivered from
// the event loop, never from inside an agent event, so a receiver may call back freely.
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

    // A view that shows this chat, for as long as `view` lives or until detachView(). With no
    // view attached, a question or request opens a floating prompt instead.
    void attachView(QObject *view);
    void detachView(QObject *view);
    bool hasView() const;
    // Told when a turn ends or the agent waits for an answer; not owned, may be null.
    void setNotifier(BackgroundNotifier *notifier) { m_notifier = notifier; }

    const QList<std::shared_ptr<Message>> &messages() const { return m_messages; }
    // The stored rows of the chat, when it is opened.
    void loadMessages(QList<std::shared_ptr<Message>> messages);

    enum class AgentState {
        notStarted,    // a chat with history starts its agent when it is opened
        awaitingFirst, // a fresh chat: the agent starts with the first message
        starting,      // launched; the "Initializing agent..." row shows until it is ready
        ready,
    };
    AgentState agentState() const { return m_agentState; }
    bool isAgentStarted() const { return m_agentState == AgentState::starting || m_agentState == AgentState::ready; }
    // A fresh chat: nothing to resume, the agent starts with the first message.
    void awaitFirstMessage();
    // The agent is being launched. `seedPrompt` (a profile move's replay) is sent once it is ready.
    void beginAgentStart(std::optional<QString> seedPrompt = std::nullopt);

    ChatActivityState activityState() const { return m_activityState; }
    InputStatus inputStatus() const;

    void appendMessage(const std::shared_ptr<Message> &message);
    void addSystemMessage(const QString &text);
    // After a stop, or when the process went away with a prompt open: every row finished,
    // nothing waiting, idle.
    void interruptTurn();
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
    QList<AgentPermissionRequest> pendingRequests() const { return m_turn.requests.inArrivalOrder(); }
    // The request a keyboard answer goes to: the oldest one, the plan aside (it has its own card).
    std::optional<AgentPermissionRequest> oldestPendingRequest() const;
    std::optional<AgentPermissionRequest> pendingRequest(const QString &requestId) const;
    const std::optional<QList<AgentQuestion>> &pendingQuestion() const { return m_turn.question; }
    bool isSessionApproved(const QString &toolName) const { return m_sessionApprovedTools.contains(toolName); }
    const PlanState &planState() const { return m_turn.plan; }

    // The save throttle (2.5 s) of tests can be shortened.
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
    // Later: rows were added, removed or finished.
    void messagesChanged();
    // Later: one row changed in place (streamed text, a finished tool).
    void messageChanged(const QUuid &messageId);
    // Later: the agent reported its session and model; it is ready to take messages.
    void agentInitialized(const corvane::AgentSessionInfo &info);
    void agentReady();
    // Later: the input's status line.
    void inputStatusChanged(const corvane::InputStatus &status);
    // Later: a question, request or plan waits and a view is attached.
    void answerNeeded();

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
    enum class TurnEnd { completed, failed, interrupted };

    void log(const QString &text) const;
    void setActivityState(ChatActivityState state);
    void settleFinishedRows();
    std::shared_ptr<Message> makeRow(MessageRole role, MessageContentType type, const QString &content,
                                     bool complete) const;
    void save(const char *caller);
    void throttledSave();
    void removeRow(std::shared_ptr<Message> &row, const char *caller);
    void finishRow(const std::shared_ptr<Message> &row);
    void finishOrphanedTools();
    // Every row the turn left open is finished, every prompt closed, and the turn starts over.
    void endTurn(TurnEnd end);
    void updateInputStatus();
    void removeInitializingIndicator();
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
    // Emits `signal` with `args` from the event loop.
    template <typename Signal, typename... Args>
    void later(Signal signal, Args... args);

    QUuid m_chatId;
    QString m_chatName;
    QString m_workingDirectory;
    std::unique_ptr<StoreContext> m_context;
    QByteArray m_logTag;
    std::shared_ptr<Chat> m_chat;
    std::unique_ptr<AgentAdapter> m_adapter;
    QList<QPointer<QObject>> m_views;

    QList<std::shared_ptr<Message>> m_messages;
    TurnState m_turn;
    std::shared_ptr<Message> m_initializing;
    QSet<QString> m_sessionApprovedTools;
    PermissionMode m_defaultPermissionMode = PermissionMode::ask;

    AgentState m_agentState = AgentState::notStarted;
    ChatActivityState m_activityState = ChatActivityState::idle;
    std::optional<QString> m_seedPrompt;
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

template <typename Signal, typename... Args>
void ChatSession::later(Signal signal, Args... args)
{
    // Always from the event loop: a receiver is never re-entered from inside an agent event.
    QMetaObject::invokeMethod(this, [this, signal, args...] { (this->*signal)(args...); }, Qt::QueuedConnection);
}

} // namespace corvane

Q_DECLARE_METATYPE(corvane::ChatActivityState)
Q_DECLARE_METATYPE(corvane::InputStatus)
