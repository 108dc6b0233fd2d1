#include "support/ScriptedServer.h"

#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::test {

ScriptedServer::~ScriptedServer()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(3000))
        m_process.kill();
    m_process.waitForFinished(3000);
}

int ScriptedServer::start(const QString &script, const QString &scenarioPath, const QString &logPath, const QStringList &vars)
{
    QStringList args{script, QStringLiteral("--scenario"), scenarioPath, QStringLiteral("--log"), logPath};
    for (const QString &var : vars)
        args << QStringLiteral("--var") << var;
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(QStringLiteral("python3"), args);
    if (!m_process.waitForStarted(10000) || !m_process.waitForReadyRead(10000)) {
        m_error = QStringLiteral("the model stand-in did not start: ") + m_process.errorString()
            + QString::fromUtf8(m_process.readAllStandardError());
        return 0;
    }
    // Its first line names the port it listens on.
    const QByteArray first = m_process.readLine().trimmed();
    if (!first.startsWith("PORT ")) {
        m_error = QStringLiteral("unexpected first line from the model stand-in: ") + QString::fromUtf8(first);
        return 0;
    }
    return first.mid(5).toInt();
}

QList<QVariantMap> readRequestLog(const QString &logPath)
{
    QList<QVariantMap> out;
    QFile log(logPath);
    if (!log.open(QIODevice::ReadOnly))
        return out;
    for (const QByteArray &line : log.readAll().split('\n'))
        if (!line.trimmed().isEmpty())
            out.append(QJsonDocument::fromJson(line).object().toVariantMap());
    return out;
}

QString npmTool(const QString &name)
{
    QString npm = QString::fromLocal8Bit(qgetenv("CORVANE_NPM_DIR"));
    if (npm.isEmpty())
        npm = sourceDir() + QStringLiteral("/.deps/npm");
    const QFileInfo tool(npm + QStringLiteral("/node_modules/.bin/") + name);
    return tool.isExecutable() ? tool.absoluteFilePath() : QString();
}

} // namespace corvane::test
