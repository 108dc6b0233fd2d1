#include "agent/session/ChatSession.h"

#include "agent/AgentAdapter.h"
#include "agent/session/BackgroundNotifier.h"
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
    qRegisterMetaType<corvane::InputStatus>();
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

void ChatSession::attachView(QObject *view)
{
    if (view && !m_views.contains(view))
        m_views.append(view);
}

void ChatSession::detachView(QObject *view)
{
    m_views.removeAll(view);
}

bool ChatSession::hasView() const
{
    return std::any_of(m_views.cbegin(), m_views.cend(), [](const QPointer<QObject> &view) { return !view.isNull(); });
}

void ChatSession::awaitFirstMessage()
{
    if (m_agentState == AgentState::notStarted)
        m_agentState = AgentState::awaitingFirst;
}

void ChatSession::beginAgentStart(std::optional<QString> seedPrompt)
{
    m_agentState = AgentState::starting;
    m_seedPrompt = std::move(seedPrompt);
    // Rows of an earlier process's turn are finished business; the new process starts clean.
    if (m_turn.isStreaming())
        endTurn(TurnEnd::interrupted);
    if (!m_initializing) {
        m_initializing = makeRow(MessageRole::thinking, MessageContentType::thinking, QStringLiteral("Initializing agent..."), false);
        appendMessage(m_initializing);
    }
    updateInputStatus();
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

void ChatSession::loadMessages(QList<std::shared_ptr<Message>> messages)
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
        const bool live = !row->isComplete || row == m_turn.thinking || row == m_turn.tool || row == m_turn.response
                          || row == m_initializing;
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
    if (m_turn.thinking && m_turn.thinking != message) {
        // The thinking row stays last while other rows arrive.
        m_messages.removeOne(m_turn.thinking);
        m_messages.append(m_turn.thinking);
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
    later(&ChatSession::messagesChanged);
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

void ChatSession::removeInitializingIndicator()
{
    removeRow(m_initializing, "removeInitializingIndicator()");
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

InputStatus ChatSession::inputStatus() const
{
    switch (m_agentState) {
    case AgentState::notStarted:
    case AgentState::awaitingFirst:
        return {};
    case AgentState::starting:
        return {QStringLiteral("Initializing agent..."), false};
    case AgentState::ready:
        break;
    }
    if (!m_turn.requests.isEmpty())
        return {QStringLiteral("Permission needed..."), false};
    if (m_turn.question)
        return {QStringLiteral("Agent has a question..."), false};
    if (m_turn.plan.isAwaitingApproval)
        return {QStringLiteral("Plan ready for review..."), false};
    return {QString(), m_activityState == ChatActivityState::processing};
}

void ChatSession::updateInputStatus()
{
    later(&ChatSession::inputStatusChanged, inputStatus());
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
    later(&ChatSession::agentInitialized, info);
}

void ChatSession::agentDidBecomeReady()
{
    if (m_turn.hasOpenPrompt()) {
        if (!m_adapter || !m_adapter->isLaunched()) {
            log(QStringLiteral(" agentDidBecomeReady (process exited, cleaning up stale state)"));
            interruptTurn();
            m_agentState = AgentState::ready;
            updateInputStatus();
        } else {
            log(QStringLiteral(" agentDidBecomeReady (ignored, pending prompt)"));
        }
        return;
    }
    m_agentState = AgentState::ready;
    // A process can report itself ready after the first turn already began to stream; that turn
    // is still running.
    if (!m_turn.isStreaming())
        setActivityState(ChatActivityState::idle);
    removeInitializingIndicator();
    updateInputStatus();
    if (m_seedPrompt && m_adapter) {
        const QString prompt = *std::exchange(m_seedPrompt, std::nullopt);
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
    later(&ChatSession::agentReady);
}

void ChatSession::didChangeStatus(const std::optional<QString> &status)
{
    log(QStringLiteral(" status: ") + status.value_or(QStringLiteral("(none)")));
}

void ChatSession::didStartThinking()
{
    setActivityState(ChatActivityState::processing);
    if (m_turn.thinking)
        return;
    if (m_turn.response)
        finishRow(std::exchange(m_turn.response, nullptr));
    showThinkingRow();
}

void ChatSession::didReceiveText(const QString &text)
{
    m_turn.hadText = true;
    if (m_turn.plan.isActive)
        m_turn.plan.accumulatedText += text;
    if (m_turn.response) {
        m_turn.response->content += text;
        throttledSave();
        later(&ChatSession::messageChanged, m_turn.response->id);
        return;
    }
    m_turn.response = makeRow(MessageRole::assistant, MessageContentType::text, text, false);
    appendMessage(m_turn.response);
}

void ChatSession::didStartTool(const QString &name, const QString &toolUseId, const QVariantMap &input)
{
    const planfilter::Outcome plan = planfilter::apply(m_turn.plan, name, input);
    for (const QString &line : plan.logLines)
        log(line);
    if (plan.changed)
        notifyPlanChanged();
    if (plan.hidden) {
        log(QStringLiteral(" plan tool handled: ") + name);
        m_turn.hiddenToolName = name;
        if (!toolUseId.isEmpty())
            m_turn.hiddenToolUseIds.insert(toolUseId);
        return;
    }
    if (m_turn.response) {
        finishRow(std::exchange(m_turn.response, nullptr));
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
        m_turn.subagents.insert(toolUseId, row);
        appendMessage(row);
        log(QStringLiteral(" subagent started: type=%1 id=%2").arg(type, toolUseId));
        return;
    }
    auto row = makeRow(MessageRole::tool, MessageContentType::toolStart, sessiontext::toolSummary(name, input), false);
    row->toolName = name;
    if (name == QLatin1String("Write") || name == QLatin1String("Edit"))
        row->metadata = QJsonDocument(QJsonObject::fromVariantMap(input)).toJson(QJsonDocument::Compact);
    m_turn.tool = row;
    m_turn.toolRows.insert(toolUseId, row);
    appendMessage(row);
}

void ChatSession::didReceiveToolResult(const QString &toolUseId, const QString &output)
{
    // Results of hidden planning tools add nothing anywhere. claude reports results by id, so the
    // id decides; a result without one falls back to the last hidden tool.
    if (m_turn.hiddenToolUseIds.remove(toolUseId) || (toolUseId.isEmpty() && m_turn.hiddenToolName)) {
        log(QStringLiteral(" suppressing tool result for hidden plan tool: ") + m_turn.hiddenToolName.value_or(QString()));
        m_turn.hiddenToolName.reset();
        return;
    }
    const QString addition = output.isEmpty() ? QString() : QStringLiteral("\n") + sessiontext::outputPreview(output);
    if (auto subagent = m_turn.subagents.take(toolUseId)) {
        subagent->isComplete = true;
        subagent->content += addition;
        save("handleToolFinished(toolUseId:output:)");
        log(QStringLiteral(" subagent completed: ") + toolUseId);
        later(&ChatSession::messageChanged, subagent->id);
        return;
    }
    // claude announces every tool of a reply before the first result arrives, so a result goes
    // to the row of its own tool use; only results without a known id fall to the current row.
    std::shared_ptr<Message> tool = m_turn.toolRows.take(toolUseId);
    if (!tool)
        tool = m_turn.tool;
    if (!tool)
        return;
    if (tool == m_turn.tool)
        m_turn.tool.reset();
    finishRow(tool);
    tool->content += addition;
    save("handleToolFinished(toolUseId:output:)");
    later(&ChatSession::messageChanged, tool->id);
}

void ChatSession::didReportToolProgress(const QString &toolName, double elapsedSeconds)
{
    if (m_turn.tool && !m_turn.tool->isComplete)
        log(QStringLiteral(" toolProgress: %1 %2s").arg(toolName).arg(elapsedSeconds, 0, 'f', 1));
}

void ChatSession::didComplete(const AgentResult &result)
{
    log(QStringLiteral(" didComplete: cost=$%1 textLength=%2 response=%3 tool=%4 messages=%5")
            .arg(result.cost, 0, 'f', 4).arg(result.text.size()).arg(bool(m_turn.response)).arg(bool(m_turn.tool))
            .arg(m_messages.size()));
    if (m_turn.response) {
        if (m_turn.response->content.isEmpty()) {
            log(QStringLiteral(" set empty response content from result"));
            m_turn.response->content = result.text;
        }
    } else if (!result.text.isEmpty() && !m_turn.hadText) {
        // claude's result repeats the last text block: only a turn that streamed no text needs it.
        appendMessage(makeRow(MessageRole::assistant, MessageContentType::text, result.text, true));
    }
    endTurn(TurnEnd::completed);
    if (m_notifier)
        m_notifier->notifyCompletion(m_chatName, m_chatId);
    emit turnCompleted(m_chatId, result);
}

void ChatSession::didFail(const AgentError &error)
{
    removeInitializingIndicator();
    // A launch that failed leaves nothing initializing: the next message tries again.
    if (m_agentState == AgentState::starting && (!m_adapter || !m_adapter->isLaunched()))
        m_agentState = AgentState::notStarted;
    endTurn(TurnEnd::failed);
    const QString description = error.message;
    const auto type = sessiontext::isAuthenticationFailure(description) ? MessageContentType::authError
                                                                        : MessageContentType::error;
    appendMessage(makeRow(MessageRole::system, type, QStringLiteral("Error: ") + description, true));
    emit turnFailed(m_chatId, description);
}

void ChatSession::didStall(double seconds)
{
    log(QStringLiteral(" stall detected: no activity for %1").arg(seconds));
    addSystemMessage(QStringLiteral("Claude appears unresponsive — no activity for %1s. You can press Stop to cancel.")
                         .arg(qint64(seconds)));
}

void ChatSession::interruptTurn()
{
    endTurn(TurnEnd::interrupted);
}

void ChatSession::endTurn(TurnEnd end)
{
    if (m_turn.plan.isActive && end == TurnEnd::completed)
        log(QStringLiteral(" resetting stale planState on didComplete"));
    removeRow(m_turn.thinking, "removeThinkingMessage()");
    if (m_turn.tool)
        log(QStringLiteral(" completing orphaned tool message: ") + m_turn.tool->toolName.value_or(QString()));
    for (const auto &row : {m_turn.tool, m_turn.response})
        if (row)
            finishRow(row);
    finishOrphanedTools();
    for (const auto &row : std::as_const(m_turn.subagents))
        row->isComplete = true;
    // Prompts nobody answered: the agent no longer waits for them.
    for (const auto &row : std::as_const(m_turn.permissionRows)) {
        if (row->contentType != MessageContentType::permissionRequest)
            continue;
        row->contentType = MessageContentType::permissionDenied;
        if (end == TurnEnd::interrupted)
            row->content = QStringLiteral("Interrupted");
        row->isComplete = true;
    }
    if (m_turn.questionRow) {
        m_turn.questionRow->contentType = MessageContentType::permissionDenied;
        m_turn.questionRow->isComplete = true;
    }
    for (const QString &key : m_turn.requests.ids())
        emit promptClosed(m_chatId, key);
    if (m_turn.question)
        emit promptClosed(m_chatId, QStringLiteral("question"));
    if (m_turn.planRequestId)
        emit promptClosed(m_chatId, QStringLiteral("plan"));
    const bool hadPlan = m_turn.plan.isActive;
    m_turn = {};
    if (hadPlan)
        notifyPlanChanged();
    setActivityState(ChatActivityState::idle);
    m_saveTimer.stop();
    save("endTurn()");
    updateInputStatus();
    later(&ChatSession::messagesChanged);
}

void ChatSession::resetConversation()
{
    endTurn(TurnEnd::interrupted); // the turn's rows, prompts and activity start over here
    if (auto record = chat())
        record->claudeSessionId.reset();
    for (const auto &row : m_context->fetchOrEmpty<Message>(Query(where::eq("chatId", m_chatId))))
        m_context->remove(row);
    for (const auto &row : std::as_const(m_messages))
        m_context->remove(row);
    save("clearConversation()");
    m_messages.clear();
    m_unsettled.clear();
    m_initializing.reset();
    m_adapter.reset();
    m_agentState = AgentState::notStarted;
    later(&ChatSession::messagesChanged);
}

void ChatSession::cleanup()
{
    log(QStringLiteral("cleanup: ending the agent, clearing %1 messages").arg(m_messages.size()));
    if (m_adapter) {
        // Not killed: the agent finishes writing its session on the way out.
        m_adapter->terminate();
        m_adapter.reset();
    }
    m_agentState = AgentState::notStarted;
    m_messages.clear();
    m_unsettled.clear();
    m_turn = {};
    removeInitializingIndicator();
    m_chat.reset();
    m_saveTimer.stop();
    m_context->rollback();
    log(QStringLiteral("cleanup complete"));
}

} // namespace corvane
