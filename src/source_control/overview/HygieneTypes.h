#pragma once

#include "source_control/GitTypes.h"

#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// A process that still works in the project's folders (or its worktrees) although nothing of
// Corvane's own runs it: a dev server or watcher left behind, for instance.
struct ZombieProcess
{
    qint64 id = 0; // pid
    QString name; // the kernel's comm: at most 15 characters
    QString command; // the full command line, or the name when the kernel gives none
    // The start time in clock ticks since boot: a pid reused by a newer process is not the
    // same process, and must not be signalled.
    quint64 startTicks = 0;

    bool operator==(const ZombieProcess &) const = default;
};

struct OutdatedDependency
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString current;
    QString latest;
};

struct DependencyReport
{
    QString packageManager = QStringLiteral("npm");
    int outdatedCount = 0;
    QList<OutdatedDependency> details; // by name
};

enum class MemorySource { project, autoMemory, global };

struct MemoryFileInfo
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString path;
    MemorySource source = MemorySource::project;
    QString preview;
};

enum class HygieneColor { green, yellow, red };

// The detail lists behind the figures of the last measurement.
struct HygieneDetails
{
    QList<GitStash> stashes;
    QList<GitFileStatus> uncommittedFiles;
    QList<StaleBranch> staleBranches;
    QList<ZombieProcess> zombieProcesses;
    std::optional<DependencyReport> dependencyReport;
};

// The tiles of the page, in the order they are shown.
enum class HygieneFigureKind { diskUsage, stashes, uncommitted, staleBranches, lingering, outdated, orphanWorktrees };

// One tile as the page and the command line show it.
struct HygieneFigure
{
    HygieneFigureKind kind = HygieneFigureKind::stashes;
    QString title;
    std::optional<QString> value; // absent while not measured
    HygieneColor color = HygieneColor::green;
    bool busy = false;
    // Why the last measurement gave nothing: shown in place of the value.
    std::optional<QString> error;
};

} // namespace corvane
