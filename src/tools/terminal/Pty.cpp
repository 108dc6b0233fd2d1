#include "tools/terminal/Pty.h"

#include <QDir>
#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace corvane {

namespace {

constexpr qsizetype readChunk = 64 * 1024;

std::vector<QByteArray> encoded(const QStringList &texts)
{
    std::vector<QByteArray> bytes;
    bytes.reserve(size_t(texts.size()));
    for (const QString &text : texts)
        bytes.push_back(QFile::encodeName(text));
    return bytes;
}

std::vector<char *> pointers(std::vector<QByteArray> &bytes)
{
    std::vector<char *> list;
    for (QByteArray &item : bytes)
        list.push_back(item.data());
    list.push_back(nullptr);
    return list;
}

} // namespace

Pty::Pty(QObject *parent) : QObject(parent) {}

Pty::~Pty()
{
    if (m_pid > 0) {
        ::kill(-m_pid, SIGHUP);
        ::kill(m_pid, SIGHUP);
        // Reaped on the side, so neither the window waits nor a zombie stays: a child that
        // ignores the hang-up gets a second to go, then SIGKILL.
        std::thread([pid = m_pid] {
            for (int i = 0; i < 50; ++i) {
                if (::waitpid(pid, nullptr, WNOHANG) != 0)
                    return;
                ::usleep(20000);
            }
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }).detach();
    }
    if (m_master >= 0)
        ::close(m_master);
}

bool Pty::start(const QString &program, const QStringList &arguments, const QStringList &environment,
                const QString &workingDirectory, int rows, int columns, QString *error)
{
    if (m_pid > 0)
        return false;
    // Everything the child needs is made before fork: between fork and exec only
    // async-signal-safe calls are allowed.
    std::vector<QByteArray> argBytes = encoded(QStringList{program} + arguments);
    std::vector<QByteArray> envBytes = encoded(environment);
    std::vector<char *> argv = pointers(argBytes);
    std::vector<char *> envp = pointers(envBytes);
    const QByteArray directory = QFile::encodeName(workingDirectory.isEmpty() ? QDir::homePath() : workingDirectory);
    const QByteArray executable = QFile::encodeName(program);

    struct winsize size{};
    size.ws_row = (unsigned short)qMax(1, rows);
    size.ws_col = (unsigned short)qMax(1, columns);
    int master = -1;
    // Signals stay blocked across fork until the child has put back the default handlers:
    // otherwise a signal arriving that early would run the program's own handlers in the child.
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    const pid_t pid = ::forkpty(&master, nullptr, nullptr, &size);
    if (pid != 0)
        ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (pid < 0) {
        if (error)
            *error = QStringLiteral("Could not open a terminal: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    if (pid == 0) {
        // forkpty made us a session leader with the terminal as our controlling one.
        for (int sig = 1; sig < NSIG; ++sig)
            ::signal(sig, SIG_DFL);
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        if (::chdir(directory.constData()) != 0)
            (void)::chdir("/");
        ::execve(executable.constData(), argv.data(), envp.data());
        ::_exit(127);
    }
    m_pid = pid;
    m_master = master;
    ::fcntl(m_master, F_SETFL, ::fcntl(m_master, F_GETFL) | O_NONBLOCK);
    ::fcntl(m_master, F_SETFD, FD_CLOEXEC);
    m_readNotifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, &Pty::readAvailable);
    m_writeNotifier = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &Pty::flushWrites);
    return true;
}

void Pty::readAvailable()
{
    QByteArray chunk(readChunk, Qt::Uninitialized);
    const ssize_t got = ::read(m_master, chunk.data(), size_t(chunk.size()));
    if (got > 0) {
        chunk.truncate(got);
        emit output(chunk);
        return;
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    // EIO: every process holding the terminal's other side has gone.
    m_readNotifier->setEnabled(false);
    m_writeNotifier->setEnabled(false);
    reap();
}

void Pty::reap()
{
    if (m_pid <= 0)
        return;
    int status = 0;
    const pid_t done = ::waitpid(m_pid, &status, WNOHANG);
    if (done == 0) {
        // The terminal closed a moment before the child's exit status is ready.
        QTimer::singleShot(20, this, &Pty::reap);
        return;
    }
    m_pid = 0;
    ::close(m_master);
    m_master = -1;
    m_pending.clear();
    const int code = done < 0 ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    emit finished(code);
}

void Pty::write(const QByteArray &bytes)
{
    if (m_master < 0 || bytes.isEmpty())
        return;
    m_pending.append(bytes);
    flushWrites();
}

void Pty::flushWrites()
{
    while (!m_pending.isEmpty() && m_master >= 0) {
        const ssize_t written = ::write(m_master, m_pending.constData(), size_t(m_pending.size()));
        if (written > 0) {
            m_pending.remove(0, written);
            continue;
        }
        if (written < 0 && errno == EINTR)
            continue;
        break; // full: the notifier says when it drained
    }
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(!m_pending.isEmpty() && m_master >= 0);
}

void Pty::resize(int rows, int columns)
{
    if (m_master < 0)
        return;
    struct winsize size{};
    size.ws_row = (unsigned short)qMax(1, rows);
    size.ws_col = (unsigned short)qMax(1, columns);
    ::ioctl(m_master, TIOCSWINSZ, &size);
}

bool Pty::signalGroup(int signal) const
{
    return m_pid > 0 && ::kill(-m_pid, signal) == 0;
}

} // namespace corvane
