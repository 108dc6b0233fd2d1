#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// One subagent file as read, from the folders the claude agent itself reads subagents from.
struct ScannedAgent
{
    QString name;
    QString displayName;
    QString description;
    // None: the agent inherits every tool ("tools:" with no value reads the same).
    std::optional<QStringList> allowedTools;
    std::optional<QString> model;
    QString icon = QStringLiteral("person.crop.circle");
    QString colorHex = QStringLiteral("#7B61FF");
    QString systemPrompt;
    QString filePath;

    bool operator==(const ScannedAgent &) const = default;
};

namespace agentfile {

ScannedAgent parse(const QString &content, const QString &filePath);
// The editor's written form; keys it does not know are not kept.
QString write(const ScannedAgent &agent);
// "planner" and "reviewer", installed when missing and never overwritten.
QList<ScannedAgent> builtins();
QString newAgentTemplate(const QString &name);

} // namespace agentfile
} // namespace corvane
