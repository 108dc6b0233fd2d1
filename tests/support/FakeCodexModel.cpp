#include "support/FakeCodexModel.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::test {

FakeCodexModel::FakeCodexModel(const QString &scenario, const QStringList &vars)
{
    const QString scripts = sourceDir() + QStringLiteral("/tests/support/fakemodel");
    const QString scenarioPath =
        QFileInfo(scenario).isAbsolute() ? scenario : scripts + QStringLiteral("/codex_scenarios/") + scenario;
    QStringList args{scripts + QStringLiteral("/fake_responses_server.py"), QStringLiteral("--scenario"), scenarioPath,
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
    if (!first.startsWith("PORT ")) {
        m_error = QStringLiteral("unexpected first line from the model stand-in: ") + QString::fromUtf8(first);
        return;
    }
    const int port = first.mid(5).toInt();
    QDir().mkpath(codexHome());
    QFile config(codexHome() + QStringLiteral("/config.toml"));
    if (!config.open(QIODevice::WriteOnly)) {
        m_error = QStringLiteral("cannot write config.toml: ") + config.errorString();
        return;
    }
    config.write(QStringLiteral("model_provider = \"fake\"\n"
                                "\n"
                                "[model_providers.fake]\n"
                                "name = \"fake\"\n"
                                "base_url = \"http://127.0.0.1:%1/v1\"\n"
                                "wire_api = \"responses\"\n"
                                "experimental_bearer_token = \"sk-fake-codex-key\"\n"
                                "request_max_retries = 0\n"
                                "stream_max_retries = 0\n")
                     .arg(port)
                     .toUtf8());
    config.close();
    m_port = port;
}

FakeCodexModel::~FakeCodexModel()
{
    if (m_server.state() != QProcess::NotRunning) {
        m_server.terminate();
        if (!m_server.waitForFinished(3000))
            m_server.kill();
        m_server.waitForFinished(3000);
    }
}

QProcessEnvironment FakeCodexModel::codexEnvironment() const
{
    QProcessEnvironment env;
    env.insert("CODEX_HOME", codexHome());
    env.insert("OPENAI_API_KEY", "");
    return env;
}

QList<QVariantMap> FakeCodexModel::requests() const
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

QString FakeCodexModel::codexPath()
{
    QString npm = QString::fromLocal8Bit(qgetenv("CORVANE_NPM_DIR"));
    if (npm.isEmpty())
        npm = sourceDir() + QStringLiteral("/.deps/npm");
    const QString path = npm + QStringLiteral("/node_modules/.bin/codex");
    return QFileInfo(path).isExecutable() ? QFileInfo(path).absoluteFilePath() : QString();
}

} // namespace corvane::test
