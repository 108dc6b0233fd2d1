#include "shell/chat/FloatingPromptWindow.h"

#include "agent/session/ChatSession.h"
#include "agent/session/PermissionRules.h"
#include "shell/chat/PermissionCard.h"
#include "shell/chat/PlanCard.h"
#include "shell/chat/QuestionCard.h"

#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace corvane {

FloatingPromptWindow::FloatingPromptWindow(ChatSession &session, const QString &key, QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::WindowStaysOnTopHint), m_session(&session), m_key(key), m_chatId(session.chatId())
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("floatingPrompt"));
    const ChatStyle style = ChatStyle::from(palette(), 1.0);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    auto *chat = new QLabel(QStringLiteral("Chat: ") + session.chatName(), this);
    chat->setObjectName(QStringLiteral("floatingChatName"));
    chat->setStyleSheet(QStringLiteral("color: %1;").arg(style.secondaryText.name()));
    layout->addWidget(chat);
    if (key == QLatin1String("question"))
        buildQuestion(style, layout);
    else if (key == QLatin1String("plan"))
        buildPlan(style, layout);
    else
        buildPermission(style, layout);
    setMinimumWidth(460);
    adjustSize();
}

void FloatingPromptWindow::buildPermission(const ChatStyle &style, QLayout *layout)
{
    setWindowTitle(QStringLiteral("Permission Required"));
    const auto request = m_session->pendingRequest(m_key);
    const QString tool = request ? request->toolName : QStringLiteral("Tool");
    auto *need = new QLabel(QStringLiteral("Claude needs permission to use this tool"), this);
    QFont bold = need->font();
    bold.setBold(true);
    need->setFont(bold);
    layout->addWidget(need);
    layout->addWidget(new QLabel(QStringLiteral("Claude wants to use: ") + tool, this));
    auto *card = new PermissionCard(style, this);
    card->setRequest(tool, request ? permissionrules::requestSummary(*request) : QString());
    card->setLive(request.has_value(), request ? QString() : QStringLiteral("Request no longer open"));
    layout->addWidget(card);
    const QString key = m_key;
    auto answer = [this, key](bool allow, PermissionScope scope) {
        if (!m_session)
            return;
        if (allow)
            m_session->handlePermissionApproval(key, scope);
        else
            m_session->handlePermissionDenial(key);
    };
    connect(card, &PermissionCard::allowOnce, this, [answer] { answer(true, PermissionScope::once); });
    connect(card, &PermissionCard::allowForSession, this, [answer] { answer(true, PermissionScope::session); });
    connect(card, &PermissionCard::deny, this, [answer] { answer(false, PermissionScope::once); });
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Y), this), &QShortcut::activated, card, &PermissionCard::allowOnce);
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Y), this), &QShortcut::activated, card,
            &PermissionCard::allowForSession);
}

void FloatingPromptWindow::buildQuestion(const ChatStyle &style, QLayout *layout)
{
    setWindowTitle(QStringLiteral("Claude has a question"));
    auto *card = new QuestionCard(style, this);
    card->setQuestions(m_session->pendingQuestion().value_or(QList<AgentQuestion>()));
    layout->addWidget(card);
    connect(card, &QuestionCard::answered, this, [this](const QString &text) {
        if (m_session)
            m_session->handleQuestionAnswer(text);
    });
    connect(card, &QuestionCard::cancelled, this, [this] {
        if (m_session)
            m_session->handleQuestionCancel();
    });
}

void FloatingPromptWindow::buildPlan(const ChatStyle &style, QLayout *layout)
{
    setWindowTitle(QStringLiteral("Plan Ready for Review"));
    auto *card = new PlanCard(style, this);
    card->setPlan(m_session->planState());
    layout->addWidget(card);
    connect(card, &PlanCard::approved, this, [this] {
        if (m_session)
            m_session->handlePlanApproval();
    });
    connect(card, &PlanCard::rejected, this, [this] {
        if (m_session)
            m_session->handlePlanRejection();
    });
}

} // namespace corvane
