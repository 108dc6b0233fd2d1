#include "tools/search/QuickSearch.h"

#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Connection.h"
#include "core/store/MessageSearchIndex.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "tools/search/IndexQuery.h"

#include <QHash>

#include <limits>

namespace corvane::search {

using store::Connection;

namespace {

const QString noProject = QStringLiteral("No Project");

bool containsFolded(const QString &text, const CodePoints &query)
{
    return find(foldedCodePoints(text), query) >= 0;
}

// Resets a statement when a walk ends, however it ends: a statement left part way holds its
// read transaction open.
struct Resetting
{
    sqlite3_stmt *stmt;
    ~Resetting() { sqlite3_reset(stmt); }
};

// The columns every message walk reads, newest first; ties go to the row written last.
#define MESSAGE_COLUMNS "m.rowid, m.id, m.content, m.timestamp, m.chatId"
#define MESSAGE_KIND "m.contentType = 'text' AND m.role IN ('user', 'assistant')"
#define NEWEST_FIRST " ORDER BY m.timestamp DESC, m.rowid DESC"
#define OLDER_THAN " AND (m.timestamp < ?2 OR (m.timestamp = ?2 AND m.rowid < ?3))"

const QByteArray plainSql = "SELECT " MESSAGE_COLUMNS " FROM Message m WHERE " MESSAGE_KIND NEWEST_FIRST;
// CROSS JOIN keeps the index first: it hands over the candidates, and each is looked up by key.
const QByteArray indexedSql = "SELECT " MESSAGE_COLUMNS " FROM MessageSearch"
    " CROSS JOIN MessageSearchKey k ON k.key = MessageSearch.rowid"
    " CROSS JOIN Message m ON m.id = k.messageId"
    " WHERE MessageSearch MATCH ?1 AND " MESSAGE_KIND OLDER_THAN NEWEST_FIRST;

struct ChatInfo
{
    QString name;
    bool archived = false;
};

// One search over the messages: the rule every row is held to, and where the walk has got to.
class MessageWalk
{
public:
    MessageWalk(Connection &connection, const QString &query, int limit)
        : m_connection(connection), m_query(query), m_needle(foldedCodePoints(query)), m_limit(limit) {}

    Status loadChats()
    {
        auto stmt = m_connection.prepare("SELECT id, name, statusRaw FROM Chat");
        if (!stmt)
            return stmt.error();
        Resetting reset{*stmt};
        int rc;
        while ((rc = sqlite3_step(*stmt)) == SQLITE_ROW) {
            const auto *id = static_cast<const char *>(sqlite3_column_blob(*stmt, 0));
            m_chats.insert(QByteArray(id, sqlite3_column_bytes(*stmt, 0)),
                           ChatInfo{store::textAt(*stmt, 1), store::textAt(*stmt, 2) == QLatin1String("archived")});
        }
        if (rc != SQLITE_DONE)
            return m_connection.lastError(QStringLiteral("Reading the chats"));
        return {};
    }

    // Steps through `stmt` until the limit is reached, `budget` rows were read (negative: no
    // budget) or the rows end. Returns whether the rows ended.
    Result<bool> walk(sqlite3_stmt *stmt, int budget = -1)
    {
        Resetting reset{stmt};
        int read = 0;
        while (!isFull() && (budget < 0 || read < budget)) {
            const int rc = sqlite3_step(stmt);
            if (rc == SQLITE_DONE)
                return true;
            if (rc != SQLITE_ROW)
                return m_connection.lastError(QStringLiteral("Searching the messages"));
            ++read;
            m_lastTimestamp = sqlite3_column_int64(stmt, 3);
            m_lastRowid = sqlite3_column_int64(stmt, 0);
            m_started = true;
            take(stmt);
        }
        return false;
    }

    bool isFull() const { return m_results.size() >= m_limit; }
    bool started() const { return m_started; }
    qint64 lastTimestamp() const { return m_started ? m_lastTimestamp : std::numeric_limits<qint64>::max(); }
    qint64 lastRowid() const { return m_started ? m_lastRowid : std::numeric_limits<qint64>::max(); }
    QList<MessageSearchResult> results() && { return std::move(m_results); }

private:
    // The scan's rule, applied alike to every row of every walk: a chat that exists and is not
    // archived, and lower-cased content that contains the lower-cased query. (Kind and role are
    // in each statement's WHERE.)
    void take(sqlite3_stmt *stmt)
    {
        const auto *chatId = static_cast<const char *>(sqlite3_column_blob(stmt, 4));
        if (!chatId)
            return;
        const auto chat = m_chats.constFind(QByteArray::fromRawData(chatId, sqlite3_column_bytes(stmt, 4)));
        if (chat == m_chats.cend() || chat->archived)
            return;
        const auto *content = static_cast<const char *>(sqlite3_column_blob(stmt, 2));
        const int size = sqlite3_column_bytes(stmt, 2);
        foldUtf8(content, size, m_buffer);
        if (find(m_buffer, m_needle) < 0)
            return;
        MessageSearchResult result;
        result.id = QUuid::fromString(store::textAt(stmt, 1));
        result.chatId = QUuid::fromString(QLatin1String(chatId, sqlite3_column_bytes(stmt, 4)));
        result.chatName = chat->name;
        Snippet made = snippet(QString::fromUtf8(content, size), m_query, snippetLength);
        result.snippet = std::move(made.text);
        result.matchRange = made.match;
        result.timestamp = QDateTime::fromMSecsSinceEpoch(sqlite3_column_int64(stmt, 3), Qt::UTC).toLocalTime();
        m_results.append(std::move(result));
    }

    Connection &m_connection;
    QString m_query;
    CodePoints m_needle;
    CodePoints m_buffer;
    int m_limit;
    QHash<QByteArray, ChatInfo> m_chats;
    QList<MessageSearchResult> m_results;
    qint64 m_lastTimestamp = 0;
    qint64 m_lastRowid = 0;
    bool m_started = false;
};

Status bindBoundary(Connection &connection, sqlite3_stmt *stmt, const MessageWalk &walk)
{
    if (sqlite3_bind_int64(stmt, 2, walk.lastTimestamp()) != SQLITE_OK
        || sqlite3_bind_int64(stmt, 3, walk.lastRowid()) != SQLITE_OK)
        return connection.lastError(QStringLiteral("Binding a search"));
    return {};
}

Result<QList<MessageSearchResult>> runSearch(Connection &connection, const QString &query, int limit, MessageScan scan,
                                             int scanFirst)
{
    MessageWalk walk(connection, query, limit);
    if (Status s = walk.loadChats(); !s)
        return s.error();
    const QString phrases = scan == MessageScan::plain || !store::isMessageSearchIndexReady(connection)
        ? QString()
        : indexQuery(foldedCodePoints(query));

    if (phrases.isEmpty() || scan == MessageScan::automatic) {
        auto stmt = connection.prepare(plainSql);
        if (!stmt)
            return stmt.error();
        auto ended = walk.walk(*stmt, phrases.isEmpty() ? -1 : scanFirst);
        if (!ended)
            return ended.error();
        if (*ended || walk.isFull() || phrases.isEmpty())
            return std::move(walk).results();
    }
    // The rest comes from the index, from where the scan stopped on.
    auto stmt = connection.prepare(indexedSql);
    if (!stmt)
        return stmt.error();
    const QByteArray match = phrases.toUtf8();
    if (sqlite3_bind_text(*stmt, 1, match.constData(), int(match.size()), SQLITE_TRANSIENT) != SQLITE_OK)
        return connection.lastError(QStringLiteral("Binding a search"));
    if (Status s = bindBoundary(connection, *stmt, walk); !s)
        return s.error();
    auto ended = walk.walk(*stmt);
    if (!ended)
        return ended.error();
    return std::move(walk).results();
}

} // namespace

QList<WorkspaceSearchResult> searchWorkspaces(StoreContext &context, const QString &query)
{
    auto workspaces = context.fetch<Workspace>(Query().orderBy(QStringLiteral("updatedAtStorage"), false));
    auto projects = context.fetch<Project>();
    if (!workspaces || !projects)
        return {};
    auto connection = context.store().connection();
    if (!connection)
        return {};
    auto counts = (*connection)->prepare("SELECT workspaceId, count(*) FROM Chat WHERE workspaceId IS NOT NULL GROUP BY workspaceId");
    if (!counts)
        return {};
    QHash<QString, int> chatCounts;
    {
        Resetting reset{*counts};
        int rc;
        while ((rc = sqlite3_step(*counts)) == SQLITE_ROW)
            chatCounts.insert(store::textAt(*counts, 0), sqlite3_column_int(*counts, 1));
        if (rc != SQLITE_DONE)
            return {};
    }
    QHash<QUuid, QString> projectNames;
    for (const auto &project : std::as_const(*projects))
        projectNames.insert(project->id, project->name);

    const CodePoints needle = foldedCodePoints(query);
    QList<WorkspaceSearchResult> out;
    for (const auto &workspace : std::as_const(*workspaces)) {
        if (workspace->isArchived())
            continue;
        const std::optional<QString> projectName = workspace->projectId && projectNames.contains(*workspace->projectId)
            ? std::optional(projectNames.value(*workspace->projectId))
            : std::nullopt;
        if (query.isEmpty()) {
            if (out.size() >= workspacesWhenEmpty)
                break;
        } else if (!containsFolded(workspace->name, needle) && !(projectName && containsFolded(*projectName, needle))) {
            continue;
        }
        out.append(WorkspaceSearchResult{workspace->id, workspace->name, projectName.value_or(noProject),
                                         chatCounts.value(store::ColumnCodec<QUuid>::text(workspace->id)),
                                         workspace->updatedAt(), workspace->gitBranch});
    }
    return out;
}

QList<MessageSearchResult> searchMessages(Store &store, const QString &query, int limit, MessageScan scan, int scanFirst)
{
    if (query.isEmpty() || limit <= 0)
        return {};
    auto connection = store.connection();
    if (!connection)
        return {};
    auto found = runSearch(**connection, query, limit, scan, scanFirst);
    return found ? std::move(found).value() : QList<MessageSearchResult>();
}

std::optional<QString> messageIndexMissing(Store &store)
{
    auto connection = store.connection();
    if (!connection)
        return connection.error().message;
    if (store::hasMessageSearchIndex(**connection))
        return std::nullopt;
    Status supported = store::messageSearchSupported(**connection);
    return supported ? QStringLiteral("the store has no message index")
                     : supported.error().message;
}

} // namespace corvane::search
