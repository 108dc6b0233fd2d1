#include "tools/terminal/ProcessTable.h"

#include <QDir>
#include <QFile>
#include <QMultiHash>
#include <QSet>

namespace corvane::processtable {

pid_t parentFromStat(const QByteArray &stat)
{
    // The command sits in parentheses and may contain ") ": the last one closes it.
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0)
        return -1;
    const QList<QByteArray> fields = stat.mid(close + 1).trimmed().split(' ');
    if (fields.size() < 2)
        return -1;
    bool ok = false;
    const pid_t parent = pid_t(fields.at(1).toInt(&ok));
    return ok ? parent : -1;
}

QHash<pid_t, pid_t> parents(const QString &procRoot)
{
    QHash<pid_t, pid_t> table;
    const QStringList entries = QDir(procRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool ok = false;
        const pid_t pid = pid_t(entry.toInt(&ok));
        if (!ok)
            continue;
        QFile stat(procRoot + QLatin1Char('/') + entry + QStringLiteral("/stat"));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const pid_t parent = parentFromStat(stat.readAll());
        if (parent >= 0)
            table.insert(pid, parent);
    }
    return table;
}

QList<pid_t> descendants(const QHash<pid_t, pid_t> &parents, pid_t root)
{
    QMultiHash<pid_t, pid_t> children;
    for (auto it = parents.cbegin(); it != parents.cend(); ++it)
        children.insert(it.value(), it.key());
    QList<pid_t> found;
    QSet<pid_t> seen{root};
    QList<pid_t> frontier{root};
    while (!frontier.isEmpty()) {
        QList<pid_t> next;
        for (pid_t pid : std::as_const(frontier)) {
            for (auto it = children.constFind(pid); it != children.cend() && it.key() == pid; ++it) {
                if (seen.contains(it.value()))
                    continue; // pid reuse can make a loop of a stale table
                seen.insert(it.value());
                found << it.value();
                next << it.value();
            }
        }
        frontier = next;
    }
    return found;
}

} // namespace corvane::processtable
