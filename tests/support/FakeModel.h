#pragma once

#include "support/ScriptedServer.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace corvane::test {

// The scripted stand-in for the model service, plus everything the real claude needs to talk
// to it: a config folder, a home, and the variables. One per test; stops its server when done.
class FakeModel
{
public:
    // `scenario` is a file name in tests/support/fakemodel/scenarios or an absolute path.
    explicit FakeModel(const QString &scenario, const QStringList &vars = {});
    ~FakeModel();

    bool isRunning() const { return m_port > 0; }
    QString error() const { return m_error; }
    int port() const { return m_port; }
    // The variables for claude's process: base URL, key, config folder, no outside traffic.
    QProcessEnvironment claudeEnvironment() const;
    // Applies claudeEnvironment() to this process, so children started by code under test get it.
    void exportToThisProcess() const;
    // The requests the service received, one JSON object each.
    QList<QVariantMap> requests() const;
    QString configDir() const { return m_dir.filePath("config"); }

    // The pinned claude from the project's npm folder; empty when set-up did not install it.
    static QString claudePath();

private:
    QTemporaryDir m_dir;
    ScriptedServer m_server;
    int m_port = 0;
    QString m_error;
};

} // namespace corvane::test
