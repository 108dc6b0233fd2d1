#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

struct Project;
struct Workspace;
class StoreContext;

// One conversation with an agent. Its messages and activity days go with it (cascade).
struct Chat
{
    QUuid id = QUuid::createUuid();
    QString name;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QDateTime> updatedAtStorage;
    qint64 sortOrder = 0;
    std::optional<QString> gitBranch;
    std::optional<QString> claudeSessionId;
    std::optional<QString> modelId;
    std::optional<QString> previousClaudeSessionId;
    std::optional<QUuid> migratedFromProfileId;
    bool pendingProfileMigration = false;
    std::optional<QString> statusRaw;
    std::optional<QDateTime> archivedAt;
    std::optional<QString> agentTypeRaw;
    std::optional<QString> agentRoleRaw;
    bool usesWorktree = false;
    std::optional<QString> worktreePath;
    std::optional<QString> worktreeBaseBranch;
    std::optional<QUuid> projectId;
    std::optional<QUuid> workspaceId;

    QDateTime updatedAt() const { return updatedAtStorage.value_or(createdAt); }
    void setUpdatedAt(const QDateTime &at) { updatedAtStorage = at; }
    bool isArchived() const { return statusRaw == QStringLiteral("archived"); }
    AgentType agentType() const { return agentTypeRaw == QStringLiteral("codex") ? AgentType::codex : AgentType::claudeCode; }
    void setAgentType(AgentType type) { agentTypeRaw = toRaw(type); }
    bool isCoordinator() const { return agentRoleRaw == QStringLiteral("coordinator"); }

    // The workspace's working directory when the chat has a workspace, else the project's folder.
    std::optional<QString> workingDirectory(const Workspace *workspace, const Project *project) const;

    // Adds a ChatActivityDay for the local calendar day of `date` unless the chat has one for that
    // day. The caller saves.
    void recordActivity(const QDateTime &date, StoreContext &context) const;
    // Records activity on `createdAt` when the chat has no activity days yet.
    void backfillActivityIfNeeded(StoreContext &context) const;
};

template <>
struct store::RecordTraits<Chat>
{
    static constexpr const char *entity = "Chat";
    static const auto &columns()
    {
        using R = Chat;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("name", &R::name), column("createdAt", &R::createdAt),
            column("updatedAtStorage", &R::updatedAtStorage), column("sortOrder", &R::sortOrder),
            column("gitBranch", &R::gitBranch), column("claudeSessionId", &R::claudeSessionId),
            column("modelId", &R::modelId), column("previousClaudeSessionId", &R::previousClaudeSessionId),
            column("migratedFromProfileId", &R::migratedFromProfileId),
            column("pendingProfileMigration", &R::pendingProfileMigration), column("statusRaw", &R::statusRaw),
            column("archivedAt", &R::archivedAt), column("agentTypeRaw", &R::agentTypeRaw),
            column("agentRoleRaw", &R::agentRoleRaw), column("usesWorktree", &R::usesWorktree),
            column("worktreePath", &R::worktreePath), column("worktreeBaseBranch", &R::worktreeBaseBranch),
            column("projectId", &R::projectId), column("workspaceId", &R::workspaceId));
        return c;
    }
};

} // namespace corvane
