#pragma once

#include "core/Result.h"

#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class Store;
class StoreContext;
struct Chat;
struct Project;
struct Workspace;

// Finds what the command line names by folder and id, making a project (with its first
// workspace) for a folder that has none, the way adding a project in the window does.
namespace cli {

struct ChatPlace
{
    std::shared_ptr<Project> project;
    std::shared_ptr<Workspace> workspace;
    std::shared_ptr<Chat> chat;
};

// The project whose folder is `folder` (compared as canonical paths), or a new one.
Result<std::shared_ptr<Project>> projectForFolder(StoreContext &context, const QString &folder);
// The first live workspace of the project, or a new one on the project's folder.
std::shared_ptr<Workspace> workspaceFor(StoreContext &context, const Project &project);
// A new chat in the workspace, named "New Chat".
std::shared_ptr<Chat> newChat(StoreContext &context, const Project &project, const Workspace &workspace);
// An existing chat with its workspace and project.
Result<ChatPlace> existingChat(StoreContext &context, const QUuid &chatId);

// A workspace named by its id, with its project and folder.
struct WorkspacePlace
{
    std::shared_ptr<Workspace> workspace;
    std::shared_ptr<Project> project;
    QString folder;
};
// The window's store and the workspace `idText` names, or nothing after saying on standard error
// why not ("corvane-cli <command>: no workspace with the id …", "… the workspace has no folder").
struct OpenedWorkspace
{
    std::shared_ptr<Store> store;
    WorkspacePlace place;
};
std::optional<OpenedWorkspace> openWorkspaceOrSay(const QString &command, const QString &idText);

} // namespace cli
} // namespace corvane
