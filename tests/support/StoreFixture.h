#pragma once

// Records the tests and benchmarks start from, inserted straight into a store.
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <optional>

namespace corvane::test {

struct InsertedPlace
{
    QUuid projectId;
    QUuid workspaceId;
    QUuid chatId; // null when no chat was asked for
};

// A project for `folder` with one workspace and, unless `chatName` is empty, one chat in it, all
// named after the folder's last part unless told; `branch` goes on the workspace and the chat.
// Saved at once.
inline InsertedPlace insertPlace(StoreContext &ctx, const QString &folder, const QString &chatName = QStringLiteral("Test chat"),
                                 const std::optional<QString> &branch = std::nullopt, const QString &name = {})
{
    Project project;
    project.name = name.isEmpty() ? folder.section(QLatin1Char('/'), -1) : name;
    project.path = folder;
    Workspace workspace;
    workspace.name = project.name;
    workspace.projectId = project.id;
    workspace.gitBranch = branch;
    ctx.insert(project);
    ctx.insert(workspace);
    InsertedPlace place{project.id, workspace.id, {}};
    if (!chatName.isEmpty()) {
        Chat chat;
        chat.name = chatName;
        chat.projectId = project.id;
        chat.workspaceId = workspace.id;
        chat.gitBranch = branch;
        ctx.insert(chat);
        place.chatId = chat.id;
    }
    (void)ctx.save();
    return place;
}

} // namespace corvane::test
