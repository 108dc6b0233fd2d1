#include "tools/terminal/TerminalSession.h"

#include "core/Log.h"
#include "tools/terminal/ProcessTable.h"
#include "tools/terminal/Pty.h"
#include "tools/terminal/ShellLaunch.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcessEnvironment>
#include <QTimer>

#include <csignal>
#include <pwd.h>
#include <unistd.h>

namespace corvane {

namespace {

constexpr char Tag[] = "Terminal";

QString systemUserName()
{
    if (const passwd *entry = ::getpwuid(::getuid()))
        return QString::fromLocal8Bit(entry->pw_name);
    return {};
}

} // namespace

TerminalSession::TerminalSession(const QString &name, const QString &workingDirectory, QObject *parent)
    : QObject(parent), m_name(name), m_directory(workingDirectory), m_screen(24, 80)
{
    connect(&m_screen, &TerminalScreen::outputReady, this, &TerminalSession::send);
}

TerminalSession::~TerminalSession()
{
    // A session let go without terminate(): nothing it started may outlive it.
    if (m_pty && m_pty->isRunning()) {
        const pid_t shell = m_pty->pid();
        const QList<pid_t> children = processtable::descendants(processtable::parents(), shell);
        m_pty->signalGroup(SIGHUP);
        for (pid_t child : children)
            ::kill(child, SIGKILL);
    }
}

void TerminalSession::startShell(const QString &program, const QStringList &arguments, const QStringList &environment)
{
    m_environment = environment;
    const QProcessEnvironment system = QProcessEnvironment::systemEnvironment();
    m_loginShell = program.isEmpty();
    m_program = m_loginShell ? shelllaunch::shell(system) : program;
    m_arguments = m_loginShell ? QStringList{QStringLiteral("-l")} : arguments;
    delete m_pty;
    m_pty = new Pty(this);
    connect(m_pty, &Pty::output, &m_screen, &TerminalScreen::feed);
    connect(m_pty, &Pty::finished, this, &TerminalSession::onShellFinished);
    QString error;
    const QStringList childEnvironment = m_environment.isEmpty()
        ? shelllaunch::environment(system, QDir::homePath(), systemUserName()) : m_environment;
    if (!m_pty->start(m_program, m_arguments, childEnvironment, m_directory, m_screen.rows(), m_screen.columns(), &error)) {
        logLine(Tag, error);
        m_screen.feed(("\r\n" + error + "\r\n").toUtf8());
        return;
    }
    emit shellStarted();
}

pid_t TerminalSession::shellPid() const
{
    return m_pty ? m_pty->pid() : 0;
}

void TerminalSession::send(const QByteArray &bytes)
{
    if (m_pty)
        m_pty->write(bytes);
}

void TerminalSession::sendCommand(const QString &text)
{
    send((text + QLatin1Char('\n')).toUtf8());
    if (!m_running) {
        m_running = true;
        emit runningChanged(true);
    }
}

void TerminalSession::resize(int rows, int columns)
{
    m_screen.resize(rows, columns);
    if (m_pty)
        m_pty->resize(m_screen.rows(), m_screen.columns());
}

bool TerminalSession::hasRunningChild() const
{
    const pid_t shell = shellPid();
    return shell > 0 && !processtable::descendants(processtable::parents(), shell).isEmpty();
}

void TerminalSession::killChildProcesses()
{
    const pid_t shell = shellPid();
    if (shell <= 0)
        return;
    // Found before signalling: a program that daemonised itself has left the group, not the tree.
    const QList<pid_t> children = processtable::descendants(processtable::parents(), shell);
    m_pty->signalGroup(SIGTERM);
    for (pid_t child : children)
        ::kill(child, SIGTERM);
    if (children.isEmpty())
        return;
    // Not tied to this object: the session may be gone by then, its children must not be.
    QTimer::singleShot(killDelayMs, QCoreApplication::instance(), [children] {
        for (pid_t child : children)
            ::kill(child, SIGKILL); // a reused pid within half a second is not a real risk
    });
}

void TerminalSession::terminate()
{
    if (m_terminating)
        return;
    m_terminating = true;
    if (!m_pty || !m_pty->isRunning()) {
        QTimer::singleShot(0, this, &TerminalSession::terminated);
        return;
    }
    killChildProcesses();
    // A login shell ignores SIGTERM at its prompt; SIGHUP is what a closing terminal sends.
    m_pty->signalGroup(SIGHUP);
    ::kill(m_pty->pid(), SIGHUP);
    const pid_t shell = m_pty->pid();
    QTimer::singleShot(killDelayMs, this, [this, shell] {
        if (m_pty && m_pty->pid() == shell)
            ::kill(shell, SIGKILL);
    });
}

void TerminalSession::onShellFinished(int exitCode)
{
    if (m_running) {
        m_running = false;
        emit runningChanged(false);
    }
    if (m_terminating) {
        emit terminated();
        return;
    }
    emit exited(exitCode);
    if (!m_restarts)
        return;
    logLine(Tag, QStringLiteral("The shell of %1 exited with %2; starting it again").arg(m_name).arg(exitCode));
    QTimer::singleShot(restartDelayMs, this, [this] {
        if (!m_terminating)
            startShell(m_loginShell ? QString() : m_program, m_arguments, m_environment);
    });
}

} // namespace corvane
