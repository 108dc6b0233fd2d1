#pragma once

#include "tools/terminal/TerminalScreen.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QUuid>

#include <sys/types.h>

namespace corvane {

class Pty;

// One shell of a terminal panel: the user's login shell on a pseudo-terminal, in the panel's
// folder, and the screen it draws on. A shell that exits is started again (typing "exit" gives
// a fresh prompt); only terminate() ends the session for good, and with it everything the shell
// started, including programs that left its process group.
class TerminalSession : public QObject
{
    Q_OBJECT

public:
    static constexpr int killDelayMs = 500;
    static constexpr int restartDelayMs = 300;

    TerminalSession(const QString &name, const QString &workingDirectory, QObject *parent = nullptr);
    ~TerminalSession() override;

    QUuid id() const { return m_id; }
    QString name() const { return m_name; }
    QString workingDirectory() const { return m_directory; }
    QDateTime createdAt() const { return m_createdAt; }
    TerminalScreen &screen() { return m_screen; }

    // `program` empty: the user's login shell ($SHELL -l, bash when unset). `environment` empty:
    // the terminal's usual one; otherwise the child's whole environment ("NAME=value").
    void startShell(const QString &program = {}, const QStringList &arguments = {},
                    const QStringList &environment = {});
    // A one-off program (a sign-in) ends with its session instead of being started again.
    void setRestartsOnExit(bool restarts) { m_restarts = restarts; }
    pid_t shellPid() const;
    // The text and a newline, as if typed; marks the session as running something.
    void sendCommand(const QString &text);
    void send(const QByteArray &bytes);
    void resize(int rows, int columns);

    // Set by sendCommand, cleared when the shell exits.
    bool isRunning() const { return m_running; }
    // Whether the shell has started anything that still runs, read from the process table now.
    bool hasRunningChild() const;

    // SIGTERM to the shell's group and to each descendant; SIGKILL to those descendants half a
    // second later.
    void killChildProcesses();
    // Ends children and shell; terminated() follows once the shell is gone.
    void terminate();
    bool isTerminating() const { return m_terminating; }

signals:
    void runningChanged(bool running);
    void shellStarted();
    // The child ended by itself (not through terminate()).
    void exited(int exitCode);
    void terminated();

private:
    void onShellFinished(int exitCode);

    QUuid m_id = QUuid::createUuid();
    QString m_name;
    QString m_directory;
    QDateTime m_createdAt = QDateTime::currentDateTime();
    TerminalScreen m_screen;
    Pty *m_pty = nullptr;
    QString m_program;
    QStringList m_arguments;
    QStringList m_environment;
    bool m_loginShell = true;
    bool m_restarts = true;
    bool m_running = false;
    bool m_terminating = false;
};

} // namespace corvane
