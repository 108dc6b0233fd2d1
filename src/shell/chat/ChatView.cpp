#include "shell/chat/ChatView.h"

#include "agent/AgentAdapter.h"
#include "agent/input/SlashCommands.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "agent/session/SessionManager.h"
#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/PlanCard.h"
#include "shell/chat/QuestionCard.h"
#include "shell/chat/TimelineView.h"

#include <QEvent>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QScrollArea>
#include <QTimer>
#include <QVBoxLayout>

namespace corvane {

namespace {
const char *const Tag = "ChatVC";

QString activityText(ChatActivityState state)
{
    switch (state) {
    case ChatActivityState::processing: return QStringLiteral("Working…");
    case ChatActivityState::waitingForPermission: return QStringLiteral("Waiting for you");
    case ChatActivityState::idle:
    case ChatActivityState::completed: break;
    }
    return {};
}
} // namespace

ChatView::ChatView(SessionManager &sessions, ChatController &controller, Store &store, AppSettings &settings,
                   QWidget *parent)
    : QWidget(parent), m_sessions(sessions), m_controller(controller), m_store(store), m_settings(settings)
{
    const ChatStyle style = ChatStyle::from(palette(), settings.textSizeScale());
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto *header = new QWidget(this);
    auto *headerLayout = new QHBoxLayout(header);
    headerLayout->setContentsMargins(16, 8, 16, 8);
    m_title = new QLabel(header);
    m_title->setObjectName(QStringLiteral("chatTitle"));
    QFont bold = style.bodyFont();
    bold.setBold(true);
    m_title->setFont(bold);
    m_agent = new QLabel(header);
    m_agent->setObjectName(QStringLiteral("chatAgent"));
    m_activity = new QLabel(header);
    headerLayout->addWidget(m_title);
    headerLayout->addWidget(m_agent);
    headerLayout->addStretch();
    headerLayout->addWidget(m_activity);

    m_timeline = new TimelineView(m_model, this);
    m_timeline->context().style = style;
    RowContext &context = m_timeline->context();
    context.isLiveRequest = [this](const QString &id) { return m_session && m_session->pendingRequest(id).has_value(); };
    context.hasLiveQuestion = [this] { return m_session && m_session->pendingQuestion().has_value(); };
    context.approve = [this](const QString &id, PermissionScope scope) {
        if (m_session)
            m_session->handlePermissionApproval(id, scope);
    };
    context.deny = [this](const QString &id) {
        if (m_session)
            m_session->handlePermissionDenial(id);
    };
    context.signIn = [this] { emit signInRequested(m_chatId); };

    m_promptArea = new QScrollArea(this);
    m_promptArea->setWidgetResizable(true);
    m_promptArea->setFrameShape(QFrame::NoFrame);
    m_promptArea->setMaximumHeight(360);
    auto *prompts = new QWidget(m_promptArea);
    auto *promptLayout = new QVBoxLayout(prompts);
    promptLayout->setContentsMargins(16, 4, 16, 4);
    m_question = new QuestionCard(style, prompts);
    m_plan = new PlanCard(style, prompts);
    promptLayout->addWidget(m_question);
    promptLayout->addWidget(m_plan);
    m_promptArea->setWidget(prompts);
    m_promptArea->hide();
    connect(m_question, &QuestionCard::answered, this, [this](const QString &text) {
        if (m_session)
            m_session->handleQuestionAnswer(text);
        refreshPrompts();
    });
    connect(m_question, &QuestionCard::cancelled, this, [this] {
        if (m_session)
            m_session->handleQuestionCancel();
        refreshPrompts();
    });
    connect(m_plan, &PlanCard::approved, this, [this] {
        if (m_session)
            m_session->handlePlanApproval();
        refreshPrompts();
    });
    connect(m_plan, &PlanCard::rejected, this, [this] {
        if (m_session)
            m_session->handlePlanRejection();
        refreshPrompts();
    });

    m_input = new ChatInputView(settings, this);
    connect(m_input, &ChatInputView::submitted, this, &ChatView::submit);
    connect(m_input, &ChatInputView::stopRequested, this, &ChatView::stop);
    connect(m_input, &ChatInputView::permissionModeChanged, this, &ChatView::changePermissionMode);
    connect(m_input, &ChatInputView::modelChanged, this, [this] { refreshHeader(); });
    // Preferences change these while chats are open; the observers go with this view.
    settings.center().addObserver(broadcast::textSizeScaleChanged, [this](const Notification &) { restyle(); }, nullptr, this);
    settings.center().addObserver(broadcast::modelVisibilityChanged, [this](const Notification &) { m_input->reloadModels(); },
                                  nullptr, this);

    layout->addWidget(header);
    layout->addWidget(m_timeline, 1);
    layout->addWidget(m_promptArea);
    layout->addWidget(m_input);

    showNoChat();
}

ChatView::~ChatView()
{
    detach();
}

void ChatView::setChat(const QUuid &chatId)
{
    if (chatId == m_chatId && m_session)
        return;
    detach();
    if (chatId.isNull()) {
        showNoChat();
        return;
    }
    StoreContext &ctx = m_store.mainContext();
    const auto chat = ctx.get<Chat>(chatId);
    if (!chat) {
        showNoChat();
        return;
    }
    const auto workspace = chat->workspaceId ? ctx.get<Workspace>(*chat->workspaceId) : nullptr;
    std::optional<QUuid> projectId = chat->projectId;
    if (!projectId && workspace)
        projectId = workspace->projectId;
    const auto project = projectId ? ctx.get<Project>(*projectId) : nullptr;
    logLine(Tag, QStringLiteral("setChat called, chat=%1, project=%2").arg(chat->name, project ? project->name : QStringLiteral("nil")));
    if (!project) {
        logLine(Tag, QStringLiteral("No project associated with chat!"));
        showNoChat();
        return;
    }
    const QString folder = chat->workingDirectory(workspace.get(), project.get()).value_or(project->path);
    logLine(Tag, QStringLiteral("Attaching to chat in: ") + folder);

    m_chatId = chatId;
    m_session = m_sessions.session(chatId, chat->name, folder);
    m_sessions.markChatActive(chatId);
    const PermissionMode mode = m_settings.permissionMode();
    m_session->setDefaultPermissionMode(mode);
    m_session->attachView(this);
    connect(m_session, &ChatSession::messagesChanged, this, &ChatView::showMessages);
    connect(m_session, &ChatSession::answerNeeded, this, &ChatView::showMessages);
    connect(m_session, &ChatSession::messageChanged, &m_model, &ChatTimelineModel::messageChanged);
    connect(m_session, &ChatSession::agentReady, this, &ChatView::refreshHeader);
    connect(m_session, &ChatSession::agentInitialized, this, &ChatView::refreshHeader);
    connect(m_session, &ChatSession::inputStatusChanged, this, &ChatView::showInputStatus);
    connect(m_session, &ChatSession::turnCompleted, this, [this] { m_input->setWaiting(false); });
    connect(m_session, &ChatSession::turnFailed, this, [this] { m_input->setWaiting(false); });
    connect(m_session, &ChatSession::activityStateChanged, this, [this] { refreshHeader(); });
    connect(m_session, &ChatSession::planStateChanged, this, [this] { refreshPrompts(); });
    connect(m_session, &ChatSession::questionAsked, this, [this] { refreshPrompts(); });
    connect(m_session, &ChatSession::promptClosed, this, [this] { refreshPrompts(); });
    connect(m_session, &QObject::destroyed, this, [this] {
        logLine(Tag, QStringLiteral("Active chat's session was closed, clearing UI"));
        m_session = nullptr;
        m_chatId = {};
        showNoChat();
    });

    m_input->reloadModels();
    if (chat->modelId)
        m_input->selectModel(*chat->modelId);
    m_input->setPermissionMode(mode);
    m_input->setInputEnabled(true);
    m_controller.bind(*m_session, m_input->selectedModel(), mode);
    m_model.resetMessages(m_session->messages());
    const ChatActivityState state = m_session->activityState();
    m_input->setWaiting(state == ChatActivityState::processing || state == ChatActivityState::waitingForPermission);
    m_input->setStatus(m_session->inputStatus().text);
    refreshHeader();
    refreshPrompts();
    m_timeline->scrollToEnd();
    emit chatAttached(chatId);
}

void ChatView::detach()
{
    if (m_session) {
        logLine(Tag, QStringLiteral("detachAndClear: releasing chat=") + m_session->chatName());
        m_session->detachView(this);
        disconnect(m_session, nullptr, this, nullptr);
        m_sessions.markChatInactive(m_chatId);
    }
    m_session = nullptr;
    m_chatId = {};
}

void ChatView::showNoChat()
{
    m_model.resetMessages({});
    m_title->setText(QStringLiteral("No chat selected"));
    m_agent->clear();
    m_activity->clear();
    m_promptArea->hide();
    m_input->setWaiting(false);
    m_input->setInputEnabled(false);
}

void ChatView::refreshHeader()
{
    if (!m_session)
        return;
    const auto chat = m_session->chat();
    m_title->setText(chat ? chat->name : m_session->chatName());
    const AgentModelDescriptor model = m_input->selectedModel();
    const AgentType agent = m_session->adapter() ? m_session->adapter()->agentType() : model.agentType;
    m_agent->setText(QStringLiteral("%1 · %2").arg(agent == AgentType::codex ? QStringLiteral("Codex") : QStringLiteral("Claude Code"),
                                                   model.displayName));
    m_activity->setText(activityText(m_session->activityState()));
}

void ChatView::refreshPrompts()
{
    bool any = false;
    const std::optional<QList<AgentQuestion>> question = m_session ? m_session->pendingQuestion() : std::nullopt;
    if (question && !question->isEmpty()) {
        const QString key = question->first().question + QString::number(question->first().options.size());
        if (key != m_shownQuestion || m_question->isHidden())
            m_question->setQuestions(*question);
        m_shownQuestion = key;
        m_question->show();
        any = true;
    } else {
        m_shownQuestion.clear();
        m_question->hide();
    }
    const PlanState plan = m_session ? m_session->planState() : PlanState();
    if (plan.isActive && (plan.isAwaitingApproval || !plan.tasks.isEmpty())) {
        m_plan->setPlan(plan);
        m_plan->show();
        any = true;
    } else {
        m_plan->hide();
    }
    m_promptArea->setVisible(any);
}

void ChatView::submit(const QString &text, const QList<Attachment> &attachments)
{
    if (!m_session)
        return;
    m_timeline->scrollToEnd();
    const bool clear = slashcommands::parse(text).kind == SlashCommand::Kind::clear;
    const Status sent = m_controller.sendMessage(*m_session, text, attachments, m_input->selectedModel(), m_input->permissionMode());
    m_input->setWaiting(sent.ok() && !clear);
    if (clear)
        m_model.resetMessages(m_session->messages());
    refreshHeader();
}

void ChatView::stop()
{
    if (!m_session)
        return;
    // The controller keeps each chat's two presses, also for the window's Stop command.
    if (m_controller.stop(*m_session) == ChatController::StopOutcome::forced)
        m_input->setWaiting(false); // the second press ended the process: no result will come
}

void ChatView::changePermissionMode(PermissionMode mode)
{
    QString label;
    for (const PermissionModeChoice &choice : ChatInputView::permissionModes())
        if (choice.mode == mode)
            label = choice.label;
    logLine(Tag, QStringLiteral("Permission mode changed to: ") + label);
    m_settings.setPermissionMode(mode);
    if (!m_session)
        return;
    if (AgentAdapter *adapter = m_session->adapter())
        adapter->setPermissionMode(mode);
    m_session->setDefaultPermissionMode(mode);
    m_session->permissionModeDidChange(mode);
}

void ChatView::restyle()
{
    const ChatStyle style = ChatStyle::from(palette(), m_settings.textSizeScale());
    m_timeline->context().style = style;
    m_timeline->restyle();
    m_question->setStyleSheet(style.cardSheet(m_question->objectName()));
    m_plan->setStyleSheet(style.cardSheet(m_plan->objectName()));
}

void ChatView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        restyle();
}

bool ChatView::revealMessage(const QUuid &messageId)
{
    m_model.flush(); // rows of messages that arrived a moment ago
    const int row = m_model.rowOfMessage(messageId);
    if (row < 0)
        return false;
    m_timeline->revealRow(row);
    return true;
}

void ChatView::showMessages()
{
    if (m_session)
        m_model.setMessages(m_session->messages());
    refreshPrompts();
}

void ChatView::showInputStatus(const InputStatus &status)
{
    m_input->setStatus(status.text);
    if (status.waiting)
        m_input->setWaiting(true);
}

} // namespace corvane
