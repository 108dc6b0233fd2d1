#include "core/records/Chat.h"

#include "core/records/ChatActivityDay.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

namespace corvane {

std::optional<QString> Chat::workingDirectory(const Workspace *workspace, const Project *project) const
{
    if (workspace)
        return workspace->workingDirectory(project);
    if (project)
        return project->path;
    return std::nullopt;
}

void Chat::recordActivity(const QDateTime &date, StoreContext &context) const
{
    const QDateTime day = startOfLocalDay(date);
    // A row added since the last save is not in the store yet: look among those first.
    for (const auto &pending : context.unsavedInserts<ChatActivityDay>())
        if (pending->chatId == id && pending->day == day)
            return;
    const auto existing = context.count<ChatActivityDay>(where::eq("chatId", id) && where::eq("day", day));
    if (existing && *existing > 0)
        return;
    ChatActivityDay row;
    row.day = day;
    row.chatId = id;
    context.insert(row);
}

void Chat::backfillActivityIfNeeded(StoreContext &context) const
{
    for (const auto &pending : context.unsavedInserts<ChatActivityDay>())
        if (pending->chatId == id)
            return;
    const auto existing = context.count<ChatActivityDay>(where::eq("chatId", id));
    if (existing && *existing == 0)
        recordActivity(createdAt, context);
}

} // namespace corvane
