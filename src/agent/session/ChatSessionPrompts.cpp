// What the session decides when the agent stops for an answer: a tool permission, a question,
// or approval of a plan. Everything the mode or an earlier "for this session" allows is answered
// here at once; the rest becomes a row and a prompt, and the answer comes back through the
// handle* operations.
#include "agent/AgentAdapter.h"
#include "agent/session/BackgroundNotifier.h"
#include "agent/session/ChatSession.h"
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
    return m_turn.requests.find(requestId);
}

std::optional<AgentPermissionRequest> ChatSession::oldestPendingRequest() const
{
    for (const AgentPermissionRequest &request : m_turn.requests.inArrivalOrder())
        if (request.requestId != m_turn.planRequestId)
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
    if (m_turn.requests.isEmpty())
        removeRow(m_turn.thinking, "removeThinkingMessage()");
    setActivityState(ChatActivityState::waitingForPermission);
    m_turn.requests.insert(request);
    // claude hands its plan over as the request's "plan", also when it never announced planning.
    if (request.toolName == QLatin1String("ExitPlanMode")
        && (m_turn.plan.isActive || !request.toolInput.value(QStringLiteral("plan")).toString().trimmed().isEmpty())) {
        m_turn.plan.isActive = true;
        showPlanForApproval(request);
        return;
    }
    showPermission(request);
    updateInputStatus();
}

void ChatSession::showPermission(const AgentPermissionRequest &request)
{
    if (m_turn.tool && m_turn.tool->toolName == request.toolName) {
        // The request stands in for the tool row it asks about.
        m_turn.toolRows.remove(m_turn.toolRows.key(m_turn.tool));
        m_unsettled.removeOne(m_turn.tool);
        removeRow(m_turn.tool, "showPermissionForRequest(_:)");
    }
    auto row = makeRow(MessageRole::tool, MessageContentType::permissionRequest,
                       permissionrules::requestSummary(request), false);
    row->toolName = request.toolName;
    row->metadata = requestMetadata(request.requestId, request.toolInput);
    m_turn.permissionRows.append(row);
    appendMessage(row);
    if (m_notifier)
        m_notifier->notifyPermission(m_chatName, m_chatId, request.toolName);
    emit permissionRequested(m_chatId, request);
    askForAnswer(request.requestId);
}

void ChatSession::askForAnswer(const QString &key)
{
    if (hasView())
        later(&ChatSession::answerNeeded);
    else
        emit floatingPromptRequested(m_chatId, key);
}

std::shared_ptr<Message> ChatSession::takePermissionRow(const QString &requestId)
{
    for (const auto &row : std::as_const(m_turn.permissionRows)) {
        const QJsonObject metadata = QJsonDocument::fromJson(row->metadata.value_or(QByteArray())).object();
        if (metadata.value(QStringLiteral("request_id")).toString() == requestId) {
            auto found = row;
            m_turn.permissionRows.removeOne(found);
            return found;
        }
    }
    return nullptr;
}

void ChatSession::showThinkingRow()
{
    if (m_turn.thinking)
        return;
    m_turn.thinking = makeRow(MessageRole::thinking, MessageContentType::thinking, QStringLiteral("Thinking..."), false);
    appendMessage(m_turn.thinking);
}

void ChatSession::afterRequestAnswered()
{
    if (m_turn.requests.isEmpty()) {
        setActivityState(ChatActivityState::processing);
        showThinkingRow();
    }
    updateInputStatus();
    later(&ChatSession::messagesChanged);
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
    m_turn.requests.remove(requestId);
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
    m_turn.requests.remove(requestId);
    const QString tool = request && !request->toolName.isEmpty() ? request->toolName : QStringLiteral("Tool");
    addSystemMessage(QStringLiteral("Permission denied for ") + tool);
    if (m_turn.requests.isEmpty())
        setActivityState(ChatActivityState::processing);
    emit promptClosed(m_chatId, requestId);
    updateInputStatus();
    later(&ChatSession::messagesChanged);
}

void ChatSession::didCancelPermissionRequest(const QString &requestId)
{
    if (!m_turn.requests.remove(requestId))
        return;
    if (auto row = takePermissionRow(requestId)) {
        row->contentType = MessageContentType::permissionDenied;
        row->content = QStringLiteral("Request cancelled");
        row->isComplete = true;
        save("handlePermissionCancelled(requestId:)");
    }
    if (m_turn.requests.isEmpty())
        setActivityState(ChatActivityState::processing);
    emit promptClosed(m_chatId, requestId);
    updateInputStatus();
    later(&ChatSession::messagesChanged);
}

void ChatSession::permissionModeDidChange(PermissionMode mode)
{
    const QList<AgentPermissionRequest> open = m_turn.requests.inArrivalOrder(); // answering edits the list
    for (const AgentPermissionRequest &request : open) {
        if (request.requestId == m_turn.planRequestId)
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
    removeRow(m_turn.thinking, "removeThinkingMessage()");
    setActivityState(ChatActivityState::waitingForPermission);
    m_turn.question = questions;
    m_turn.questionRequestId = requestId;
    // The open question is also a row, so a question left open when the application ends is
    // still visible at the next start as one that was never answered.
    const QString header = questions.isEmpty() ? QString() : questions.first().header.value_or(QString());
    m_turn.questionRow = makeRow(MessageRole::tool, MessageContentType::permissionRequest,
                            questions.isEmpty() ? QString() : questions.first().question, false);
    m_turn.questionRow->toolName = QStringLiteral("AskUserQuestion");
    m_turn.questionRow->metadata = requestMetadata(requestId, toolInput);
    appendMessage(m_turn.questionRow);
    if (m_notifier)
        m_notifier->notifyQuestion(m_chatName, m_chatId, header.isEmpty() ? QStringLiteral("Question") : header);
    updateInputStatus();
    emit questionAsked(m_chatId, questions);
    askForAnswer(QuestionKey);
}

void ChatSession::handleQuestionAnswer(const QString &text)
{
    const QString requestId = std::exchange(m_turn.questionRequestId, QString());
    m_turn.question.reset();
    emit promptClosed(m_chatId, QuestionKey);
    // The agent reads the answer as the message of a denial: that is how claude takes free text.
    answer(requestId, false, std::nullopt, text);
    if (m_turn.questionRow) {
        m_turn.questionRow->contentType = MessageContentType::permissionGranted;
        m_turn.questionRow->content += QStringLiteral("\nAnswer: ") + text;
        m_turn.questionRow->isComplete = true;
        m_turn.questionRow.reset();
    }
    setActivityState(ChatActivityState::processing);
    showThinkingRow();
    updateInputStatus();
}

void ChatSession::handleQuestionCancel()
{
    const QString requestId = std::exchange(m_turn.questionRequestId, QString());
    m_turn.question.reset();
    emit promptClosed(m_chatId, QuestionKey);
    setActivityState(ChatActivityState::idle);
    answer(requestId, false, std::nullopt, QStringLiteral("User dismissed the question"));
    if (m_turn.questionRow) {
        m_turn.questionRow->contentType = MessageContentType::permissionDenied;
        m_turn.questionRow->isComplete = true;
        m_turn.questionRow.reset();
    }
    addSystemMessage(QStringLiteral("Question dismissed. Claude may not have the information it needs to proceed."));
    updateInputStatus();
}

void ChatSession::notifyPlanChanged()
{
    log(QStringLiteral(" notifyPlanStateChanged: isActive=%1 tasks=%2 awaitingApproval=%3 hasText=%4")
            .arg(m_turn.plan.isActive).arg(m_turn.plan.tasks.size()).arg(m_turn.plan.isAwaitingApproval).arg(!m_turn.plan.accumulatedText.isEmpty()));
    emit planStateChanged(m_chatId);
}

void ChatSession::showPlanForApproval(const AgentPermissionRequest &request)
{
    if (!m_turn.plan.planContent && m_turn.plan.planFilePath) {
        const QString path = QDir(m_workingDirectory).filePath(*m_turn.plan.planFilePath);
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            const QString text = QString::fromUtf8(file.readAll());
            if (!text.isEmpty()) {
                m_turn.plan.planContent = text;
                m_turn.plan.accumulatedText.clear();
                log(QStringLiteral(" Read plan content from disk: %1 chars").arg(text.size()));
            }
        } else {
            log(QStringLiteral(" Failed to read plan file from disk: ") + file.errorString());
        }
    }
    // Without a file, the plan is what claude put in the request; what it streamed before is
    // only the lead-in.
    const QString fromRequest = request.toolInput.value(QStringLiteral("plan")).toString();
    if (!m_turn.plan.planContent && !fromRequest.trimmed().isEmpty())
        m_turn.plan.planContent = fromRequest;
    m_turn.plan.isAwaitingApproval = true;
    m_turn.planRequestId = request.requestId;
    m_turn.planInput = request.toolInput;
    notifyPlanChanged();
    updateInputStatus();
    if (m_notifier)
        m_notifier->notifyPermission(m_chatName, m_chatId, QStringLiteral("ExitPlanMode"));
    emit planApprovalRequested(m_chatId);
    askForAnswer(PlanKey);
}

void ChatSession::handlePlanApproval()
{
    m_turn.plan.isAwaitingApproval = false;
    notifyPlanChanged();
    if (!m_turn.planRequestId)
        return;
    const QString requestId = *std::exchange(m_turn.planRequestId, std::nullopt);
    const QVariantMap input = std::exchange(m_turn.planInput, {});
    m_turn.requests.remove(requestId);
    // The chat keeps what was approved, after the live plan is gone and after a restart.
    if (const QString approved = m_turn.plan.shownText(); !approved.trimmed().isEmpty()) {
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
    m_turn.plan.reset();
    notifyPlanChanged();
    if (!m_turn.planRequestId)
        return;
    const QString requestId = *std::exchange(m_turn.planRequestId, std::nullopt);
    m_turn.planInput.clear();
    m_turn.requests.remove(requestId);
    answer(requestId, false, std::nullopt, QStringLiteral("User rejected the plan"));
    updateInputStatus();
    emit promptClosed(m_chatId, PlanKey);
}

} // namespace corvane
