#pragma once

#include "core/Result.h"
#include "source_control/overview/HygieneTypes.h"

#include <QStringList>

namespace corvane::hygiene {

// The measurements that run outside git. Each blocks its thread until done: call them from a
// worker (QtConcurrent), never from the window's thread.

// Every process whose working directory is inside one of `folders` (see lingeringProcesses()),
// read from `procRoot`. Processes that end or hide from us while it reads are passed over.
Result<QList<ZombieProcess>> scanLingeringProcesses(const QStringList &folders, qint64 ownPid,
                                                    const QString &procRoot = QStringLiteral("/proc"));

// `du -shc` over the folders that exist: the total as du prints it ("12M").
Result<QString> measureDiskUsage(const QStringList &folders);

// `npm outdated --json` in each of `folders` that has a package.json, merged (a package outdated
// the same way in several folders counts once). None when no folder has a package.json.
Result<std::optional<DependencyReport>> checkDependencies(const QStringList &folders);

// Sends `signal` to each process that is still the one the scan saw (same pid, same start time);
// returns those that were signalled.
QList<ZombieProcess> signalProcesses(const QList<ZombieProcess> &processes, int signal,
                                     const QString &procRoot = QStringLiteral("/proc"));

// Whether the process the scan saw is still there.
bool isAlive(const ZombieProcess &process, const QString &procRoot = QStringLiteral("/proc"));

} // namespace corvane::hygiene
