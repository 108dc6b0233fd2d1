#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace corvane {

// The stored image of one skill or command file. Its versions go with it (cascade).
struct Skill
{
    QUuid id = QUuid::createUuid();
    QString name;
    std::optional<QString> skillDescription;
    std::optional<QString> version;
    std::optional<QString> argumentHint;
    QStringList allowedTools;
    QString typeRaw = QStringLiteral("modelInvoked");
    QString filePath;
    QString sourceKindRaw = QStringLiteral("personal");
    std::optional<QString> projectPath;
    QDateTime lastSyncedAt = QDateTime::currentDateTime();
    qint64 currentVersionNumber = 0;
    std::optional<QUuid> projectId;

    bool isUserInvoked() const { return typeRaw == QStringLiteral("userInvoked"); }
    bool isProjectSkill() const { return sourceKindRaw == QStringLiteral("project"); }
    // A folder skill's file is named exactly "SKILL.md" (case matters).
    bool isDirectoryBased() const;
    std::optional<QString> directoryPath() const;
    // The type follows from the file: with an argument hint it is invoked by the user.
    static QString typeRawFor(const std::optional<QString> &argumentHint)
    {
        return argumentHint ? QStringLiteral("userInvoked") : QStringLiteral("modelInvoked");
    }
};

template <>
struct store::RecordTraits<Skill>
{
    static constexpr const char *entity = "Skill";
    static const auto &columns()
    {
        using R = Skill;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("skillDescription", &R::skillDescription),
            column("version", &R::version), column("argumentHint", &R::argumentHint),
            column("allowedTools", &R::allowedTools), column("typeRaw", &R::typeRaw), column("filePath", &R::filePath),
            column("sourceKindRaw", &R::sourceKindRaw), column("projectPath", &R::projectPath),
            column("lastSyncedAt", &R::lastSyncedAt), column("currentVersionNumber", &R::currentVersionNumber),
            column("projectId", &R::projectId));
        return c;
    }
};

} // namespace corvane
