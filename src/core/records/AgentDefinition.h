#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace corvane {

// The stored image of one subagent definition file; the file is the truth and `filePath` the key.
struct AgentDefinition
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString displayName;
    QString descriptionText;
    QString systemPrompt;
    // Absent when the file names no tools; an empty list is a different answer.
    std::optional<QStringList> allowedTools;
    std::optional<QString> model;
    QString icon;
    QString colorHex;
    QString scopeRaw = QStringLiteral("user");
    std::optional<QUuid> projectId;
    QString filePath;
    bool isBuiltin = false;
    QDateTime createdAt = QDateTime::currentDateTime();
    QDateTime updatedAt = QDateTime::currentDateTime();

    bool isProjectScoped() const { return scopeRaw == QStringLiteral("project"); }
};

template <>
struct store::RecordTraits<AgentDefinition>
{
    static constexpr const char *entity = "AgentDefinition";
    static const auto &columns()
    {
        using R = AgentDefinition;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("displayName", &R::displayName),
            column("descriptionText", &R::descriptionText), column("systemPrompt", &R::systemPrompt),
            column("allowedTools", &R::allowedTools), column("model", &R::model), column("icon", &R::icon),
            column("colorHex", &R::colorHex), column("scopeRaw", &R::scopeRaw), column("projectId", &R::projectId),
            column("filePath", &R::filePath), column("isBuiltin", &R::isBuiltin),
            column("createdAt", &R::createdAt), column("updatedAt", &R::updatedAt));
        return c;
    }
};

} // namespace corvane
