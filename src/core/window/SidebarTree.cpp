#include "core/window/SidebarTree.h"

#include "core/Log.h"
#include "core/records/Project.h"
#include "core/store/ColumnCodec.h"
#include "core/store/Connection.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QHash>
#include <QSet>

namespace corvane {

namespace {

using store::ColumnCodec;

// The sidebar needs three columns of thousands of rows. Whole records through a context cost
// about 20 µs each (every column decoded, a snapshot kept per record), which made a large
// sidebar the slowest part of opening a window; these narrow reads of what is saved take a
// fraction of that.
const QByteArray workspaceSql = "SELECT id, name, gitBranch, projectId, automationStatusRaw FROM Workspace "
                                "WHERE statusRaw IS NOT 'archived' AND projectId IS NOT NULL ORDER BY sortOrder";
const QByteArray chatSql = "SELECT id, name, workspaceId, sortOrder FROM Chat "
                           "WHERE statusRaw IS NOT 'archived' AND workspaceId IS NOT NULL ORDER BY sortOrder";

std::optional<QString> optionalText(sqlite3_stmt *statement, int column)
{
    if (sqlite3_column_type(statement, column) == SQLITE_NULL)
        return std::nullopt;
    return ColumnCodec<QString>::read(statement, column);
}

} // namespace

QString SidebarWorkspaceRow::label() const
{
    static const QHash<QString, QString> words{
        {QStringLiteral("planning"), QStringLiteral("Planning")},
        {QStringLiteral("implementing"), QStringLiteral("Implementing")},
        {QStringLiteral("validating"), QStringLiteral("Running gates")},
        {QStringLiteral("reviewing"), QStringLiteral("Reviewer running")},
        {QStringLiteral("awaitingUserReview"), QStringLiteral("Review Required")},
        {QStringLiteral("blocked"), QStringLiteral("Run blocked")},
        {QStringLiteral("done"), QStringLiteral("Run approved")},
        {QStringLiteral("failed"), QStringLiteral("Run failed")}};
    const QString word = automationStatusRaw ? words.value(*automationStatusRaw) : QString();
    return word.isEmpty() ? name : name + QStringLiteral(" \u00B7 ") + word;
}

QList<SidebarProjectRow> readSidebarTree(StoreContext &context, const QList<std::shared_ptr<Project>> &projects)
{
    QList<SidebarProjectRow> rows;
    if (projects.isEmpty())
        return rows;
    QHash<QUuid, QList<SidebarChatRow>> chatsByWorkspace;
    QHash<QUuid, QList<SidebarWorkspaceRow>> workspacesByProject;

    auto connection = context.store().connection();
    auto chats = connection ? connection.value()->prepare(chatSql) : Result<sqlite3_stmt *>(connection.error());
    auto workspaces = connection ? connection.value()->prepare(workspaceSql) : Result<sqlite3_stmt *>(connection.error());
    if (!chats || !workspaces) {
        // Nothing to list is what a failed read shows; the next save reads again.
        logLine("SidebarVM", QStringLiteral("reading the sidebar failed: ")
                                 + (chats ? workspaces.error() : chats.error()).message);
    } else {
        while (sqlite3_step(*chats) == SQLITE_ROW)
            chatsByWorkspace[ColumnCodec<QUuid>::read(*chats, 2)].append(
                {ColumnCodec<QUuid>::read(*chats, 0), ColumnCodec<QString>::read(*chats, 1),
                 sqlite3_column_int64(*chats, 3)});
        sqlite3_reset(*chats);
        while (sqlite3_step(*workspaces) == SQLITE_ROW) {
            SidebarWorkspaceRow row{ColumnCodec<QUuid>::read(*workspaces, 0), ColumnCodec<QString>::read(*workspaces, 1),
                                    optionalText(*workspaces, 2), {}, optionalText(*workspaces, 4)};
            row.chats = chatsByWorkspace.take(row.id);
            workspacesByProject[ColumnCodec<QUuid>::read(*workspaces, 3)].append(std::move(row));
        }
        sqlite3_reset(*workspaces);
    }
    rows.reserve(projects.size());
    for (const auto &project : projects)
        rows.append({project->id, project->name, project->path, project->isExpanded,
                     workspacesByProject.take(project->id)});
    return rows;
}

} // namespace corvane
