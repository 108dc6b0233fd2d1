#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/WorktreeRemoval.h"

#include <QFileInfo>

namespace corvane {

namespace {

QString withLoss(const QString &text, const WorktreeDirtyStatus &status)
{
    const QString loss = lifecycleText::lossSummary(status);
    return loss.isEmpty() ? text : text + QStringLiteral("\n\n") + loss;
}

const char *const kTag = "Lifecycle";
const QString kArchived = QStringLiteral("archived");

QString missingWorktreeNotice(const QString &what, const QString &directory, const std::optional<QString> &branch)
{
    QString text = QStringLiteral("%1 is restored, but its worktree folder no longer exists: %2.").arg(what, directory);
    if (branch)
        text += QStringLiteral(" Its branch \"%1\" is still in the repository: make a new worktree workspace on it to "
                               "go on working.").arg(*branch);
    return text;
}

} // namespace

WorkspaceLifecycleService::WorkspaceLifecycleService(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_center(center)
{
}

QList<std::shared_ptr<Workspace>> WorkspaceLifecycleService::workspaces(const Project &project, bool includeArchived) const
{
    Predicate filter = where::eq("projectId", project.id);
    if (!includeArchived)
        filter = filter && where::ne("statusRaw", kArchived);
    return m_context.fetchOrEmpty<Workspace>(Query(filter).orderBy("sortOrder"));
}

QList<std::shared_ptr<Chat>> WorkspaceLifecycleService::chats(const Workspace &workspace, bool includeArchived) const
{
    Predicate filter = where::eq("workspaceId", workspace.id);
    if (!includeArchived)
        filter = filter && where::ne("statusRaw", kArchived);
    return m_context.fetchOrEmpty<Chat>(Query(filter).orderBy("sortOrder"));
}

QList<std::shared_ptr<Chat>> WorkspaceLifecycleService::projectChats(const Project &project) const
{
    return m_context.fetchOrEmpty<Chat>(Query(where::eq("projectId", project.id)).orderBy("sortOrder"));
}

QList<std::shared_ptr<Project>> WorkspaceLifecycleService::projects(const Profile &profile) const
{
    return m_context.fetchOrEmpty<Project>(Query(where::eq("profileId", profile.id)).orderBy("sortOrder"));
}

// Sort orders: the greatest among the siblings plus one, so the first gets 0.
qint64 WorkspaceLifecycleService::nextProjectSortOrder() const
{
    auto last = m_context.fetchOrEmpty<Project>(Query().orderBy("sortOrder", false).limitTo(1));
    return last.isEmpty() ? 0 : last.first()->sortOrder + 1;
}

qint64 WorkspaceLifecycleService::nextWorkspaceSortOrder(const Project &project) const
{
    auto last = m_context.fetchOrEmpty<Workspace>(
        Query(where::eq("projectId", project.id)).orderBy("sortOrder", false).limitTo(1));
    return last.isEmpty() ? 0 : last.first()->sortOrder + 1;
}

qint64 WorkspaceLifecycleService::nextChatSortOrder(const QList<std::shared_ptr<Chat>> &siblings) const
{
    qint64 greatest = -1;
    for (const auto &chat : siblings)
        greatest = std::max(greatest, chat->sortOrder);
    return greatest + 1;
}

void WorkspaceLifecycleService::saveQuietly()
{
    // A failed save keeps its changes pending; the next one writes them.
    if (Status saved = m_context.save(); !saved)
        logLine(kTag, QStringLiteral("save failed: ") + saved.error().message);
}

void WorkspaceLifecycleService::endSession(const QUuid &chatId)
{
    if (m_sessionCloser)
        m_sessionCloser(chatId);
    emit sessionEnded(chatId);
}

void WorkspaceLifecycleService::endWorkspace(const QUuid &workspaceId)
{
    if (m_workspaceCloser)
        m_workspaceCloser(workspaceId);
}

void WorkspaceLifecycleService::postArchiveStateChanged()
{
    m_center.post(broadcast::chatArchiveStateDidChange, this);
}

bool WorkspaceLifecycleService::renameWorkspace(Workspace &workspace, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed == workspace.name)
        return false;
    workspace.name = trimmed;
    workspace.setUpdatedAt(QDateTime::currentDateTime());
    saveQuietly();
    broadcast::post(m_center, broadcast::WorkspaceRenamed{workspace.id}, this);
    emit recordsChanged();
    return true;
}

bool WorkspaceLifecycleService::renameChat(Chat &chat, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed == chat.name)
        return false;
    chat.name = trimmed;
    chat.setUpdatedAt(QDateTime::currentDateTime());
    saveQuietly();
    emit recordsChanged();
    return true;
}

bool WorkspaceLifecycleService::setProjectExpanded(Project &project, bool expanded)
{
    if (project.isExpanded == expanded)
        return false;
    project.isExpanded = expanded;
    saveQuietly();
    return true;
}

void WorkspaceLifecycleService::closeChat(const Chat &chat)
{
    logLine(kTag, QStringLiteral("closing session for chat: %1").arg(chat.name));
    endSession(chat.id);
}

void WorkspaceLifecycleService::closeWorkspace(const Workspace &workspace)
{
    const auto workspaceChats = chats(workspace, true);
    logLine(kTag, QStringLiteral("closeWorkspace: %1, chats=%2").arg(workspace.name).arg(workspaceChats.size()));
    for (const auto &chat : workspaceChats)
        endSession(chat->id);
    endWorkspace(workspace.id);
}

std::optional<WorkspaceLifecycleService::WorktreeSite>
WorkspaceLifecycleService::worktreeSite(const std::optional<QUuid> &projectId, bool usesWorktree,
                               const std::optional<QString> &worktreePath) const
{
    if (!usesWorktree || !worktreePath || worktreePath->isEmpty() || !projectId)
        return std::nullopt;
    const auto project = m_context.get<Project>(*projectId);
    if (!project) // a workspace without its project skips the worktree and is still archived
        return std::nullopt;
    return WorktreeSite{project->path, worktrees::resolvePath(*worktreePath, project->path)};
}

GitFuture<WorktreeDirtyStatus> WorkspaceLifecycleService::worktreeDirtyStatus(const Workspace &workspace)
{
    const auto site = worktreeSite(workspace.projectId, workspace.usesWorktree, workspace.worktreePath);
    return worktrees::measure(site ? site->directory : QString(), this);
}

GitFuture<WorktreeDirtyStatus> WorkspaceLifecycleService::worktreeDirtyStatus(const Chat &chat)
{
    const auto site = worktreeSite(chat.projectId, chat.usesWorktree, chat.worktreePath);
    return worktrees::measure(site ? site->directory : QString(), this);
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::guardedRemoval(const QList<WorktreeSite> &sites, bool confirmed,
                                                             bool forceFirst,
                                                             std::function<QString(const WorktreeDirtyStatus &)> warning,
                                                             std::function<LifecycleOutcome()> onRemoved,
                                                             std::function<QString(const WorktreeDirtyStatus &)> askWhenClean)
{
    if (sites.isEmpty())
        return GitFuture<LifecycleOutcome>::ready(onRemoved());
    QStringList directories;
    for (const WorktreeSite &site : sites)
        directories << site.directory;
    const QString projectFolder = sites.first().projectFolder;
    GitPromise<LifecycleOutcome> promise;
    worktrees::measureAll(directories, this).then(this, [=, this](const GitResult<WorktreeDirtyStatus> &status) {
        if (status && status->wouldLoseWork() && !confirmed) {
            promise.resolve(LifecycleOutcome::needsConfirmation(warning(*status)));
            return;
        }
        // Removing a worktree is never silent where the caller says so, even with nothing to lose.
        if (!confirmed && askWhenClean) {
            promise.resolve(LifecycleOutcome::needsConfirmation(askWhenClean(status ? *status : WorktreeDirtyStatus{})));
            return;
        }
        worktrees::removeAll(projectFolder, directories, forceFirst, this)
            .then(this, [=](const GitResult<worktrees::RemovalReport> &report) {
                if (!report || !report->removed) {
                    const QString why = report ? report->message : report.error().description();
                    logLine(kTag, why);
                    promise.resolve(LifecycleOutcome::failed(why));
                    return;
                }
                promise.resolve(onRemoved());
            });
    });
    return promise.future();
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::removeWorktree(const Project &project, const QString &worktreePath,
                                                             bool confirmed)
{
    const QString directory = worktrees::resolvePath(worktreePath, project.path);
    auto warning = [directory](const WorktreeDirtyStatus &status) {
        return withLoss(QStringLiteral("This will remove the worktree at %1. The worktree removal is permanent and "
                                       "cannot be undone.").arg(directory), status);
    };
    return guardedRemoval({WorktreeSite{project.path, directory}}, confirmed, false, warning,
                          [] { return LifecycleOutcome::done(); });
}

GitFuture<void> WorkspaceLifecycleService::pruneWorktrees(const Project &project)
{
    return GitService(project.path).pruneWorktrees();
}

// -- Archiving --------------------------------------------------------------------------------------

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::archiveWorkspace(const std::shared_ptr<Workspace> &workspace,
                                                               bool confirmed)
{
    if (m_archivingWorkspaceIds.contains(workspace->id))
        return GitFuture<LifecycleOutcome>::ready(LifecycleOutcome::busy());
    const QUuid id = workspace->id;
    m_archivingWorkspaceIds.insert(id);
    emit archivingWorkspaceIdsChanged();

    QList<WorktreeSite> sites;
    if (auto site = worktreeSite(workspace->projectId, workspace->usesWorktree, workspace->worktreePath))
        sites << *site;
    GitPromise<LifecycleOutcome> promise;
    guardedRemoval(sites, confirmed, false, lifecycleText::workspaceRemovalWarning,
                   [this, workspace] {
                       // The agents stop before their folder goes.
                       for (const auto &chat : chats(*workspace, true))
                           endSession(chat->id);
                       endWorkspace(workspace->id);
                       return LifecycleOutcome::done();
                   },
                   [](const WorktreeDirtyStatus &status) { return lifecycleText::archiveWorkspaceConfirmation(status); })
        .then(this, [this, workspace, id, promise](const GitResult<LifecycleOutcome> &outcome) {
            LifecycleOutcome result = *outcome;
            if (result.isDone()) {
                const QDateTime now = QDateTime::currentDateTime();
                workspace->statusRaw = kArchived;
                workspace->archivedAt = now;
                for (const auto &chat : chats(*workspace, false)) {
                    chat->statusRaw = kArchived;
                    chat->archivedAt = now;
                }
                saveQuietly();
                postArchiveStateChanged();
                emit recordsChanged();
            }
            m_archivingWorkspaceIds.remove(id);
            emit archivingWorkspaceIdsChanged();
            promise.resolve(result);
        });
    return promise.future();
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::archiveChat(const std::shared_ptr<Chat> &chat, bool confirmed)
{
    QList<WorktreeSite> sites;
    if (auto site = worktreeSite(chat->projectId, chat->usesWorktree, chat->worktreePath))
        sites << *site;
    return guardedRemoval(sites, confirmed, false, lifecycleText::chatRemovalWarning, [this, chat] {
        endSession(chat->id);
        chat->statusRaw = kArchived;
        chat->archivedAt = QDateTime::currentDateTime();
        saveQuietly();
        emit recordsChanged();
        postArchiveStateChanged();
        return LifecycleOutcome::done();
    }, [](const WorktreeDirtyStatus &status) { return lifecycleText::archiveChatConfirmation(status); });
}

// -- Restoring --------------------------------------------------------------------------------------

LifecycleOutcome WorkspaceLifecycleService::restoreWorkspace(const std::shared_ptr<Workspace> &workspace)
{
    workspace->statusRaw.reset();
    workspace->archivedAt.reset();
    for (const auto &chat : chats(*workspace, true)) {
        if (!chat->isArchived())
            continue;
        chat->statusRaw.reset();
        chat->archivedAt.reset();
    }
    saveQuietly();
    emit recordsChanged();
    postArchiveStateChanged();
    // A removed worktree is not made again: the records keep its path, which now points nowhere.
    const auto site = worktreeSite(workspace->projectId, workspace->usesWorktree, workspace->worktreePath);
    if (site && !QFileInfo(site->directory).isDir())
        return LifecycleOutcome::done(missingWorktreeNotice(QStringLiteral("The workspace \"%1\"").arg(workspace->name),
                                                            site->directory, workspace->gitBranch));
    return LifecycleOutcome::done();
}

LifecycleOutcome WorkspaceLifecycleService::restoreChat(const std::shared_ptr<Chat> &chat)
{
    chat->statusRaw.reset();
    chat->archivedAt.reset();
    saveQuietly();
    emit recordsChanged();
    postArchiveStateChanged();
    const auto site = worktreeSite(chat->projectId, chat->usesWorktree, chat->worktreePath);
    if (site && !QFileInfo(site->directory).isDir())
        return LifecycleOutcome::done(missingWorktreeNotice(QStringLiteral("The chat \"%1\"").arg(chat->name),
                                                            site->directory, chat->gitBranch));
    return LifecycleOutcome::done();
}

// -- Deleting ---------------------------------------------------------------------------------------

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::deleteWorkspace(const QUuid &workspaceId, bool confirmed)
{
    const auto workspace = m_context.get<Workspace>(workspaceId);
    if (!workspace)
        return GitFuture<LifecycleOutcome>::ready(LifecycleOutcome::done());
    QList<WorktreeSite> sites;
    if (auto site = worktreeSite(workspace->projectId, workspace->usesWorktree, workspace->worktreePath))
        sites << *site;
    auto warning = [](const WorktreeDirtyStatus &status) { return withLoss(lifecycleText::deleteWorkspaceText, status); };
    return guardedRemoval(sites, confirmed, true, warning, [this, workspace] {
        for (const auto &chat : chats(*workspace, true))
            endSession(chat->id);
        endWorkspace(workspace->id);
        emit recordRemoved(workspace->id);
        m_context.remove(workspace);
        saveQuietly();
        emit recordsChanged();
        return LifecycleOutcome::done();
    });
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::deleteChat(const QUuid &chatId, bool confirmed)
{
    const auto chat = m_context.get<Chat>(chatId);
    if (!chat)
        return GitFuture<LifecycleOutcome>::ready(LifecycleOutcome::done());
    QList<WorktreeSite> sites;
    if (auto site = worktreeSite(chat->projectId, chat->usesWorktree, chat->worktreePath))
        sites << *site;
    auto warning = [](const WorktreeDirtyStatus &status) { return withLoss(lifecycleText::deleteChatText, status); };
    return guardedRemoval(sites, confirmed, true, warning, [this, chat] {
        endSession(chat->id);
        emit recordRemoved(chat->id);
        m_context.remove(chat);
        saveQuietly();
        emit recordsChanged();
        return LifecycleOutcome::done();
    });
}

void WorkspaceLifecycleService::releaseChats(const QList<QUuid> &chatIds)
{
    for (const QUuid &id : chatIds) {
        endSession(id);
        emit recordRemoved(id);
    }
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::deleteArchivedWorkspaces(const Project &project, bool confirmed)
{
    QList<QUuid> ids;
    for (const auto &workspace : workspaces(project, true))
        if (workspace->isArchived())
            ids.append(workspace->id);
    GitPromise<LifecycleOutcome> promise;
    deleteInTurn(ids, confirmed, promise);
    return promise.future();
}

void WorkspaceLifecycleService::deleteInTurn(QList<QUuid> ids, bool confirmed, GitPromise<LifecycleOutcome> promise)
{
    if (ids.isEmpty()) {
        promise.resolve(LifecycleOutcome::done());
        return;
    }
    const QUuid next = ids.takeFirst();
    deleteWorkspace(next, confirmed).then(this, [this, ids, confirmed, promise](const GitResult<LifecycleOutcome> &r) {
        if (!r->isDone())
            promise.resolve(*r);
        else
            deleteInTurn(ids, confirmed, promise);
    });
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::deleteProject(const std::shared_ptr<Project> &project, bool confirmed)
{
    QList<WorktreeSite> sites;
    QSet<QString> seen;
    auto note = [&](bool usesWorktree, const std::optional<QString> &path) {
        if (auto site = worktreeSite(project->id, usesWorktree, path); site && !seen.contains(site->directory)) {
            seen.insert(site->directory);
            sites << *site;
        }
    };
    const auto projectWorkspaces = workspaces(*project, true);
    for (const auto &workspace : projectWorkspaces)
        note(workspace->usesWorktree, workspace->worktreePath);
    const auto allChats = projectChats(*project);
    for (const auto &chat : allChats)
        note(chat->usesWorktree, chat->worktreePath);
    auto warning = [](const WorktreeDirtyStatus &status) { return withLoss(lifecycleText::removeProjectText, status); };
    return guardedRemoval(sites, confirmed, true, warning, [this, project, projectWorkspaces, allChats] {
        for (const auto &workspace : projectWorkspaces)
            endWorkspace(workspace->id);
        for (const auto &chat : allChats)
            endSession(chat->id);
        emit recordRemoved(project->id);
        m_context.remove(project);
        saveQuietly();
        emit recordsChanged();
        return LifecycleOutcome::done();
    });
}

} // namespace corvane
