#include "agent/runtime/ToolLocator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QVersionNumber>

#include <algorithm>

namespace corvane {

namespace {

QString envValue(const QStringList &environment, const QString &name)
{
    const QString prefix = name + QLatin1Char('=');
    for (const QString &entry : environment)
        if (entry.startsWith(prefix, Qt::CaseInsensitive))
            return entry.mid(prefix.size());
    return {};
}

// npm's global prefix without running npm (it takes a third of a second): the environment,
// then ~/.npmrc, then the prefix Debian's npm uses.
QString npmPrefix(const QString &home, const QStringList &environment)
{
    const QString fromEnv = envValue(environment, QStringLiteral("npm_config_prefix"));
    if (!fromEnv.isEmpty())
        return fromEnv;
    QFile rc(home + QStringLiteral("/.npmrc"));
    if (rc.open(QIODevice::ReadOnly)) {
        for (const QByteArray &raw : rc.readAll().split('\n')) {
            const QString line = QString::fromUtf8(raw).trimmed();
            if (line.startsWith(QLatin1String("prefix")) && line.contains(QLatin1Char('='))) {
                QString value = line.section(QLatin1Char('='), 1).trimmed();
                if (value.startsWith(QLatin1String("~/")))
                    value = home + value.mid(1);
                return value;
            }
        }
    }
    return QStringLiteral("/usr/local");
}

QStringList nvmBins(const QString &home, const QString &name)
{
    QDir versions(home + QStringLiteral("/.nvm/versions/node"));
    QStringList entries = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    // "v20.1.0" before "v9.11.2": compared as versions, not as text.
    auto version = [](const QString &name) { return QVersionNumber::fromString(name.startsWith('v') ? name.mid(1) : name); };
    std::sort(entries.begin(), entries.end(), [&](const QString &a, const QString &b) { return version(a) > version(b); });
    QStringList out;
    for (const QString &version : entries)
        out << versions.filePath(version + QStringLiteral("/bin/") + name);
    return out;
}

} // namespace

QString toolName(AgentTool tool)
{
    return tool == AgentTool::claude ? QStringLiteral("claude") : QStringLiteral("codex");
}

QString ToolLocation::program() const
{
    return path.value_or(toolName(tool));
}

QString ToolLocation::notFoundMessage() const
{
    const QString name = toolName(tool);
    const QString package = tool == AgentTool::claude ? QStringLiteral("@anthropic-ai/claude-code")
                                                      : QStringLiteral("@openai/codex");
    return QStringLiteral("The %1 command was not found. Looked in: %2. Install it with "
                          "\"npm install -g %3\", or set its path in Corvane's settings.")
        .arg(name, searched.join(QStringLiteral(", ")), package);
}

QStringList toolCandidates(AgentTool tool, const QString &home, const QStringList &environment)
{
    const QString name = toolName(tool);
    QStringList candidates;
    candidates << QStringLiteral("/usr/local/bin/") + name << QStringLiteral("/usr/bin/") + name;
    candidates << home + QStringLiteral("/.local/bin/") + name
               << home + QStringLiteral("/.npm-global/bin/") + name
               << npmPrefix(home, environment) + QStringLiteral("/bin/") + name;
    candidates << nvmBins(home, name);
    candidates.removeDuplicates();
    return candidates;
}

ToolLocation locateTool(AgentTool tool, const QString &explicitPath, const QString &home,
                        const QStringList &environment)
{
    ToolLocation location;
    location.tool = tool;
    QString chosen = explicitPath.trimmed();
    if (chosen.startsWith(QLatin1String("~/")))
        chosen = home + chosen.mid(1);
    if (!chosen.isEmpty()) {
        // The user's choice is final: a wrong path is reported, not silently replaced.
        location.searched << chosen;
        if (QFileInfo(chosen).isExecutable() && QFileInfo(chosen).isFile())
            location.path = chosen;
        return location;
    }
    for (const QString &candidate : toolCandidates(tool, home, environment)) {
        location.searched << candidate;
        const QFileInfo info(candidate);
        if (info.exists() && info.isExecutable() && !info.isDir()) {
            location.path = candidate;
            break;
        }
    }
    return location;
}

ToolLocation locateTool(AgentTool tool, const QString &explicitPath)
{
    return locateTool(tool, explicitPath, QDir::homePath(), QProcessEnvironment::systemEnvironment().toStringList());
}

} // namespace corvane
