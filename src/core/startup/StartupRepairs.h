#pragma once

namespace corvane {

class StoreContext;

// One-off repairs of stored data that run as the application starts. Each saves only when it
// changed something, so a start after everything was repaired writes nothing; a failed save is
// logged and the work is simply done again at the next start.
namespace startup {

// Chats that belong to a project but to no workspace get a workspace of their own, made from
// the chat's name, dates, branch and worktree. Returns how many were wrapped.
int wrapOrphanChats(StoreContext &context, const char *logFormat);
int repairOrphanChats(StoreContext &context);
int migrateChatWrapping(StoreContext &context);

// Projects with a run command and no actions get a "Run" action with that command.
int migrateRunCommands(StoreContext &context);

struct ActivityBackfill
{
    int days = 0;
    int chats = 0;
};

// Chats without activity days get one per calendar day on which they were created or had a
// message. Meant for a background context: it reads every message of those chats.
ActivityBackfill backfillActivityDays(StoreContext &context);

} // namespace startup
} // namespace corvane
