#pragma once

#include "core/Result.h"
#include "core/store/StoreChanges.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>
#include <optional>

class QThread;
struct sqlite3;

class QTimer;

namespace corvane {

namespace store { class Connection; }
struct CheckpointState;
class StoreContext;

// What happened when the store was opened, for the start-up log and for tests.
struct StoreOpenReport
{
    bool createdNew = false;
    // When the file on disk could not be read it is moved aside, never deleted: where it went, why.
    std::optional<QString> setAsidePath;
    QString setAsideReason;
};

// The one on-disk store of records: an SQLite file in WAL mode. Hands each thread its own
// connection, and tells every interested party (other contexts, view models) what each save
// changed through didSave(), emitted on the saving thread.
class Store : public QObject
{
    Q_OBJECT

public:
    ~Store() override;

    // Opens the store at `path`, creating it when missing and migrating it to the current schema
    // step by step in one transaction. A file that is unreadable (not a database, failing its
    // integrity check, from a newer version, or with a schema that is not ours) is moved aside
    // with its "-wal" and "-shm" sidecars under a time-stamped name, and a fresh store is made.
    // Fails only when even a fresh store cannot be made, or when the file cannot be reached at
    // all (permissions, disk): then nothing is moved.
    static Result<std::shared_ptr<Store>> open(const QString &path);

    QString path() const { return m_path; }
    const StoreOpenReport &openReport() const { return m_report; }

    // The context of the main thread, shared by all interface logic.
    StoreContext &mainContext();
    // A further context bound to the calling thread; sessions and background work each take one.
    std::unique_ptr<StoreContext> newContext();

    // The calling thread's connection, opened on first use.
    Result<store::Connection *> connection();

    // The connection of `thread` (the window's) never waits for another connection's write lock:
    // a save that meets one is kept pending by its context and tried again from the event loop
    // (StoreContext::save). Every other thread's connection waits as before.
    void keepResponsive(QThread *thread);
    QThread *responsiveThread() const { return m_responsiveThread; }

    // Notices commits made through other connections to the same file (corvane-cli, another
    // process, our own background threads) by polling SQLite's data version on the main thread,
    // a read of a counter in shared memory; changedElsewhere() follows each one.
    void watchOtherWriters(int intervalMs = 1000);

signals:
    void didSave(const corvane::StoreChanges &changes);
    void changedElsewhere();

private:
    friend class StoreContext;
    explicit Store(QString path);
    void closeConnectionOf(QThread *thread);
    void checkpointInBackground(sqlite3 *db);

    QString m_path;
    StoreOpenReport m_report;
    QMutex m_mutex;
    QHash<QThread *, store::Connection *> m_connections;
    std::unique_ptr<StoreContext> m_mainContext;
    QTimer *m_watch = nullptr;
    std::unique_ptr<CheckpointState> m_checkpoint;
    qint64 m_dataVersion = -1;
    QThread *m_responsiveThread = nullptr;
};

} // namespace corvane
