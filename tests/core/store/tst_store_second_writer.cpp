// The store shared with a second writer (corvane-cli, or here a small helper process that holds
// the write lock), and activity days kept one per chat and day.
#include "core/records/ChatActivityDay.h"
#include "core/records/Message.h"
#include "core/store/Migrations.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/OldStore.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <sqlite3.h>

using namespace corvane;

namespace {

// The longest time the event loop went without running a 2 ms timer: how long the window would
// have stood still.
class StallMeter
{
public:
    StallMeter()
    {
        m_timer.setInterval(2);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_longest = std::max(m_longest, m_clock.restart());
        });
        m_clock.start();
        m_timer.start();
    }
    qint64 longestMs() const { return m_longest; }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_longest = 0;
};

// What another process sees in the file: one value read through a connection of its own.
QString readThroughFile(const QString &path, const QByteArray &sql)
{
    sqlite3 *db = nullptr;
    QString value;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(db, sql.constData(), -1, &stmt, nullptr) == SQLITE_OK && sqlite3_step(stmt) == SQLITE_ROW)
            value = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)));
        sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return value;
}

} // namespace

class StoreSecondWriterTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    QString m_path;

    // Starts the helper holding the write lock for `ms`; returns once it holds it.
    bool holdLock(QProcess &holder, int ms)
    {
        holder.start(QStringLiteral(STORE_LOCK_HOLDER), {m_path, QString::number(ms)});
        return QTest::qWaitFor([&] { return holder.canReadLine() && holder.readLine().startsWith("locked"); }, 10000);
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_path = m_env->path(QStringLiteral("data/Corvane.store"));
    }

    void windowSaveWaitsForNobody()
    {
        auto store = Store::open(m_path).value();
        store->keepResponsive(QThread::currentThread());
        StoreContext &ctx = store->mainContext();
        const test::InsertedPlace place = test::insertPlace(ctx, m_env->root());

        QProcess holder;
        QVERIFY(holdLock(holder, 3000));
        StallMeter meter;
        Message message;
        message.role = MessageRole::assistant;
        message.content = QStringLiteral("Streaming");
        message.isComplete = false;
        message.chatId = place.chatId;
        auto row = ctx.insert(message);
        QElapsedTimer saving;
        saving.start();
        QVERIFY(ctx.save()); // no "database is locked" for anyone to show
        const qint64 saveMs = saving.elapsed();
        QVERIFY(ctx.isSaveDeferred());
        // The stream goes on while the other writer holds the lock; every piece is kept.
        for (const char *piece : {" the", " reply", " here"}) {
            QTest::qWait(300);
            row->content += QLatin1String(piece);
            QVERIFY(ctx.save());
            // Reading goes on as well, from what was committed before the other writer began.
            QCOMPARE(ctx.fetchOrEmpty<Project>().size(), 1);
        }
        row->isComplete = true;
        QVERIFY(ctx.save());
        QByteArray contentSql = "SELECT content FROM Message WHERE id = '" + message.id.toString(QUuid::WithoutBraces).toUtf8() + "'";
        QCOMPARE(readThroughFile(m_path, contentSql), QString()); // not before the lock is let go
        QVERIFY(holder.state() == QProcess::Running);

        // The event loop keeps turning while the helper finishes: a blocking wait would be the stall.
        QVERIFY(QTest::qWaitFor([&] { return holder.state() == QProcess::NotRunning; }, 10000));
        QCOMPARE(holder.exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!ctx.isSaveDeferred(), 5000);
        QCOMPARE(readThroughFile(m_path, contentSql), QStringLiteral("Streaming the reply here"));
        QCOMPARE(readThroughFile(m_path, contentSql.replace("SELECT content", "SELECT isComplete")), QStringLiteral("1"));
        qInfo("save under a held lock returned in %lld ms; longest event-loop stall %lld ms", saveMs, meter.longestMs());
        QVERIFY2(meter.longestMs() < 500, qPrintable(QString::number(meter.longestMs())));
    }

    void otherThreadsStillWait()
    {
        // A context that is not the window's (a worker, corvane-cli) waits for the lock and saves.
        auto store = Store::open(m_path).value();
        StoreContext &ctx = store->mainContext();
        const test::InsertedPlace place = test::insertPlace(ctx, m_env->root());
        QProcess holder;
        QVERIFY(holdLock(holder, 800));
        Message message;
        message.chatId = place.chatId;
        ctx.insert(message);
        QElapsedTimer saving;
        saving.start();
        QVERIFY(ctx.save());
        QVERIFY2(saving.elapsed() >= 400, qPrintable(QString::number(saving.elapsed())));
        QVERIFY(!ctx.isSaveDeferred());
        QCOMPARE(ctx.count<Message>(where::eq("chatId", place.chatId)).valueOr(-1), 1);
        QVERIFY(holder.waitForFinished(10000));
    }

    void oneActivityRowPerDay_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<int>("rows");
        QTest::newRow("twice before a save") << QStringList{"record 09:00", "record 17:30", "save"} << 1;
        QTest::newRow("again after a save") << QStringList{"record 09:00", "save", "record 17:30", "save"} << 1;
        QTest::newRow("record, then the backfill") << QStringList{"record 09:00", "backfill", "save"} << 1;
        QTest::newRow("two days") << QStringList{"record 09:00", "yesterday", "save"} << 2;
    }

    void oneActivityRowPerDay()
    {
        QFETCH(QStringList, steps);
        QFETCH(int, rows);
        auto store = Store::open(m_path).value();
        StoreContext &ctx = store->mainContext();
        const QUuid chatId = test::insertPlace(ctx, m_env->root()).chatId;
        const auto chat = ctx.get<Chat>(chatId);
        const QDate today = QDate::currentDate();
        chat->createdAt = QDateTime(today, QTime(8, 0));
        for (const QString &step : steps) {
            if (step.startsWith(QLatin1String("record ")))
                chat->recordActivity(QDateTime(today, QTime::fromString(step.mid(7), QStringLiteral("HH:mm"))), ctx);
            else if (step == QLatin1String("yesterday"))
                chat->recordActivity(QDateTime(today.addDays(-1), QTime(12, 0)), ctx);
            else if (step == QLatin1String("backfill"))
                chat->backfillActivityIfNeeded(ctx);
            else
                QVERIFY(ctx.save());
        }
        QCOMPARE(ctx.count<ChatActivityDay>(where::eq("chatId", chatId)).valueOr(-1), rows);
    }

    void twoContextsRecordTheSameDay()
    {
        // Each saw no row when it recorded; the second save drops the repeat instead of failing
        // (a failed save would stay pending and fail again at every later save).
        auto store = Store::open(m_path).value();
        StoreContext &first = store->mainContext();
        const QUuid chatId = test::insertPlace(first, m_env->root()).chatId;
        auto second = store->newContext();
        second->get<Chat>(chatId)->recordActivity(QDateTime::currentDateTime(), *second);
        first.get<Chat>(chatId)->recordActivity(QDateTime::currentDateTime(), first);
        QVERIFY(first.save());
        Message message;
        message.chatId = chatId;
        second->insert(message);
        QVERIFY(second->save());
        QCOMPARE(first.count<ChatActivityDay>(where::eq("chatId", chatId)).valueOr(-1), 1);
        QCOMPARE(first.count<Message>(where::eq("chatId", chatId)).valueOr(-1), 1);
    }

    void migrationMergesDuplicateDays()
    {
        QDir().mkpath(QFileInfo(m_path).absolutePath());
        QVERIFY(test::makeStoreAtVersion(m_path, 2)); // before activity days were unique
        sqlite3 *db = nullptr;
        QCOMPARE(sqlite3_open(m_path.toUtf8().constData(), &db), SQLITE_OK);
        const char *seed =
            "INSERT INTO Chat (id, name, createdAt, sortOrder, pendingProfileMigration, usesWorktree)"
            "    VALUES ('a', 'A', 0, 0, 0, 0), ('b', 'B', 0, 1, 0, 0);"
            "INSERT INTO ChatActivityDay (id, day, chatId) VALUES"
            "    ('a1', 1000, 'a'), ('a2', 1000, 'a'), ('a3', 2000, 'a'), ('a4', 1000, 'a'), ('a5', 3000, 'a'),"
            "    ('b1', 1000, 'b'), ('b2', 1000, 'b'), ('b3', 1000, 'b'), ('n1', 1000, NULL), ('n2', 1000, NULL);";
        QCOMPARE(sqlite3_exec(db, seed, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);

        auto store = Store::open(m_path);
        QVERIFY2(store, qPrintable(store ? QString() : store.error().message));
        QVERIFY(!store.value()->openReport().setAsidePath);
        QCOMPARE(readThroughFile(m_path, "PRAGMA user_version"), QString::number(store::currentSchemaVersion()));
        const auto days = [&](const char *chat) {
            return readThroughFile(m_path, QByteArray("SELECT group_concat(day, ',') FROM (SELECT day FROM ChatActivityDay "
                                                      "WHERE chatId IS ") + chat + " ORDER BY day)");
        };
        QCOMPARE(days("'a'"), QStringLiteral("1000,2000,3000"));
        QCOMPARE(days("'b'"), QStringLiteral("1000"));
        QCOMPARE(days("NULL"), QStringLiteral("1000,1000")); // rows of no chat are no duplicates
        QCOMPARE(readThroughFile(m_path, "SELECT id FROM ChatActivityDay WHERE chatId = 'a' AND day = 1000"), QStringLiteral("a1"));
        // The schema itself now refuses a second row for a chat's day.
        QCOMPARE(sqlite3_open(m_path.toUtf8().constData(), &db), SQLITE_OK);
        QCOMPARE(sqlite3_exec(db, "INSERT INTO ChatActivityDay (id, day, chatId) VALUES ('a6', 2000, 'a')", nullptr, nullptr, nullptr),
                 SQLITE_CONSTRAINT);
        sqlite3_close(db);
    }
};

QTEST_GUILESS_MAIN(StoreSecondWriterTest)
#include "tst_store_second_writer.moc"
