#include "agent/runtime/AgentEnvironment.h"

#include "core/records/Profile.h"

namespace corvane {

namespace {

QStringList withoutPrefixes(QStringList entries, std::initializer_list<const char *> prefixes)
{
    entries.removeIf([&](const QString &entry) {
        for (const char *prefix : prefixes)
            if (entry.startsWith(QLatin1String(prefix)))
                return true;
        return false;
    });
    return entries;
}

QProcessEnvironment terminalBase(const QProcessEnvironment &base)
{
    QProcessEnvironment env = base;
    env.insert(QStringLiteral("TERM"), QStringLiteral("xterm-256color"));
    env.insert(QStringLiteral("NO_COLOR"), QStringLiteral("1"));
    return env;
}

} // namespace

QProcessEnvironment claudeEnvironment(const QProcessEnvironment &base, const Profile *profile)
{
    QProcessEnvironment env = terminalBase(base);
    if (profile && !profile->isDefault) {
        env.remove(QStringLiteral("ANTHROPIC_API_KEY"));
        env.insert(QStringLiteral("CLAUDE_CONFIG_DIR"), profile->configDirPath);
    }
    return env;
}

QProcessEnvironment codexEnvironment(const QProcessEnvironment &base, const Profile *profile)
{
    QProcessEnvironment env = terminalBase(base);
    if (profile && !profile->isDefault && profile->codexHomeDir) {
        env.remove(QStringLiteral("OPENAI_API_KEY"));
        env.insert(QStringLiteral("CODEX_HOME"), *profile->codexHomeDir);
    }
    return env;
}

QStringList applyClaudeEnvironment(QStringList entries, const Profile &profile)
{
    entries = withoutPrefixes(std::move(entries), {"CLAUDE_CONFIG_DIR=", "ANTHROPIC_API_KEY="});
    entries.append(QStringLiteral("CLAUDE_CONFIG_DIR=") + profile.configDirPath);
    return entries;
}

QStringList applyCodexEnvironment(QStringList entries, const Profile &profile)
{
    if (!profile.codexHomeDir)
        return entries;
    entries = withoutPrefixes(std::move(entries), {"CODEX_HOME=", "OPENAI_API_KEY="});
    entries.append(QStringLiteral("CODEX_HOME=") + *profile.codexHomeDir);
    return entries;
}

} // namespace corvane
