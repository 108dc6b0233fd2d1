#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

struct Project;

// A unit of work in a project: a branch, usually in its own git worktree, with its chats.
// Its chats and automation runs go with it (cascade); a linked issue only loses the link.
struct Workspace
{
    QUuid id = QUuid::createUuid();
    QString name;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QDateTime> updatedAtStorage = createdAt;
    qint64 sortOrder = 0;
    std::optional<QString> planStatusRaw;
    std::optional<QString> statusRaw;
    std::optional<QDateTime> archivedAt;
    std::optional<QString> gitBranch;
    bool usesWorktree = false;
    std::optional<QString> worktreePath;
    std::optional<QString> worktreeBaseBranch;
    std::optional<QUuid> activeChatId;
    std::optional<qint64> inspectorTabRaw;
    bool isTerminalVisible = false;
    std::optional<double> terminalHeightStorage;
    std::optional<QString> prURL;
    std::optional<qint64> prNumber;
    std::optional<QString> prTitle;
    std::optional<QString> prStateRaw;
    std::optional<QString> prHeadBranch;
    std::optional<QString> prBaseBranch;
    std::optional<QString> prAuthorLogin;
    std::optional<QDateTime> prUpdatedAt;
    std::optional<QDateTime> prLinkedAt;
    std::optional<QString> automationStatusRaw;
    std::optional<QUuid> projectId;

    QDateTime updatedAt() const { return updatedAtStorage.value_or(createdAt); }
    void setUpdatedAt(const QDateTime &at) { updatedAtStorage = at; }
    bool isArchived() const { return statusRaw == QStringLiteral("archived"); }
    PlanStatus planStatus() const { return fromRaw<PlanStatus>(planStatusRaw); }
    AutomationRunStatus automationStatus() const { return fromRaw<AutomationRunStatus>(automationStatusRaw); }
    std::optional<PullRequestState> prState() const
    {
        return prStateRaw ? store::EnumCodec<PullRequestState>::tryFromRaw(*prStateRaw) : std::nullopt;
    }

    // The folder the workspace's agents and tools work in: its worktree when it has one (a
    // relative path counts from the project's folder), else the project's folder; none without
    // a project.
    std::optional<QString> workingDirectory(const Project *project) const;
};

template <>
struct store::RecordTraits<Workspace>
{
    static constexpr const char *entity = "Workspace";
    static const auto &columns()
    {
        using R = Workspace;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("createdAt", &R::createdAt),
            column("updatedAtStorage", &R::updatedAtStorage), column("sortOrder", &R::sortOrder),
            column("planStatusRaw", &R::planStatusRaw), column("statusRaw", &R::statusRaw),
            column("archivedAt", &R::archivedAt), column("gitBranch", &R::gitBranch),
            column("usesWorktree", &R::usesWorktree), column("worktreePath", &R::worktreePath),
            column("worktreeBaseBranch", &R::worktreeBaseBranch), column("activeChatId", &R::activeChatId),
            column("inspectorTabRaw", &R::inspectorTabRaw), column("isTerminalVisible", &R::isTerminalVisible),
            column("terminalHeightStorage", &R::terminalHeightStorage), column("prURL", &R::prURL),
            column("prNumber", &R::prNumber), column("prTitle", &R::prTitle),
            column("prStateRaw", &R::prStateRaw), column("prHeadBranch", &R::prHeadBranch),
            column("prBaseBranch", &R::prBaseBranch), column("prAuthorLogin", &R::prAuthorLogin),
            column("prUpdatedAt", &R::prUpdatedAt), column("prLinkedAt", &R::prLinkedAt),
            column("automationStatusRaw", &R::automationStatusRaw), column("projectId", &R::projectId));
        return c;
    }
};

} // namespace corvane
