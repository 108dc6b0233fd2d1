#include "app/cli/ChatLookup.h"
#include "app/cli/CliOutput.h"

#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QFileInfo>

namespace corvane::cli {

Result<std::shared_ptr<Project>> projectForFolder(StoreContext &context, const QString &folder)
{
    const QFileInfo info(folder);
    if (!info.isDir())
        return Error(QStringLiteral("%1 is not a folder").arg(folder));
    const QString path = info.canonicalFilePath();
    auto existing = context.fetchFirst<Project>(Query(where::eq("path", path)));
    if (!existing)
        return existing.error();
    if (*existing)
        return *existing;

    Project project;
    project.name = QDir(path).dirName();
    project.path = path;
    project.sortOrder = context.count<Project>().valueOr(0);
    project.isExpanded = true;
    if (auto fallback = context.fetchFirst<Profile>(Query(where::eq("isDefault", true))); fallback && *fallback)
        project.profileId = (*fallback)->id;
    auto inserted = context.insert(project);
    if (Status saved = context.save(); !saved)
        return saved.error();
    return inserted;
}

std::shared_ptr<Workspace> workspaceFor(StoreContext &context, const Project &project)
{
    auto live = context.fetchFirst<Workspace>(
        Query(where::eq("projectId", project.id) && where::ne("statusRaw", QStringLiteral("archived"))).orderBy("sortOrder"));
    if (live && *live)
        return *live;
    Workspace workspace;
    workspace.name = project.name;
    workspace.projectId = project.id;
    workspace.planStatusRaw = QStringLiteral("inProgress");
    workspace.sortOrder = context.count<Workspace>(where::eq("projectId", project.id)).valueOr(0);
    return context.insert(workspace);
}

std::shared_ptr<Chat> newChat(StoreContext &context, const Project &project, const Workspace &workspace)
{
    Chat chat;
    chat.name = QStringLiteral("New Chat");
    chat.projectId = project.id;
    chat.workspaceId = workspace.id;
    chat.gitBranch = workspace.gitBranch;
    chat.sortOrder = context.count<Chat>(where::eq("workspaceId", workspace.id)).valueOr(0);
    return context.insert(chat);
}

Result<ChatPlace> existingChat(StoreContext &context, const QUuid &chatId)
{
    ChatPlace place;
    place.chat = context.get<Chat>(chatId);
    if (!place.chat)
        return Error(QStringLiteral("No chat with the id %1").arg(chatId.toString(QUuid::WithoutBraces)));
    if (place.chat->workspaceId)
        place.workspace = context.get<Workspace>(*place.chat->workspaceId);
    if (place.chat->projectId)
        place.project = context.get<Project>(*place.chat->projectId);
    if (!place.project)
        return Error(QStringLiteral("The chat %1 belongs to no project").arg(chatId.toString(QUuid::WithoutBraces)));
    return place;
}

namespace {

Result<WorkspacePlace> workspaceToWorkIn(StoreContext &context, const QString &idText)
{
    const QUuid id = QUuid::fromString(idText);
    const auto workspace = id.isNull() ? nullptr : context.get<Workspace>(id);
    if (!workspace)
        return Error(QStringLiteral("no workspace with the id %1").arg(idText));
    const auto project = workspace->projectId ? context.get<Project>(*workspace->projectId) : nullptr;
    const auto folder = workspace->workingDirectory(project.get());
    if (!folder)
        return Error(QStringLiteral("the workspace has no folder"));
    return WorkspacePlace{workspace, project, *folder};
}

} // namespace

std::optional<OpenedWorkspace> openWorkspaceOrSay(const QString &command, const QString &idText)
{
    auto store = openStoreOrSay();
    if (!store)
        return std::nullopt;
    auto place = workspaceToWorkIn(store->mainContext(), idText);
    if (!place) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, place.error().message));
        return std::nullopt;
    }
    return OpenedWorkspace{store, place.value()};
}

} // namespace corvane::cli
