#include "core/process/ProcessReaper.h"

#include "core/Log.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QTimer>

namespace corvane {

ProcessReaper::ProcessReaper(QObject *parent) : QObject(parent) {}

ProcessReaper::~ProcessReaper()
{
    if (!m_processes.isEmpty())
        logLine("Process", QStringLiteral("%1 process(es) still running at exit; killing them").arg(m_processes.size()));
    // Children of this object: their destructors kill their groups.
}

ProcessReaper &ProcessReaper::shared()
{
    static QPointer<ProcessReaper> instance;
    if (!instance)
        instance = new ProcessReaper(QCoreApplication::instance());
    return *instance;
}

void ProcessReaper::retire(std::unique_ptr<ChildProcess> process, int graceMs, int killMs)
{
    if (!process)
        return;
    ChildProcess *raw = process.release();
    if (!raw->isRunning()) {
        raw->deleteLater();
        return;
    }
    raw->setParent(this);
    m_processes.append(raw);
    connect(raw, &ChildProcess::finished, this, [this, raw] { forget(raw); });
    connect(raw, &ChildProcess::failedToStart, this, [this, raw] { forget(raw); });
    raw->stop(graceMs, killMs);
}

void ProcessReaper::forget(ChildProcess *process)
{
    if (!m_processes.removeOne(process))
        return;
    process->deleteLater();
    if (m_processes.isEmpty())
        emit drained();
}

bool ProcessReaper::drain(int timeoutMs)
{
    if (m_processes.isEmpty())
        return true;
    QElapsedTimer clock;
    clock.start();
    const int waiting = int(m_processes.size());
    QEventLoop loop;
    connect(this, &ProcessReaper::drained, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    logLine("Process", QStringLiteral("%1 of %2 retired process(es) ended in %3 ms")
                           .arg(waiting - m_processes.size()).arg(waiting).arg(clock.elapsed()));
    return m_processes.isEmpty();
}

} // namespace corvane
