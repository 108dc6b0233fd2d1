// The message index of a store written before it existed: made at once when the store opens, and
// filled in the background while the app goes on writing, without losing or repeating a message;
// a fill cut short goes on later; search answers the same all along.
#include "support/OldStore.h"
#include "support/TestEnvironment.h"

#include "core/records/Message.h"
#include "core/store/Connection.h"
#include "core/store/MessageSearchFiller.h"
#include "core/store/MessageSearchIndex.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "tools/search/QuickSearch.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

using namespace corvane;
using search::MessageScan;

namespace {

qint64 scalar(Store &store, const char *sql)
{
    return (*store.connection())->queryInteger(sql).valueOr(-1);
}

QList<QUuid> idsFound(Store &store, const QString &query, MessageScan scan)
{
    QList<QUuid> ids;
    for (const MessageSearchResult &result : search::searchMessages(store, query, 20, scan))
        ids << result.id;
    return ids;
}

// One round of what the app does while the fill runs: edits of messages the fill has or has not
// reached, kinds changed both ways, deletes, new messages, and a new message that takes the rowid
// of the newest one just deleted.
void writeRound(StoreContext &context, QRandomGenerator &random, int round)
{
    auto messages = context.fetch<Message>().value();
    if (messages.size() < 10)
        return;
    auto pick = [&] { return messages.at(int(random.bounded(qint64(messages.size())))); };
    pick()->content = QStringLiteral("edited e%1q zebra").arg(round, 6, 10, QLatin1Char('0'));
    auto kind = pick();
    kind->contentType = kind->contentType == MessageContentType::text ? MessageContentType::toolOutput
                                                                      : MessageContentType::text;
    context.remove(pick());
    Message added;
    added.content = QStringLiteral("new n%1q zebra").arg(round, 6, 10, QLatin1Char('0'));
    added.role = round % 2 ? MessageRole::assistant : MessageRole::user;
    added.timestamp = QDateTime::fromMSecsSinceEpoch(1'800'000'000'000 + round);
    added.chatId = messages.first()->chatId;
    context.insert(added);
    QVERIFY(context.save());

    // The newest row goes and a new message takes its rowid.
    auto newest = context.fetchFirst<Message>(Query().orderBy(QStringLiteral("timestamp"), false)).value();
    context.remove(newest);
    QVERIFY(context.save());
    added.id = QUuid::createUuid();
    added.content = QStringLiteral("reused r%1q zebra").arg(round, 6, 10, QLatin1Char('0'));
    context.insert(added);
    QVERIFY(context.save());
}

// Every message is found through the index exactly when the scan finds it, and nothing is in the
// index twice: once every text is rewritten, none of the old words is left in it.
void verifyIndexAgreesWithScan(Store &store)
{
    auto connection = store.connection();
    QVERIFY(connection);
    QVERIFY(store::isMessageSearchIndexReady(**connection));
    // Deleted messages leave their keys behind; every live message search can find has one.
    QCOMPARE(scalar(store, "SELECT count(*) FROM MessageSearchKey k JOIN Message m ON m.id = k.messageId"),
             scalar(store, "SELECT count(*) FROM Message WHERE contentType = 'text' AND role IN ('user', 'assistant')"));
    const auto messages = store.newContext()->fetch<Message>().value();
    for (const auto &message : messages) {
        const QString token = message->content.section(QLatin1Char(' '), 1, 1);
        const QList<QUuid> plain = idsFound(store, token, MessageScan::plain);
        QCOMPARE(idsFound(store, token, MessageScan::indexed), plain);
        QCOMPARE(plain.contains(message->id), message->contentType == MessageContentType::text
                                                  && (message->role == MessageRole::user || message->role == MessageRole::assistant));
    }
    QVERIFY((*connection)->exec("UPDATE Message SET content = 'rewritten ' || id"));
    QCOMPARE(scalar(store, "SELECT count(*) FROM MessageSearch JOIN MessageSearchKey k ON k.key = MessageSearch.rowid"
                           " JOIN Message m ON m.id = k.messageId WHERE MessageSearch MATCH '\"zebra\"'"),
             qint64(0));
}

} // namespace

class SearchFillTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    QString m_path;

    void openOldStore(int messages)
    {
        QVERIFY(test::makeVersionOneStore(m_path, messages));
        auto opened = Store::open(m_path);
        QVERIFY(opened);
        m_store = *opened;
        QVERIFY(!m_store->openReport().setAsidePath);
    }

    // Runs a filler until it says the index is complete.
    void fillInBackground(store::MessageSearchFiller::Pace pace = {})
    {
        store::MessageSearchFiller filler(m_path, pace);
        bool done = false;
        connect(&filler, &store::MessageSearchFiller::completed, this, [&] { done = true; });
        filler.start();
        QTRY_VERIFY_WITH_TIMEOUT(done, 60000);
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_path = m_env->path("Corvane.store");
    }
    void cleanup()
    {
        m_store.reset();
        m_env.reset();
    }

    void newStoreIsCompleteAtOnce()
    {
        m_store = Store::open(m_path).value();
        auto connection = m_store->connection();
        QVERIFY(store::isMessageSearchIndexReady(**connection));
        QVERIFY(messageSearchFillState(**connection)->complete);
        store::MessageSearchFiller filler(m_path);
        filler.start();
        QTRY_VERIFY(!filler.isRunning()); // nothing to do
    }

    void oldStoreMigratesAtOnceAndFillsInBackground()
    {
        openOldStore(3000);
        QCOMPARE(scalar(*m_store, "PRAGMA user_version"), qint64(store::currentSchemaVersion()));
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearchKey"), qint64(0));
        auto connection = m_store->connection();
        QVERIFY(store::hasMessageSearchIndex(**connection));
        QVERIFY(!store::isMessageSearchIndexReady(**connection));
        QVERIFY(!search::messageIndexMissing(*m_store)); // filling is not missing
        // Asked for the index before it is complete, search scans, and finds the same.
        const QString token = test::oldMessageToken(1233);
        QCOMPARE(idsFound(*m_store, token, MessageScan::indexed).size(), 1);
        QCOMPARE(idsFound(*m_store, "zebra", MessageScan::indexed), idsFound(*m_store, "zebra", MessageScan::plain));

        fillInBackground(store::MessageSearchFiller::Pace{300, 30, 1, 100});
        QCOMPARE(scalar(*m_store, "SELECT count(*) FROM MessageSearchKey"), qint64(2400));
        QCOMPARE(messageSearchFillState(**connection)->percent(), 100);
        verifyIndexAgreesWithScan(*m_store);
    }

    // Deleted messages leave their texts in the index; once those outnumber the live ones (and
    // the floor), the next start builds the index afresh, and search agrees with a scan all along.
    void deletedTextsAreDroppedOnceTheyOutnumberTheRest_data()
    {
        QTest::addColumn<int>("floor");
        QTest::addColumn<bool>("rebuilt");
        QTest::newRow("below the floor") << 5000 << false;
        QTest::newRow("past the floor") << 500 << true;
    }
    void deletedTextsAreDroppedOnceTheyOutnumberTheRest()
    {
        QFETCH(int, floor);
        QFETCH(bool, rebuilt);
        openOldStore(3000);
        fillInBackground(store::MessageSearchFiller::Pace{400, 30, 1, 100});
        QVERIFY((*m_store->connection())->exec("DELETE FROM Message WHERE rowid > 600"));
        const char *allTexts = "SELECT count(*) FROM MessageSearch WHERE MessageSearch MATCH '\"zebra\"'";
        QCOMPARE(scalar(*m_store, allTexts), qint64(2400));
        QCOMPARE(idsFound(*m_store, "zebra", MessageScan::indexed), idsFound(*m_store, "zebra", MessageScan::plain));

        store::MessageSearchFiller::Pace pace{400, 30, 1, 100};
        pace.rebuildAfterLeftovers = floor;
        store::MessageSearchFiller filler(m_path, pace);
        bool completed = false;
        connect(&filler, &store::MessageSearchFiller::completed, this, [&] { completed = true; });
        filler.start();
        QTRY_VERIFY(!filler.isRunning());
        QCoreApplication::processEvents(); // completed() is queued from the fill's thread before it stops
        QCOMPARE(completed, rebuilt);
        QCOMPARE(scalar(*m_store, allTexts), rebuilt ? qint64(480) : qint64(2400));
        verifyIndexAgreesWithScan(*m_store);
    }

    void interleavedWritesNeverLoseOrRepeat_data()
    {
        QTest::addColumn<int>("batch");
        QTest::addColumn<bool>("threaded");
        QTest::newRow("steps of 1") << 1 << false;
        QTest::newRow("steps of 7") << 7 << false;
        QTest::newRow("steps of 120") << 120 << false;
        QTest::newRow("filler thread") << 25 << true;
    }
    void interleavedWritesNeverLoseOrRepeat()
    {
        QFETCH(int, batch);
        QFETCH(bool, threaded);
        openOldStore(batch == 1 ? 150 : 1500);
        StoreContext &context = m_store->mainContext();
        QRandomGenerator random(42);
        int round = 0;
        if (threaded) {
            store::MessageSearchFiller filler(m_path, store::MessageSearchFiller::Pace{batch, 30, 10, 100});
            bool done = false;
            connect(&filler, &store::MessageSearchFiller::completed, this, [&] { done = true; });
            filler.start();
            QElapsedTimer clock;
            clock.start();
            while (!done && clock.elapsed() < 60000) {
                writeRound(context, random, ++round);
                QCoreApplication::processEvents();
            }
            QVERIFY(done);
            QVERIFY(round > 3); // the writes really ran alongside
        } else {
            std::unique_ptr<store::Connection> filling(store::Connection::open(m_path, false).value());
            for (;;) {
                auto step = store::fillMessageSearchStep(*filling, batch, 1000);
                QVERIFY(step);
                writeRound(context, random, ++round);
                if (step->walkEnded) {
                    auto finished = store::finishMessageSearchFill(*filling);
                    QVERIFY(finished);
                    if (*finished)
                        break;
                }
            }
        }
        verifyIndexAgreesWithScan(*m_store);
    }

    // Quitting stops the fill after its batch; the next start goes on from there.
    void stoppedFillResumes()
    {
        openOldStore(2000);
        auto connection = m_store->connection();
        {
            store::MessageSearchFiller filler(m_path, store::MessageSearchFiller::Pace{10, 30, 20, 100});
            int percent = 0;
            QObject scope; // the count lives in this block; a late progress must not reach it
            connect(&filler, &store::MessageSearchFiller::progressed, &scope, [&](int p) { percent = p; });
            filler.start();
            QTRY_VERIFY(percent >= 10);
            QElapsedTimer clock;
            clock.start();
            filler.stop();
            QVERIFY(clock.elapsed() < 1000);
            QVERIFY(!filler.isRunning());
        }
        auto state = messageSearchFillState(**connection);
        QVERIFY(!state->complete);
        QVERIFY(state->throughRowid > 0 && state->throughRowid < 2000);
        const qint64 indexed = scalar(*m_store, "SELECT count(*) FROM MessageSearchKey");
        QVERIFY(indexed > 0 && indexed < 1600);
        QVERIFY(!store::isMessageSearchIndexReady(**connection));

        fillInBackground(store::MessageSearchFiller::Pace{400, 30, 1, 100});
        verifyIndexAgreesWithScan(*m_store);
    }
};

QTEST_GUILESS_MAIN(SearchFillTest)
#include "tst_search_fill.moc"
