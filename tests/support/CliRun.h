#pragma once

// Runs corvane-cli (the real, built program) and keeps what it said.
#include <QProcess>
#include <QString>
#include <QStringList>

namespace corvane::test {

struct CliRun
{
    int exitCode = -1; // -1 when it crashed or had to be killed
    QString out;
    QString err;
};

inline CliRun runCli(const QString &program, const QStringList &arguments, int timeoutMs = 60000)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(timeoutMs))
        process.kill();
    return CliRun{process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                  QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

} // namespace corvane::test
