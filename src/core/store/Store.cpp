#include "core/store/Store.h"

#include "core/Log.h"
#include "core/store/Connection.h"
#include "core/store/Migrations.h"
#include "core/store/Schema.h"
#include "core/store/StoreContext.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTimer>
#include <QFileInfo>
#include <QMutexLocker>
#include <QThread>
#include <QThreadPool>

#include <sqlite3.h>

namespace corvane {

using store::Connection;

namespace {

// How an attempt to open ended: ready, unreadable (set the file aside), or unreachable (stop).
struct Attempt
{
    Connection *connection = nullptr;
    bool createdNew = false;
    std::optional<QString> unreadable;
    std::optional<Error> fatal;
};

bool meansUnreadable(const Error &error)
{
    return error.code == SQLITE_NOTADB || error.code == SQLITE_CORRUPT;
}

std::optional<QString> schemaMismatch(Connection &connection)
{
    for (const store::RecordOps *ops : store::allRecordTypes()) {
        const QByteArray sql = "PRAGMA table_info(\"" + ops->entity->name.toUtf8() + "\")";
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(connection.handle(), sql.constData(), -1, &stmt, nullptr) != SQLITE_OK)
            return connection.lastError(QStringLiteral("Reading the schema")).message;
        QSet<QString> present;
        while (sqlite3_step(stmt) == SQLITE_ROW)
            present.insert(store::textAt(stmt, 1));
        sqlite3_finalize(stmt);
        for (const QString &column : ops->entity->columns)
            if (!present.contains(column))
                return QStringLiteral("its table %1 has no column %2").arg(ops->entity->name, column);
    }
    return std::nullopt;
}

Status migrate(Connection &connection, int from)
{
    if (Status s = connection.exec("BEGIN IMMEDIATE"); !s)
        return s;
    for (const store::Migration &step : store::migrations()) {
        if (step.version <= from)
            continue;
        Status s = step.apply ? step.apply(connection) : connection.exec(step.sql);
        if (s)
            s = connection.exec(QByteArray("PRAGMA user_version = " + QByteArray::number(step.version)).constData());
        if (!s) {
            (void)connection.exec("ROLLBACK");
            return s.error().prefixed(QStringLiteral("Migrating the store to version %1: ").arg(step.version));
        }
    }
    return connection.exec("COMMIT");
}

// Looks at the file's header before SQLite does: given a file that is not a database, SQLite
// removes a "-wal" beside it that it cannot use, and that could be the user's newest data.
std::optional<QString> notADatabase(const QString &path)
{
    QFile file(path);
    if (!file.exists() || file.size() == 0)
        return std::nullopt;
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt; // let SQLite report why it cannot be reached
    static const QByteArray magic("SQLite format 3\0", 16);
    if (file.read(16) != magic || file.size() < 512)
        return QStringLiteral("the file is not a database");
    return std::nullopt;
}

Attempt attemptOpen(const QString &path)
{
    Attempt attempt;
    attempt.createdNew = !QFileInfo::exists(path) || QFileInfo(path).size() == 0;
    if (auto reason = notADatabase(path)) {
        attempt.unreadable = *reason;
        return attempt;
    }
    auto opened = Connection::open(path, true);
    if (!opened) {
        if (meansUnreadable(opened.error()))
            attempt.unreadable = opened.error().message;
        else
            attempt.fatal = opened.error();
        return attempt;
    }
    std::unique_ptr<Connection> connection(opened.value());
    auto fail = [&](const Error &error) {
        if (meansUnreadable(error))
            attempt.unreadable = error.message;
        else
            attempt.fatal = error;
        return attempt;
    };

    auto version = connection->queryInteger("PRAGMA user_version");
    if (!version)
        return fail(version.error());
    if (*version > store::currentSchemaVersion()) {
        attempt.unreadable = QStringLiteral("it was written by a newer version of Corvane (schema %1; this version reads up to %2)")
                                 .arg(*version).arg(store::currentSchemaVersion());
        return attempt;
    }
    if (*version == 0) {
        auto tables = connection->queryInteger("SELECT count(*) FROM sqlite_master");
        if (!tables)
            return fail(tables.error());
        if (*tables > 0) {
            attempt.unreadable = QStringLiteral("it holds tables that are not Corvane's");
            return attempt;
        }
    } else {
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(connection->handle(), "PRAGMA quick_check(1)", -1, &stmt, nullptr) != SQLITE_OK)
            return fail(connection->lastError(QStringLiteral("Checking the store")));
        const int rc = sqlite3_step(stmt);
        const QString verdict = rc == SQLITE_ROW ? store::textAt(stmt, 0) : QString();
        sqlite3_finalize(stmt);
        if (rc != SQLITE_ROW)
            return fail(connection->lastError(QStringLiteral("Checking the store")));
        if (verdict != QLatin1String("ok")) {
            attempt.unreadable = QStringLiteral("it failed its integrity check: ") + verdict;
            return attempt;
        }
    }
    if (Status s = connection->exec("PRAGMA journal_mode = WAL"); !s)
        return fail(s.error());
    if (*version < store::currentSchemaVersion()) {
        if (Status s = migrate(*connection, int(*version)); !s) {
            attempt.unreadable = s.error().message; // the data stays, set aside
            return attempt;
        }
    }
    if (auto mismatch = schemaMismatch(*connection)) {
        attempt.unreadable = *mismatch;
        return attempt;
    }
    attempt.connection = connection.release();
    return attempt;
}

// Moves the file and its sidecars to "<path>.unreadable-<time>" (plus "-wal"/"-shm"), keeping
// SQLite's naming so the three still open together. Returns the new path.
Result<QString> setAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = path + QStringLiteral(".unreadable-") + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path + QStringLiteral(".unreadable-") + stamp + QLatin1Char('-') + QString::number(n);
    for (const char *suffix : {"", "-wal", "-shm"}) {
        const QString from = path + QLatin1String(suffix);
        if (!QFileInfo::exists(from))
            continue;
        if (!QFile::rename(from, target + QLatin1String(suffix)))
            return Error(QStringLiteral("Could not move %1 aside to %2").arg(from, target + QLatin1String(suffix)));
    }
    return target;
}

} // namespace

Store::Store(QString path) : m_path(std::move(path))
{
    qRegisterMetaType<corvane::StoreChanges>();
}

Store::~Store()
{
    m_mainContext.reset();
    QMutexLocker lock(&m_mutex);
    qDeleteAll(m_connections);
    m_connections.clear();
}

Result<std::shared_ptr<Store>> Store::open(const QString &path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    StoreOpenReport report;
    Attempt attempt = attemptOpen(path);
    if (attempt.unreadable) {
        auto moved = setAside(path);
        if (!moved)
            return moved.error();
        logLine("Store", QStringLiteral("The store %1 could not be read (%2). It was moved aside to %3, "
                                        "nothing was deleted, and a fresh store was created.")
                             .arg(path, *attempt.unreadable, *moved));
        report.setAsidePath = *moved;
        report.setAsideReason = *attempt.unreadable;
        attempt = attemptOpen(path);
        if (attempt.unreadable)
            attempt.fatal = Error(*attempt.unreadable);
    }
    if (attempt.fatal)
        return attempt.fatal->prefixed(QStringLiteral("Could not open the store %1: ").arg(path));
    report.createdNew = attempt.createdNew && !report.setAsidePath;

    std::shared_ptr<Store> store(new Store(path));
    store->m_report = report;
    store->m_connections.insert(QThread::currentThread(), attempt.connection);
    store->checkpointInBackground(attempt.connection->handle());
    QObject::connect(QThread::currentThread(), &QThread::finished, store.get(),
                     [s = store.get(), t = QThread::currentThread()] { s->closeConnectionOf(t); }, Qt::DirectConnection);
    return store;
}

StoreContext &Store::mainContext()
{
    if (!m_mainContext)
        m_mainContext.reset(new StoreContext(this));
    return *m_mainContext;
}

std::unique_ptr<StoreContext> Store::newContext()
{
    return std::unique_ptr<StoreContext>(new StoreContext(this));
}

Result<Connection *> Store::connection()
{
    QThread *thread = QThread::currentThread();
    QMutexLocker lock(&m_mutex);
    if (Connection *existing = m_connections.value(thread))
        return existing;
    auto opened = Connection::open(m_path, false);
    if (!opened)
        return opened.error();
    m_connections.insert(thread, opened.value());
    if (thread == m_responsiveThread)
        opened.value()->setLockWait(store::LockWait::never);
    if (thread == this->thread())
        checkpointInBackground(opened.value()->handle());
    // Pool threads come and go: close a thread's connection when it ends.
    connect(thread, &QThread::finished, this, [this, thread] { closeConnectionOf(thread); }, Qt::DirectConnection);
    return opened.value();
}

struct CheckpointState
{
    QString path;
    std::shared_ptr<std::atomic<bool>> running = std::make_shared<std::atomic<bool>>(false);
};

namespace {

// Pages in the write-ahead log past which it is copied back into the file (SQLite's own default).
constexpr int checkpointPages = 1000;

int afterCommit(void *state, sqlite3 *, const char *, int pages)
{
    auto *checkpoint = static_cast<CheckpointState *>(state);
    if (pages < checkpointPages || checkpoint->running->exchange(true))
        return SQLITE_OK;
    // A passive checkpoint waits for no one: writers go on while it copies, and what readers
    // still need stays in the log for the next one.
    QThreadPool::globalInstance()->start([path = checkpoint->path, running = checkpoint->running] {
        if (auto connection = Connection::open(path, false)) {
            sqlite3_wal_checkpoint_v2(connection.value()->handle(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
            delete connection.value();
        }
        running->store(false);
    });
    return SQLITE_OK;
}

} // namespace

void Store::checkpointInBackground(sqlite3 *db)
{
    // SQLite copies the log back into the file inside the commit that fills it, which on the main
    // thread is a frame of 10 ms or more every thousand pages. This connection hands that to a
    // worker instead (setting the hook turns SQLite's own automatic checkpoint off).
    m_checkpoint = std::make_unique<CheckpointState>();
    m_checkpoint->path = m_path;
    sqlite3_wal_hook(db, &afterCommit, m_checkpoint.get());
}

void Store::keepResponsive(QThread *thread)
{
    QMutexLocker lock(&m_mutex);
    if (m_responsiveThread)
        if (Connection *previous = m_connections.value(m_responsiveThread))
            previous->setLockWait(store::LockWait::wait);
    m_responsiveThread = thread;
    if (Connection *existing = m_connections.value(thread))
        existing->setLockWait(store::LockWait::never);
}

void Store::closeConnectionOf(QThread *thread)
{
    QMutexLocker lock(&m_mutex);
    delete m_connections.take(thread);
}

void Store::watchOtherWriters(int intervalMs)
{
    if (!m_watch) {
        m_watch = new QTimer(this);
        connect(m_watch, &QTimer::timeout, this, [this] {
            auto opened = connection();
            if (!opened)
                return;
            const auto version = (*opened)->queryInteger("PRAGMA data_version");
            if (!version)
                return;
            const bool changed = m_dataVersion >= 0 && *version != m_dataVersion;
            m_dataVersion = *version;
            if (changed)
                emit changedElsewhere();
        });
    }
    m_watch->start(intervalMs);
}

} // namespace corvane
