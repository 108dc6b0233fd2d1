#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace corvane {

// One listening TCP socket of one process, as the ports tool lists it.
struct PortInfo
{
    QString id; // "<pid>:<port>": a process's IPv4 and IPv6 sockets on one port are one entry
    int port = 0;
    qint64 pid = 0;
    QString processName;
    QString address; // as lsof printed it, without the brackets of an IPv6 address
    // The folder the port was attributed by: the process's own, or its parent's.
    std::optional<QString> workingDirectory;
    std::optional<QString> projectName;
    std::optional<QString> profileColorHex;

    // The wildcard addresses read as "localhost": that is where a browser reaches them.
    QString displayAddress() const;
    bool operator==(const PortInfo &) const = default;
};

// A project as the ports tool matches processes to it: its folder and its workspaces' worktrees.
struct ProjectScope
{
    QString name;
    QStringList paths;
    std::optional<QString> profileColorHex;
};

namespace portlisting {

// The arguments of the two lsof calls.
QStringList listeningArguments();
QStringList cwdArguments(const QList<qint64> &pids);

// `lsof -iTCP -sTCP:LISTEN -n -P`: the header line is skipped, and lines that don't parse (fewer
// than nine columns, a pid or port that is not a number) are dropped, as are repeats of an id.
QList<PortInfo> parseListening(const QByteArray &lsofOutput);

// `lsof -Fn` field output: "p<pid>" starts a process, "n<path>" is its working directory. A
// directory lsof could not read ("/proc/1/cwd (readlink: Permission denied)") is left out.
QHash<qint64, QString> parseCwdFields(const QByteArray &fieldOutput);

// Resolves symbolic links in a folder path; the default keeps a path that cannot be resolved.
using PathResolver = std::function<QString(const QString &)>;
QString resolveLinks(const QString &path);

// The first scope with a path equal to `directory` or above it ("/p/app" holds "/p/app/web" but
// not "/p/application"); -1 when none does.
int matchingScope(const QString &directory, const QList<ProjectScope> &scopes);

// Keeps the ports whose process works inside a scope, or whose parent (above pid 1) does, with
// the scope's name and colour filled in; sorted by port.
QList<PortInfo> attribute(const QList<PortInfo> &ports, const QHash<qint64, QString> &cwdByPid,
                          const QHash<qint64, qint64> &parentByPid, const QList<ProjectScope> &scopes,
                          const PathResolver &resolve = resolveLinks);

} // namespace portlisting
} // namespace corvane
