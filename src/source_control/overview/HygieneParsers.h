#pragma once

#include "core/Result.h"
#include "source_control/overview/HygieneTypes.h"

#include <QByteArray>
#include <QStringList>

namespace corvane::hygiene {

// `du -shc A B ...`: the first field of the last line (the total; with one folder, its size),
// trimmed. Absent when nothing was printed.
std::optional<QString> parseDuTotal(const QByteArray &output);

// `npm outdated --json`: every key whose value is an object with text "current" and "latest" is
// one outdated package; others are skipped. Sorted by name. npm's own failure ({"error": {...}})
// is an error, not a report of nothing outdated; output that is no JSON object counts nothing.
Result<DependencyReport> parseNpmOutdated(const QByteArray &output);

// The fields of /proc/<pid>/stat that the scan needs. comm stands in parentheses and may hold
// spaces and parentheses itself, so it ends at the last ")".
struct ProcStat
{
    qint64 pid = 0;
    QString comm;
    qint64 ppid = 0;
    qint64 pgrp = 0;
    quint64 startTicks = 0;
};
std::optional<ProcStat> parseProcStat(const QByteArray &text);

// One process as the scan saw it.
struct ProcessSnapshot
{
    ProcStat stat;
    QString cwd; // resolved by the kernel; empty when it could not be read
    QString commandLine; // arguments joined by blanks
};

// True when `path` is `folder` or below it ("/p/app" holds "/p/app/web" but not "/p/application").
bool isInside(const QString &path, const QString &folder);

// The processes working inside one of `folders`, leaving out `ownPid`, its ancestors, and
// whatever Corvane runs itself: its child processes that lead a process group of their own
// (agents, terminals, gates; its wrapper starts every child so) and everything below them. A
// process a user started in a Corvane terminal and left behind has another parent by then.
QList<ZombieProcess> lingeringProcesses(const QList<ProcessSnapshot> &processes, const QStringList &folders,
                                        qint64 ownPid);

} // namespace corvane::hygiene
