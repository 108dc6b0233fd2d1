#include "core/records/Project.h"
#include "core/store/Migrations.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sqlite3.h>

using namespace corvane;

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

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

void runSql(const QString &path, const char *sql)
{
    sqlite3 *db = nullptr;
    QCOMPARE(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
    QCOMPARE(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
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
        auto again = Store::open(path);
        QVERIFY(again.ok());
        QVERIFY(!(*again)->openReport().createdNew);
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
            runSql(path, "PRAGMA wal_checkpoint(TRUNCATE);");
            QByteArray bytes = readAll(path);
            if (damage == "garbage")
                bytes = QByteArray("this is not what it claims to be ").repeated(200);
            else if (damage == "truncate")
                bytes.truncate(bytes.size() / 3);
            else if (damage == "corruptPage")
                for (int page = 1; page < 6; ++page) // the b-tree headers of the first tables
                    bytes.replace(page * 4096, 12, QByteArray(12, '\xAB'));
            else if (damage == "newer")
                runSql(path, "PRAGMA user_version = 99;");
            if (damage != "newer")
                writeAll(path, bytes);
        }
        const QByteArray original = readAll(path);

        auto store = Store::open(path);
        QVERIFY2(store.ok(), qPrintable(store.ok() ? QString() : store.error().message));
        const StoreOpenReport &report = (*store)->openReport();
        QVERIFY2(report.setAsidePath, "the damaged store should have been moved aside");
        QVERIFY2(report.setAsideReason.contains(reasonPart), qPrintable(report.setAsideReason));
        // Nothing lost: the original bytes sit under the new name.
        QCOMPARE(readAll(*report.setAsidePath), original);
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
        writeAll(path, QByteArray(8192, 'x'));
        writeAll(path + "-wal", "wal bytes");
        writeAll(path + "-shm", "shm bytes");
        auto store = Store::open(path);
        QVERIFY(store.ok());
        const QString aside = *(*store)->openReport().setAsidePath;
        QCOMPARE(readAll(aside + "-wal"), QByteArray("wal bytes"));
        QCOMPARE(readAll(aside + "-shm"), QByteArray("shm bytes"));
    }

    void missingWalIsNoProblem()
    {
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");
        makeStoreWithProject(path, "one");
        QFile::remove(path + "-wal");
        auto store = Store::open(path);
        QVERIFY(store.ok());
        QVERIFY(!(*store)->openReport().setAsidePath);
    }

    void reopeningWritesNothing()
    {
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");
        makeStoreWithProject(path, "steady");
        runSql(path, "PRAGMA wal_checkpoint(TRUNCATE);");
        const QByteArray before = readAll(path);
        {
            auto store = Store::open(path);
            QVERIFY(store.ok());
            QVERIFY((*store)->mainContext().save().ok()); // nothing pending: no transaction
        }
        QCOMPARE(readAll(path), before);
    }

    void schemaVersionIsKeptInTheFile()
    {
        test::TestEnvironment env;
        const QString path = env.path("Corvane.store");
        makeStoreWithProject(path, "v");
        sqlite3 *db = nullptr;
        QCOMPARE(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
        sqlite3_stmt *stmt = nullptr;
        sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &stmt, nullptr);
        QCOMPARE(sqlite3_step(stmt), SQLITE_ROW);
        QCOMPARE(sqlite3_column_int(stmt, 0), store::currentSchemaVersion());
        sqlite3_finalize(stmt);
        sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &stmt, nullptr);
        QCOMPARE(sqlite3_step(stmt), SQLITE_ROW);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0))), QByteArray("wal"));
        sqlite3_finalize(stmt);
        sqlite3_close(db);
    }
};

QTEST_GUILESS_MAIN(StoreOpenTest)
#include "tst_store_open.moc"
