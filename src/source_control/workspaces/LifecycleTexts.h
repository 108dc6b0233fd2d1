#pragma once

#include "source_control/workspaces/WorkspaceTypes.h"

#include <QString>

#include <optional>

namespace corvane::lifecycleText {

// The warning shown before a workspace's worktree is removed with it; without a status (none
// computed yet) the plain first text.
QString archiveWorkspaceConfirmation(const std::optional<WorktreeDirtyStatus> &status);
// The same ladder for a chat that has a worktree of its own.
QString archiveChatConfirmation(const std::optional<WorktreeDirtyStatus> &status);

// What a workspace's row says while archivingWorkspaceIds holds it.
inline const QString archivingWorkspace = QStringLiteral("Archiving workspace…");
inline const QString archiveWorkspaceButton = QStringLiteral("Archive Workspace & Remove Worktree");
inline const QString archiveChatButton = QStringLiteral("Archive Chat & Remove Worktree");

// "1 unpushed commit. The worktree removal is permanent and cannot be undone."
QString commitPhrase(int count);

// What a removal would destroy, in numbers: "Would be lost: 3 changed files and 1 unpushed commit."
// Empty when nothing would be.
QString lossSummary(const WorktreeDirtyStatus &status);

// The ladder text followed by the loss summary, for operations that refuse to go on unconfirmed.
QString workspaceRemovalWarning(const WorktreeDirtyStatus &status);
QString chatRemovalWarning(const WorktreeDirtyStatus &status);

// Texts of permanent deletion.
QString deleteWorkspaceTitle(const QString &name);
inline const QString deleteWorkspaceText =
    QStringLiteral("This will permanently delete this workspace and all its chats. This action cannot be undone.");
inline const QString deleteChatText =
    QStringLiteral("This will permanently delete this chat and all its messages. This action cannot be undone.");
inline const QString removeProjectText = QStringLiteral(
    "This will remove the project and all its chats from Corvane. Your files will not be deleted.");

inline const QString deleteAllArchivedTitle = QStringLiteral("Delete All Archived Workspaces?");
// "This will permanently delete all 3 archived workspaces. This action cannot be undone."
QString deleteAllArchivedText(int count);

// An agent session id as the profile-change notices show it: the first 8 characters and "…" when
// it is longer than 12, else whole.
QString shortSessionId(const QString &id);

} // namespace corvane::lifecycleText
