#include "agent/codex/CodexEvent.h"

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

} // namespace

QString describe(const CodexEvent &e)
{
    using Kind = CodexEvent::Kind;
    switch (e.kind) {
    case Kind::threadStarted: return QStringLiteral("threadStarted(%1)").arg(e.id);
    case Kind::turnStarted: return QStringLiteral("turnStarted");
    case Kind::turnCompleted:
        return QStringLiteral("turnCompleted(%1)").arg(e.usage ? json(*e.usage) : QStringLiteral("no usage"));
    case Kind::turnFailed: return QStringLiteral("turnFailed(%1)").arg(quoted(e.text));
    case Kind::notice: return QStringLiteral("notice(%1)").arg(quoted(e.text));
    case Kind::text: return QStringLiteral("text(%1)").arg(quoted(e.text));
    case Kind::toolStarted: return QStringLiteral("toolStarted(%1, %2, %3)").arg(e.name, e.id, json(e.input));
    case Kind::toolResult: return QStringLiteral("toolResult(%1, %2)").arg(e.id, quoted(e.text));
    }
    return {};
}

} // namespace corvane
