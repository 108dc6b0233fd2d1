#pragma once

#include "core/process/ChildProcess.h"

#include <QList>
#include <QObject>

#include <memory>

namespace corvane {

// Keeps child processes whose owner is done with them until they have ended by themselves.
//
// An agent asked to go is not killed: its input closes, and it writes what it keeps (claude saves
// its session only on the way out) and exits. The reaper bounds that with SIGTERM and then SIGKILL
// on timers, so nothing lingers. At application end drain() waits for every retired process at
// once, in parallel, while the event loop keeps running.
//
// Lives on the main thread, as the processes it takes do.
class ProcessReaper : public QObject
{
    Q_OBJECT

public:
    // Close input, SIGTERM after GraceMs, SIGKILL KillMs later: about three seconds in all.
    static constexpr int GraceMs = 3000;
    static constexpr int KillMs = 1000;

    explicit ProcessReaper(QObject *parent = nullptr);
    // Whatever is still running is killed with its group (the ChildProcess destructor).
    ~ProcessReaper() override;

    // The application's reaper, owned by the application object: processes must outlive the
    // chat or client that started them, but not the program.
    static ProcessReaper &shared();

    // Takes the process: its input closes and it is left to end, then signalled after the delays.
    // One that has already ended is simply deleted. The old owner disconnects what it no longer
    // wants to hear first.
    void retire(std::unique_ptr<ChildProcess> process, int graceMs = GraceMs, int killMs = KillMs);

    int count() const { return int(m_processes.size()); }

    // Runs the event loop until every retired process has ended, or for at most timeoutMs.
    // Answers whether all of them ended.
    bool drain(int timeoutMs = GraceMs + KillMs + 500);

signals:
    // The last retired process has ended.
    void drained();

private:
    void forget(ChildProcess *process);

    QList<ChildProcess *> m_processes;
};

} // namespace corvane
