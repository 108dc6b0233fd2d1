#pragma once

#include "support/ScriptedServer.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

namespace corvane::test {

// The scripted stand-in for codex's model service (the Responses API), plus a CODEX_HOME whose
// config.toml sends the real codex there. One per test; stops its server when done.
class FakeCodexModel
{
public:
    // `scenario` is a file name in tests/support/fakemodel/codex_scenarios or an absolute path.
    explicit FakeCodexModel(const QString &scenario, const QStringList &vars = {});
    ~FakeCodexModel();

    bool isRunning() const { return m_port > 0; }
    QString error() const { return m_error; }
    int port() const { return m_port; }
    QString codexHome() const { return m_dir.filePath("codex-home"); }
    // The variables for codex's process: its home (with the provider), and no real key.
    QProcessEnvironment codexEnvironment() const;
    // The requests the service received, one JSON object each (with "body" and "reply_index").
    QList<QVariantMap> requests() const;

    // The pinned codex from the project's npm folder; empty when set-up did not install it.
    static QString codexPath();

private:
    QTemporaryDir m_dir;
    ScriptedServer m_server;
    int m_port = 0;
    QString m_error;
};

} // namespace corvane::test
