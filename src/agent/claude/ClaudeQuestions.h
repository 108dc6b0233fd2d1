#pragma once

#include "agent/AgentQuestion.h"

#include <QJsonValue>
#include <QList>

namespace corvane {

// The questions of an AskUserQuestion tool input ("questions"). Entries without a question, and
// options without a label, are left out; anything that is not a list gives no question at all.
QList<AgentQuestion> parseClaudeQuestions(const QJsonValue &questions);

} // namespace corvane
