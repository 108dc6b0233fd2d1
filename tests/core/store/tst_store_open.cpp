#include "core/records/Project.h"
#include "core/store/Migrations.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/CoreFiles.h"
#include "support/TestEnvironment.h"

#include <QFileInfo>
#include <QTest>
#include <QThreadPool>

#include <sqlite3.h>

using namespace corvane;
using test::readFile;

namespace {

// A store with one project, closed again: the bytes a user would have on disk.
void makeStoreWithProject(const QString &path, const QString &name)
{
    auto store = Store::open(path);
    QVERIFY2(store.ok(), qPrintable(store.ok() ? QString() : store.error().message));
    Project project;
    project.name = name;
    project.path = "/tmp/" + name;
    (*store)->mainContext().insert(project);
    QVERIFY((*store)->mainContext().save().ok());
}

// Runs `sql` on the file outside any Store (a failure ends the test run); returns the first
// column of the first row, if any.
QString runSql(const QString &path, const char *sql)
{
    sqlite3 *db = nullptr;
    QString first;
    const auto keepFirst = [](void *out, int, char **values, char **) {
        auto *text = static_cast<QString *>(out);
        if (text->isNull())
            *text = QString::fromUtf8(values[0] ? values[0] : "");
        return 0;
    };
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK
        || sqlite3_exec(db, sql, keepFirst, &first, nullptr) != SQLITE_OK)
        qFatal("%s: %s", sql, sqlite3_errmsg(db));
    sqlite3_close(db);
    return first;
}

} // namespace

class StoreOpenTest : public QObject
{
    Q_OBJECT

private slots:
    void freshStoreIsCreatedAndReopened()
    {
        test::TestEnvironment env;
        const QString path = env.path("data/Corvane.store");
        {
            auto store = Store::open(path);
            QVERIFY(store.ok());
            QVERIFY((*store)->openReport().createdNew);
            QVERIFY(!(*store)->openReport().setAsidePath);
        }
        makeStoreWithProject(path, "kept");
        QFile::remove(path + "-wal"); // a missing WAL is no damage
        auto again = Store::open(path);
        QVERIFY(again.ok());
        QVERIFY(!(*again)->openReport().createdNew);
        QVERIFY(!(*again)->openReport().setAsidePath);
        QCOMPARE((*again)->mainContext().count<Project>().valueOr(-1), 1);
    }

    void unreadableStoreIsSetAside_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<QString>("reasonPart");
        QTest::newRow("not a database") << "garbage" << "not a database";
        QTest::newRow("truncated file") << "truncate" << "";
        QTest::newRow("corrupt page") << "corruptPage" << "";
        QTest::newRow("newer schema") << "newer" << "newer version";
        QTest::newRow("someone else's database") << "foreign" << "not Corvane's";
    }

    void unreadableStoreIsSetAside()
    {
        QFETCH(QString, damage);
        QFETCH(QString, reasonPart);
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");

        if (damage == "foreign") {
            runSql(path, "CREATE TABLE notes(text TEXT); INSERT INTO notes VALUES ('mine');");
        } else {
            makeStoreWithProject(path, "precious");
            // Fold the WAL into the main file so the damage below hits real data.
            runSql(path, "PRAGMA wal_checkpoint(TRUNCATE)");
            QByteArray bytes = readFile(path);
            if (damage == "garbage")
                bytes = QByteArray("this is not what it claims to be ").repeated(200);
            else if (damage == "truncate")
                bytes.truncate(bytes.size() / 3);
            else if (damage == "corruptPage")
                for (int page = 1; page < 6; ++page) // the b-tree headers of the first tables
                    bytes.replace(page * 4096, 12, QByteArray(12, '\xAB'));
            else if (damage == "newer")
                runSql(path, "PRAGMA user_version = 99");
            if (damage != "newer")
                QVERIFY(test::writeFile(path, bytes));
        }
        const QByteArray original = readFile(path);
        QVERIFY(!original.isEmpty());

        auto store = Store::open(path);
        QVERIFY2(store.ok(), qPrintable(store.ok() ? QString() : store.error().message));
        const StoreOpenReport &report = (*store)->openReport();
        QVERIFY2(report.setAsidePath, "the damaged store should have been moved aside");
        QVERIFY2(report.setAsideReason.contains(reasonPart), qPrintable(report.setAsideReason));
        // Nothing lost: the original bytes sit under the new name.
        QCOMPARE(readFile(*report.setAsidePath), original);
        // And the fresh store works.
        Project project;
        project.name = "new";
        (*store)->mainContext().insert(project);
        QVERIFY((*store)->mainContext().save().ok());
        QCOMPARE((*store)->mainContext().count<Project>().valueOr(-1), 1);
    }

    void sidecarsMoveWithTheStore()
    {
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");
        QVERIFY(test::writeFile(path, QByteArray(8192, 'x')));
        QVERIFY(test::writeFile(path + "-wal", "wal bytes"));
        QVERIFY(test::writeFile(path + "-shm", "shm bytes"));
        auto store = Store::open(path);
        QVERIFY(store.ok());
        const QString aside = *(*store)->openReport().setAsidePath;
        QCOMPARE(readFile(aside + "-wal"), QByteArray("wal bytes"));
        QCOMPARE(readFile(aside + "-shm"), QByteArray("shm bytes"));
    }

    // Reopening a store writes nothing, and the file carries its schema version and WAL mode.
    void reopeningWritesNothing()
    {
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");
        makeStoreWithProject(path, "steady");
        runSql(path, "PRAGMA wal_checkpoint(TRUNCATE)");
        const QByteArray before = readFile(path);
        {
            auto store = Store::open(path);
            QVERIFY(store.ok());
            QVERIFY((*store)->mainContext().save().ok()); // nothing pending: no transaction
        }
        QCOMPARE(readFile(path), before);
        QCOMPARE(runSql(path, "PRAGMA user_version"), QString::number(store::currentSchemaVersion()));
        QCOMPARE(runSql(path, "PRAGMA journal_mode"), QString("wal"));
    }

    // The log is copied back into the file by a worker once it passes a thousand pages, so it is
    // reused from its start instead of growing with every save.
    void theLogIsCopiedBackOnAWorker()
    {
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");
        auto store = Store::open(path);
        QVERIFY(store.ok());
        StoreContext &ctx = (*store)->mainContext();
        const QString bulk(2000, QLatin1Char('x'));
        qint64 largest = 0;
        for (int round = 0; round < 8; ++round) {
            for (int i = 0; i < 1200; ++i) { // about 1,200 pages a save
                Project project;
                project.name = bulk;
                project.path = QStringLiteral("/p/%1/%2").arg(round).arg(i);
                ctx.insert(project);
            }
            QVERIFY(ctx.save().ok());
            QThreadPool::globalInstance()->waitForDone();
            largest = std::max(largest, QFileInfo(path + "-wal").size());
        }
        // Eight saves without a checkpoint would leave a log of about 40 MB.
        QVERIFY2(largest < 12 * 1024 * 1024, qPrintable(QString::number(largest)));
        QCOMPARE(ctx.count<Project>().valueOr(-1), 8 * 1200);
    }
};

QTEST_GUILESS_MAIN(StoreOpenTest)
#include "tst_store_open.moc"
