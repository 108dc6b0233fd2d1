#pragma once

#include "support/ScriptedServer.h"

#include <QTemporaryDir>

namespace corvane::test {

// The scripted stand-in for GitHub's REST interface (fakemodel/fake_github_server.py) on a
// loopback port, logging every request with the headers GitHub reads.
class FakeGitHub
{
public:
    // `scenario`: an absolute path, or a name under tests/support/fakemodel/github.
    explicit FakeGitHub(const QString &scenario, const QStringList &vars = {});

    bool isRunning() const { return m_port > 0; }
    QString error() const { return m_error; }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }
    QList<QVariantMap> requests() const { return readRequestLog(m_dir.filePath("requests.jsonl")); }

private:
    QTemporaryDir m_dir;
    ScriptedServer m_server;
    int m_port = 0;
    QString m_error;
};

} // namespace corvane::test
