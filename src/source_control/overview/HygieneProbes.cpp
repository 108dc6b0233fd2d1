#include "source_control/overview/HygieneProbes.h"

#include "source_control/overview/HygieneParsers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QStandardPaths>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace corvane::hygiene {

namespace {

QByteArray readSmallFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.read(64 * 1024);
}

QStringList resolvedFolders(const QStringList &folders)
{
    QStringList out;
    for (const QString &folder : folders) {
        const QString resolved = QFileInfo(folder).canonicalFilePath();
        if (!resolved.isEmpty() && !out.contains(resolved))
            out.append(resolved);
    }
    return out;
}

struct Finished
{
    int exitCode = 0;
    QByteArray output;
    QByteArray errorOutput;
};

Result<Finished> runToEnd(const QString &program, const QStringList &arguments, const QString &directory,
                          int timeoutMs)
{
    QProcess process;
    process.setWorkingDirectory(directory);
    // A group of its own, like every child Corvane runs, so that a scan running meanwhile does not
    // take npm, working in the project, for a process left behind.
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        return Error(QStringLiteral("%1 could not be started: %2").arg(QFileInfo(program).fileName(), process.errorString()));
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(2000);
        return Error(QStringLiteral("%1 did not finish within %2 seconds").arg(QFileInfo(program).fileName()).arg(timeoutMs / 1000));
    }
    if (process.exitStatus() != QProcess::NormalExit)
        return Error(QStringLiteral("%1 crashed").arg(QFileInfo(program).fileName()));
    return Finished{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QString program(const QString &name, const QString &usual)
{
    if (QFileInfo(usual).isExecutable())
        return usual;
    const QString found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? usual : found;
}

std::optional<ProcStat> statOf(const QString &procRoot, qint64 pid)
{
    return parseProcStat(readSmallFile(QStringLiteral("%1/%2/stat").arg(procRoot).arg(pid)));
}

} // namespace

Result<QList<ZombieProcess>> scanLingeringProcesses(const QStringList &folders, qint64 ownPid, const QString &procRoot)
{
    const QStringList roots = resolvedFolders(folders);
    if (roots.isEmpty())
        return Error(QStringLiteral("The project folder does not exist"));
    QDir proc(procRoot);
    if (!proc.exists())
        return Error(QStringLiteral("The process table (%1) cannot be read").arg(procRoot));
    QList<ProcessSnapshot> processes;
    for (const QString &entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid)
            continue;
        const auto stat = statOf(procRoot, pid);
        if (!stat)
            continue; // gone while we looked
        ProcessSnapshot snapshot{*stat, QFileInfo(proc.filePath(entry + QStringLiteral("/cwd"))).symLinkTarget(), {}};
        if (!snapshot.cwd.isEmpty() && std::any_of(roots.begin(), roots.end(), [&](const QString &r) { return isInside(snapshot.cwd, r); })) {
            QByteArray arguments = readSmallFile(proc.filePath(entry + QStringLiteral("/cmdline")));
            if (arguments.endsWith('\0'))
                arguments.chop(1);
            snapshot.commandLine = QString::fromUtf8(arguments.replace('\0', ' '));
        }
        processes.append(snapshot);
    }
    if (processes.isEmpty())
        return Error(QStringLiteral("The process table (%1) lists no processes").arg(procRoot));
    return lingeringProcesses(processes, roots, ownPid);
}

Result<QString> measureDiskUsage(const QStringList &folders)
{
    QStringList existing;
    for (const QString &folder : folders)
        if (QFileInfo(folder).isDir() && !existing.contains(folder))
            existing.append(folder);
    if (existing.isEmpty())
        return Error(QStringLiteral("The project folder does not exist"));
    const auto run = runToEnd(program(QStringLiteral("du"), QStringLiteral("/usr/bin/du")),
                              QStringList{QStringLiteral("-shc"), QStringLiteral("--")} + existing, QStringLiteral("/"), 300000);
    if (!run)
        return run.error();
    // du goes on past a folder it cannot read, and its total is still worth showing.
    const auto total = parseDuTotal(run->output);
    if (!total)
        return Error(QStringLiteral("du printed no size: %1").arg(QString::fromUtf8(run->errorOutput).trimmed()));
    return *total;
}

Result<std::optional<DependencyReport>> checkDependencies(const QStringList &folders)
{
    std::optional<DependencyReport> merged;
    QHash<QString, bool> seen; // name, current and latest
    for (const QString &folder : folders) {
        if (!QFileInfo::exists(folder + QStringLiteral("/package.json")))
            continue;
        // npm exits 1 when something is outdated, so the status says nothing; its JSON does.
        const auto run = runToEnd(program(QStringLiteral("env"), QStringLiteral("/usr/bin/env")),
                                  {QStringLiteral("npm"), QStringLiteral("outdated"), QStringLiteral("--json")}, folder, 300000);
        if (!run)
            return run.error();
        if (run->exitCode == 127)
            return Error(QStringLiteral("npm is not installed"));
        auto report = parseNpmOutdated(run->output);
        if (!report)
            return report.error();
        if (!merged)
            merged = DependencyReport{};
        for (const OutdatedDependency &dependency : report->details) {
            const QString key = dependency.name + QLatin1Char('\n') + dependency.current + QLatin1Char('\n') + dependency.latest;
            if (seen.contains(key))
                continue;
            seen.insert(key, true);
            merged->details.append(dependency);
        }
    }
    if (merged) {
        std::stable_sort(merged->details.begin(), merged->details.end(),
                         [](const OutdatedDependency &a, const OutdatedDependency &b) { return a.name < b.name; });
        merged->outdatedCount = int(merged->details.size());
    }
    return merged;
}

bool isAlive(const ZombieProcess &process, const QString &procRoot)
{
    const auto stat = statOf(procRoot, process.id);
    return stat && stat->startTicks == process.startTicks;
}

QList<ZombieProcess> signalProcesses(const QList<ZombieProcess> &processes, int signal, const QString &procRoot)
{
    QList<ZombieProcess> signalled;
    for (const ZombieProcess &process : processes) {
        if (process.id <= 1 || !isAlive(process, procRoot))
            continue;
        if (::kill(pid_t(process.id), signal) == 0)
            signalled.append(process);
    }
    return signalled;
}

} // namespace corvane::hygiene
