#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

enum class AgentTool { claude, codex };

// Where an agent tool was found, or where we looked. An explicit path set by the user wins over
// every candidate; then the usual install places in a fixed order, the first existing file kept.
struct ToolLocation
{
    AgentTool tool = AgentTool::claude;
    std::optional<QString> path;
    QStringList searched;

    bool found() const { return path.has_value(); }
    // The program to start: the found path, else the bare name (whose launch then fails with
    // notFoundMessage()).
    QString program() const;
    // "The claude command was not found. Looked in: ... Install it with ... or set its path ...".
    QString notFoundMessage() const;
};

// Candidates, in order: /usr/local/bin, /usr/bin, ~/.local/bin, ~/.npm-global/bin, npm's global
// prefix, nvm's node versions (newest first). `home` and `environment` are injectable for tests.
QStringList toolCandidates(AgentTool tool, const QString &home, const QStringList &environment);

ToolLocation locateTool(AgentTool tool, const QString &explicitPath = {});
ToolLocation locateTool(AgentTool tool, const QString &explicitPath, const QString &home,
                        const QStringList &environment);

QString toolName(AgentTool tool);

} // namespace corvane
