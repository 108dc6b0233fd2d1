#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace corvane::test {

// One of our scripted model stand-ins (a Python script in tests/support/fakemodel) running on a
// free loopback port, logging every request it receives to a JSON-lines file.
class ScriptedServer
{
public:
    ScriptedServer() = default;
    ~ScriptedServer();

    // Starts `script` with the scenario file; the port it listens on, or 0 with error() set.
    int start(const QString &script, const QString &scenarioPath, const QString &logPath, const QStringList &vars);
    QString error() const { return m_error; }

private:
    QProcess m_process;
    QString m_error;
};

// The requests a stand-in logged, one JSON object each.
QList<QVariantMap> readRequestLog(const QString &logPath);

// A tool the project's set-up installed under .deps/npm (or $CORVANE_NPM_DIR); empty when absent.
QString npmTool(const QString &name);

} // namespace corvane::test
