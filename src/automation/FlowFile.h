#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// One flow file as read: the recipe of an automation run. The body is the coordinator's prompt.
struct ScannedFlow
{
    QString name;
    QString description;
    QString icon = QStringLiteral("bolt.fill");
    QString colorHex = QStringLiteral("#3D8BFF");
    QString coordinatorPrompt;
    QStringList availableAgentNames;
    // None: every gate of the project runs. An empty list: none does.
    std::optional<QStringList> enabledGateNames;
    bool skipImplementationPhase = false;
    bool skipReviewPhase = false;
    bool requiresExistingDiff = false;
    QString permissionModeRaw = QStringLiteral("acceptEdits"); // kept as written, checked where used
    bool defaultOpenWorkspace = false;
    QString filePath;

    bool operator==(const ScannedFlow &) const = default;
};

namespace flowfile {

// A flow's file: "<stem>.md". Missing keys take their defaults; the name falls back to the stem.
ScannedFlow parse(const QString &content, const QString &filePath);
// The file as the flow editor writes it. Values are not quoted: a line break in one is lost.
QString write(const ScannedFlow &flow);
// The builtin flows, installed when missing and never overwritten: "build-and-test", "quick-fix".
QList<ScannedFlow> builtins();
// What a new flow named `name` starts as.
QString newFlowTemplate(const QString &name);

} // namespace flowfile
} // namespace corvane
