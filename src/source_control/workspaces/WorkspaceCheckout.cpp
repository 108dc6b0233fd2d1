// Reordering and the project's checkout branch.
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include "core/store/StoreContext.h"
#include "source_control/GitService.h"

namespace corvane {

namespace {

template <typename Record>
bool applyOrder(const QList<std::shared_ptr<Record>> &stored, const QList<QUuid> &orderedIds)
{
    QHash<QUuid, std::shared_ptr<Record>> byId;
    QList<QUuid> storedIds;
    for (const auto &record : stored) {
        byId.insert(record->id, record);
        storedIds.append(record->id);
    }
    QList<QUuid> wanted;
    for (const QUuid &id : orderedIds)
        if (byId.contains(id) && !wanted.contains(id))
            wanted.append(id);
    if (wanted == storedIds || wanted.size() != storedIds.size())
        return false;
    // Unchanged values leave their rows out of the save.
    for (qsizetype i = 0; i < wanted.size(); ++i)
        if (auto &record = byId[wanted[i]]; record->sortOrder != i)
            record->sortOrder = i;
    return true;
}

} // namespace

bool WorkspaceLifecycleService::reorderProjects(const QList<QUuid> &orderedIds)
{
    if (!applyOrder(m_context.fetchOrEmpty<Project>(Query(where::in("id", orderedIds)).orderBy("sortOrder")), orderedIds))
        return false;
    saveQuietly();
    emit recordsChanged();
    return true;
}

bool WorkspaceLifecycleService::reorderWorkspaces(const Project &project, const QList<QUuid> &orderedIds)
{
    if (!applyOrder(workspaces(project, false), orderedIds))
        return false;
    saveQuietly();
    emit recordsChanged();
    return true;
}

bool WorkspaceLifecycleService::canSwitchBranch(const Chat &chat)
{
    return !chat.usesWorktree;
}

QString WorkspaceLifecycleService::switchBranchToolTip(const Chat &chat)
{
    return chat.usesWorktree ? QStringLiteral("Worktree chat - branch is fixed") : QStringLiteral("Click to switch branch");
}

GitFuture<LifecycleOutcome> WorkspaceLifecycleService::switchCheckoutBranch(const std::shared_ptr<Chat> &chat,
                                                                   const GitBranch &branch)
{
    const auto project = chat->projectId ? m_context.get<Project>(*chat->projectId) : nullptr;
    if (!project || !canSwitchBranch(*chat))
        return GitFuture<LifecycleOutcome>::ready(
            LifecycleOutcome::failed(QStringLiteral("This chat's branch cannot be switched")));
    const QString name = branch.isRemote ? branch.name.section(u'/', 1) : branch.name;
    const GitService git(project->path);
    GitPromise<LifecycleOutcome> promise;
    git.hasUncommittedChanges().then(this, [=, this](const GitResult<bool> &dirty) {
        if (dirty && *dirty) {
            promise.resolve(LifecycleOutcome::failed(
                QStringLiteral("Uncommitted Changes\nPlease commit or stash your changes before switching branches.")));
            return;
        }
        git.switchBranch(name).then(this, [=, this](const GitResult<void> &switched) {
            if (!switched) {
                promise.resolve(LifecycleOutcome::failed(switched.error().failureText(QStringLiteral("Switch branch"))));
                return;
            }
            project->currentBranch = name;
            project->branchCheckedAt = QDateTime::currentDateTime();
            chat->gitBranch = name;
            saveQuietly();
            emit recordsChanged();
            promise.resolve(LifecycleOutcome::done());
        });
    });
    return promise.future();
}

} // namespace corvane
