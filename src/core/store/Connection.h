#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>

#include <sqlite3.h>

namespace corvane::store {

// How a connection meets a lock another connection holds.
enum class LockWait
{
    // Waits for it, up to Connection::busyTimeoutMs: worker threads and the command line.
    wait,
    // Never waits for the write lock, and for a reader's rare lock (a log being recovered) only a
    // few milliseconds: the window's thread, which must keep drawing while corvane-cli writes.
    never,
};

// One SQLite connection, used by one thread at a time. Foreign keys, WAL and a busy timeout are
// set as it opens; prepared statements are cached by their SQL text. It records which tables a
// transaction touched (foreign-key cascades included), for change notifications.
class Connection
{
public:
    // How long a statement waits for another connection's write lock before it fails as busy.
    static constexpr int busyTimeoutMs = 5000;
    // The most a LockWait::never connection waits for a lock that is not the write lock.
    static constexpr int neverWaitReadGraceMs = 10;

    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // Opens (creating when `create`) the database at `path`.
    static Result<Connection *> open(const QString &path, bool create);

    sqlite3 *handle() const { return m_db; }

    // A cached statement, reset and with its bindings cleared.
    Result<sqlite3_stmt *> prepare(const QByteArray &sql);
    Status exec(const char *sql);
    // One statement through the cache: for the few that run at every save (BEGIN, COMMIT, ...),
    // where parsing them again each time shows up in profiles.
    Status run(const QByteArray &sql);
    Result<qint64> queryInteger(const char *sql);

    // Starts a write transaction (BEGIN IMMEDIATE). Under LockWait::never it fails at once with
    // the code SQLITE_BUSY while another connection writes.
    Status beginWrite();

    void setLockWait(LockWait wait) { m_lockWait = wait; }
    LockWait lockWait() const { return m_lockWait; }

    // The connection's last error as a value: "<context>: <SQLite's message>".
    Error lastError(const QString &context) const;

    QSet<QString> takeTouchedTables();

private:
    Connection() = default;
    static int waitForLock(void *self, int attempts);
    static void onUpdate(void *self, int op, const char *database, const char *table, sqlite3_int64 rowid);

    sqlite3 *m_db = nullptr;
    QHash<QByteArray, sqlite3_stmt *> m_statements;
    QSet<QString> m_touched;
    QByteArray m_lastTouched;
    LockWait m_lockWait = LockWait::wait;
    bool m_beginningWrite = false;
};

// Runs `stmt` to completion; SQLITE_DONE is success.
Status stepToDone(Connection &connection, sqlite3_stmt *stmt, const QString &context);

} // namespace corvane::store
