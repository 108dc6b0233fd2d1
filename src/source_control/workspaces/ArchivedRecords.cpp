#include "source_control/workspaces/ArchivedRecords.h"

#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QHash>

#include <algorithm>

namespace corvane {

namespace {

const QString kArchived = QStringLiteral("archived");

QHash<QUuid, QString> projectNames(StoreContext &context)
{
    QHash<QUuid, QString> names;
    for (const auto &project : context.fetchOrEmpty<Project>())
        names.insert(project->id, project->name);
    return names;
}

void newestFirst(QList<ArchivedRecord> &records)
{
    std::stable_sort(records.begin(), records.end(), [](const ArchivedRecord &a, const ArchivedRecord &b) {
        if (a.archivedAt.has_value() != b.archivedAt.has_value())
            return a.archivedAt.has_value();
        return a.archivedAt && *a.archivedAt > *b.archivedAt;
    });
}

template <typename R>
ArchivedRecord entry(const R &record, const QHash<QUuid, QString> &projects)
{
    return {record.id, record.name, record.projectId ? projects.value(*record.projectId) : QString(), record.archivedAt};
}

} // namespace

QList<ArchivedRecord> archivedWorkspaces(StoreContext &context)
{
    const QHash<QUuid, QString> projects = projectNames(context);
    QList<ArchivedRecord> records;
    for (const auto &workspace : context.fetchOrEmpty<Workspace>(Query(where::eq("statusRaw", kArchived))))
        records.append(entry(*workspace, projects));
    newestFirst(records);
    return records;
}

QList<ArchivedRecord> archivedChats(StoreContext &context)
{
    const QHash<QUuid, QString> projects = projectNames(context);
    QSet<QUuid> archivedWorkspaceIds;
    for (const auto &workspace : context.fetchOrEmpty<Workspace>(Query(where::eq("statusRaw", kArchived))))
        archivedWorkspaceIds.insert(workspace->id);
    QList<ArchivedRecord> records;
    for (const auto &chat : context.fetchOrEmpty<Chat>(Query(where::eq("statusRaw", kArchived)))) {
        if (chat->workspaceId && archivedWorkspaceIds.contains(*chat->workspaceId))
            continue;
        records.append(entry(*chat, projects));
    }
    newestFirst(records);
    return records;
}

} // namespace corvane
