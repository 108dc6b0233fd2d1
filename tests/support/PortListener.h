#pragma once

// A real TCP listener for the ports tool's tests: a Python process on a free loopback port.
#include <QProcess>
#include <QStandardPaths>
#include <QString>

namespace corvane::test {

// The listener says its port on standard output. With `fromRoot` a shell stays in `folder` while
// the listener itself, its child, works in "/", as a dev server's worker may. The process (and
// the shell) are killed when the object goes.
struct PortListener
{
    QProcess process;
    int port = 0;

    bool start(const QString &folder, bool fromRoot = false)
    {
        const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
        if (python.isEmpty())
            return false;
        const QString script = QStringLiteral("import socket,time\n"
                                              "s=socket.socket(); s.bind(('127.0.0.1',0)); s.listen()\n"
                                              "print(s.getsockname()[1], flush=True)\n"
                                              "while True: time.sleep(60)\n");
        process.setWorkingDirectory(folder);
        if (fromRoot) // the subshell goes to "/" and becomes python; the shell waits in `folder`
            process.start(QStringLiteral("/bin/sh"),
                          {QStringLiteral("-c"), QStringLiteral("(cd / && exec \"$0\" -c \"$1\"); true"), python, script});
        else
            process.start(python, {QStringLiteral("-c"), script});
        if (!process.waitForStarted() || !process.waitForReadyRead(20000))
            return false;
        port = process.readLine().trimmed().toInt();
        return port > 0;
    }

    ~PortListener()
    {
        if (process.state() == QProcess::NotRunning)
            return;
        process.kill();
        process.waitForFinished();
    }
};

} // namespace corvane::test
