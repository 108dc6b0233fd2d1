// What the session decides when the agent stops for an answer: a tool permission, a question,
// or approval of a plan. Everything the mode or an earlier "for this session" allows is answered
// here at once; the rest becomes a row and a prompt, and the answer comes back through the
// handle* operations.
#include "agent/AgentAdapter.h"
#include "agent/session/BackgroundNotifier.h"
#include "agent/session/ChatSession.h"
#include "agent/session/ChatSessionUIHandler.h"
#include "agent/session/PermissionRules.h"
#include "core/records/Message.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane {

namespace {

const QString QuestionKey = QStringLiteral("question");
const QString PlanKey = QStringLiteral("plan");

QByteArray requestMetadata(const QString &requestId, const QVariantMap &input)
{
    QJsonObject metadata = QJsonObject::fromVariantMap(input);
    metadata.insert(QStringLiteral("request_id"), requestId);
    return QJsonDocument(metadata).toJson(QJsonDocument::Compact);
}

} // namespace

PermissionMode ChatSession::currentPermissionMode() const
{
    return m_adapter ? m_adapter->permissionMode() : m_defaultPermissionMode;
}

std::optional<AgentPermissionRequest> ChatSession::pendingRequest(const QString &requestId) const
{
    return m_pendingRequests.find(requestId);
}

std::optional<AgentPermissionRequest> ChatSession::oldestPendingRequest() const
{
    for (const AgentPermissionRequest &request : m_pendingRequests.inArrivalOrder())
        if (request.requestId != m_planApprovalRequestId)
            return request;
    return std::nullopt;
}

void ChatSession::answer(const QString &requestId, bool allow, const std::optional<QVariantMap> &input,
                         const std::optional<QString> &message)
{
    // Without an adapter the rows and the state still change; there is just nobody to tell.
    if (m_adapter)
        m_adapter->respondToPermission(requestId, allow, input, message);
}

void ChatSession::autoApprove(const AgentPermissionRequest &request, const QString &why)
{
    log(QStringLiteral(" auto-approving %1 (%2)").arg(request.toolName, why));
    answer(request.requestId, true, request.toolInput, std::nullopt);
}

void ChatSession::didRequestPermission(const AgentPermissionRequest &request)
{
    const PermissionMode mode = currentPermissionMode();
    if (auto label = permissionrules::autoApprovalLabel(mode, request.toolName, request.toolInput)) {
        autoApprove(request, QStringLiteral("permission mode: ") + *label);
        return;
    }
    if (m_sessionApprovedTools.contains(request.toolName)) {
        autoApprove(request, QStringLiteral("session-approved"));
        return;
    }
    if (m_pendingRequests.isEmpty())
        removeRow(m_currentThinking, "removeThinkingMessage()");
    setActivityState(ChatActivityState::waitingForPermission);
    m_pendingRequests.insert(request);
    // claude hands its plan over as the request's "plan", also when it never announced planning.
    if (request.toolName == QLatin1String("ExitPlanMode")
        && (m_plan.isActive || !request.toolInput.value(QStringLiteral("plan")).toString().trimmed().isEmpty())) {
        m_plan.isActive = true;
        showPlanForApproval(request);
        return;
    }
    showPermission(request);
    updateInputStatus();
}

void ChatSession::showPermission(const AgentPermissionRequest &request)
{
    if (m_currentTool && m_currentTool->toolName == request.toolName) {
        // The request stands in for the tool row it asks about.
        m_toolRows.remove(m_toolRows.key(m_currentTool));
        m_unsettled.removeOne(m_currentTool);
        removeRow(m_currentTool, "showPermissionForRequest(_:)");
    }
    auto row = makeRow(MessageRole::tool, MessageContentType::permissionRequest,
                       permissionrules::requestSummary(request), false);
    row->toolName = request.toolName;
    row->metadata = requestMetadata(request.requestId, request.toolInput);
    m_pendingPermissionMessages.append(row);
    appendMessage(row);
    if (m_notifier)
        m_notifier->notifyPermission(m_chatName, m_chatId, request.toolName);
    emit permissionRequested(m_chatId, request);
    askForAnswer(request.requestId);
}

void ChatSession::askForAnswer(const QString &key)
{
    if (hasUiHandler())
        toUi([](ChatSessionUIHandler &ui) { ui.sessionNeedsAnswer(); });
    else
        emit floatingPromptRequested(m_chatId, key);
}

std::shared_ptr<Message> ChatSession::takePermissionRow(const QString &requestId)
{
    for (const auto &row : std::as_const(m_pendingPermissionMessages)) {
        const QJsonObject metadata = QJsonDocument::fromJson(row->metadata.value_or(QByteArray())).object();
        if (metadata.value(QStringLiteral("request_id")).toString() == requestId) {
            auto found = row;
            m_pendingPermissionMessages.removeOne(found);
            return found;
        }
    }
    return nullptr;
}

void ChatSession::showThinkingRow()
{
    if (m_currentThinking)
        return;
    m_currentThinking = makeRow(MessageRole::thinking, MessageContentType::thinking, QStringLiteral("Thinking..."), false);
    appendMessage(m_currentThinking);
}

void ChatSession::afterRequestAnswered()
{
    if (m_pendingRequests.isEmpty()) {
        setActivityState(ChatActivityState::processing);
        showThinkingRow();
    }
    updateInputStatus();
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::handlePermissionApproval(const QString &requestId, PermissionScope scope)
{
    const auto request = pendingRequest(requestId);
    if (!request) {
        log(QStringLiteral(" WARNING: no pending request for ") + requestId);
        return;
    }
    if (scope == PermissionScope::session)
        m_sessionApprovedTools.insert(request->toolName);
    answer(requestId, true, request->toolInput, std::nullopt);
    if (auto row = takePermissionRow(requestId)) {
        row->contentType = MessageContentType::permissionGranted;
        row->isComplete = true;
        save("handlePermissionApproval(requestId:scope:)");
    }
    m_pendingRequests.remove(requestId);
    emit promptClosed(m_chatId, requestId);
    afterRequestAnswered();
}

void ChatSession::handlePermissionDenial(const QString &requestId)
{
    const auto request = pendingRequest(requestId);
    answer(requestId, false, std::nullopt, QStringLiteral("User denied"));
    if (auto row = takePermissionRow(requestId)) {
        row->contentType = MessageContentType::permissionDenied;
        row->isComplete = true;
        save("handlePermissionDenial(requestId:)");
    }
    m_pendingRequests.remove(requestId);
    const QString tool = request && !request->toolName.isEmpty() ? request->toolName : QStringLiteral("Tool");
    addSystemMessage(QStringLiteral("Permission denied for ") + tool);
    if (m_pendingRequests.isEmpty())
        setActivityState(ChatActivityState::processing);
    emit promptClosed(m_chatId, requestId);
    updateInputStatus();
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::didCancelPermissionRequest(const QString &requestId)
{
    if (!m_pendingRequests.remove(requestId))
        return;
    if (auto row = takePermissionRow(requestId)) {
        row->contentType = MessageContentType::permissionDenied;
        row->content = QStringLiteral("Request cancelled");
        row->isComplete = true;
        save("handlePermissionCancelled(requestId:)");
    }
    if (m_pendingRequests.isEmpty())
        setActivityState(ChatActivityState::processing);
    emit promptClosed(m_chatId, requestId);
    updateInputStatus();
    toUi([](ChatSessionUIHandler &ui) { ui.sessionMessagesChanged(); });
}

void ChatSession::permissionModeDidChange(PermissionMode mode)
{
    const QList<AgentPermissionRequest> open = m_pendingRequests.inArrivalOrder(); // answering edits the list
    for (const AgentPermissionRequest &request : open) {
        if (request.requestId == m_planApprovalRequestId)
            continue; // a plan is approved in its own window
        if (permissionrules::autoApprovalLabel(mode, request.toolName, request.toolInput))
            handlePermissionApproval(request.requestId, PermissionScope::once);
    }
}

void ChatSession::didAskUserQuestion(const QList<AgentQuestion> &questions, const QString &requestId,
                                     const QVariantMap &toolInput)
{
    Q_UNUSED(toolInput);
    log(QStringLiteral(" didAskUserQuestion: %1 question(s), requestId=%2").arg(questions.size()).arg(requestId));
    removeRow(m_currentThinking, "removeThinkingMessage()");
    setActivityState(ChatActivityState::waitingForPermission);
    m_pendingQuestion = questions;
    m_pendingQuestionRequestId = requestId;
    // The open question is also a row, so a question left open when the application ends is
    // still visible at the next start as one that was never answered.
    const QString header = questions.isEmpty() ? QString() : questions.first().header.value_or(QString());
    m_questionRow = makeRow(MessageRole::tool, MessageContentType::permissionRequest,
                            questions.isEmpty() ? QString() : questions.first().question, false);
    m_questionRow->toolName = QStringLiteral("AskUserQuestion");
    m_questionRow->metadata = requestMetadata(requestId, toolInput);
    appendMessage(m_questionRow);
    if (m_notifier)
        m_notifier->notifyQuestion(m_chatName, m_chatId, header.isEmpty() ? QStringLiteral("Question") : header);
    updateInputStatus();
    emit questionAsked(m_chatId, questions);
    askForAnswer(QuestionKey);
}

void ChatSession::handleQuestionAnswer(const QString &text)
{
    const QString requestId = std::exchange(m_pendingQuestionRequestId, QString());
    m_pendingQuestion.reset();
    emit promptClosed(m_chatId, QuestionKey);
    // The agent reads the answer as the message of a denial: that is how claude takes free text.
    answer(requestId, false, std::nullopt, text);
    if (m_questionRow) {
        m_questionRow->contentType = MessageContentType::permissionGranted;
        m_questionRow->content += QStringLiteral("\nAnswer: ") + text;
        m_questionRow->isComplete = true;
        m_questionRow.reset();
    }
    setActivityState(ChatActivityState::processing);
    showThinkingRow();
    updateInputStatus();
}

void ChatSession::handleQuestionCancel()
{
    const QString requestId = std::exchange(m_pendingQuestionRequestId, QString());
    m_pendingQuestion.reset();
    emit promptClosed(m_chatId, QuestionKey);
    setActivityState(ChatActivityState::idle);
    answer(requestId, false, std::nullopt, QStringLiteral("User dismissed the question"));
    if (m_questionRow) {
        m_questionRow->contentType = MessageContentType::permissionDenied;
        m_questionRow->isComplete = true;
        m_questionRow.reset();
    }
    addSystemMessage(QStringLiteral("Question dismissed. Claude may not have the information it needs to proceed."));
    updateInputStatus();
}

void ChatSession::notifyPlanChanged()
{
    log(QStringLiteral(" notifyPlanStateChanged: isActive=%1 tasks=%2 awaitingApproval=%3 hasText=%4")
            .arg(m_plan.isActive).arg(m_plan.tasks.size()).arg(m_plan.isAwaitingApproval).arg(!m_plan.accumulatedText.isEmpty()));
    emit planStateChanged(m_chatId);
}

void ChatSession::showPlanForApproval(const AgentPermissionRequest &request)
{
    if (!m_plan.planContent && m_plan.planFilePath) {
        const QString path = QDir(m_workingDirectory).filePath(*m_plan.planFilePath);
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            const QString text = QString::fromUtf8(file.readAll());
            if (!text.isEmpty()) {
                m_plan.planContent = text;
                m_plan.accumulatedText.clear();
                log(QStringLiteral(" Read plan content from disk: %1 chars").arg(text.size()));
            }
        } else {
            log(QStringLiteral(" Failed to read plan file from disk: ") + file.errorString());
        }
    }
    // Without a file, the plan is what claude put in the request; what it streamed before is
    // only the lead-in.
    const QString fromRequest = request.toolInput.value(QStringLiteral("plan")).toString();
    if (!m_plan.planContent && !fromRequest.trimmed().isEmpty())
        m_plan.planContent = fromRequest;
    m_plan.isAwaitingApproval = true;
    m_planApprovalRequestId = request.requestId;
    m_planApprovalInput = request.toolInput;
    notifyPlanChanged();
    updateInputStatus();
    if (m_notifier)
        m_notifier->notifyPermission(m_chatName, m_chatId, QStringLiteral("ExitPlanMode"));
    emit planApprovalRequested(m_chatId);
    askForAnswer(PlanKey);
}

void ChatSession::handlePlanApproval()
{
    m_plan.isAwaitingApproval = false;
    notifyPlanChanged();
    if (!m_planApprovalRequestId)
        return;
    const QString requestId = *std::exchange(m_planApprovalRequestId, std::nullopt);
    const QVariantMap input = std::exchange(m_planApprovalInput, std::nullopt).value_or(QVariantMap());
    m_pendingRequests.remove(requestId);
    // The chat keeps what was approved, after the live plan is gone and after a restart.
    if (const QString approved = m_plan.shownText(); !approved.trimmed().isEmpty()) {
        appendMessage(makeRow(MessageRole::assistant, MessageContentType::planCard, approved, true));
        save("handlePlanApproval()");
    }
    answer(requestId, true, input, std::nullopt);
    setActivityState(ChatActivityState::processing);
    showThinkingRow();
    updateInputStatus();
    emit promptClosed(m_chatId, PlanKey);
}

void ChatSession::handlePlanRejection()
{
    m_plan.reset();
    notifyPlanChanged();
    if (!m_planApprovalRequestId)
        return;
    const QString requestId = *std::exchange(m_planApprovalRequestId, std::nullopt);
    m_planApprovalInput.reset();
    m_pendingRequests.remove(requestId);
    answer(requestId, false, std::nullopt, QStringLiteral("User rejected the plan"));
    updateInputStatus();
    emit promptClosed(m_chatId, PlanKey);
}

} // namespace corvane
