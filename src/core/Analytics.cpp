#include "core/Analytics.h"

#include "core/Log.h"
#include "core/Paths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane {

Analytics &Analytics::shared()
{
    static Analytics analytics;
    return analytics;
}

QString Analytics::logFile()
{
    return QDir(paths::dataRoot()).filePath(QStringLiteral("analytics.jsonl"));
}

void Analytics::record(const QString &signal, const QVariantMap &parameters)
{
    if (!m_enabled)
        return;
    const QJsonObject line{
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("signal"), signal},
        {QStringLiteral("params"), QJsonObject::fromVariantMap(parameters)},
    };
    const QMutexLocker locked(&m_writing);
    const QString path = logFile();
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)
        || file.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n') < 0)
        logLine("Analytics", QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
}

QString analyticsAgentName(bool isCodex)
{
    return isCodex ? QStringLiteral("codex") : QStringLiteral("claude_code");
}

} // namespace corvane
