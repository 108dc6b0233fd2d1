#pragma once

#include <QObject>
#include <QString>

namespace corvane {
class ChatSession;
}

namespace corvane::cli {

// How corvane-cli answers what the agent stops for: from the terminal, or always the same way.
enum class AnswerPolicy { ask, allow, deny, allowSession };

// Answers the session's permission requests, questions and plans by the policy. With `ask` it
// prompts on standard error and reads standard input: the tool and its input for a permission,
// numbered options for a question, the plan for a plan.
class PromptAnswers : public QObject
{
    Q_OBJECT

public:
    PromptAnswers(ChatSession &session, AnswerPolicy policy, QObject *parent = nullptr);

    static bool parsePolicy(const QString &text, AnswerPolicy &policy);

private:
    void answerPermission(const QString &requestId);
    void answerQuestion();
    void answerPlan();

    ChatSession &m_session;
    AnswerPolicy m_policy;
};

} // namespace corvane::cli
