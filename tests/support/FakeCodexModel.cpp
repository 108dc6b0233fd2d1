#include "support/FakeCodexModel.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace corvane::test {

FakeCodexModel::FakeCodexModel(const QString &scenario, const QStringList &vars)
{
    const QString scripts = sourceDir() + QStringLiteral("/tests/support/fakemodel");
    const QString scenarioPath =
        QFileInfo(scenario).isAbsolute() ? scenario : scripts + QStringLiteral("/codex_scenarios/") + scenario;
    const int port = m_server.start(scripts + QStringLiteral("/fake_responses_server.py"), scenarioPath,
                                    m_dir.filePath("requests.jsonl"), vars);
    if (port == 0) {
        m_error = m_server.error();
        return;
    }
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

FakeCodexModel::~FakeCodexModel() = default;

QProcessEnvironment FakeCodexModel::codexEnvironment() const
{
    QProcessEnvironment env;
    env.insert("CODEX_HOME", codexHome());
    env.insert("OPENAI_API_KEY", "");
    return env;
}

QList<QVariantMap> FakeCodexModel::requests() const
{
    return readRequestLog(m_dir.filePath("requests.jsonl"));
}

QString FakeCodexModel::codexPath()
{
    return npmTool(QStringLiteral("codex"));
}

} // namespace corvane::test
