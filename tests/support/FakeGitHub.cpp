#include "support/FakeGitHub.h"

#include "support/TestEnvironment.h"

#include <QFileInfo>

namespace corvane::test {

FakeGitHub::FakeGitHub(const QString &scenario, const QStringList &vars)
{
    const QString scripts = sourceDir() + QStringLiteral("/tests/support/fakemodel");
    const QString path = QFileInfo(scenario).isAbsolute() ? scenario : scripts + QStringLiteral("/github/") + scenario;
    m_port = m_server.start(scripts + QStringLiteral("/fake_github_server.py"), path, m_dir.filePath("requests.jsonl"), vars);
    m_error = m_server.error();
}

} // namespace corvane::test
