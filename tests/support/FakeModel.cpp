#include "support/FakeModel.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::test {

FakeModel::FakeModel(const QString &scenario, const QStringList &vars)
{
    const QString scripts = sourceDir() + QStringLiteral("/tests/support/fakemodel");
    const QString scenarioPath = QFileInfo(scenario).isAbsolute() ? scenario : scripts + QStringLiteral("/scenarios/") + scenario;
    QDir().mkpath(m_dir.filePath("config/home"));
    QStringList args{scripts + QStringLiteral("/fake_model_server.py"), QStringLiteral("--scenario"), scenarioPath,
                     QStringLiteral("--log"), m_dir.filePath("requests.jsonl")};
    for (const QString &var : vars)
        args << QStringLiteral("--var") << var;
    m_server.setProcessChannelMode(QProcess::SeparateChannels);
    m_server.start(QStringLiteral("python3"), args);
    if (!m_server.waitForStarted(10000) || !m_server.waitForReadyRead(10000)) {
        m_error = QStringLiteral("the model stand-in did not start: ") + m_server.errorString()
            + QString::fromUtf8(m_server.readAllStandardError());
        return;
    }
    const QByteArray first = m_server.readLine().trimmed();
    if (first.startsWith("PORT "))
        m_port = first.mid(5).toInt();
    else
        m_error = QStringLiteral("unexpected first line from the model stand-in: ") + QString::fromUtf8(first);
}

FakeModel::~FakeModel()
{
    if (m_server.state() != QProcess::NotRunning) {
        m_server.terminate();
        if (!m_server.waitForFinished(3000))
            m_server.kill();
        m_server.waitForFinished(3000);
    }
}

QProcessEnvironment FakeModel::claudeEnvironment() const
{
    QProcessEnvironment env;
    env.insert("ANTHROPIC_BASE_URL", QStringLiteral("http://127.0.0.1:%1").arg(m_port));
    env.insert("ANTHROPIC_API_KEY", "sk-ant-test-key");
    env.insert("CLAUDE_CONFIG_DIR", configDir());
    env.insert("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1");
    env.insert("CLAUDE_CODE_MAX_RETRIES", "1");
    env.insert("IS_SANDBOX", "1"); // tests run as root; bypassPermissions refuses root otherwise
    return env;
}

void FakeModel::exportToThisProcess() const
{
    const QProcessEnvironment env = claudeEnvironment();
    for (const QString &key : env.keys())
        qputenv(key.toUtf8().constData(), env.value(key).toUtf8());
}

QList<QVariantMap> FakeModel::requests() const
{
    QList<QVariantMap> out;
    QFile log(m_dir.filePath("requests.jsonl"));
    if (!log.open(QIODevice::ReadOnly))
        return out;
    for (const QByteArray &line : log.readAll().split('\n'))
        if (!line.trimmed().isEmpty())
            out.append(QJsonDocument::fromJson(line).object().toVariantMap());
    return out;
}

QString FakeModel::claudePath()
{
    QString npm = QString::fromLocal8Bit(qgetenv("CORVANE_NPM_DIR"));
    if (npm.isEmpty())
        npm = sourceDir() + QStringLiteral("/.deps/npm");
    const QString path = npm + QStringLiteral("/node_modules/.bin/claude");
    return QFileInfo(path).isExecutable() ? path : QString();
}

} // namespace corvane::test
