#include "agent/claude/ClaudeMessageReaders.h"

#include "agent/claude/ClaudeQuestions.h"
#include "agent/claude/JsonFields.h"

#include <QJsonArray>

namespace corvane::claudemessages {

using namespace jsonfields;

AgentSessionInfo readSessionInfo(const QJsonObject &message)
{
    AgentSessionInfo info;
    info.sessionId = stringOr(message, "session_id");
    info.model = stringOr(message, "model", QStringLiteral("unknown"));
    info.tools = strings(arrayOr(message, "tools"));
    info.version = stringOr(message, "claude_code_version");
    info.agentType = AgentType::claudeCode;
    return info;
}

QString readToolOutput(const QJsonValue &content)
{
    if (content.isString())
        return content.toString();
    QStringList parts;
    if (content.isArray())
        for (const QJsonValue &item : content.toArray())
            if (item.isObject())
                if (auto text = optionalString(item.toObject(), "text"))
                    parts.append(*text);
    return parts.join(QLatin1Char('\n'));
}

AgentResult readResult(const QJsonObject &message)
{
    AgentResult r;
    r.text = stringOr(message, "result");
    r.cost = numberOr(message, "total_cost_usd");
    r.isError = boolOr(message, "is_error");
    r.subtype = stringOr(message, "subtype");
    r.durationMs = numberOr(message, "duration_ms");
    r.numTurns = optionalInteger(message, "num_turns").value_or(0);
    if (const auto usage = optionalObject(message, "usage"))
        r.usage = usage->toVariantMap();
    // claude writes "modelUsage"; the snake-case spelling is accepted too.
    auto modelUsage = optionalObject(message, "modelUsage");
    if (!modelUsage)
        modelUsage = optionalObject(message, "model_usage");
    if (modelUsage)
        r.extra.insert(QStringLiteral("modelUsage"), modelUsage->toVariantMap());
    r.extra.insert(QStringLiteral("errors"), strings(arrayOr(message, "errors")));
    QVariantList denials;
    for (const QVariantMap &denial : maps(arrayOr(message, "permission_denials")))
        denials.append(denial);
    r.extra.insert(QStringLiteral("permissionDenials"), denials);
    return r;
}

QString readableErrors(const QStringList &errors)
{
    QStringList readable;
    for (const QString &error : errors)
        if (!error.startsWith(QLatin1String("[ede_diagnostic]")) && !error.trimmed().isEmpty())
            readable.append(error);
    return readable.join(QLatin1Char('\n'));
}

ClaudeEvent readToolRequest(const QString &requestId, const QJsonObject &request)
{
    const QString toolName = stringOr(request, "tool_name");
    const QJsonObject input = objectOr(request, "input");
    ClaudeEvent e;
    if (toolName == QLatin1String("AskUserQuestion")) {
        e.questions = parseClaudeQuestions(input.value(QLatin1String("questions")));
        if (!e.questions.isEmpty()) {
            e.kind = ClaudeEvent::Kind::question;
            e.id = requestId;
            e.input = input.toVariantMap();
            return e;
        }
    }
    e.kind = ClaudeEvent::Kind::permissionRequest;
    AgentPermissionRequest &p = e.permission;
    p.requestId = requestId;
    p.toolName = toolName;
    p.toolInput = input.toVariantMap();
    p.toolUseId = stringOr(request, "tool_use_id");
    p.reason = optionalString(request, "decision_reason");
    if (const auto suggestions = optionalArray(request, "permission_suggestions"))
        p.suggestions = maps(*suggestions);
    // claude says what the call is about ("permitted.txt", a command's purpose).
    p.description = optionalString(request, "description");
    return e;
}

} // namespace corvane::claudemessages
