// The Pulse tool in the main window over a seeded store: a header per section, a click on a row
// shows its chat, and an archived chat is restored on the way.
#include "support/StoreFixture.h"
#include "support/ToolWindowFixture.h"

#include "core/records/ChatActivityDay.h"
#include "core/window/WindowStateModel.h"
#include "shell/tools/PulseToolPage.h"

#include <QDir>
#include <QListWidget>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

class TestPulsePage : public QObject
{
    Q_OBJECT

private slots:
    void rowsOpenTheirChats()
    {
        ToolWindowFixture f;
        const InsertedPlace place = insertPlace(f.ctx(), f.f.env.root(), QStringLiteral("Parser work"));
        Chat archived;
        archived.name = QStringLiteral("Old idea 💡");
        archived.projectId = place.projectId;
        archived.workspaceId = place.workspaceId;
        archived.statusRaw = QStringLiteral("archived");
        f.ctx().insert(archived);
        const QDate today = QDate::currentDate();
        for (const auto &[chat, daysAgo] : {std::pair{place.chatId, 0}, {place.chatId, 1}, {archived.id, 40}}) {
            ChatActivityDay day;
            day.chatId = chat;
            day.day = QDateTime(today.addDays(-daysAgo), QTime(0, 0));
            f.ctx().insert(day);
        }
        QVERIFY(f.ctx().save());
        f.openWindow(QSize(1000, 640));
        f.window->state().setContent(ContentState::tool(QStringLiteral("pulse")));
        PulseToolPage *page = nullptr;
        QTRY_VERIFY((page = f.window->findChild<PulseToolPage *>()) && page->isVisible());
        QListWidget *list = page->list();
        QTRY_COMPARE(list->count(), 6); // Today, Yesterday and a month, each with its row
        QCOMPARE(list->item(0)->text(), QStringLiteral("Today"));
        QCOMPARE(list->item(1)->text(), QStringLiteral("Parser work\n%1").arg(QDir(f.f.env.root()).dirName()));
        QCOMPARE(list->item(0)->flags(), Qt::NoItemFlags);
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(page->grab().save(CORVANE_SCREENSHOT_DIR "/pulse.png"));

        QVERIFY(list->item(5)->text().contains(QStringLiteral("Archived")));
        // By keyboard: Down skips the month's header (it cannot be selected), Return opens.
        list->setFocus();
        list->setCurrentRow(3);
        QTest::keyClick(list, Qt::Key_Down);
        QCOMPARE(list->currentRow(), 5);
        QTest::keyClick(list, Qt::Key_Return);
        // The chat shows in its workspace, as the selected one.
        QTRY_COMPARE(f.window->state().content(), ContentState::workspace(place.workspaceId));
        QCOMPARE(f.window->state().selectedChatIdInWorkspace(), std::optional(archived.id));
        QVERIFY(!f.ctx().get<Chat>(archived.id)->isArchived());
    }
};

QTEST_MAIN(TestPulsePage)
#include "tst_pulse_page.moc"
