// The Archived Chats and Archived Workspaces pages over a real store: the lists, Restore,
// Delete Permanently…, Delete All… and the retention pickers.
#include "support/PreferencesFixture.h"
#include "support/StoreFixture.h"

#include "core/Broadcasts.h"
#include "shell/preferences/ArchivedChatsPage.h"
#include "shell/preferences/ArchivedWorkspacesPage.h"

#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

const QDateTime base = QDateTime(QDate(2026, 3, 1), QTime(9, 0));

// A project with one workspace and one chat, all live.
InsertedPlace place(PreferencesFixture &f, const QString &name)
{
    const QString folder = f.env.path(name);
    QDir().mkpath(folder);
    return insertPlace(f.ctx(), folder, name + QStringLiteral(" chat"), std::nullopt, name);
}

template <typename R>
void archive(PreferencesFixture &f, const QUuid &id, const QDateTime &at)
{
    const auto record = f.ctx().get<R>(id);
    record->statusRaw = QStringLiteral("archived");
    record->archivedAt = at;
    QVERIFY(f.ctx().save());
}

template <typename R>
bool exists(PreferencesFixture &f, const QUuid &id)
{
    // A fresh read of the file, not the context's own copy.
    return !f.store->mainContext().fetchOrEmpty<R>(Query(where::eq("id", id))).isEmpty();
}

} // namespace

class TestArchivedPages : public QObject
{
    Q_OBJECT

private slots:
    void workspacesListedNewestFirstAndRestored()
    {
        PreferencesFixture f;
        const InsertedPlace older = place(f, QStringLiteral("alpha"));
        const InsertedPlace newer = place(f, QStringLiteral("beta"));
        const InsertedPlace live = place(f, QStringLiteral("gamma"));
        archive<Workspace>(f, older.workspaceId, base);
        archive<Workspace>(f, newer.workspaceId, base.addDays(3));
        archive<Chat>(f, newer.chatId, base.addDays(3)); // archived with its workspace
        ArchivedWorkspacesPage page(f.settings, f.ctx(), f.lifecycle);
        page.show();
        QCOMPARE(page.shownIds(), (QList<QUuid>{newer.workspaceId, older.workspaceId}));
        const QString row = page.findChild<QWidget *>(QStringLiteral("record:") + newer.workspaceId.toString(QUuid::WithoutBraces))
                                ->findChildren<QLabel *>().at(1)->text();
        QVERIFY2(row.startsWith(QStringLiteral("beta · Archived ")), qPrintable(row));

        page.restoreButton(newer.workspaceId)->click();
        QTRY_COMPARE(page.shownIds(), QList<QUuid>{older.workspaceId});
        QVERIFY(!f.ctx().get<Workspace>(newer.workspaceId)->isArchived());
        QVERIFY(!f.ctx().get<Chat>(newer.chatId)->isArchived()); // its chats come back with it
        QVERIFY(exists<Workspace>(f, live.workspaceId));
    }

    void workspaceDeletedPermanently()
    {
        PreferencesFixture f;
        const InsertedPlace doomed = place(f, QStringLiteral("alpha"));
        const InsertedPlace kept = place(f, QStringLiteral("beta"));
        archive<Workspace>(f, doomed.workspaceId, base);
        archive<Workspace>(f, kept.workspaceId, base.addDays(1));
        ArchivedWorkspacesPage page(f.settings, f.ctx(), f.lifecycle);
        page.show();

        page.deleteButton(doomed.workspaceId)->click();
        QMessageBox *confirm = shownMessageBox(page);
        QVERIFY(confirm);
        QCOMPARE(confirm->windowTitle(), QStringLiteral("Permanently Delete \"alpha\"?"));
        QCOMPARE(confirm->text(), QStringLiteral("This will permanently delete this workspace and all its chats and messages. "
                                                 "This action cannot be undone."));
        QVERIFY(pressButton(*confirm, QStringLiteral("Cancel")));
        QVERIFY(exists<Workspace>(f, doomed.workspaceId));

        page.deleteButton(doomed.workspaceId)->click();
        confirm = shownMessageBox(page);
        QVERIFY(confirm);
        QVERIFY(pressButton(*confirm, QStringLiteral("Delete Permanently")));
        QTRY_COMPARE(page.shownIds(), QList<QUuid>{kept.workspaceId});
        QVERIFY(!exists<Workspace>(f, doomed.workspaceId));
        QVERIFY(!exists<Chat>(f, doomed.chatId)); // the chats go with their workspace
        QVERIFY(exists<Workspace>(f, kept.workspaceId));
        QVERIFY(exists<Chat>(f, kept.chatId));
        QVERIFY(exists<Project>(f, doomed.projectId));
    }

    void deleteAllWorkspaces()
    {
        PreferencesFixture f;
        const InsertedPlace one = place(f, QStringLiteral("alpha"));
        const InsertedPlace two = place(f, QStringLiteral("beta"));
        const InsertedPlace live = place(f, QStringLiteral("gamma"));
        archive<Workspace>(f, one.workspaceId, base);
        archive<Workspace>(f, two.workspaceId, base);
        ArchivedWorkspacesPage page(f.settings, f.ctx(), f.lifecycle);
        page.show();
        page.deleteAllButton()->click();
        QMessageBox *confirm = shownMessageBox(page);
        QVERIFY(confirm);
        QCOMPARE(confirm->windowTitle(), QStringLiteral("Delete All Archived Workspaces?"));
        QCOMPARE(confirm->text(), QStringLiteral("This will permanently delete all 2 archived workspaces. This action cannot be undone."));
        QVERIFY(pressButton(*confirm, QStringLiteral("Delete All")));
        QTRY_VERIFY(page.shownIds().isEmpty());
        QVERIFY(!exists<Workspace>(f, one.workspaceId) && !exists<Workspace>(f, two.workspaceId));
        QVERIFY(exists<Workspace>(f, live.workspaceId) && exists<Chat>(f, live.chatId));
        QVERIFY(page.findChild<QLabel *>(QStringLiteral("emptyList"))->isVisible());
        QVERIFY(!page.deleteAllButton()->isEnabled());
    }

    void chatsRestoredDeletedAndDeletedAll()
    {
        PreferencesFixture f;
        const InsertedPlace a = place(f, QStringLiteral("alpha"));
        const InsertedPlace b = place(f, QStringLiteral("beta"));
        const InsertedPlace c = place(f, QStringLiteral("gamma"));
        const InsertedPlace inArchived = place(f, QStringLiteral("delta"));
        archive<Chat>(f, a.chatId, base);
        archive<Chat>(f, b.chatId, base.addDays(2));
        archive<Chat>(f, c.chatId, base.addDays(1));
        archive<Workspace>(f, inArchived.workspaceId, base);
        archive<Chat>(f, inArchived.chatId, base);
        ArchivedChatsPage page(f.settings, f.ctx(), f.lifecycle);
        page.show();
        // A chat of an archived workspace belongs to that workspace's list.
        QCOMPARE(page.shownIds(), (QList<QUuid>{b.chatId, c.chatId, a.chatId}));

        page.restoreButton(b.chatId)->click();
        QTRY_COMPARE(page.shownIds(), (QList<QUuid>{c.chatId, a.chatId}));
        QVERIFY(!f.ctx().get<Chat>(b.chatId)->isArchived());

        page.deleteButton(c.chatId)->click();
        QMessageBox *confirm = shownMessageBox(page);
        QVERIFY(confirm);
        QCOMPARE(confirm->windowTitle(), QStringLiteral("Permanently Delete \"gamma chat\"?"));
        QCOMPARE(confirm->text(), QStringLiteral("This will permanently delete this chat and all its messages. This action cannot be undone."));
        QVERIFY(pressButton(*confirm, QStringLiteral("Delete Permanently")));
        QTRY_COMPARE(page.shownIds(), QList<QUuid>{a.chatId});
        QVERIFY(!exists<Chat>(f, c.chatId));
        QVERIFY(exists<Workspace>(f, c.workspaceId)); // only the chat goes

        page.deleteAllButton()->click();
        confirm = shownMessageBox(page);
        QVERIFY(confirm);
        QCOMPARE(confirm->windowTitle(), QStringLiteral("Delete All Archived Chats?"));
        QCOMPARE(confirm->text(), QStringLiteral("This will permanently delete all 1 archived chats. This action cannot be undone."));
        QVERIFY(pressButton(*confirm, QStringLiteral("Delete All")));
        QTRY_VERIFY(page.shownIds().isEmpty());
        QVERIFY(!exists<Chat>(f, a.chatId));
        QVERIFY(exists<Chat>(f, b.chatId));
        QVERIFY(exists<Chat>(f, inArchived.chatId)); // not this page's to delete
    }

    void longListShownInPagesAndDeletedWhole()
    {
        PreferencesFixture f;
        const InsertedPlace live = place(f, QStringLiteral("alpha"));
        const int count = ArchivedRecordsPage::rowsPerPage + 1;
        for (int i = 0; i < count; ++i) {
            Workspace workspace;
            workspace.name = QStringLiteral("old %1").arg(i);
            workspace.projectId = live.projectId;
            workspace.statusRaw = QStringLiteral("archived");
            workspace.archivedAt = base.addSecs(i);
            f.ctx().insert(workspace);
        }
        QVERIFY(f.ctx().save());
        ArchivedWorkspacesPage page(f.settings, f.ctx(), f.lifecycle);
        page.show();
        QCOMPARE(page.shownIds().size(), ArchivedRecordsPage::rowsPerPage);
        QVERIFY(page.showMoreButton()->isVisible());
        QCOMPARE(page.showMoreButton()->text(), QStringLiteral("Show More (200 of 201 shown)"));
        page.showMoreButton()->click();
        QCOMPARE(page.shownIds().size(), count);
        QVERIFY(!page.showMoreButton()->isVisible());
        QCOMPARE(f.ctx().get<Workspace>(page.shownIds().constLast())->name, QStringLiteral("old 0")); // the oldest last

        page.deleteAllButton()->click();
        QMessageBox *confirm = shownMessageBox(page);
        QVERIFY(confirm);
        QCOMPARE(confirm->text(), QStringLiteral("This will permanently delete all 201 archived workspaces. This action cannot be undone."));
        QVERIFY(pressButton(*confirm, QStringLiteral("Delete All")));
        QTRY_VERIFY_WITH_TIMEOUT(page.shownIds().isEmpty(), 30000);
        QCOMPARE(f.ctx().fetchOrEmpty<Workspace>().size(), 1);
        QVERIFY(exists<Workspace>(f, live.workspaceId));
    }

    void listFollowsArchivingElsewhere()
    {
        PreferencesFixture f;
        const InsertedPlace a = place(f, QStringLiteral("alpha"));
        ArchivedChatsPage page(f.settings, f.ctx(), f.lifecycle);
        page.show();
        QVERIFY(page.shownIds().isEmpty());
        QVERIFY(page.findChild<QLabel *>(QStringLiteral("emptyList"))->isVisible());
        // Archived from a window, through the lifecycle service.
        auto archived = f.lifecycle.archiveChat(f.ctx().get<Chat>(a.chatId), true);
        QTRY_VERIFY(archived.isFinished());
        QTRY_COMPARE(page.shownIds(), QList<QUuid>{a.chatId});
        // And from another context on the same store, as the clean-up does.
        const std::unique_ptr<StoreContext> other = f.store->newContext();
        other->remove(other->get<Chat>(a.chatId));
        QVERIFY(other->save());
        QTRY_VERIFY(page.shownIds().isEmpty());
    }

    void retentionPickers_data()
    {
        QTest::addColumn<bool>("chats");
        QTest::addColumn<QString>("label");
        QTest::addColumn<int>("days");
        QTest::newRow("chats never") << true << "Never" << 0;
        QTest::newRow("chats 60") << true << "After 60 days" << 60;
        QTest::newRow("workspaces 90") << false << "After 90 days" << 90;
        QTest::newRow("workspaces never") << false << "Never" << 0;
    }

    void retentionPickers()
    {
        QFETCH(bool, chats);
        QFETCH(QString, label);
        QFETCH(int, days);
        PreferencesFixture f;
        const auto posts = f.countPosts(broadcast::archiveRetentionChanged);
        std::unique_ptr<ArchivedRecordsPage> page;
        if (chats)
            page = std::make_unique<ArchivedChatsPage>(f.settings, f.ctx(), f.lifecycle);
        else
            page = std::make_unique<ArchivedWorkspacesPage>(f.settings, f.ctx(), f.lifecycle);
        QComboBox *box = page->retentionBox();
        QStringList labels;
        for (int i = 0; i < box->count(); ++i)
            labels << box->itemText(i);
        QCOMPARE(labels, (QStringList{"Never", "After 30 days", "After 60 days", "After 90 days"}));
        QCOMPARE(box->currentText(), QStringLiteral("After 30 days"));
        box->setCurrentIndex(box->findText(label));
        emit box->activated(box->currentIndex());
        QCOMPARE(*posts, 1);
        const auto reread = f.reread();
        const ArchiveRetention changed = chats ? reread->archivedChatRetention() : reread->archivedWorkspaceRetention();
        const ArchiveRetention untouched = chats ? reread->archivedWorkspaceRetention() : reread->archivedChatRetention();
        QCOMPARE(int(changed), days);
        QCOMPARE(untouched, ArchiveRetention::thirtyDays);
    }
};

QTEST_MAIN(TestArchivedPages)
#include "tst_archived_pages.moc"
