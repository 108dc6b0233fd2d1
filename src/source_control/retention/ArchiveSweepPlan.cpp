#include "source_control/retention/ArchiveSweepPlan.h"

#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

namespace corvane::retention {

namespace {

const QString kArchived = QStringLiteral("archived");

template <typename R>
int backfill(StoreContext &context, const QDateTime &now)
{
    const auto undated = context.fetchOrEmpty<R>(Query(where::eq("statusRaw", kArchived) && where::isNull("archivedAt")));
    for (const auto &record : undated)
        record->archivedAt = now;
    return int(undated.size());
}

template <typename R>
SweepCandidate candidate(const R &record, SweepCandidate::Kind kind)
{
    const bool worktree = record.usesWorktree && record.worktreePath && !record.worktreePath->isEmpty();
    return SweepCandidate{kind, record.id, record.name, *record.archivedAt, worktree};
}

} // namespace

QString label(ArchiveRetention retention)
{
    switch (retention) {
    case ArchiveRetention::never: return QStringLiteral("Never");
    case ArchiveRetention::thirtyDays: return QStringLiteral("After 30 days");
    case ArchiveRetention::sixtyDays: return QStringLiteral("After 60 days");
    case ArchiveRetention::ninetyDays: return QStringLiteral("After 90 days");
    }
    return QStringLiteral("Never");
}

std::optional<QDateTime> cutoff(ArchiveRetention retention, const QDateTime &now)
{
    if (retention == ArchiveRetention::never)
        return std::nullopt;
    // Whole days of seconds, not calendar days: a change of daylight saving time moves nothing.
    return now.addSecs(-qint64(int(retention)) * 86400);
}

int backfillArchivedDates(StoreContext &context, const QDateTime &now)
{
    const int total = backfill<Workspace>(context, now) + backfill<Chat>(context, now);
    if (total > 0) {
        if (Status saved = context.save(); !saved)
            logLine("ArchiveCleanup", QStringLiteral("backfill not saved: ") + saved.error().message);
    }
    return total;
}

SweepPlan findCandidates(StoreContext &context, ArchiveRetention chats, ArchiveRetention workspaces, const QDateTime &now)
{
    SweepPlan plan;
    if (const auto before = cutoff(workspaces, now)) {
        const Query query = Query(where::eq("statusRaw", kArchived) && where::notNull("archivedAt")
                                  && where::lt("archivedAt", *before))
                                .orderBy("archivedAt");
        for (const auto &workspace : context.fetchOrEmpty<Workspace>(query))
            plan.workspaces.append(candidate(*workspace, SweepCandidate::Kind::workspace));
    }
    if (const auto before = cutoff(chats, now)) {
        // A chat of an archived workspace goes with its workspace, under that setting.
        const Predicate standsAlone(QStringLiteral("\"workspaceId\" IS NULL OR \"workspaceId\" NOT IN "
                                                   "(SELECT \"id\" FROM \"Workspace\" WHERE \"statusRaw\" = ?)"),
                                    {kArchived}, {QStringLiteral("workspaceId")});
        const Query query = Query(where::eq("statusRaw", kArchived) && where::notNull("archivedAt")
                                  && where::lt("archivedAt", *before) && standsAlone)
                                .orderBy("archivedAt");
        for (const auto &chat : context.fetchOrEmpty<Chat>(query))
            plan.chats.append(candidate(*chat, SweepCandidate::Kind::chat));
    }
    return plan;
}

} // namespace corvane::retention
