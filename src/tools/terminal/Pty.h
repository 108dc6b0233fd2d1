#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <sys/types.h>

class QSocketNotifier;

namespace corvane {

// A child on a pseudo-terminal of its own, in a session (and so a process group) of its own,
// read and written without blocking from the event loop of the thread that owns this object.
class Pty : public QObject
{
    Q_OBJECT

public:
    explicit Pty(QObject *parent = nullptr);
    // The child and everything in its group get SIGHUP, as when a terminal window closes.
    ~Pty() override;

    // `environment` is the child's whole environment ("NAME=value"). Fails with the reason when
    // no terminal could be made; a program that can't be run exits 127 at once, like a shell's.
    bool start(const QString &program, const QStringList &arguments, const QStringList &environment,
               const QString &workingDirectory, int rows, int columns, QString *error = nullptr);

    pid_t pid() const { return m_pid; }
    bool isRunning() const { return m_pid > 0; }
    int masterDescriptor() const { return m_master; }

    // Queued when the terminal is full; written as it drains.
    void write(const QByteArray &bytes);
    // The kernel sends SIGWINCH to the foreground group, which redraws for the new size.
    void resize(int rows, int columns);
    // To the child's whole process group; false when nothing was there.
    bool signalGroup(int signal) const;

signals:
    void output(const QByteArray &bytes);
    // Once, after the last output.
    void finished(int exitCode);

private:
    void readAvailable();
    void flushWrites();
    void reap();

    int m_master = -1;
    pid_t m_pid = 0;
    QSocketNotifier *m_readNotifier = nullptr;
    QSocketNotifier *m_writeNotifier = nullptr;
    QByteArray m_pending;
};

} // namespace corvane
