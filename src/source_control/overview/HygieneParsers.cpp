#include "source_control/overview/HygieneParsers.h"

#include <QHash>
#include <QSet>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace corvane::hygiene {

std::optional<QString> parseDuTotal(const QByteArray &output)
{
    const QList<QByteArray> lines = output.trimmed().split('\n');
    const QString last = QString::fromUtf8(lines.last()).section(QLatin1Char('\t'), 0, 0).trimmed();
    if (last.isEmpty())
        return std::nullopt;
    return last;
}

Result<DependencyReport> parseNpmOutdated(const QByteArray &output)
{
    DependencyReport report;
    const QJsonDocument document = QJsonDocument::fromJson(output);
    if (!document.isObject())
        return report;
    const QJsonObject object = document.object();
    const QJsonValue error = object.value(QLatin1String("error"));
    if (error.isObject()) {
        const QString summary = error.toObject().value(QLatin1String("summary")).toString().trimmed();
        return Error(QStringLiteral("npm outdated failed: ")
                     + (summary.isEmpty() ? QStringLiteral("no reason given") : summary.section(QLatin1Char('\n'), 0, 0)));
    }
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QJsonObject entry = it.value().toObject();
        const QJsonValue current = entry.value(QLatin1String("current"));
        const QJsonValue latest = entry.value(QLatin1String("latest"));
        if (!it.value().isObject() || !current.isString() || !latest.isString())
            continue;
        OutdatedDependency dependency;
        dependency.name = it.key();
        dependency.current = current.toString();
        dependency.latest = latest.toString();
        report.details.append(dependency);
    }
    std::sort(report.details.begin(), report.details.end(),
              [](const OutdatedDependency &a, const OutdatedDependency &b) { return a.name < b.name; });
    report.outdatedCount = int(report.details.size());
    return report;
}

std::optional<ProcStat> parseProcStat(const QByteArray &text)
{
    const qsizetype open = text.indexOf('(');
    const qsizetype close = text.lastIndexOf(')');
    if (open <= 0 || close < open)
        return std::nullopt;
    ProcStat stat;
    bool ok = false;
    stat.pid = text.left(open).trimmed().toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    stat.comm = QString::fromUtf8(text.mid(open + 1, close - open - 1));
    // After comm: state ppid pgrp session tty_nr tpgid flags minflt cminflt majflt cmajflt utime
    // stime cutime cstime priority nice num_threads itrealvalue starttime ...
    const QList<QByteArray> fields = text.mid(close + 1).simplified().split(' ');
    if (fields.size() < 20)
        return std::nullopt;
    bool parsed[3] = {};
    stat.ppid = fields[1].toLongLong(&parsed[0]);
    stat.pgrp = fields[2].toLongLong(&parsed[1]);
    stat.startTicks = fields[19].toULongLong(&parsed[2]);
    if (!parsed[0] || !parsed[1] || !parsed[2])
        return std::nullopt;
    return stat;
}

bool isInside(const QString &path, const QString &folder)
{
    if (folder.isEmpty() || !path.startsWith(folder))
        return false;
    return path.size() == folder.size() || path.at(folder.size()) == QLatin1Char('/') || folder.endsWith(QLatin1Char('/'));
}

QList<ZombieProcess> lingeringProcesses(const QList<ProcessSnapshot> &processes, const QStringList &folders, qint64 ownPid)
{
    QHash<qint64, const ProcStat *> byPid;
    for (const ProcessSnapshot &process : processes)
        byPid.insert(process.stat.pid, &process.stat);

    // Whether the process runs under a child of ours that leads its own group.
    const auto runByUs = [&](const ProcStat &stat) {
        const ProcStat *current = &stat;
        for (int depth = 0; depth < 256 && current->ppid != ownPid; ++depth) {
            const ProcStat *parent = byPid.value(current->ppid);
            if (!parent || parent->pid <= 1)
                return false;
            current = parent;
        }
        return current->ppid == ownPid && current->pgrp == current->pid;
    };

    // What started Corvane (a shell in the project running the command line, say) is alive by
    // definition: it waits for us.
    QSet<qint64> ancestors{ownPid};
    for (const ProcStat *up = byPid.value(ownPid); up && up->ppid > 1 && !ancestors.contains(up->ppid);
         up = byPid.value(up->ppid))
        ancestors.insert(up->ppid);

    QList<ZombieProcess> out;
    for (const ProcessSnapshot &process : processes) {
        if (ancestors.contains(process.stat.pid) || process.cwd.isEmpty())
            continue;
        if (std::none_of(folders.begin(), folders.end(), [&](const QString &f) { return isInside(process.cwd, f); }))
            continue;
        if (runByUs(process.stat))
            continue;
        out.append(ZombieProcess{process.stat.pid, process.stat.comm,
                                 process.commandLine.isEmpty() ? process.stat.comm : process.commandLine,
                                 process.stat.startTicks});
    }
    std::sort(out.begin(), out.end(), [](const ZombieProcess &a, const ZombieProcess &b) { return a.id < b.id; });
    return out;
}

} // namespace corvane::hygiene
