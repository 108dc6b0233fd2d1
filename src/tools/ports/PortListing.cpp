#include "tools/ports/PortListing.h"

#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace corvane {

QString PortInfo::displayAddress() const
{
    if (address == QLatin1String("*") || address == QLatin1String("0.0.0.0") || address == QLatin1String("::"))
        return QStringLiteral("localhost");
    return address;
}

namespace portlisting {

namespace {

// "127.0.0.1:3000", "*:8080", "[::1]:3000" into address and port; false when it doesn't parse.
bool splitAddress(const QString &text, QString &address, int &port)
{
    QString portText;
    if (text.startsWith(QLatin1Char('['))) {
        const qsizetype close = text.indexOf(QLatin1Char(']'));
        if (close < 0 || text.mid(close + 1, 1) != QLatin1String(":"))
            return false;
        address = text.mid(1, close - 1);
        portText = text.mid(close + 2);
    } else {
        const qsizetype colon = text.lastIndexOf(QLatin1Char(':'));
        if (colon < 0)
            return false;
        address = text.left(colon);
        portText = text.mid(colon + 1);
    }
    bool ok = false;
    port = portText.toInt(&ok);
    return ok;
}

} // namespace

QStringList listeningArguments()
{
    return {QStringLiteral("-iTCP"), QStringLiteral("-sTCP:LISTEN"), QStringLiteral("-n"), QStringLiteral("-P")};
}

QStringList cwdArguments(const QList<qint64> &pids)
{
    QStringList joined;
    for (qint64 pid : pids)
        joined.append(QString::number(pid));
    return {QStringLiteral("-a"), QStringLiteral("-d"), QStringLiteral("cwd"), QStringLiteral("-p"),
            joined.join(QLatin1Char(',')), QStringLiteral("-Fn")};
}

QList<PortInfo> parseListening(const QByteArray &lsofOutput)
{
    QList<PortInfo> ports;
    QSet<QString> seen;
    const QList<QByteArray> lines = lsofOutput.split('\n');
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QStringList columns = QString::fromUtf8(lines.at(i)).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (columns.size() < 9)
            continue;
        bool ok = false;
        const qint64 pid = columns.at(1).toLongLong(&ok);
        if (!ok)
            continue;
        PortInfo info;
        if (!splitAddress(columns.at(8), info.address, info.port))
            continue;
        info.pid = pid;
        info.processName = columns.at(0);
        info.id = QStringLiteral("%1:%2").arg(pid).arg(info.port);
        if (seen.contains(info.id))
            continue;
        seen.insert(info.id);
        ports.append(info);
    }
    return ports;
}

QHash<qint64, QString> parseCwdFields(const QByteArray &fieldOutput)
{
    QHash<qint64, QString> directories;
    std::optional<qint64> current;
    for (const QByteArray &line : fieldOutput.split('\n')) {
        if (line.startsWith('p')) {
            bool ok = false;
            const qint64 pid = line.mid(1).toLongLong(&ok);
            current = ok ? std::optional<qint64>(pid) : std::nullopt;
        } else if (line.startsWith('n') && current) {
            const QString path = QString::fromUtf8(line.mid(1));
            // lsof names what it could not read after the path it tried, in parentheses.
            if (path.startsWith(QLatin1Char('/')) && !path.contains(QLatin1String(" (readlink: ")))
                directories.insert(*current, path);
        }
    }
    return directories;
}

QString resolveLinks(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? path : resolved;
}

int matchingScope(const QString &directory, const QList<ProjectScope> &scopes)
{
    for (qsizetype i = 0; i < scopes.size(); ++i) {
        for (const QString &path : scopes.at(i).paths) {
            if (path.isEmpty())
                continue;
            const QString above = path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
            if (directory == path || directory.startsWith(above))
                return int(i);
        }
    }
    return -1;
}

QList<PortInfo> attribute(const QList<PortInfo> &ports, const QHash<qint64, QString> &cwdByPid,
                          const QHash<qint64, qint64> &parentByPid, const QList<ProjectScope> &scopes,
                          const PathResolver &resolve)
{
    const auto match = [&](qint64 pid, PortInfo &info) {
        const auto directory = cwdByPid.constFind(pid);
        if (directory == cwdByPid.cend())
            return false;
        const QString resolved = resolve ? resolve(*directory) : *directory;
        const int scope = matchingScope(resolved, scopes);
        if (scope < 0)
            return false;
        info.workingDirectory = resolved;
        info.projectName = scopes.at(scope).name;
        info.profileColorHex = scopes.at(scope).profileColorHex;
        return true;
    };
    QList<PortInfo> attributed;
    for (PortInfo info : ports) {
        // A dev server's worker may run elsewhere than the command that started it.
        const qint64 parent = parentByPid.value(info.pid, 0);
        if (match(info.pid, info) || (parent > 1 && match(parent, info)))
            attributed.append(info);
    }
    std::stable_sort(attributed.begin(), attributed.end(),
                     [](const PortInfo &a, const PortInfo &b) { return a.port < b.port; });
    return attributed;
}

} // namespace portlisting
} // namespace corvane
