#pragma once

#include "core/Result.h"
#include "core/store/Query.h"
#include "core/store/RecordTraits.h"
#include "core/store/StoreChanges.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QUuid>

#include <memory>

class QTimer;

namespace corvane {

class Store;

// A unit of work on the store, bound to the thread that made it. Records are plain structs
// handed out as shared pointers; the context remembers each one as it was last read or saved,
// so editing a field is all a caller does before save(), which writes every inserted, changed
// and removed record in one transaction. A fetch returns the context's own instance of a
// record it already holds, with any unsaved edits.
//
// Fetches read what is saved: records inserted but not yet saved are not returned by fetch()
// (get() finds them). Saves of other contexts are merged into records this one holds, unless
// it has unsaved edits of them.
class StoreContext : public QObject
{
    Q_OBJECT

public:
    ~StoreContext() override;

    Store &store() const { return *m_store; }

    template <typename R>
    std::shared_ptr<R> insert(R record)
    {
        auto object = std::make_shared<R>(std::move(record));
        registerInserted(store::recordOps<R>(), object);
        return object;
    }

    // Registers a record made elsewhere (kept by the caller) as inserted.
    template <typename R>
    std::shared_ptr<R> insert(std::shared_ptr<R> object)
    {
        registerInserted(store::recordOps<R>(), object);
        return object;
    }

    // Marks the record for deletion at the next save; the delete rules of its relationships are
    // applied by the store then.
    template <typename R>
    void remove(const std::shared_ptr<R> &record)
    {
        markDeleted(store::recordOps<R>(), record->id);
    }

    template <typename R>
    Result<QList<std::shared_ptr<R>>> fetch(const Query &query = {})
    {
        auto rows = fetchErased(store::recordOps<R>(), query);
        if (!rows)
            return rows.error();
        QList<std::shared_ptr<R>> out;
        out.reserve(rows->size());
        for (auto &row : *rows)
            out.append(std::static_pointer_cast<R>(std::move(row)));
        return out;
    }

    // As fetch(), but a failure is logged and reads as an empty list: for callers to whom a
    // failed fetch is nothing to show.
    template <typename R>
    QList<std::shared_ptr<R>> fetchOrEmpty(const Query &query = {})
    {
        auto rows = fetch<R>(query);
        if (!rows) {
            logFetchFailure(rows.error());
            return {};
        }
        return std::move(rows).value();
    }

    // The first record of the query, or null.
    template <typename R>
    Result<std::shared_ptr<R>> fetchFirst(Query query = {})
    {
        query.limit = 1;
        auto rows = fetch<R>(query);
        if (!rows)
            return rows.error();
        return rows->isEmpty() ? std::shared_ptr<R>() : rows->first();
    }

    // The record with this id, saved or inserted in this context; null when there is none.
    template <typename R>
    std::shared_ptr<R> get(const QUuid &id)
    {
        if (auto held = registered(store::recordOps<R>(), id))
            return std::static_pointer_cast<R>(held);
        auto first = fetchFirst<R>(Query(where::eq("id", id)));
        return first ? first.value() : std::shared_ptr<R>();
    }

    template <typename R>
    Result<qint64> count(const Predicate &filter = {})
    {
        return countErased(store::recordOps<R>(), filter);
    }

    // Records inserted and not saved yet, which a fetch does not see, in the order inserted.
    template <typename R>
    QList<std::shared_ptr<R>> unsavedInserts() const
    {
        QList<std::shared_ptr<R>> out;
        for (const auto &object : unsavedErased(store::recordOps<R>()))
            out.append(std::static_pointer_cast<R>(object));
        return out;
    }

    // Writes every pending change in one transaction. On failure nothing is written and every
    // change stays pending, so a later save repeats it.
    //
    // On the store's responsive thread (Store::keepResponsive) a save that finds another
    // connection writing does not wait and is no failure: it returns success with the changes
    // still pending, and the context saves again from the event loop, backing off, until they
    // land; saved() and Store::didSave() follow then as for any save.
    Status save();
    // Whether a save is waiting for another writer to finish (see save()).
    bool isSaveDeferred() const;
    // Drops pending changes: inserted records are forgotten, removed ones kept, and edited ones
    // restored to what was last read or saved.
    void rollback();
    bool hasChanges() const;

    // Stops comparing a saved, unchanged record at every save: the caller keeps its object and
    // promises not to edit it again through this context (a later edit would not be saved).
    // Long chats hold thousands of finished rows, and comparing them all made each save grow
    // with the chat. Does nothing for a record with pending changes.
    template <typename R>
    void settle(const std::shared_ptr<R> &record)
    {
        settleEntry(store::recordOps<R>(), record->id);
    }

    // How many records the context holds (for tests and measurements).
    int registeredCount() const;

signals:
    // After each successful save of this context.
    void saved(const corvane::StoreChanges &changes);
    // After another context's save was merged into records held here.
    void merged(const corvane::StoreChanges &changes);

private:
    friend class Store;
    explicit StoreContext(Store *store);

    enum class State { inserted, persisted, deleted };
    struct Entry
    {
        std::shared_ptr<void> object;
        std::shared_ptr<void> snapshot; // as last read or saved; null while only inserted
        State state = State::persisted;
    };
    using EntityMap = QHash<QUuid, Entry>;

    void registerInserted(const store::RecordOps &ops, std::shared_ptr<void> object);
    void markDeleted(const store::RecordOps &ops, const QUuid &id);
    void settleEntry(const store::RecordOps &ops, const QUuid &id);
    std::shared_ptr<void> registered(const store::RecordOps &ops, const QUuid &id) const;
    QList<std::shared_ptr<void>> unsavedErased(const store::RecordOps &ops) const;
    Result<QList<std::shared_ptr<void>>> fetchErased(const store::RecordOps &ops, const Query &query);
    Result<qint64> countErased(const store::RecordOps &ops, const Predicate &filter);
    void mergeChanges(const StoreChanges &changes);
    void prune();
    void logFetchFailure(const Error &error) const;
    void deferSave();

    Store *m_store;
    QHash<const store::RecordOps *, EntityMap> m_entries;
    QList<std::pair<const store::RecordOps *, QUuid>> m_insertOrder;
    int m_registered = 0;
    int m_pruneThreshold = 4096;
    QTimer *m_saveRetry = nullptr;
    int m_saveRetryDelayMs = 0;
};

} // namespace corvane
