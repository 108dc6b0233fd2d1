#include "agent/claude/ClaudeEvent.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace corvane {

namespace {

QString quoted(const QString &text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"))
        .replace(QLatin1Char('"'), QLatin1String("\\\""))
        .replace(QLatin1Char('\n'), QLatin1String("\\n"));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

QString json(const QVariantMap &map)
{
    return QString::fromUtf8(QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Compact));
}

QString endingName(ClaudeEvent::Ending ending)
{
    switch (ending) {
    case ClaudeEvent::Ending::completed: return QStringLiteral("completed");
    case ClaudeEvent::Ending::stopped: return QStringLiteral("stopped");
    case ClaudeEvent::Ending::failed: return QStringLiteral("failed");
    }
    return {};
}

} // namespace

QString describe(const ClaudeEvent &e)
{
    using Kind = ClaudeEvent::Kind;
    switch (e.kind) {
    case Kind::initialized:
        return QStringLiteral("initialized(%1, %2, %3 tools, %4)")
            .arg(e.info.sessionId, e.info.model)
            .arg(e.info.tools.size())
            .arg(e.info.version);
    case Kind::statusChanged:
        return QStringLiteral("status(%1)").arg(e.status ? quoted(*e.status) : QStringLiteral("none"));
    case Kind::thinkingStarted:
        return QStringLiteral("thinking");
    case Kind::text:
        return QStringLiteral("text(%1)").arg(quoted(e.text));
    case Kind::toolStarted:
        return QStringLiteral("toolStarted(%1, %2, %3)").arg(e.name, e.id, json(e.input));
    case Kind::toolResult:
        return QStringLiteral("toolResult(%1, %2%3)").arg(e.id, quoted(e.text), e.isError ? QStringLiteral(", error") : QString());
    case Kind::toolProgress:
        return QStringLiteral("toolProgress(%1, %2)").arg(e.name).arg(e.seconds);
    case Kind::result:
        if (e.ending == ClaudeEvent::Ending::failed)
            return QStringLiteral("result(failed, %1)").arg(quoted(e.error.message));
        return QStringLiteral("result(%1, %2)").arg(endingName(e.ending), quoted(e.result.text));
    case Kind::permissionRequest:
        return QStringLiteral("permission(%1, %2, %3)").arg(e.permission.requestId, e.permission.toolName,
                                                             json(e.permission.toolInput));
    case Kind::question:
        return QStringLiteral("question(%1, %2 questions)").arg(e.id).arg(e.questions.size());
    case Kind::cancelRequest:
        return QStringLiteral("cancel(%1)").arg(e.id);
    }
    return {};
}

} // namespace corvane
