#include "automation/RunLauncher.h"

#include "automation/RunLaunch.h"
#include "core/records/Chat.h"
#include "core/records/Issue.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/workspaces/WorktreeRemoval.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>

namespace corvane {

namespace {

Error startFailure(const QString &why)
{
    return Error(QStringLiteral("Failed to start run: ") + why);
}

} // namespace

RunLauncher::RunLauncher(StoreContext &context, AutomatedAgentOrchestrator &orchestrator, QObject *parent)
    : QObject(parent), m_context(context), m_orchestrator(orchestrator)
{
}

void RunLauncher::start(RunLaunchRequest request, Done done)
{
    auto fail = [this, done](const QString &why) {
        QTimer::singleShot(0, this, [done, why] { done(startFailure(why)); });
    };
    if (!request.issue || !request.flow)
        return fail(QStringLiteral("no issue or no flow was given"));
    const auto project = request.issue->projectId ? m_context.get<Project>(*request.issue->projectId) : nullptr;
    if (!project)
        return fail(QStringLiteral("the issue \"%1\" belongs to no project").arg(request.issue->title));
    if (request.workspaceName.trimmed().isEmpty())
        request.workspaceName = request.issue->title;
    if (request.branch.trimmed().isEmpty())
        request.branch = runlaunch::branchSlug(request.issue->title);
    request.workspaceName = request.workspaceName.trimmed();
    request.branch = request.branch.trimmed();
    if (request.mode == WorkspaceCreationMode::worktree && request.branch.isEmpty())
        return fail(QStringLiteral("a worktree needs a branch name"));

    // The issue's open run, if any, gives way; its workspace stays.
    if (request.issue->workspaceId)
        if (const auto previous = m_orchestrator.latestRun(*request.issue->workspaceId); previous && !previous->isClosed())
            m_orchestrator.finish(previous, AutomationRunStatus::blocked, QStringLiteral("Superseded by new automation run"));

    if (request.mode != WorkspaceCreationMode::worktree) {
        QTimer::singleShot(0, this, [this, request, done] { finishStart(request, {}, done); });
        return;
    }
    const QString path = worktrees::newWorktreePath();
    if (!QDir().mkpath(QFileInfo(path).path()))
        return fail(QStringLiteral("could not create %1").arg(QFileInfo(path).path()));
    GitService(project->path).addWorktree(path, request.branch).then(this, [this, request, path, done](const GitResult<void> &added) {
        if (!added)
            return done(startFailure(added.error().description()));
        finishStart(request, path, done);
    });
}

void RunLauncher::finishStart(const RunLaunchRequest &request, const QString &worktreePath, Done done)
{
    const auto project = m_context.get<Project>(*request.issue->projectId);
    if (!project)
        return done(startFailure(QStringLiteral("the project was removed meanwhile")));
    qint64 sortOrder = 0;
    for (const auto &other : m_context.fetchOrEmpty<Workspace>(Query(where::eq("projectId", project->id))))
        sortOrder = std::max(sortOrder, other->sortOrder + 1);
    Workspace workspace;
    workspace.name = request.workspaceName;
    workspace.sortOrder = sortOrder;
    workspace.projectId = project->id;
    if (!worktreePath.isEmpty()) {
        workspace.gitBranch = request.branch;
        workspace.usesWorktree = true;
        workspace.worktreePath = worktreePath;
    } else {
        workspace.gitBranch = project->currentBranch;
    }
    auto made = m_context.insert(workspace);
    Chat chat;
    chat.name = QStringLiteral("Coordinator");
    chat.projectId = project->id;
    chat.workspaceId = made->id;
    chat.gitBranch = made->gitBranch;
    chat.usesWorktree = made->usesWorktree;
    chat.worktreePath = made->worktreePath;
    chat.agentRoleRaw = QStringLiteral("coordinator");
    auto coordinator = m_context.insert(chat);
    request.issue->workspaceId = made->id;
    (void)m_context.save();

    const QString prompt = runlaunch::launchPrompt(request.flow->name, {request.issue->title, request.issue->descriptionText},
                                                   !worktreePath.isEmpty());
    const auto run = m_orchestrator.startRun(request.issue->id, made, coordinator, *request.flow, qint64(request.mode), prompt);
    done(run);
}

} // namespace corvane
