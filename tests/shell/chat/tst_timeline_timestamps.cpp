// The times of the chat's rows on the real timeline, shown offscreen: a horizontal touchpad
// swipe slides the rows aside and shows every row's time until the spring brings them back;
// vertical swipes, mouse wheels and momentum scroll as before; hovering a row shows its time.
#include "presentation/timeline/ChatTimelineModel.h"
#include "shell/chat/TimelineView.h"
#include "shell/chat/TimestampOverlay.h"

#include <QCursor>
#include <QDir>
#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>

using namespace corvane;

class TimelineTimestampsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QWidget> m_host;
    ChatTimelineModel *m_model = nullptr;
    TimelineView *m_view = nullptr;
    QList<MessagePtr> m_messages;

    void wheel(QPoint pixels, Qt::ScrollPhase phase, QPoint angle = {})
    {
        const QPointF at = m_view->viewport()->rect().center();
        if (angle.isNull())
            angle = pixels * 2;
        QWheelEvent event(at, m_view->viewport()->mapToGlobal(at), pixels, angle, Qt::NoButton, Qt::NoModifier, phase, false);
        QCoreApplication::sendEvent(m_view->viewport(), &event);
    }

    // A gesture of `steps` equal deltas with its begin and end; no end when `end` is false.
    void gesture(QPoint step, int steps, bool end = true)
    {
        wheel({}, Qt::ScrollBegin, {});
        for (int i = 0; i < steps; ++i)
            wheel(step, Qt::ScrollUpdate);
        if (end)
            wheel({}, Qt::ScrollEnd, {});
    }

    static QString expectedTime(const Message &message)
    {
        TimestampBadgeText text;
        text.setDate(message.timestamp);
        return text.dayLine() + QLatin1Char(' ') + text.timeLine();
    }

private slots:
    void initTestCase()
    {
        // The pointer stays away from the window: rows shown under it would count as hovered.
        QCursor::setPos(-1000, -1000);
    }

    void init()
    {
        m_host = std::make_unique<QWidget>();
        m_host->resize(700, 500);
        m_model = new ChatTimelineModel(m_host.get());
        m_view = new TimelineView(*m_model, m_host.get());
        m_view->context().style = ChatStyle::from(m_view->palette(), 1.0);
        m_view->resize(m_host->size());
        m_messages.clear();
        // Half an hour apart, the last one now: the earlier ones fall on yesterday.
        const QDateTime start = QDateTime::currentDateTime().addSecs(-39 * 1800);
        for (int i = 0; i < 40; ++i) {
            auto message = std::make_shared<Message>();
            message->role = i % 2 ? MessageRole::assistant : MessageRole::user;
            message->content = i % 2 == 0 ? QStringLiteral("Can you look at step %1?").arg(i / 2)
                               : i % 4 == 1 ? QStringLiteral("Step %1 reads the config twice.\n\nOnce is enough: the second read "
                                                            "only repeats the first.").arg(i / 2)
                                            : QStringLiteral("Done, the tests pass.");
            message->timestamp = start.addSecs(1800 * i);
            message->isComplete = true;
            m_messages << message;
        }
        m_model->resetMessages(m_messages);
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
        m_view->scrollToEnd();
    }

    void cleanup() { m_host.reset(); }

    // Which gestures reveal the times and which scroll the list.
    void gestures_data()
    {
        QTest::addColumn<QPoint>("pixels");
        QTest::addColumn<QPoint>("angle");
        QTest::addColumn<int>("phase"); // the updates' phase
        QTest::addColumn<bool>("reveals");
        QTest::addColumn<bool>("scrolls");
        QTest::newRow("touchpad leftwards") << QPoint(-8, 1) << QPoint() << int(Qt::ScrollUpdate) << true << false;
        QTest::newRow("touchpad upwards") << QPoint(1, 8) << QPoint() << int(Qt::ScrollUpdate) << false << true;
        QTest::newRow("touchpad diagonal, vertical wins") << QPoint(-5, 8) << QPoint() << int(Qt::ScrollUpdate) << false << true;
        QTest::newRow("momentum after lifting") << QPoint(-8, 0) << QPoint() << int(Qt::ScrollMomentum) << false << false;
        QTest::newRow("touchpad without phases") << QPoint(-8, 0) << QPoint() << int(Qt::NoScrollPhase) << true << false;
        QTest::newRow("mouse wheel") << QPoint() << QPoint(0, 120) << int(Qt::NoScrollPhase) << false << true;
        QTest::newRow("mouse tilt wheel") << QPoint() << QPoint(-120, 0) << int(Qt::NoScrollPhase) << false << false;
    }

    void gestures()
    {
        QFETCH(QPoint, pixels);
        QFETCH(QPoint, angle);
        QFETCH(int, phase);
        QFETCH(bool, reveals);
        QFETCH(bool, scrolls);
        const int scrolledFrom = m_view->verticalScrollBar()->value();
        const bool phased = phase != Qt::NoScrollPhase;
        if (phased)
            wheel({}, Qt::ScrollBegin, {});
        for (int i = 0; i < 8; ++i)
            wheel(pixels, Qt::ScrollPhase(phase), angle.isNull() ? pixels * 2 : angle);
        QCOMPARE(m_view->timestamps()->isVisible(), reveals);
        QCOMPARE(m_view->revealOffset() > 30, reveals);
        QCOMPARE(m_view->verticalScrollBar()->value() != scrolledFrom, scrolls);
        if (reveals) {
            const QList<TimelineRow *> rows = m_view->visibleRows();
            QCOMPARE(rows.first()->x(), -qRound(m_view->revealOffset()));
            QCOMPARE(m_view->timestamps()->shownTimes().size(), rows.size());
        }
        if (phased)
            wheel({}, Qt::ScrollEnd, {});
        // Let go: the rows spring back (without phases, after a pause in the deltas).
        QTRY_COMPARE_WITH_TIMEOUT(m_view->revealOffset(), 0.0, 3000);
        QVERIFY(!m_view->timestamps()->isVisible());
        QVERIFY(m_view->timestamps()->shownTimes().isEmpty());
        QCOMPARE(m_view->visibleRows().first()->x(), 0);
    }

    // The strip lists each row's own time, top to bottom; a swipe step costs no layout pass.
    void swipeShowsEachRowsTime()
    {
        gesture({-4, 0}, 3, false);
        const int passes = m_view->layoutPasses();
        for (int i = 0; i < 12; ++i)
            wheel({-6, 0}, Qt::ScrollUpdate);
        QCOMPARE(m_view->layoutPasses(), passes);
        QVERIFY(m_view->revealOffset() > 60);
        QStringList expected;
        for (TimelineRow *row : m_view->visibleRows())
            expected << expectedTime(*row->item().message);
        QCOMPARE(m_view->timestamps()->shownTimes(), expected);
        QVERIFY(expected.last().startsWith(QLatin1String("Today ")));

        if (const QByteArray dir = qgetenv("CORVANE_SCREENSHOT_DIR"); !dir.isEmpty()) {
            QDir().mkpath(QString::fromLocal8Bit(dir));
            QVERIFY(m_host->grab().save(QString::fromLocal8Bit(dir) + QStringLiteral("/chat-timestamps.png")));
        }
        wheel({}, Qt::ScrollEnd, {});
        QTRY_COMPARE_WITH_TIMEOUT(m_view->revealOffset(), 0.0, 3000);
    }

    // A mouse over a row shows that row's time alone; leaving hides it.
    void hoverShowsOneTime()
    {
        TimelineRow *row = m_view->visibleRows().at(2);
        const QPointF inside(10, 10);
        QEnterEvent enter(inside, row->mapTo(m_host.get(), inside), row->mapToGlobal(inside));
        QCoreApplication::sendEvent(row, &enter);
        QVERIFY(m_view->timestamps()->isVisible());
        QCOMPARE(m_view->timestamps()->shownTimes(), QStringList{expectedTime(*row->item().message)});
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(row, &leave);
        QVERIFY(!m_view->timestamps()->isVisible());
        QVERIFY(m_view->timestamps()->shownTimes().isEmpty());
    }
};

QTEST_MAIN(TimelineTimestampsTest)
#include "tst_timeline_timestamps.moc"
