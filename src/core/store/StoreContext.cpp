#include "core/store/StoreContext.h"

#include "core/Log.h"
#include "core/store/Connection.h"
#include "core/store/Store.h"

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

namespace corvane {

using store::Connection;
using store::RecordOps;

namespace {

QByteArray tableOf(const RecordOps &ops)
{
    return '"' + ops.entity->name.toUtf8() + '"';
}

Status checkColumns(const RecordOps &ops, const QStringList &columns)
{
    for (const QString &column : columns)
        if (!ops.entity->hasColumn(column))
            return Error(QStringLiteral("%1 has no field %2").arg(ops.entity->name, column));
    return {};
}

Status bindArgs(Connection &connection, sqlite3_stmt *stmt, const QVariantList &args, int first = 1)
{
    for (int i = 0; i < args.size(); ++i)
        if (store::bindVariant(stmt, first + i, args.at(i)) != SQLITE_OK)
            return connection.lastError(QStringLiteral("Binding a query value"));
    return {};
}

QByteArray updateSql(const RecordOps &ops, store::ColumnMask mask)
{
    QByteArrayList sets;
    for (int i = 0; i < ops.entity->columns.size(); ++i)
        if (mask & (store::ColumnMask(1) << i))
            sets.append('"' + ops.entity->columns.at(i).toUtf8() + "\" = ?");
    return "UPDATE " + tableOf(ops) + " SET " + sets.join(',') + " WHERE \"id\" = ?";
}

QByteArray selectByIdSql(const RecordOps &ops)
{
    return "SELECT " + ops.entity->selectList + " FROM " + tableOf(ops) + " WHERE \"id\" = ?";
}

// The first try again after a save met another writer, and the longest pause between tries: a
// few frames at most, so what the user did lands soon after the other writer lets go.
constexpr int firstSaveRetryMs = 4;
constexpr int longestSaveRetryMs = 64;

} // namespace

StoreContext::StoreContext(Store *store) : m_store(store)
{
    connect(store, &Store::didSave, this, &StoreContext::mergeChanges);
}

StoreContext::~StoreContext()
{
    // Changes still waiting for another writer are written now, waiting as long as any worker
    // would: nothing is drawn any more, and they must not be lost.
    if (!isSaveDeferred())
        return;
    auto connection = m_store->connection();
    if (!connection)
        return;
    const store::LockWait wait = (*connection)->lockWait();
    (*connection)->setLockWait(store::LockWait::wait);
    m_saveRetry->stop();
    (void)save();
    (*connection)->setLockWait(wait);
}

bool StoreContext::isSaveDeferred() const
{
    return m_saveRetry && m_saveRetry->isActive();
}

void StoreContext::deferSave()
{
    if (!m_saveRetry) {
        m_saveRetry = new QTimer(this);
        m_saveRetry->setSingleShot(true);
        connect(m_saveRetry, &QTimer::timeout, this, [this] { (void)save(); });
    }
    // Said once in a while, not at every put-off save: a long automation run meets thousands.
    static QElapsedTimer lastSaid;
    if (m_saveRetryDelayMs == 0 && (!lastSaid.isValid() || lastSaid.elapsed() > 10000)) {
        lastSaid.start();
        logLine("Store", QStringLiteral("Another program is writing to the store; saves are kept and tried again shortly"));
    }
    m_saveRetryDelayMs = m_saveRetryDelayMs == 0 ? firstSaveRetryMs : std::min(m_saveRetryDelayMs * 2, longestSaveRetryMs);
    m_saveRetry->start(m_saveRetryDelayMs);
}

void StoreContext::registerInserted(const RecordOps &ops, std::shared_ptr<void> object)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const QUuid id = ops.idOf(object.get());
    EntityMap &map = m_entries[&ops];
    if (!map.contains(id))
        ++m_registered;
    map.insert(id, Entry{std::move(object), nullptr, State::inserted});
    m_insertOrder.append({&ops, id});
}

void StoreContext::markDeleted(const RecordOps &ops, const QUuid &id)
{
    Q_ASSERT(QThread::currentThread() == thread());
    EntityMap &map = m_entries[&ops];
    auto it = map.find(id);
    if (it == map.end()) {
        // Not held here: remember it only by id, which is all a delete needs.
        map.insert(id, Entry{nullptr, nullptr, State::deleted});
        ++m_registered;
        return;
    }
    if (it->state == State::inserted) {
        map.erase(it);
        --m_registered;
        return;
    }
    it->state = State::deleted;
}

void StoreContext::settleEntry(const RecordOps &ops, const QUuid &id)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const auto map = m_entries.find(&ops);
    if (map == m_entries.end())
        return;
    const auto it = map->find(id);
    if (it == map->end() || it->state != State::persisted || ops.diff(it->object.get(), it->snapshot.get()))
        return;
    map->erase(it);
    --m_registered;
}

QList<std::shared_ptr<void>> StoreContext::unsavedErased(const RecordOps &ops) const
{
    QList<std::shared_ptr<void>> out;
    const auto map = m_entries.constFind(&ops);
    if (map == m_entries.cend())
        return out;
    for (const auto &[entityOps, id] : m_insertOrder) {
        if (entityOps != &ops)
            continue;
        const auto it = map->constFind(id);
        if (it != map->cend() && it->state == State::inserted)
            out.append(it->object);
    }
    return out;
}

std::shared_ptr<void> StoreContext::registered(const RecordOps &ops, const QUuid &id) const
{
    const auto map = m_entries.constFind(&ops);
    if (map == m_entries.cend())
        return nullptr;
    const auto it = map->constFind(id);
    if (it == map->cend() || it->state == State::deleted)
        return nullptr;
    return it->object;
}

Result<QList<std::shared_ptr<void>>> StoreContext::fetchErased(const RecordOps &ops, const Query &query)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_registered > m_pruneThreshold)
        prune();
    QStringList columns = query.filter.columns();
    for (const SortKey &key : query.sort)
        columns.append(key.column);
    if (Status s = checkColumns(ops, columns); !s)
        return s.error();

    QByteArray sql = "SELECT " + ops.entity->selectList + " FROM " + tableOf(ops);
    if (!query.filter.isEmpty())
        sql += " WHERE " + query.filter.sql().toUtf8();
    sql += " ORDER BY ";
    for (const SortKey &key : query.sort)
        sql += '"' + key.column.toUtf8() + (key.ascending ? "\" ASC, " : "\" DESC, ");
    sql += "rowid ASC";
    QVariantList args = query.filter.args();
    if (query.limit >= 0 || query.offset > 0) {
        sql += " LIMIT ? OFFSET ?";
        args << qint64(query.limit) << qint64(query.offset);
    }

    auto connection = m_store->connection();
    if (!connection)
        return connection.error();
    auto stmt = (*connection)->prepare(sql);
    if (!stmt)
        return stmt.error();
    if (Status s = bindArgs(**connection, *stmt, args); !s)
        return s.error();

    QList<std::shared_ptr<void>> out;
    EntityMap &map = m_entries[&ops];
    int rc;
    while ((rc = sqlite3_step(*stmt)) == SQLITE_ROW) {
        const QUuid id = store::ColumnCodec<QUuid>::read(*stmt, 0);
        auto it = map.find(id);
        if (it != map.end()) {
            if (it->state != State::deleted && it->object)
                out.append(it->object);
            continue;
        }
        std::shared_ptr<void> object = ops.read(*stmt);
        map.insert(id, Entry{object, ops.clone(object.get()), State::persisted});
        ++m_registered;
        out.append(std::move(object));
    }
    if (rc != SQLITE_DONE)
        return (*connection)->lastError(QStringLiteral("Fetching %1").arg(ops.entity->name));
    return out;
}

Result<qint64> StoreContext::countErased(const RecordOps &ops, const Predicate &filter)
{
    if (Status s = checkColumns(ops, filter.columns()); !s)
        return s.error();
    QByteArray sql = "SELECT count(*) FROM " + tableOf(ops);
    if (!filter.isEmpty())
        sql += " WHERE " + filter.sql().toUtf8();
    auto connection = m_store->connection();
    if (!connection)
        return connection.error();
    auto stmt = (*connection)->prepare(sql);
    if (!stmt)
        return stmt.error();
    if (Status s = bindArgs(**connection, *stmt, filter.args()); !s)
        return s.error();
    if (sqlite3_step(*stmt) != SQLITE_ROW)
        return (*connection)->lastError(QStringLiteral("Counting %1").arg(ops.entity->name));
    const qint64 count = sqlite3_column_int64(*stmt, 0);
    // A statement left on its row keeps its read transaction open, and a connection holding an
    // old snapshot cannot write once another thread has: its next save would fail at once.
    sqlite3_reset(*stmt);
    return count;
}

bool StoreContext::hasChanges() const
{
    for (auto map = m_entries.cbegin(); map != m_entries.cend(); ++map)
        for (const Entry &entry : *map)
            if (entry.state != State::persisted || map.key()->diff(entry.object.get(), entry.snapshot.get()))
                return true;
    return false;
}

int StoreContext::registeredCount() const
{
    return m_registered;
}

Status StoreContext::save()
{
    Q_ASSERT(QThread::currentThread() == thread());
    struct Update { const RecordOps *ops; QUuid id; store::ColumnMask mask; };
    QList<std::pair<const RecordOps *, QUuid>> inserts, deletes;
    QList<Update> updates;
    for (const auto &[ops, id] : std::as_const(m_insertOrder)) {
        const auto map = m_entries.constFind(ops);
        if (map == m_entries.cend())
            continue;
        const auto it = map->constFind(id);
        if (it != map->cend() && it->state == State::inserted)
            inserts.append({ops, id});
    }
    for (auto map = m_entries.cbegin(); map != m_entries.cend(); ++map) {
        for (auto it = map->cbegin(); it != map->cend(); ++it) {
            if (it->state == State::deleted)
                deletes.append({map.key(), it.key()});
            else if (it->state == State::persisted)
                if (const auto mask = map.key()->diff(it->object.get(), it->snapshot.get()))
                    updates.append({map.key(), it.key(), mask});
        }
    }
    if (inserts.isEmpty() && updates.isEmpty() && deletes.isEmpty()) {
        m_insertOrder.clear();
        return {};
    }

    auto opened = m_store->connection();
    if (!opened)
        return opened.error().prefixed(QStringLiteral("Saving: "));
    Connection &connection = **opened;
    if (Status s = connection.beginWrite(); !s) {
        if (s.error().code == SQLITE_BUSY && connection.lockWait() == store::LockWait::never) {
            deferSave();
            return {};
        }
        return s.error().prefixed(QStringLiteral("Saving: "));
    }
    if (m_saveRetry)
        m_saveRetry->stop();
    m_saveRetryDelayMs = 0;
    connection.takeTouchedTables();

    StoreChanges changes;
    changes.origin = this;
    QList<std::pair<const RecordOps *, QUuid>> vanished;
    auto write = [&]() -> Status {
        // Parents and children may arrive in any order within one save: check the keys at commit.
        if (Status s = connection.run(QByteArrayLiteral("PRAGMA defer_foreign_keys = ON")); !s)
            return s;
        for (const auto &[ops, id] : std::as_const(inserts)) {
            auto stmt = connection.prepare(ops->entity->insertSql);
            if (!stmt)
                return stmt.error();
            if (ops->bind(*stmt, m_entries[ops][id].object.get(), store::allColumns(*ops->entity), 1) < 0)
                return connection.lastError(QStringLiteral("Binding %1").arg(ops->entity->name));
            if (Status s = store::stepToDone(connection, *stmt, QStringLiteral("Inserting %1").arg(ops->entity->name)); !s)
                return s;
            changes.inserted[ops->entity->name].insert(id);
        }
        for (const Update &update : std::as_const(updates)) {
            auto stmt = connection.prepare(updateSql(*update.ops, update.mask));
            if (!stmt)
                return stmt.error();
            const int next = update.ops->bind(*stmt, m_entries[update.ops][update.id].object.get(), update.mask, 1);
            if (next < 0 || store::ColumnCodec<QUuid>::bind(*stmt, next, update.id) != SQLITE_OK)
                return connection.lastError(QStringLiteral("Binding %1").arg(update.ops->entity->name));
            if (Status s = store::stepToDone(connection, *stmt, QStringLiteral("Updating %1").arg(update.ops->entity->name)); !s)
                return s;
            if (sqlite3_changes(connection.handle()) == 0)
                vanished.append({update.ops, update.id}); // deleted elsewhere, or by a cascade
            else
                changes.updated[update.ops->entity->name].insert(update.id);
        }
        for (const auto &[ops, id] : std::as_const(deletes)) {
            auto stmt = connection.prepare(ops->entity->deleteSql);
            if (!stmt)
                return stmt.error();
            store::ColumnCodec<QUuid>::bind(*stmt, 1, id);
            if (Status s = store::stepToDone(connection, *stmt, QStringLiteral("Deleting %1").arg(ops->entity->name)); !s)
                return s;
            changes.deleted[ops->entity->name].insert(id);
        }
        return connection.run(QByteArrayLiteral("COMMIT"));
    };
    if (Status s = write(); !s) {
        (void)connection.run(QByteArrayLiteral("ROLLBACK"));
        connection.takeTouchedTables();
        logLine("Store", QStringLiteral("Save failed, changes kept for the next save: ") + s.error().message);
        return s.error().prefixed(QStringLiteral("Saving: "));
    }
    changes.entities = connection.takeTouchedTables();

    for (const auto &[ops, id] : std::as_const(inserts)) {
        Entry &entry = m_entries[ops][id];
        entry.state = State::persisted;
        entry.snapshot = ops->clone(entry.object.get());
    }
    for (const Update &update : std::as_const(updates)) {
        Entry &entry = m_entries[update.ops][update.id];
        entry.snapshot = update.ops->clone(entry.object.get());
    }
    for (const auto &[ops, id] : std::as_const(deletes) + vanished)
        m_registered -= int(m_entries[ops].remove(id));
    m_insertOrder.clear();

    emit saved(changes);
    emit m_store->didSave(changes);
    prune();
    return {};
}

void StoreContext::rollback()
{
    Q_ASSERT(QThread::currentThread() == thread());
    for (auto map = m_entries.begin(); map != m_entries.end(); ++map) {
        for (auto it = map->begin(); it != map->end();) {
            if (it->state == State::inserted || !it->object) {
                it = map->erase(it);
                --m_registered;
                continue;
            }
            it->state = State::persisted;
            if (map.key()->diff(it->object.get(), it->snapshot.get()))
                map.key()->assign(it->object.get(), it->snapshot.get());
            ++it;
        }
    }
    m_insertOrder.clear();
}

void StoreContext::mergeChanges(const StoreChanges &changes)
{
    if (changes.origin == this || m_registered == 0)
        return;
    auto connection = m_store->connection();
    if (!connection)
        return;
    bool mergedAny = false;
    for (auto map = m_entries.begin(); map != m_entries.end(); ++map) {
        const RecordOps *ops = map.key();
        for (const QUuid &id : changes.deleted.value(ops->entity->name)) {
            auto it = map->find(id);
            if (it != map->end() && it->state != State::inserted) {
                map->erase(it);
                --m_registered;
                mergedAny = true;
            }
        }
        const QSet<QUuid> updated = changes.updated.value(ops->entity->name);
        for (const QUuid &id : updated) {
            auto it = map->find(id);
            if (it == map->end() || it->state != State::persisted || ops->diff(it->object.get(), it->snapshot.get()))
                continue; // not held, or edited here: our next save wins
            auto stmt = (*connection)->prepare(selectByIdSql(*ops));
            if (!stmt)
                continue;
            store::ColumnCodec<QUuid>::bind(*stmt, 1, id);
            if (sqlite3_step(*stmt) != SQLITE_ROW) {
                sqlite3_reset(*stmt);
                continue;
            }
            auto fresh = ops->read(*stmt);
            sqlite3_reset(*stmt); // ends the read: see countErased()
            ops->assign(it->object.get(), fresh.get());
            it->snapshot = std::move(fresh);
            mergedAny = true;
        }
    }
    if (mergedAny)
        emit merged(changes);
}

void StoreContext::prune()
{
    // Forget records nobody else holds and that carry no pending change; they are read again when
    // next fetched. This keeps long-lived contexts small.
    for (auto map = m_entries.begin(); map != m_entries.end(); ++map) {
        for (auto it = map->begin(); it != map->end();) {
            if (it->state == State::persisted && it->object.use_count() == 1
                && !map.key()->diff(it->object.get(), it->snapshot.get())) {
                it = map->erase(it);
                --m_registered;
            } else {
                ++it;
            }
        }
    }
    m_pruneThreshold = std::max(4096, m_registered * 2);
}

void StoreContext::logFetchFailure(const Error &error) const
{
    logLine("Store", QStringLiteral("Fetch failed, showing nothing: ") + error.message);
}

} // namespace corvane
