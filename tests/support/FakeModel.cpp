#include "support/FakeModel.h"

#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace corvane::test {

FakeModel::FakeModel(const QString &scenario, const QStringList &vars)
{
    const QString scripts = sourceDir() + QStringLiteral("/tests/support/fakemodel");
    const QString scenarioPath = QFileInfo(scenario).isAbsolute() ? scenario : scripts + QStringLiteral("/scenarios/") + scenario;
    QDir().mkpath(m_dir.filePath("config/home"));
    m_port = m_server.start(scripts + QStringLiteral("/fake_model_server.py"), scenarioPath, m_dir.filePath("requests.jsonl"), vars);
    m_error = m_server.error();
}

FakeModel::~FakeModel() = default;

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
    return readRequestLog(m_dir.filePath("requests.jsonl"));
}

QString FakeModel::claudePath()
{
    return npmTool(QStringLiteral("claude"));
}

} // namespace corvane::test
