#pragma once

#include <QHash>
#include <QList>
#include <QString>

#include <sys/types.h>

namespace corvane::processtable {

// Process id to parent id, for every process /proc lists now. Processes that end while it is
// read are simply missing.
QHash<pid_t, pid_t> parents(const QString &procRoot = QStringLiteral("/proc"));

// The parent id from the text of /proc/<pid>/stat ("pid (comm) state ppid ..."), where the
// command may itself hold spaces and parentheses; -1 when it does not parse.
pid_t parentFromStat(const QByteArray &stat);

// Every descendant of `root`, children before grandchildren.
QList<pid_t> descendants(const QHash<pid_t, pid_t> &parents, pid_t root);

} // namespace corvane::processtable
