#include "agent/claude/ClaudeQuestions.h"

#include "agent/claude/JsonFields.h"

#include <QJsonArray>
#include <QJsonObject>

namespace corvane {

using namespace jsonfields;

QList<AgentQuestion> parseClaudeQuestions(const QJsonValue &questions)
{
    QList<AgentQuestion> out;
    if (!questions.isArray())
        return out;
    for (const QJsonValue &entry : questions.toArray()) {
        if (!entry.isObject())
            continue;
        const QJsonObject object = entry.toObject();
        const auto question = optionalString(object, "question");
        if (!question)
            continue;
        AgentQuestion q;
        q.question = *question;
        q.header = optionalString(object, "header");
        q.multiSelect = boolOr(object, "multiSelect");
        for (const QJsonValue &option : arrayOr(object, "options")) {
            if (!option.isObject())
                continue;
            const auto label = optionalString(option.toObject(), "label");
            if (!label)
                continue;
            q.options.append({*label, optionalString(option.toObject(), "description")});
        }
        out.append(q);
    }
    return out;
}

} // namespace corvane
