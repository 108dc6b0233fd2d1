#pragma once

#include "core/NotificationCenter.h"
#include "core/Result.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "source_control/GitFuture.h"
#include "source_control/GitTypes.h"
#include "source_control/workspaces/WorkspaceTypes.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class StoreContext;

// The life of projects, workspaces and chats: making them (with their branches and worktrees),
// renaming, archiving, restoring, deleting, and moving a project to another profile. The window
// and corvane-cli both go through here. Lives on the main thread with the main store context;
// git runs on GitService and its answers come back here.
//
// Work is never lost silently: an operation that would remove a worktree holding uncommitted
// changes or unpushed commits answers LifecycleOutcome::needsConfirmation, naming what would be
// lost, until it is called again with `confirmed`; a removal that fails leaves the records as
// they were.
class WorkspaceLifecycleService : public QObject
{
    Q_OBJECT

public:
    using SessionCloser = std::function<void(const QUuid &chatId)>;
    using WorkspaceCloser = std::function<void(const QUuid &workspaceId)>;

    explicit WorkspaceLifecycleService(StoreContext &context, NotificationCenter &center = NotificationCenter::instance(),
                                       QObject *parent = nullptr);

    // Called for every chat whose live session must end (archive, delete, close, profile move).
    // Unset, there are no sessions to close.
    void setSessionCloser(SessionCloser closer) { m_sessionCloser = std::move(closer); }
    // Called for a workspace whose terminals and repository monitor must stop.
    void setWorkspaceCloser(WorkspaceCloser closer) { m_workspaceCloser = std::move(closer); }

    StoreContext &context() const { return m_context; }
    // A project's workspaces and chats, from the store, ascending by sortOrder.
    QList<std::shared_ptr<Workspace>> workspaces(const Project &project, bool includeArchived = false) const;
    QList<std::shared_ptr<Chat>> chats(const Workspace &workspace, bool includeArchived = false) const;
    QList<std::shared_ptr<Chat>> projectChats(const Project &project) const;
    QList<std::shared_ptr<Project>> projects(const Profile &profile) const;
    // Workspaces whose archive is under way (their row says so).
    const QSet<QUuid> &archivingWorkspaceIds() const { return m_archivingWorkspaceIds; }

    // -- Making ------------------------------------------------------------------------------------

    std::shared_ptr<Project> createProject(const QString &name, const QString &path, const std::optional<QUuid> &profileId);
    // The folder a user picked: a project named after it with a first simple workspace.
    Result<std::shared_ptr<Workspace>> addProjectFolder(const QString &folder, const std::optional<QUuid> &profileId);
    std::shared_ptr<Workspace> createWorkspace(Project &project, const QString &name,
                                               const std::optional<QString> &gitBranch);
    // A workspace on the project's checkout, on its default new branch or current branch.
    std::shared_ptr<Workspace> createSimpleWorkspace(Project &project);
    void addWorkspace(const std::shared_ptr<Workspace> &workspace, Project &project);
    void addChat(const std::shared_ptr<Chat> &chat, Project &project);
    // "Chat N" when no name is given, N counting archived chats too.
    std::shared_ptr<Chat> createChat(Workspace &workspace, const std::optional<QString> &name = {});
    // The sheet's chat: a new workspace from its branch and worktree, then the chat.
    std::shared_ptr<Workspace> receiveSheetChat(const Chat &chat, Project &project);
    // "Fork Into Local" (newBranch) or "Fork Into New Worktree" (worktree): the sheet to open.
    std::optional<NewWorkspaceSheetRequest> forkRequest(const Chat &chat, WorkspaceCreationMode mode) const;
    // A workspace on a worktree that already exists (from the project overview's list).
    std::shared_ptr<Workspace> adoptWorktree(Project &project, const GitWorktree &worktree);

    // -- Changing ----------------------------------------------------------------------------------

    // Trimmed; empty or unchanged does nothing. Posts "workspaceDidRename".
    bool renameWorkspace(Workspace &workspace, const QString &name);
    // The same rules for a chat (no broadcast: the chat's record saving is news enough).
    bool renameChat(Chat &chat, const QString &name);
    // Whether the sidebar shows the project's workspaces; saved only when it changes.
    bool setProjectExpanded(Project &project, bool expanded);
    // Ends the chat's live session; the chat stays open.
    void closeChat(const Chat &chat);
    // Closes the sessions of the workspace's chats; records stay as they are.
    void closeWorkspace(const Workspace &workspace);
    // Moves the project to another profile; its chats' agent sessions migrate.
    void setProfile(Project &project, const Profile &profile);
    // The end of a drag: each record's sortOrder becomes its index in `orderedIds`, saved only
    // when the order differs from the stored one; records already at their index are not
    // rewritten. Ids of other records are ignored. Projects are ordered within one profile's page,
    // so `orderedIds` names the projects it reorders (unknown ids are dropped).
    bool reorderProjects(const QList<QUuid> &orderedIds);
    bool reorderWorkspaces(const Project &project, const QList<QUuid> &orderedIds);

    // -- The project's checkout ------------------------------------------------------------------

    // The chat header's branch button: fixed for a worktree chat.
    static bool canSwitchBranch(const Chat &chat);
    static QString switchBranchToolTip(const Chat &chat);
    // Switches the project's checkout to `branch` (a remote entry by its part after the first
    // "/") and records it on the project and the chat. A dirty checkout is refused with the
    // "Uncommitted Changes" alert's text; git's refusal comes as "Switch branch failed: ...".
    GitFuture<LifecycleOutcome> switchCheckoutBranch(const std::shared_ptr<Chat> &chat, const GitBranch &branch);

    // -- Worktrees ---------------------------------------------------------------------------------

    // Nothing to warn about without a worktree, or when its folder is gone.
    GitFuture<WorktreeDirtyStatus> worktreeDirtyStatus(const Workspace &workspace);
    GitFuture<WorktreeDirtyStatus> worktreeDirtyStatus(const Chat &chat);
    // Removes a worktree of `project` (asking first when it holds work) and prunes git's records.
    GitFuture<LifecycleOutcome> removeWorktree(const Project &project, const QString &worktreePath, bool confirmed);
    GitFuture<void> pruneWorktrees(const Project &project);

    // -- Archiving, restoring, deleting ----------------------------------------------------------

    GitFuture<LifecycleOutcome> archiveWorkspace(const std::shared_ptr<Workspace> &workspace, bool confirmed = false);
    GitFuture<LifecycleOutcome> archiveChat(const std::shared_ptr<Chat> &chat, bool confirmed = false);
    // The notice names a worktree folder that no longer exists.
    LifecycleOutcome restoreWorkspace(const std::shared_ptr<Workspace> &workspace);
    LifecycleOutcome restoreChat(const std::shared_ptr<Chat> &chat);
    // Permanent deletion; a record that is already gone is done.
    GitFuture<LifecycleOutcome> deleteWorkspace(const QUuid &workspaceId, bool confirmed = false);
    GitFuture<LifecycleOutcome> deleteChat(const QUuid &chatId, bool confirmed = false);
    // Every archived workspace of the project, one after another; stops at the first that asks
    // or fails, leaving the rest.
    GitFuture<LifecycleOutcome> deleteArchivedWorkspaces(const Project &project, bool confirmed = false);
    GitFuture<LifecycleOutcome> deleteProject(const std::shared_ptr<Project> &project, bool confirmed = false);
    // For chats that another context deletes in bulk (they have no worktree to guard): ends
    // their sessions and announces each removal first, as deleteChat() does.
    void releaseChats(const QList<QUuid> &chatIds);
    // Records were deleted or changed by another context; the lists reload.
    void announceRecordsChanged() { emit recordsChanged(); }

signals:
    // Projects, workspaces or chats were made, changed, archived, restored or deleted.
    void recordsChanged();
    // A project, workspace or chat is about to be deleted for good.
    void recordRemoved(const QUuid &id);
    // The chat's live session was ended by an operation here.
    void sessionEnded(const QUuid &chatId);
    void archivingWorkspaceIdsChanged();

private:
    struct WorktreeSite
    {
        QString projectFolder;
        QString directory; // resolved
    };

    qint64 nextProjectSortOrder() const;
    qint64 nextWorkspaceSortOrder(const Project &project) const;
    qint64 nextChatSortOrder(const QList<std::shared_ptr<Chat>> &siblings) const;
    std::optional<WorktreeSite> worktreeSite(const std::optional<QUuid> &projectId, bool usesWorktree,
                                             const std::optional<QString> &worktreePath) const;
    void endSession(const QUuid &chatId);
    void endWorkspace(const QUuid &workspaceId);
    void saveQuietly();
    void postArchiveStateChanged();
    // Measures, asks when work would be lost (or always, with `askWhenClean`), removes;
    // `onRemoved` runs only when the folder is gone.
    GitFuture<LifecycleOutcome> guardedRemoval(const QList<WorktreeSite> &sites, bool confirmed, bool forceFirst,
                                               std::function<QString(const WorktreeDirtyStatus &)> warning,
                                               std::function<LifecycleOutcome()> onRemoved,
                                               std::function<QString(const WorktreeDirtyStatus &)> askWhenClean = {});
    void deleteInTurn(QList<QUuid> ids, bool confirmed, GitPromise<LifecycleOutcome> promise);
    void addMigrationNotice(const QUuid &chatId, const QString &text);

    StoreContext &m_context;
    NotificationCenter &m_center;
    SessionCloser m_sessionCloser;
    WorkspaceCloser m_workspaceCloser;
    QSet<QUuid> m_archivingWorkspaceIds;
};

} // namespace corvane
