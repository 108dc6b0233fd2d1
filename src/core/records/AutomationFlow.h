#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace corvane {

// The stored image of one flow definition file; the file is the truth and `filePath` the key.
struct AutomationFlow
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString descriptionText;
    QString icon;
    QString colorHex;
    QString coordinatorPrompt;
    QStringList availableAgentNames;
    // Absent: every enabled gate of the project runs. A list, even an empty one: only those.
    std::optional<QStringList> enabledGateNames;
    bool skipImplementationPhase = false;
    bool skipReviewPhase = false;
    bool requiresExistingDiff = false;
    QString permissionModeRaw = QStringLiteral("ask");
    QString scopeRaw = QStringLiteral("user");
    std::optional<QUuid> projectId;
    QString filePath;
    bool defaultOpenWorkspace = false;
    bool isBuiltin = false;
    QDateTime createdAt = QDateTime::currentDateTime();
    QDateTime updatedAt = QDateTime::currentDateTime();

    bool isProjectScoped() const { return scopeRaw == QStringLiteral("project"); }
    DefinitionScope scope() const { return fromRaw<DefinitionScope>(scopeRaw); }
    PermissionMode permissionMode() const { return fromRaw<PermissionMode>(permissionModeRaw); }
};

template <>
struct store::RecordTraits<AutomationFlow>
{
    static constexpr const char *entity = "AutomationFlow";
    static const auto &columns()
    {
        using R = AutomationFlow;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("descriptionText", &R::descriptionText),
            column("icon", &R::icon), column("colorHex", &R::colorHex),
            column("coordinatorPrompt", &R::coordinatorPrompt), column("availableAgentNames", &R::availableAgentNames),
            column("enabledGateNames", &R::enabledGateNames),
            column("skipImplementationPhase", &R::skipImplementationPhase),
            column("skipReviewPhase", &R::skipReviewPhase), column("requiresExistingDiff", &R::requiresExistingDiff),
            column("permissionModeRaw", &R::permissionModeRaw), column("scopeRaw", &R::scopeRaw),
            column("projectId", &R::projectId), column("filePath", &R::filePath),
            column("defaultOpenWorkspace", &R::defaultOpenWorkspace), column("isBuiltin", &R::isBuiltin),
            column("createdAt", &R::createdAt), column("updatedAt", &R::updatedAt));
        return c;
    }
};

} // namespace corvane
