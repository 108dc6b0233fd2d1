#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One agent account: isolated configuration folders for claude and codex. Deleting a profile
// leaves its projects without one (nullify).
struct Profile
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString configDirPath;
    std::optional<QString> iconName;
    std::optional<QString> colorHex;
    qint64 sortOrder = 0;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QDateTime> lastLoginAt;
    std::optional<QString> accountEmail;
    std::optional<QString> codexHomeDir;
    std::optional<QString> codexAccountEmail;
    std::optional<QDateTime> codexLastLoginAt;
    std::optional<QString> defaultModelId;
    std::optional<QString> commitMessageModelId;
    bool isDefault = false;
    std::optional<QUuid> lastActiveWorkspaceId;

    bool hasAnySignIn() const { return lastLoginAt.has_value() || codexLastLoginAt.has_value(); }
};

template <>
struct store::RecordTraits<Profile>
{
    static constexpr const char *entity = "Profile";
    static const auto &columns()
    {
        using R = Profile;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("configDirPath", &R::configDirPath),
            column("iconName", &R::iconName), column("colorHex", &R::colorHex), column("sortOrder", &R::sortOrder),
            column("createdAt", &R::createdAt), column("lastLoginAt", &R::lastLoginAt),
            column("accountEmail", &R::accountEmail), column("codexHomeDir", &R::codexHomeDir),
            column("codexAccountEmail", &R::codexAccountEmail), column("codexLastLoginAt", &R::codexLastLoginAt),
            column("defaultModelId", &R::defaultModelId), column("commitMessageModelId", &R::commitMessageModelId),
            column("isDefault", &R::isDefault), column("lastActiveWorkspaceId", &R::lastActiveWorkspaceId));
        return c;
    }
};

} // namespace corvane
