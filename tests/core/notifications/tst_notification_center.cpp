#include "core/NotificationCenter.h"

#include <QTest>
#include <QThread>

using namespace corvane;

class NotificationCenterTest : public QObject
{
    Q_OBJECT

private slots:
    void deliversByNameAndSender_data()
    {
        QTest::addColumn<bool>("filterBySender");
        QTest::addColumn<bool>("postFromThatSender");
        QTest::addColumn<int>("expectedCalls");
        QTest::newRow("no filter, any sender") << false << false << 1;
        QTest::newRow("filter, matching sender") << true << true << 1;
        QTest::newRow("filter, other sender") << true << false << 0;
    }

    void deliversByNameAndSender()
    {
        QFETCH(bool, filterBySender);
        QFETCH(bool, postFromThatSender);
        QFETCH(int, expectedCalls);
        NotificationCenter center;
        int mine = 0, other = 0;
        const int sender = 0, stranger = 0;
        QVariantMap seen;
        center.addObserver("gitStateDidChange", [&](const Notification &n) { ++mine; seen = n.payload; },
                           filterBySender ? &sender : nullptr);
        center.addObserver("fileSystemDidChange", [&](const Notification &) { ++other; });
        center.post("gitStateDidChange", postFromThatSender ? &sender : &stranger, {{"workingDirectory", "/repo"}});
        QCOMPARE(mine, expectedCalls);
        QCOMPARE(other, 0);
        if (expectedCalls)
            QCOMPARE(seen.value("workingDirectory").toString(), QString("/repo"));
    }

    void observersRemovedDuringAPostAreNotCalled()
    {
        NotificationCenter center;
        QList<int> calls;
        QList<NotificationCenter::Token> tokens;
        // Whichever observer runs first removes the other two: exactly one call, in any order.
        for (int i = 0; i < 3; ++i) {
            tokens << center.addObserver("x", [&, i](const Notification &) {
                calls << i;
                for (int j = 0; j < 3; ++j)
                    if (j != i)
                        center.removeObserver(tokens[j]);
            });
        }
        center.post("x");
        QCOMPARE(calls.size(), 1);
        QCOMPARE(center.observerCount("x"), 1);
    }

    void anObserverMayRemoveItselfAndPostAgain()
    {
        NotificationCenter center;
        int calls = 0;
        NotificationCenter::Token token = 0;
        token = center.addObserver("once", [&](const Notification &) {
            ++calls;
            center.removeObserver(token);
            center.post("once"); // re-entrant post: must not reach the removed observer
        });
        center.post("once");
        center.post("once");
        QCOMPARE(calls, 1);
    }

    void observersGoAwayWithTheirContextAndGuard()
    {
        NotificationCenter center;
        int calls = 0;
        {
            QObject context;
            center.addObserver("y", [&](const Notification &) { ++calls; }, nullptr, &context);
            ObserverGuard guard(center, center.addObserver("y", [&](const Notification &) { ++calls; }));
            center.post("y");
            QCOMPARE(calls, 2);
        }
        center.post("y");
        QCOMPARE(calls, 2);
        QCOMPARE(center.observerCount("y"), 0);
    }

    void postsRunOnThePostersThread()
    {
        NotificationCenter center;
        QThread *seenOn = nullptr;
        center.addObserver("z", [&](const Notification &) { seenOn = QThread::currentThread(); });
        QThread thread;
        connect(&thread, &QThread::started, [&] { center.post("z"); thread.quit(); });
        thread.start();
        QVERIFY(thread.wait(5000));
        QCOMPARE(seenOn, &thread);
    }
};

QTEST_GUILESS_MAIN(NotificationCenterTest)
#include "tst_notification_center.moc"
