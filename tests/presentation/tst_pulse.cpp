// The Pulse timeline: its sections around week boundaries, and the model over a real store,
// paged by 100 (the empty page after exactly 100 rows, one header across a page boundary),
// following renames and archiving.
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include "core/Broadcasts.h"
#include "core/records/ChatActivityDay.h"
#include "core/store/Store.h"
#include "presentation/pulse/PulseModel.h"

#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

const QDate wednesday(2026, 11, 25);

// `count` chats of one workspace, chat i active on day `today - dayOf(i)`.
QList<QUuid> seed(StoreContext &ctx, const QString &folder, int count, const std::function<int(int)> &dayOf)
{
    const InsertedPlace place = insertPlace(ctx, folder, {});
    QList<QUuid> chats;
    for (int i = 0; i < count; ++i) {
        Chat chat;
        chat.name = QStringLiteral("chat %1").arg(i);
        chat.projectId = place.projectId;
        chat.workspaceId = place.workspaceId;
        ctx.insert(chat);
        ChatActivityDay day;
        day.chatId = chat.id;
        day.day = QDateTime(wednesday.addDays(-dayOf(i)), QTime(0, 0));
        ctx.insert(day);
        chats << chat.id;
    }
    (void)ctx.save();
    return chats;
}

QStringList headers(const PulseModel &model)
{
    QStringList titles;
    for (const PulseItem &item : model.items())
        if (item.header)
            titles << *item.header;
    return titles;
}

void loadAll(PulseModel &model)
{
    while (!model.allRowsLoaded()) {
        QSignalSpy appended(&model, &PulseModel::rowsAppended);
        model.loadNextPage();
        QVERIFY(appended.wait(5000));
    }
}

} // namespace

class TestPulse : public QObject
{
    Q_OBJECT

    TestEnvironment m_env;

private slots:
    void sections_data()
    {
        QTest::addColumn<QDate>("today");
        QTest::addColumn<int>("firstDay");
        QTest::addColumn<QDate>("day");
        QTest::addColumn<QString>("title");
        const int monday = Qt::Monday;
        const QDate mon(2026, 11, 23);
        QTest::newRow("today") << wednesday << monday << wednesday << "Today";
        QTest::newRow("yesterday") << wednesday << monday << wednesday.addDays(-1) << "Yesterday";
        QTest::newRow("start of this week") << wednesday << monday << mon << "This Week";
        QTest::newRow("sunday before") << wednesday << monday << mon.addDays(-1) << "Last Week";
        QTest::newRow("monday of last week") << wednesday << monday << mon.addDays(-7) << "Last Week";
        QTest::newRow("before last week") << wednesday << monday << mon.addDays(-8) << "November 2026";
        QTest::newRow("a month") << wednesday << monday << QDate(2026, 10, 31) << "October 2026";
        QTest::newRow("first day of week is today") << mon << monday << mon << "Today";
        QTest::newRow("its yesterday is not last week") << mon << monday << mon.addDays(-1) << "Yesterday";
        QTest::newRow("sunday-first week") << wednesday << int(Qt::Sunday) << QDate(2026, 11, 22) << "This Week";
    }
    void sections()
    {
        QFETCH(QDate, today);
        QFETCH(int, firstDay);
        QFETCH(QDate, day);
        QFETCH(QString, title);
        QCOMPARE(pulse::sectionTitle(day, today, Qt::DayOfWeek(firstDay), QLocale(QLocale::English)), title);
    }

    void pagesOfAHundred_data()
    {
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("pages");
        QTest::newRow("fewer than a page") << 42 << 1;
        QTest::newRow("exactly a page: one more, empty") << 100 << 2;
        QTest::newRow("two and a half") << 250 << 3;
    }
    void pagesOfAHundred()
    {
        QFETCH(int, rows);
        QFETCH(int, pages);
        TestEnvironment env;
        auto store = Store::open(env.path("pulse.store")).value();
        seed(store->mainContext(), env.root(), rows, [](int i) { return 2 + i / 20; });
        NotificationCenter center;
        PulseModel model(store, center);
        model.setClock([] { return wednesday; }, Qt::Monday);
        QSignalSpy appended(&model, &PulseModel::rowsAppended);
        model.reload();
        QVERIFY(model.isLoadingFirstPage());
        QVERIFY(appended.wait(5000));
        loadAll(model);
        QCOMPARE(appended.size(), pages);
        int entries = 0;
        for (const PulseItem &item : model.items())
            entries += item.entry ? 1 : 0;
        QCOMPARE(entries, rows);
        // Each append starts where the last ended: rows shown never move.
        int expectedFirst = 0;
        for (const QList<QVariant> &signal : appended) {
            QCOMPARE(signal.at(0).toInt(), expectedFirst);
            expectedFirst += signal.at(1).toInt();
        }
        QStringList titles = headers(model);
        QCOMPARE(titles.removeDuplicates(), 0); // a section that spans pages has one header
        QCOMPARE(titles.first(), QStringLiteral("This Week"));
    }

    void followsRenamesAndArchiving()
    {
        auto store = Store::open(m_env.path("follow.store")).value();
        const QList<QUuid> chats = seed(store->mainContext(), m_env.root(), 3, [](int i) { return i; });
        // The same chat active on a second day: two rows to change at once.
        ChatActivityDay again;
        again.chatId = chats.first();
        again.day = QDateTime(wednesday.addDays(-10), QTime(0, 0));
        store->mainContext().insert(again);
        (void)store->mainContext().save();
        NotificationCenter center;
        PulseModel model(store, center);
        model.setClock([] { return wednesday; }, Qt::Monday);
        QSet<QUuid> running{chats.last()};
        model.setRunningProbe([&running](const QUuid &id) { return running.contains(id); });
        model.setActive(true);
        QSignalSpy appended(&model, &PulseModel::rowsAppended);
        model.reload();
        QVERIFY(appended.wait(5000));
        QCOMPARE(headers(model), (QStringList{"Today", "Yesterday", "This Week", "November 2026"}));
        auto rowsOf = [&model](const QUuid &id) {
            QList<PulseEntry> rows;
            for (const PulseItem &item : model.items())
                if (item.entry && item.entry->chatId == id)
                    rows << *item.entry;
            return rows;
        };
        QVERIFY(rowsOf(chats.last()).first().isRunning);
        QVERIFY(!rowsOf(chats.first()).first().isRunning);
        // A session ending is told by its broadcast; the row follows.
        running.clear();
        broadcast::post(center, broadcast::ChatSessionChanged{chats.last(), false});
        QVERIFY(!rowsOf(chats.last()).first().isRunning);

        auto chat = store->mainContext().get<Chat>(chats.first());
        chat->name = QStringLiteral("renamed");
        (void)store->mainContext().save();
        QSignalSpy changed(&model, &PulseModel::rowsChanged);
        broadcast::post(center, broadcast::ChatRenamed{chat->id});
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.first().first().value<QList<int>>().size(), 2);
        for (int row : changed.first().first().value<QList<int>>())
            QCOMPARE(model.items().at(row).entry->chatName, QStringLiteral("renamed"));

        QSignalSpy reset(&model, &PulseModel::reset);
        center.post(broadcast::chatArchiveStateDidChange, nullptr, {});
        QCOMPARE(reset.size(), 1);
        QVERIFY(appended.wait(5000));
        model.setActive(false);
        broadcast::post(center, broadcast::ChatRenamed{chat->id});
        QCOMPARE(changed.size(), 1); // not followed while hidden
    }
};

QTEST_GUILESS_MAIN(TestPulse)
#include "tst_pulse.moc"
