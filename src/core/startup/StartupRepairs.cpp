#include "core/startup/StartupRepairs.h"

#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/ProjectAction.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QSet>

namespace corvane::startup {

namespace {

void saveOrLog(StoreContext &context, const char *what)
{
    if (Status saved = context.save(); !saved)
        logLine("Startup", QStringLiteral("%1 could not be saved and will run again next time: %2")
                               .arg(QLatin1String(what), saved.error().message));
}

} // namespace

int wrapOrphanChats(StoreContext &context, const char *logFormat)
{
    const auto orphans = context.fetchOrEmpty<Chat>(Query(where::isNull("workspaceId") && where::notNull("projectId")));
    for (const auto &chat : orphans) {
        Workspace workspace;
        workspace.name = chat->name;
        workspace.createdAt = chat->createdAt;
        workspace.updatedAtStorage = chat->createdAt;
        workspace.sortOrder = chat->sortOrder;
        workspace.gitBranch = chat->gitBranch;
        workspace.usesWorktree = chat->usesWorktree;
        workspace.worktreePath = chat->worktreePath;
        workspace.worktreeBaseBranch = chat->worktreeBaseBranch;
        workspace.projectId = chat->projectId;
        chat->workspaceId = context.insert(workspace)->id;
    }
    if (!orphans.isEmpty()) {
        saveOrLog(context, "Wrapping chats in workspaces");
        logLine("Startup", QString::fromLatin1(logFormat).arg(orphans.size()));
    }
    return int(orphans.size());
}

int repairOrphanChats(StoreContext &context)
{
    return wrapOrphanChats(context, "Migrated %1 orphaned chat(s) into workspaces");
}

int migrateChatWrapping(StoreContext &context)
{
    return wrapOrphanChats(context, "[Migration] Wrapped %1 chats in workspaces");
}

int migrateRunCommands(StoreContext &context)
{
    int inserted = 0;
    for (const auto &project : context.fetchOrEmpty<Project>(Query(where::notNull("runCommand")))) {
        if (project->runCommand->isEmpty())
            continue;
        if (context.count<ProjectAction>(where::eq("projectId", project->id)).valueOr(1) > 0)
            continue;
        ProjectAction action;
        action.name = QStringLiteral("Run");
        action.symbolName = QStringLiteral("play.fill");
        action.script = *project->runCommand;
        action.sortOrder = 0;
        action.projectId = project->id;
        context.insert(action);
        ++inserted;
    }
    if (inserted > 0)
        saveOrLog(context, "The run-command migration");
    return inserted;
}

ActivityBackfill backfillActivityDays(StoreContext &context)
{
    ActivityBackfill result;
    for (const auto &chat : context.fetchOrEmpty<Chat>()) {
        if (context.count<ChatActivityDay>(where::eq("chatId", chat->id)).valueOr(1) > 0)
            continue;
        QSet<QDateTime> days{startOfLocalDay(chat->createdAt)};
        for (const auto &message : context.fetchOrEmpty<Message>(Query(where::eq("chatId", chat->id))))
            days.insert(startOfLocalDay(message->timestamp));
        for (const QDateTime &day : std::as_const(days)) {
            ChatActivityDay row;
            row.day = day;
            row.chatId = chat->id;
            context.insert(row);
        }
        result.days += int(days.size());
        ++result.chats;
    }
    if (result.days > 0) {
        saveOrLog(context, "The activity-day backfill");
        logLine("Startup", QStringLiteral("Backfilled %1 activity day(s) across %2 chat(s)").arg(result.days).arg(result.chats));
    }
    return result;
}

} // namespace corvane::startup
