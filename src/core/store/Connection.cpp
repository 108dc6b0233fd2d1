#include "core/store/Connection.h"

#include <cstring>

namespace corvane::store {

Connection::~Connection()
{
    for (sqlite3_stmt *stmt : std::as_const(m_statements))
        sqlite3_finalize(stmt);
    if (m_db)
        sqlite3_close_v2(m_db);
}

Result<Connection *> Connection::open(const QString &path, bool create)
{
    auto *connection = new Connection;
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    if (create)
        flags |= SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(path.toUtf8().constData(), &connection->m_db, flags, nullptr);
    if (rc != SQLITE_OK) {
        Error error = connection->m_db ? connection->lastError(QStringLiteral("Opening the store"))
                                       : Error(QStringLiteral("Opening the store: out of memory"), rc);
        delete connection;
        return error;
    }
    sqlite3_extended_result_codes(connection->m_db, 0);
    sqlite3_busy_handler(connection->m_db, &Connection::waitForLock, connection);
    sqlite3_update_hook(connection->m_db, &Connection::onUpdate, connection);
    // Foreign keys are off by default in SQLite and must be switched on for every connection,
    // or cascades silently never happen. SQLite's default page cache of 2 MB is far smaller
    // than a used store's message indexes: a sweep of archived chats spent a fifth of its time
    // reading back pages it had just dropped. 16 MB is taken only as pages are read.
    for (const char *pragma : {"PRAGMA foreign_keys = ON", "PRAGMA synchronous = NORMAL", "PRAGMA cache_size = -16384"}) {
        if (Status status = connection->exec(pragma); !status) {
            delete connection;
            return status.error();
        }
    }
    return connection;
}

int Connection::waitForLock(void *self, int attempts)
{
    const auto *connection = static_cast<const Connection *>(self);
    if (connection->m_lockWait == LockWait::never) {
        // The write lock can be held for seconds by another process: give up at once and let
        // the caller try again later. Readers in WAL mode meet a lock only while a log is being
        // recovered or reset, which takes moments.
        if (connection->m_beginningWrite || attempts >= neverWaitReadGraceMs)
            return 0;
        sqlite3_sleep(1);
        return 1;
    }
    // SQLite's own timeout backs off to sleeps of 100 ms, and so keeps missing the short gaps
    // between the transactions of a writer that works in small batches (the search index fill):
    // a save could wait seconds for a lock that was free most of the time. Looking again every
    // millisecond takes the first gap. Up to five seconds, as before.
    if (attempts >= busyTimeoutMs)
        return 0;
    sqlite3_sleep(1);
    return 1;
}

Result<sqlite3_stmt *> Connection::prepare(const QByteArray &sql)
{
    if (sqlite3_stmt *cached = m_statements.value(sql)) {
        sqlite3_reset(cached);
        sqlite3_clear_bindings(cached);
        return cached;
    }
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v3(m_db, sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK)
        return lastError(QStringLiteral("Preparing a query"));
    m_statements.insert(sql, stmt);
    return stmt;
}

Status Connection::exec(const char *sql)
{
    char *message = nullptr;
    const int rc = sqlite3_exec(m_db, sql, nullptr, nullptr, &message);
    if (rc == SQLITE_OK)
        return {};
    Error error(QString::fromUtf8(message ? message : sqlite3_errstr(rc)), rc);
    sqlite3_free(message);
    return error;
}

Status Connection::run(const QByteArray &sql)
{
    auto stmt = prepare(sql);
    if (!stmt)
        return stmt.error();
    const int rc = sqlite3_step(*stmt);
    sqlite3_reset(*stmt);
    if (rc == SQLITE_DONE || rc == SQLITE_ROW)
        return {};
    return lastError(QString::fromUtf8(sql));
}

Result<qint64> Connection::queryInteger(const char *sql)
{
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr) != SQLITE_OK)
        return lastError(QString::fromUtf8(sql));
    const int rc = sqlite3_step(stmt);
    const qint64 value = rc == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : 0;
    sqlite3_finalize(stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        return lastError(QString::fromUtf8(sql));
    return value;
}

Status Connection::beginWrite()
{
    m_beginningWrite = true;
    Status status = run(QByteArrayLiteral("BEGIN IMMEDIATE"));
    m_beginningWrite = false;
    return status;
}

Error Connection::lastError(const QString &context) const
{
    return Error(context + QStringLiteral(": ") + QString::fromUtf8(sqlite3_errmsg(m_db)), sqlite3_errcode(m_db));
}

QSet<QString> Connection::takeTouchedTables()
{
    m_lastTouched.clear();
    return std::exchange(m_touched, {});
}

void Connection::onUpdate(void *self, int, const char *, const char *table, sqlite3_int64)
{
    // Called for every row written, cascades included: keep it cheap for long runs of one table.
    auto *connection = static_cast<Connection *>(self);
    if (std::strcmp(connection->m_lastTouched.constData(), table) == 0)
        return;
    connection->m_lastTouched = table;
    connection->m_touched.insert(QString::fromUtf8(table));
}

Status stepToDone(Connection &connection, sqlite3_stmt *stmt, const QString &context)
{
    const int rc = sqlite3_step(stmt);
    if (rc == SQLITE_DONE || rc == SQLITE_ROW)
        return {};
    return connection.lastError(context);
}

} // namespace corvane::store
