// Making projects, workspaces and chats.
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include "core/Analytics.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QFileInfo>

namespace corvane {

namespace {

void recordChatCreated(const Chat &chat)
{
    Analytics::shared().record(QStringLiteral("chat.created"),
                               {{QStringLiteral("agentType"), analyticsAgentName(chat.agentType() == AgentType::codex)}});
}

} // namespace

std::shared_ptr<Project> WorkspaceLifecycleService::createProject(const QString &name, const QString &path,
                                                         const std::optional<QUuid> &profileId)
{
    Project project;
    project.name = name;
    project.path = path;
    project.sortOrder = nextProjectSortOrder();
    project.isExpanded = false;
    project.profileId = profileId;
    auto inserted = m_context.insert(project);
    saveQuietly();
    Analytics::shared().record(QStringLiteral("project.created"), {{QStringLiteral("totalProjects"), m_context.count<Project>().valueOr(0)}});
    emit recordsChanged();
    return inserted;
}

Result<std::shared_ptr<Workspace>> WorkspaceLifecycleService::addProjectFolder(const QString &folder,
                                                                      const std::optional<QUuid> &profileId)
{
    const QFileInfo info(folder);
    if (!info.isDir())
        return Error(QStringLiteral("\"%1\" is not a folder").arg(folder));
    const QString path = info.canonicalFilePath();
    auto existing = m_context.fetchOrEmpty<Project>(Query(where::eq("path", path)));
    if (!existing.isEmpty())
        return Error(QStringLiteral("The folder %1 is already the project \"%2\"").arg(path, existing.first()->name));
    auto project = createProject(QDir(path).dirName(), path, profileId);
    project->isExpanded = true;
    saveQuietly();
    return createSimpleWorkspace(*project);
}

std::shared_ptr<Workspace> WorkspaceLifecycleService::createWorkspace(Project &project, const QString &name,
                                                             const std::optional<QString> &gitBranch)
{
    Workspace workspace;
    workspace.name = name;
    workspace.gitBranch = gitBranch;
    workspace.sortOrder = nextWorkspaceSortOrder(project);
    workspace.planStatusRaw = toRaw(PlanStatus::inProgress);
    workspace.projectId = project.id;
    Chat chat;
    chat.name = QStringLiteral("Chat 1");
    chat.sortOrder = 0;
    chat.gitBranch = gitBranch;
    chat.workspaceId = workspace.id;
    chat.projectId = project.id;
    workspace.activeChatId = chat.id;
    auto inserted = m_context.insert(workspace);
    m_context.insert(chat);
    saveQuietly();
    recordChatCreated(chat);
    emit recordsChanged();
    return inserted;
}

std::shared_ptr<Workspace> WorkspaceLifecycleService::createSimpleWorkspace(Project &project)
{
    const std::optional<QString> branch = project.defaultNewBranch ? project.defaultNewBranch : project.currentBranch;
    return createWorkspace(project, QStringLiteral("New Workspace"), branch);
}

void WorkspaceLifecycleService::addWorkspace(const std::shared_ptr<Workspace> &workspace, Project &project)
{
    workspace->sortOrder = nextWorkspaceSortOrder(project);
    workspace->projectId = project.id;
    m_context.insert(workspace);
    saveQuietly();
    emit recordsChanged();
}

void WorkspaceLifecycleService::addChat(const std::shared_ptr<Chat> &chat, Project &project)
{
    chat->sortOrder = nextChatSortOrder(projectChats(project));
    chat->projectId = project.id;
    m_context.insert(chat);
    saveQuietly();
    recordChatCreated(*chat);
    emit recordsChanged();
}

std::shared_ptr<Chat> WorkspaceLifecycleService::createChat(Workspace &workspace, const std::optional<QString> &name)
{
    const auto siblings = chats(workspace, true);
    Chat chat;
    chat.name = name.value_or(QStringLiteral("Chat %1").arg(siblings.size() + 1));
    chat.gitBranch = workspace.gitBranch;
    chat.sortOrder = nextChatSortOrder(siblings);
    chat.workspaceId = workspace.id;
    chat.projectId = workspace.projectId;
    auto inserted = m_context.insert(chat);
    saveQuietly();
    recordChatCreated(chat);
    emit recordsChanged();
    return inserted;
}

std::shared_ptr<Workspace> WorkspaceLifecycleService::receiveSheetChat(const Chat &sheetChat, Project &project)
{
    auto workspace = std::make_shared<Workspace>();
    workspace->name = sheetChat.name;
    workspace->gitBranch = sheetChat.gitBranch;
    workspace->usesWorktree = sheetChat.usesWorktree;
    workspace->worktreePath = sheetChat.worktreePath;
    workspace->worktreeBaseBranch = sheetChat.worktreeBaseBranch;
    workspace->planStatusRaw = toRaw(PlanStatus::inProgress);
    auto chat = std::make_shared<Chat>(sheetChat);
    chat->workspaceId = workspace->id;
    workspace->activeChatId = chat->id;
    project.isExpanded = true;
    addWorkspace(workspace, project);
    addChat(chat, project);
    return workspace;
}

std::optional<NewWorkspaceSheetRequest> WorkspaceLifecycleService::forkRequest(const Chat &chat, WorkspaceCreationMode mode) const
{
    if (!chat.projectId || mode == WorkspaceCreationMode::simple)
        return std::nullopt;
    return NewWorkspaceSheetRequest{QUuid::createUuid(), *chat.projectId, mode};
}

std::shared_ptr<Workspace> WorkspaceLifecycleService::adoptWorktree(Project &project, const GitWorktree &worktree)
{
    auto workspace = createWorkspace(project, worktree.branch.value_or(QStringLiteral("worktree")), worktree.branch);
    workspace->usesWorktree = true;
    workspace->worktreePath = worktree.path;
    workspace->worktreeBaseBranch.reset();
    saveQuietly();
    return workspace;
}

} // namespace corvane
