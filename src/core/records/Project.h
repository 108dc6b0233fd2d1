#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One local repository folder; the top of the hierarchy. Its workspaces, chats, actions, skills,
// issues, milestones and labels go with it (cascade).
struct Project
{
    QUuid id = QUuid::createUuid();
    QString name;
    QString path;
    QDateTime createdAt = QDateTime::currentDateTime();
    qint64 sortOrder = 0;
    bool isExpanded = true;
    std::optional<QString> runCommand;
    std::optional<QString> currentBranch;
    std::optional<QDateTime> branchCheckedAt;
    std::optional<QString> githubUsername;
    std::optional<QString> defaultNewBranch;
    std::optional<QString> iconName;
    std::optional<QString> colorHex;
    std::optional<QUuid> profileId;
    std::optional<QString> hygieneDiskUsage;
    std::optional<qint64> hygieneStashCount;
    std::optional<qint64> hygieneUncommittedCount;
    std::optional<qint64> hygieneStaleBranchCount;
    std::optional<qint64> hygieneZombieCount;
    std::optional<qint64> hygieneOutdatedDepsCount;
    std::optional<QDateTime> hygieneCheckedAt;
};

template <>
struct store::RecordTraits<Project>
{
    static constexpr const char *entity = "Project";
    static const auto &columns()
    {
        using R = Project;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("path", &R::path),
            column("createdAt", &R::createdAt), column("sortOrder", &R::sortOrder),
            column("isExpanded", &R::isExpanded), column("runCommand", &R::runCommand),
            column("currentBranch", &R::currentBranch), column("branchCheckedAt", &R::branchCheckedAt),
            column("githubUsername", &R::githubUsername), column("defaultNewBranch", &R::defaultNewBranch),
            column("iconName", &R::iconName), column("colorHex", &R::colorHex),
            column("profileId", &R::profileId), column("hygieneDiskUsage", &R::hygieneDiskUsage),
            column("hygieneStashCount", &R::hygieneStashCount),
            column("hygieneUncommittedCount", &R::hygieneUncommittedCount),
            column("hygieneStaleBranchCount", &R::hygieneStaleBranchCount),
            column("hygieneZombieCount", &R::hygieneZombieCount),
            column("hygieneOutdatedDepsCount", &R::hygieneOutdatedDepsCount),
            column("hygieneCheckedAt", &R::hygieneCheckedAt));
        return c;
    }
};

} // namespace corvane
