// The view-side decisions of the timeline that need no widget: row heights and their cache,
// following the newest message, the swipe that reveals times, and the badge's lines.
#include "presentation/timeline/SwipeRevealTracker.h"
#include "presentation/timeline/TimelineFollowState.h"
#include "presentation/timeline/TimelineRowHeights.h"
#include "presentation/timeline/TimestampBadgeText.h"

#include <QtTest>

using namespace corvane;

namespace {

MessagePtr make(MessageRole role, MessageContentType type, const QString &content = QStringLiteral("x"))
{
    auto m = std::make_shared<Message>();
    m->role = role;
    m->contentType = type;
    m->content = content;
    return m;
}

} // namespace

class TestTimelineViewLogic : public QObject
{
    Q_OBJECT

    int m_measured = 0;
    RowMeasures measures()
    {
        RowMeasures m;
        m.message = [this](const Message &message, int width) {
            ++m_measured;
            return int(message.content.size()) * 1000 / width;
        };
        m.permissionCard = [](const Message &, int) { return 120; };
        m.toolRow = [](const Message &, int) { return 30; };
        return m;
    }

private slots:
    void init()
    {
        MessageHeightCache::clear();
        m_measured = 0;
    }

    void rowHeights()
    {
        const QList<MessagePtr> messages{
            make(MessageRole::assistant, MessageContentType::text, QString(50, QLatin1Char('a'))),
            make(MessageRole::tool, MessageContentType::toolStart), make(MessageRole::tool, MessageContentType::toolComplete),
            make(MessageRole::system, MessageContentType::permissionRequest),
            make(MessageRole::tool, MessageContentType::subagentCard),
            make(MessageRole::user, MessageContentType::text, QStringLiteral("hi")),
        };
        const auto items = buildDisplayItems(messages);
        QCOMPARE(items.size(), 5);
        const RowMeasures m = measures();
        QCOMPARE(timelineRowHeight(items, 0, 100, m), 250); // measured at 200, not 100
        QCOMPARE(timelineRowHeight(items, 1, 500, m), kCollapsedGroupHeight);
        ToolGroupExpansion::setExpanded(items[1].id(), true);
        QCOMPARE(timelineRowHeight(items, 1, 500, m), kExpandedGroupHeaderHeight + 2 * 30);
        ToolGroupExpansion::setExpanded(items[1].id(), false);
        QCOMPARE(timelineRowHeight(items, 2, 500, m), 120);
        QCOMPARE(timelineRowHeight(items, 3, 500, m), m.subagentCardHeight);
        QCOMPARE(timelineRowHeight(items, 4, 500, m), kMinimumRowHeight); // 4 is below the floor
        QCOMPARE(timelineRowHeight(items, 5, 500, m), kMinimumRowHeight);
        QCOMPARE(timelineRowHeight(items, -1, 500, m), kMinimumRowHeight);
    }

    void heightCacheKeysAndInvalidation()
    {
        auto message = make(MessageRole::assistant, MessageContentType::text, QString(40, QLatin1Char('a')));
        const QList<ChatDisplayItem> items{ChatDisplayItem::single(message)};
        const RowMeasures m = measures();
        timelineRowHeight(items, 0, 400, m);
        timelineRowHeight(items, 0, 400, m);
        QCOMPARE(m_measured, 1);
        timelineRowHeight(items, 0, 401, m);
        QCOMPARE(m_measured, 2);
        message->isComplete = false; // how it draws changed: a new key
        timelineRowHeight(items, 0, 400, m);
        QCOMPARE(m_measured, 3);
        MessageHeightCache::removeMessage(message->id);
        QCOMPARE(MessageHeightCache::size(), 0);
        timelineRowHeight(items, 0, 400, m);
        QCOMPARE(m_measured, 4);
    }

    void following()
    {
        TimelineFollowState follow;
        QVERIFY(follow.isUserFollowing());
        follow.viewScrolled(false);
        QVERIFY(!follow.shouldScrollToEnd());
        QVERIFY(follow.showsJumpButton());
        follow.scrollProgrammatically([&] { follow.viewScrolled(true); });
        QVERIFY(!follow.isUserFollowing()); // the program's scroll does not count
        follow.viewScrolled(true);
        QVERIFY(follow.isUserFollowing());
        follow.scrollProgrammatically([&] { follow.viewScrolled(false); });
        QVERIFY(follow.isUserFollowing());
    }

    void swipeDecision_data()
    {
        QTest::addColumn<double>("dx");
        QTest::addColumn<double>("dy");
        QTest::addColumn<int>("phase");
        QTest::newRow("3 and 3 undecided") << 3.0 << 3.0 << int(SwipeRevealTracker::Phase::evaluating);
        QTest::newRow("5 and 3 tracks") << 5.0 << 3.0 << int(SwipeRevealTracker::Phase::tracking);
        QTest::newRow("5 and 4 undecided, 5 is not over 5.6") << 5.0 << 4.0 << int(SwipeRevealTracker::Phase::evaluating);
        QTest::newRow("vertical passes") << 1.0 << 6.0 << int(SwipeRevealTracker::Phase::passing);
        QTest::newRow("leftwards tracks too") << -6.0 << 0.0 << int(SwipeRevealTracker::Phase::tracking);
    }

    void swipeDecision()
    {
        QFETCH(double, dx);
        QFETCH(double, dy);
        QFETCH(int, phase);
        SwipeRevealTracker tracker;
        tracker.gestureBegan();
        tracker.scrolled(dx, dy);
        QCOMPARE(int(tracker.phase()), phase);
    }

    void swipeNeverTracksMomentumOrWheels()
    {
        SwipeRevealTracker tracker;
        tracker.gestureBegan();
        QVERIFY(!tracker.scrolled(10, 0, false));
        QCOMPARE(tracker.phase(), SwipeRevealTracker::Phase::passing);
        tracker.gestureEnded();
        tracker.gestureBegan();
        QVERIFY(!tracker.scrolled(10, 0, true, true));
        QCOMPARE(tracker.phase(), SwipeRevealTracker::Phase::passing);
    }

    void rubberBandAndSpring()
    {
        QCOMPARE(SwipeRevealTracker::rubberBand(-3), 0.0);
        QCOMPARE(SwipeRevealTracker::rubberBand(42), 42.0);
        QCOMPARE(SwipeRevealTracker::rubberBand(120), 60 + 60 * (1 - 1 / 1.55));

        SwipeRevealTracker tracker;
        QList<double> offsets;
        tracker.onChange = [&](double offset) { offsets << offset; };
        tracker.gestureBegan();
        tracker.scrolled(5, 0);
        tracker.scrolled(50, 0);
        tracker.scrolled(70, 0);
        QCOMPARE(offsets, (QList<double>{50, SwipeRevealTracker::rubberBand(120)}));
        tracker.gestureEnded();
        QCOMPARE(tracker.phase(), SwipeRevealTracker::Phase::idle);
        QVERIFY(tracker.isSpringRunning());
        int ticks = 0;
        while (tracker.isSpringRunning() && ticks < 600) {
            tracker.spring();
            ++ticks;
        }
        QVERIFY(ticks < 600);
        QCOMPARE(tracker.offset(), 0.0);
        QCOMPARE(offsets.last(), 0.0);
    }

    void badgeLines()
    {
        const QDateTime now(QDate(2026, 11, 23), QTime(15, 0));
        QCOMPARE(TimestampBadgeText::dayLineFor(QDateTime(QDate(2026, 11, 23), QTime(0, 5)), now), QStringLiteral("Today"));
        QCOMPARE(TimestampBadgeText::dayLineFor(QDateTime(QDate(2026, 11, 22), QTime(23, 59)), now), QStringLiteral("Yesterday"));
        QCOMPARE(TimestampBadgeText::dayLineFor(QDateTime(QDate(2026, 11, 19), QTime(9, 0)), now),
                 QLocale().dayName(4, QLocale::LongFormat));
        QVERIFY(TimestampBadgeText::dayLineFor(QDateTime(QDate(2025, 1, 2), QTime(9, 0)), now).contains(QLatin1String("2025")));
        TimestampBadgeText badge;
        badge.setDate(QDateTime(QDate(2026, 11, 22), QTime(8, 30)), now);
        QCOMPARE(badge.dayLine(), QStringLiteral("Yesterday"));
        badge.setDate(QDateTime(QDate(2026, 11, 22), QTime(8, 30)), now.addDays(5)); // same date: kept
        QCOMPARE(badge.dayLine(), QStringLiteral("Yesterday"));
        QVERIFY(!badge.timeLine().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestTimelineViewLogic)
#include "tst_timeline_view_logic.moc"
