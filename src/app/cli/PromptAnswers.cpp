#include "app/cli/PromptAnswers.h"

#include "agent/AgentPermissionRequest.h"
#include "agent/AgentQuestion.h"
#include "agent/session/ChatSession.h"
#include "agent/session/PermissionRules.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <cstdio>

namespace corvane::cli {

namespace {

void say(const QString &text)
{
    std::fputs(text.toUtf8().constData(), stderr);
    std::fflush(stderr);
}

// One line from the terminal, trimmed; empty at the end of input.
QString readAnswer()
{
    char buffer[4096];
    if (!std::fgets(buffer, sizeof buffer, stdin))
        return {};
    return QString::fromUtf8(buffer).trimmed();
}

} // namespace

PromptAnswers::PromptAnswers(ChatSession &session, AnswerPolicy policy, QObject *parent)
    : QObject(parent), m_session(session), m_policy(policy)
{
    // Answered from the event loop, never from inside the session's own event.
    connect(&session, &ChatSession::permissionRequested, this, [this](const QUuid &, const AgentPermissionRequest &request) {
        QTimer::singleShot(0, this, [this, id = request.requestId] { answerPermission(id); });
    });
    connect(&session, &ChatSession::questionAsked, this, [this] { QTimer::singleShot(0, this, [this] { answerQuestion(); }); });
    connect(&session, &ChatSession::planApprovalRequested, this, [this] { QTimer::singleShot(0, this, [this] { answerPlan(); }); });
}

bool PromptAnswers::parsePolicy(const QString &text, AnswerPolicy &policy)
{
    if (text == QLatin1String("ask"))
        policy = AnswerPolicy::ask;
    else if (text == QLatin1String("allow"))
        policy = AnswerPolicy::allow;
    else if (text == QLatin1String("deny"))
        policy = AnswerPolicy::deny;
    else if (text == QLatin1String("allow-session"))
        policy = AnswerPolicy::allowSession;
    else
        return false;
    return true;
}

void PromptAnswers::answerPermission(const QString &requestId)
{
    const auto request = m_session.pendingRequest(requestId);
    if (!request)
        return; // withdrawn meanwhile
    AnswerPolicy answer = m_policy;
    if (answer == AnswerPolicy::ask) {
        say(QStringLiteral("\n%1\n  %2\n  input: %3\nAllow? [y] once, [s] for this session, [n] no: ")
                .arg(permissionrules::requestHeading(request->toolName), permissionrules::requestSummary(*request),
                     QString::fromUtf8(QJsonDocument(QJsonObject::fromVariantMap(request->toolInput)).toJson(QJsonDocument::Compact))));
        const QString reply = readAnswer().toLower();
        answer = reply.startsWith(QLatin1Char('s')) ? AnswerPolicy::allowSession
                 : reply.startsWith(QLatin1Char('y')) ? AnswerPolicy::allow
                                                      : AnswerPolicy::deny;
    } else {
        say(QStringLiteral("%1 %2\n").arg(answer == AnswerPolicy::deny ? QStringLiteral("Denied:") : QStringLiteral("Allowed:"),
                                          permissionrules::requestSummary(*request)));
    }
    if (answer == AnswerPolicy::deny)
        m_session.handlePermissionDenial(requestId);
    else
        m_session.handlePermissionApproval(requestId, answer == AnswerPolicy::allowSession ? PermissionScope::session
                                                                                         : PermissionScope::once);
}

void PromptAnswers::answerQuestion()
{
    const auto questions = m_session.pendingQuestion();
    if (!questions || questions->isEmpty())
        return;
    if (m_policy != AnswerPolicy::ask) {
        say(QStringLiteral("Question dismissed (answer questions with --on-permission ask): %1\n").arg(questions->first().question));
        m_session.handleQuestionCancel();
        return;
    }
    const AgentQuestion &question = questions->first();
    QString text = QStringLiteral("\nClaude has a question: %1\n%2\n").arg(question.header.value_or(QString()), question.question);
    for (int i = 0; i < question.options.size(); ++i)
        text += QStringLiteral("  %1. %2\n").arg(i + 1).arg(question.options.at(i).label);
    text += question.options.isEmpty() ? QStringLiteral("Your answer (empty to dismiss): ")
                                       : question.multiSelect ? QStringLiteral("Numbers separated by commas, or your own answer (empty to dismiss): ")
                                                              : QStringLiteral("Number, or your own answer (empty to dismiss): ");
    say(text);
    const QString reply = readAnswer();
    if (reply.isEmpty()) {
        m_session.handleQuestionCancel();
        return;
    }
    // Numbers pick options in the order of the list; anything else is the user's own answer.
    QStringList labels;
    bool numbers = true;
    for (const QString &part : reply.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const int index = part.trimmed().toInt(&ok) - 1;
        if (!ok || index < 0 || index >= question.options.size()) {
            numbers = false;
            break;
        }
        labels << question.options.at(index).label;
    }
    if (!question.multiSelect && labels.size() > 1)
        numbers = false;
    m_session.handleQuestionAnswer(numbers && !labels.isEmpty() ? labels.join(QStringLiteral(", ")) : reply);
}

void PromptAnswers::answerPlan()
{
    const PlanState &plan = m_session.planState();
    bool approve = m_policy == AnswerPolicy::allow || m_policy == AnswerPolicy::allowSession;
    if (m_policy == AnswerPolicy::ask) {
        say(QStringLiteral("\nPlan Ready for Review\n%1\nApprove? [y] yes, [n] no: ")
                .arg(plan.shownText()));
        approve = readAnswer().toLower().startsWith(QLatin1Char('y'));
    }
    if (approve)
        m_session.handlePlanApproval();
    else
        m_session.handlePlanRejection();
}

} // namespace corvane::cli
