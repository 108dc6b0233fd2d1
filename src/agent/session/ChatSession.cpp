#include "agent/session/ChatSession.h"

#include "agent/AgentAdapter.h"
#include "agent/session/BackgroundNotifier.h"
#include "agent/session/ChatSessionUIHandler.h"
#include "agent/session/SessionText.h"
#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace corvane {

ChatSession::ChatSession(const QUuid &chatId, const QString &chatName, const QString &workingDirectory, Store &store,
                         QObject *parent)
    : QObject(parent), m_chatId(chatId), m_chatName(chatName), m_workingDirectory(workingDirectory),
      m_context(store.newContext()),
      m_logTag(QStringLiteral("ChatSession|%1|%2").arg(chatName, chatId.toString(QUuid::WithoutBraces).left(6)).toUtf8())
{
    qRegisterMetaType<corvane::ChatActivityState>();
    m_saveTimer.setSingleShot(true);
    connect(&m_saveTimer, &QTimer::timeout, this, [this] {
        m_sinceLastSave.restart();
        save("deferredSave()");
    });
}

ChatSession::~ChatSession()
{
    if (m_adapter)
        m_adapter->terminate();
}

std::shared_ptr<Chat> ChatSession::chat()
{
    if (!m_chat)
        m_chat = m_context->get<Chat>(m_chatId);
    return m_chat;
}

void ChatSession::setAdapter(std::unique_ptr<AgentAdapter> adapter)
{
    m_adapter = std::move(adapter);
    if (m_adapter)
        m_adapter->setDelegate(this);
}

std::unique_ptr<AgentAdapter> ChatSession::takeAdapter()
{
    if (m_adapter)
        m_adapter->setDelegate(nullptr);
    return std::move(m_adapter);
}

void ChatSession::setUiHandler(ChatSessionUIHandler *handler, QObject *lifetime)
{
    m_uiHandler = handler;
    m_uiLifetime = handler ? lifetime : nullptr;
}

void ChatSession::log(const QString &text) const
{
    // Lines read "[ChatSession|<chat name>|<first 6 of the id>] text".
    logLine(m_logTag.constData(), text.trimmed());
}

std::shared_ptr<Message> ChatSession::makeRow(MessageRole role, MessageContentType type, const QString &content,
                                              bool complete) const
{
    auto row = std::make_shared<Message>();
    row->role = role;
    row->contentType = type;
    row->content = content;
    row->isComplete = complete;
    return row;
}

void ChatSession::setActivityState(ChatActivityState state)
{
    if (state == m_activityState)
        return;
    m_activityState = state;
    emit activityStateChanged(m_chatId, state);
}

void ChatSession::save(const char *caller)
{
    ++m_saveCount;
    if (Status saved = m_context->save(); !saved) {
        if (!m_sinceSaveError.isValid() || m_sinceSaveError.elapsed() >= 5000) {
            m_sinceSaveError.restart();
            log(QStringLiteral(" Store save failed in %1: %2").arg(QLatin1String(caller), saved.error().message));
        }
        return;
    }
    settleFinishedRows();
}

void ChatSession::setMessages(QList<std::shared_ptr<Message>> messages)
{
    m_messages = std::move(messages);
    m_unsettled = m_messages;
}

void ChatSession::settleFinishedRows()
{
    // A finished row is never edited again by the session, so the context need not compare it
    // at every later save; rows still streaming or waiting stay tracked.
    for (auto it = m_unsettled.begin(); it != m_unsettled.end();) {
        const auto &row = *it;
        const bool live = !row->isComplete || row == m_currentThinking || row == m_currentTool
                          || row == m_currentResponse || row == m_initializing;
        if (live) {
            ++it;
            continue;
        }
        m_context->settle(row);
        it = m_unsettled.erase(it);
    }
}

void ChatSession::throttledSave()
{
    if (m_saveTimer.isActive())
        return;
    if (!m_sinceLastSave.isValid() || m_sinceLastSave.elapsed() >= m_saveIntervalMs) {
        m_sinceLastSave.restart();
        save("deferredSave()");
        return;
    }
    m_saveTimer.start(int(m_saveIntervalMs - m_sinceLastSave.elapsed()));
}

void ChatSession::appendMessage(const std::shared_ptr<Message> &message)
{
    m_messages.append(message);
    m_unsettled.append(message);
    if (m_currentThinking && m_currentThinking != message) {
        // The thinking row stays last while other rows arrive.
        m_messages.removeOne(m_currentThinking);
        m_messages.append(m_currentThinking);
    }
    if (auto record = chat()) {
        message->chatId = m_chatId;
        m_context->insert(message);
        record->setUpdatedAt(QDateTime::currentDateTime());
        const QDate day = message->timestamp.toLocalTime().date();
        if (m_lastRecordedActivityDay != day) {
            record->recordActivity(message->timestamp, *m_context);
            m_lastRecordedActivityDay = day;
        }
        save("appendMessage(_:)");
    } else {
        log(QStringLiteral(" WARNING: no Chat model found, message not persisted!"));
    }
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::addSystemMessage(const QString &text)
{
    appendMessage(makeRow(MessageRole::system, MessageContentType::text, text, true));
}

void ChatSession::removeRow(std::shared_ptr<Message> &row, const char *caller)
{
    if (!row)
        return;
    m_messages.removeOne(row);
    m_context->remove(row);
    save(caller);
    row.reset();
}

void ChatSession::showInitializingIndicator()
{
    if (m_initializing)
        return;
    m_initializing = makeRow(MessageRole::thinking, MessageContentType::thinking, QStringLiteral("Initializing agent..."), false);
    appendMessage(m_initializing);
}

void ChatSession::removeInitializingIndicator()
{
    removeRow(m_initializing, "removeInitializingIndicator()");
}

void ChatSession::clearCurrentRows()
{
    m_currentThinking.reset();
    m_currentTool.reset();
    m_currentResponse.reset();
}

void ChatSession::finishRow(const std::shared_ptr<Message> &row)
{
    row->isComplete = true;
    if (row->role == MessageRole::tool && row->contentType == MessageContentType::toolStart)
        row->contentType = MessageContentType::toolComplete;
}

void ChatSession::finishOrphanedTools()
{
    for (const auto &row : std::as_const(m_messages)) {
        if (row->role == MessageRole::tool && row->contentType == MessageContentType::toolStart && !row->isComplete) {
            log(QStringLiteral(" completing orphaned nested tool: ") + row->toolName.value_or(QString()));
            finishRow(row);
        }
    }
}

bool ChatSession::hasPendingPrompt() const
{
    return !m_pendingRequests.isEmpty() || m_pendingQuestion.has_value();
}

void ChatSession::updateInputStatus()
{
    if (!m_isAgentStarted)
        return;
    QString status;
    bool waiting = false;
    if (!m_isAgentReady)
        status = QStringLiteral("Initializing agent...");
    else if (!m_pendingRequests.isEmpty())
        status = QStringLiteral("Permission needed...");
    else if (m_pendingQuestion)
        status = QStringLiteral("Agent has a question...");
    else if (m_plan.isAwaitingApproval)
        status = QStringLiteral("Plan ready for review...");
    else
        waiting = m_activityState == ChatActivityState::processing;
    toUi([status, waiting](ChatSessionUIHandler &ui) { ui.sessionInputStatusChanged(status, waiting); });
}

void ChatSession::didInitialize(const AgentSessionInfo &info)
{
    log(QStringLiteral(" SDK initialized: model=%1 session=%2").arg(info.model, info.sessionId));
    if (auto record = chat()) {
        if (!info.sessionId.isEmpty())
            record->claudeSessionId = info.sessionId;
        record->agentTypeRaw = toRaw(info.agentType);
        save("handleInitialized(_:)");
    }
    toUi([info](ChatSessionUIHandler &ui) { ui.sessionInitialized(info); });
}

void ChatSession::agentDidBecomeReady()
{
    if (hasPendingPrompt()) {
        if (!m_adapter || !m_adapter->isLaunched()) {
            log(QStringLiteral(" agentDidBecomeReady (process exited, cleaning up stale state)"));
            cleanupOnInterrupt();
            m_isAgentReady = true;
            updateInputStatus();
        } else {
            log(QStringLiteral(" agentDidBecomeReady (ignored, pending prompt)"));
        }
        return;
    }
    m_isAgentReady = true;
    // A process can report itself ready after the first turn already began to stream; that turn
    // is still running.
    if (!m_currentThinking && !m_currentResponse && !m_currentTool)
        setActivityState(ChatActivityState::idle);
    removeInitializingIndicator();
    updateInputStatus();
    if (m_pendingMigrationPrompt && m_adapter) {
        const QString prompt = *std::exchange(m_pendingMigrationPrompt, std::nullopt);
        QString note;
        if (auto record = chat()) {
            const QString newId = record->claudeSessionId.value_or(QString());
            const QString oldId = record->previousClaudeSessionId.value_or(QString());
            record->pendingProfileMigration = false;
            save("handleReady()");
            note = QStringLiteral("Session migrated to ")
                + (newId.isEmpty() ? QStringLiteral("(unknown)") : newId.left(8) + QStringLiteral("…")) + QLatin1Char('.');
            if (!oldId.isEmpty())
                note += QStringLiteral(" Previous: ") + oldId.left(8) + QStringLiteral("….");
            addSystemMessage(note);
            log(QStringLiteral(" profile migration: sending seed prompt (%1 chars) to new session %2").arg(prompt.size()).arg(newId));
        }
        m_adapter->send(prompt, {});
    }
    toUi([](ChatSessionUIHandler &ui) { ui.sessionReady(); });
}

void ChatSession::didChangeStatus(const std::optional<QString> &status)
{
    log(QStringLiteral(" status: ") + status.value_or(QStringLiteral("(none)")));
}

void ChatSession::didStartThinking()
{
    setActivityState(ChatActivityState::processing);
    if (m_currentThinking)
        return;
    if (m_currentResponse) {
        m_currentResponse->isComplete = true;
        m_currentResponse.reset();
    }
    m_currentThinking = makeRow(MessageRole::thinking, MessageContentType::thinking, QStringLiteral("Thinking..."), false);
    appendMessage(m_currentThinking);
}

void ChatSession::didReceiveText(const QString &text)
{
    m_turnHadText = true;
    if (m_plan.isActive)
        m_plan.accumulatedText += text;
    if (m_currentResponse) {
        m_currentResponse->content += text;
        throttledSave();
        const QUuid id = m_currentResponse->id;
        toUi([id](ChatSessionUIHandler &ui) { ui.sessionMessageChanged(id); });
        return;
    }
    m_currentResponse = makeRow(MessageRole::assistant, MessageContentType::text, text, false);
    appendMessage(m_currentResponse);
}

void ChatSession::didStartTool(const QString &name, const QString &toolUseId, const QVariantMap &input)
{
    const planfilter::Outcome plan = planfilter::apply(m_plan, name, input);
    for (const QString &line : plan.logLines)
        log(line);
    if (plan.changed)
        notifyPlanChanged();
    if (plan.hidden) {
        log(QStringLiteral(" plan tool handled: ") + name);
        m_currentHiddenToolName = name;
        if (!toolUseId.isEmpty())
            m_hiddenToolUseIds.insert(toolUseId);
        return;
    }
    if (m_currentResponse) {
        m_currentResponse->isComplete = true;
        m_currentResponse.reset();
        save("handleToolStarted(name:toolUseId:input:)");
    }
    if (name == QLatin1String("Agent")) {
        const QString type = input.value("subagent_type").toString().isEmpty() ? QStringLiteral("Agent")
                                                                                : input.value("subagent_type").toString();
        const QString prompt = input.value("prompt").toString();
        const QString description = input.contains("description") ? input.value("description").toString() : prompt;
        QJsonObject metadata{{"tool_use_id", toolUseId}, {"subagent_type", type}};
        if (!prompt.isEmpty())
            metadata.insert("prompt", sessiontext::leftCharacters(prompt, 200));
        auto row = makeRow(MessageRole::tool, MessageContentType::subagentCard, description, false);
        row->toolName = type;
        row->metadata = QJsonDocument(metadata).toJson(QJsonDocument::Compact);
        m_activeSubagents.insert(toolUseId, row);
        appendMessage(row);
        log(QStringLiteral(" subagent started: type=%1 id=%2").arg(type, toolUseId));
        return;
    }
    auto row = makeRow(MessageRole::tool, MessageContentType::toolStart, sessiontext::toolSummary(name, input), false);
    row->toolName = name;
    if (name == QLatin1String("Write") || name == QLatin1String("Edit"))
        row->metadata = QJsonDocument(QJsonObject::fromVariantMap(input)).toJson(QJsonDocument::Compact);
    m_currentTool = row;
    m_toolRows.insert(toolUseId, row);
    appendMessage(row);
}

void ChatSession::didReceiveToolResult(const QString &toolUseId, const QString &output)
{
    // Results of hidden planning tools add nothing anywhere. claude reports results by id, so the
    // id decides; a result without one falls back to the last hidden tool.
    if (m_hiddenToolUseIds.remove(toolUseId) || (toolUseId.isEmpty() && m_currentHiddenToolName)) {
        log(QStringLiteral(" suppressing tool result for hidden plan tool: ") + m_currentHiddenToolName.value_or(QString()));
        m_currentHiddenToolName.reset();
        return;
    }
    const QString addition = output.isEmpty() ? QString() : QStringLiteral("\n") + sessiontext::outputPreview(output);
    if (auto subagent = m_activeSubagents.take(toolUseId)) {
        subagent->isComplete = true;
        subagent->content += addition;
        save("handleToolFinished(toolUseId:output:)");
        log(QStringLiteral(" subagent completed: ") + toolUseId);
        const QUuid id = subagent->id;
        toUi([id](ChatSessionUIHandler &ui) { ui.sessionMessageChanged(id); });
        return;
    }
    // claude announces every tool of a reply before the first result arrives, so a result goes
    // to the row of its own tool use; only results without a known id fall to the current row.
    std::shared_ptr<Message> tool = m_toolRows.take(toolUseId);
    if (!tool)
        tool = m_currentTool;
    if (!tool)
        return;
    if (tool == m_currentTool)
        m_currentTool.reset();
    finishRow(tool);
    tool->content += addition;
    save("handleToolFinished(toolUseId:output:)");
    const QUuid id = tool->id;
    toUi([id](ChatSessionUIHandler &ui) { ui.sessionMessageChanged(id); });
}

void ChatSession::didReportToolProgress(const QString &toolName, double elapsedSeconds)
{
    if (m_currentTool && !m_currentTool->isComplete)
        log(QStringLiteral(" toolProgress: %1 %2s").arg(toolName).arg(elapsedSeconds, 0, 'f', 1));
}

void ChatSession::didComplete(const AgentResult &result)
{
    log(QStringLiteral(" didComplete: cost=$%1 textLength=%2 response=%3 tool=%4 messages=%5")
            .arg(result.cost, 0, 'f', 4).arg(result.text.size()).arg(bool(m_currentResponse)).arg(bool(m_currentTool))
            .arg(m_messages.size()));
    removeRow(m_currentThinking, "removeThinkingMessage()");
    if (m_currentTool) {
        log(QStringLiteral(" completing orphaned tool message: ") + m_currentTool->toolName.value_or(QString()));
        finishRow(std::exchange(m_currentTool, nullptr));
    }
    finishOrphanedTools();
    if (m_currentResponse) {
        if (m_currentResponse->content.isEmpty()) {
            log(QStringLiteral(" set empty response content from result"));
            m_currentResponse->content = result.text;
        }
        m_currentResponse->isComplete = true;
        m_currentResponse.reset();
    } else if (!result.text.isEmpty() && !m_turnHadText) {
        // claude's result repeats the last text block: only a turn that streamed no text needs it.
        appendMessage(makeRow(MessageRole::assistant, MessageContentType::text, result.text, true));
    }
    m_turnHadText = false;
    setActivityState(ChatActivityState::idle);
    for (const auto &row : std::as_const(m_activeSubagents))
        row->isComplete = true;
    m_activeSubagents.clear();
    m_toolRows.clear();
    m_saveTimer.stop();
    save("flushSave()");
    if (m_plan.isActive)
        log(QStringLiteral(" resetting stale planState on didComplete"));
    forgetOpenPrompts();
    if (m_notifier)
        m_notifier->notifyCompletion(m_chatName, m_chatId);
    updateInputStatus();
    emit turnCompleted(m_chatId, result);
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::didFail(const AgentError &error)
{
    removeRow(m_currentThinking, "removeThinkingMessage()");
    removeInitializingIndicator();
    const QString description = error.message;
    m_turnHadText = false;
    const auto type = sessiontext::isAuthenticationFailure(description) ? MessageContentType::authError
                                                                        : MessageContentType::error;
    appendMessage(makeRow(MessageRole::system, type, QStringLiteral("Error: ") + description, true));
    setActivityState(ChatActivityState::idle);
    forgetOpenPrompts();
    updateInputStatus();
    emit turnFailed(m_chatId, description);
    toUi([description](ChatSessionUIHandler &ui) { ui.sessionFailed(description); });
}

void ChatSession::didStall(double seconds)
{
    log(QStringLiteral(" stall detected: no activity for %1").arg(seconds));
    addSystemMessage(QStringLiteral("Claude appears unresponsive — no activity for %1s. You can press Stop to cancel.")
                         .arg(qint64(seconds)));
}

void ChatSession::cleanupOnInterrupt()
{
    if (m_currentTool)
        finishRow(std::exchange(m_currentTool, nullptr));
    finishOrphanedTools();
    for (const auto &row : std::as_const(m_pendingPermissionMessages)) {
        if (row->contentType == MessageContentType::permissionRequest) {
            row->contentType = MessageContentType::permissionDenied;
            row->content = QStringLiteral("Interrupted");
            row->isComplete = true;
        }
    }
    m_pendingPermissionMessages.clear();
    if (m_questionRow) {
        m_questionRow->contentType = MessageContentType::permissionDenied;
        m_questionRow->isComplete = true;
        m_questionRow.reset();
    }
    if (m_currentResponse) {
        m_currentResponse->isComplete = true;
        m_currentResponse.reset();
    }
    for (const auto &row : std::as_const(m_activeSubagents))
        row->isComplete = true;
    m_activeSubagents.clear();
    forgetOpenPrompts();
    setActivityState(ChatActivityState::idle);
    m_saveTimer.stop();
    save("cleanupOnInterrupt()");
    updateInputStatus();
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::forgetOpenPrompts()
{
    // The turn is over one way or another: nothing waits for an answer any more, and a plan
    // never outlives its turn. Rows stay as they are; their callers decide.
    for (const QString &key : m_pendingRequests.ids())
        emit promptClosed(m_chatId, key);
    if (m_pendingQuestion)
        emit promptClosed(m_chatId, QStringLiteral("question"));
    if (m_planApprovalRequestId)
        emit promptClosed(m_chatId, QStringLiteral("plan"));
    m_pendingRequests.clear();
    m_pendingQuestion.reset();
    m_pendingQuestionRequestId.clear();
    m_planApprovalRequestId.reset();
    m_planApprovalInput.reset();
    m_hiddenToolUseIds.clear();
    m_currentHiddenToolName.reset();
    if (m_plan.isActive) {
        m_plan.reset();
        notifyPlanChanged();
    }
}

void ChatSession::resetConversation()
{
    if (auto record = chat())
        record->claudeSessionId.reset();
    save("clearConversation()");
    for (const auto &row : m_context->fetchOrEmpty<Message>(Query(where::eq("chatId", m_chatId))))
        m_context->remove(row);
    for (const auto &row : std::as_const(m_messages))
        m_context->remove(row);
    save("clearConversation()");
    m_messages.clear();
    m_unsettled.clear();
    clearCurrentRows();
    m_initializing.reset();
    m_toolRows.clear();
    m_activeSubagents.clear();
    m_pendingPermissionMessages.clear();
    m_questionRow.reset();
    forgetOpenPrompts();
    m_adapter.reset();
    m_isAgentReady = false;
    m_isAgentStarted = false;
    setActivityState(ChatActivityState::idle);
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::cleanup()
{
    log(QStringLiteral("cleanup: ending the agent, clearing %1 messages").arg(m_messages.size()));
    if (m_adapter) {
        // Not killed: the agent finishes writing its session on the way out.
        m_adapter->terminate();
        m_adapter.reset();
    }
    m_isAgentStarted = false;
    m_isAgentReady = false;
    m_messages.clear();
    clearCurrentRows();
    m_pendingPermissionMessages.clear();
    m_activeSubagents.clear();
    m_pendingRequests.clear();
    removeInitializingIndicator();
    m_chat.reset();
    m_saveTimer.stop();
    m_context->rollback();
    log(QStringLiteral("cleanup complete"));
}

} // namespace corvane
