// The import window opened from a project's row in a real main window, over logs in a temporary
// HOME: loading and empty states, filters, selection, import with progress and errors, the
// preview, and the workspace shown after.
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "shell/import/ImportPreviewWindow.h"
#include "shell/import/ImportWindow.h"
#include "shell/window/SidebarView.h"
#include "support/SessionLogs.h"
#include "support/StoreFixture.h"
#include "support/ToolWindowFixture.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTreeWidget>

using namespace corvane;
namespace logs = corvane::test::logs;

class ImportWindowTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::ToolWindowFixture> m_fx;
    QString m_folder;
    QUuid m_projectId;
    QStringList m_paths;

    QString writeLog(const QString &prompt, const QString &model, int daysAgo, const QByteArray &more = {})
    {
        const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
        const QString path = logs::claudeFolder(QDir::homePath() + "/.claude/projects", m_folder) + "/" + id + ".jsonl";
        logs::writeFile(path, logs::claudeUser(prompt) + logs::claudeText("Sure, on it.", model) + more);
        QFile file(path);
        file.open(QIODevice::ReadWrite);
        file.setFileTime(QDateTime::currentDateTime().addDays(-daysAgo), QFileDevice::FileModificationTime);
        m_paths << path;
        return id;
    }

    ImportWindow *openFromSidebar()
    {
        QObject owner;
        for (QAction *action : m_fx->window->sidebar()->rowActions(m_projectId, &owner))
            if (action->text() == QStringLiteral("Import Sessions…"))
                action->trigger();
        const auto windows = m_fx->window->findChildren<ImportWindow *>();
        return windows.size() == 1 ? windows.first() : nullptr;
    }

    static bool waitLoaded(ImportWindow *window)
    {
        return QTest::qWaitFor([window] { return window->model().hasLoaded() && !window->model().isLoading(); }, 10000);
    }

private slots:
    void init()
    {
        m_fx = std::make_unique<test::ToolWindowFixture>();
        m_folder = m_fx->f.env.path("project");
        QDir().mkpath(m_folder);
        m_projectId = test::insertPlace(m_fx->ctx(), m_folder, {}).projectId;
        m_paths.clear();
    }
    void cleanup() { m_fx.reset(); }

    void emptyProject()
    {
        m_fx->openWindow({1000, 700});
        QPointer<ImportWindow> window = openFromSidebar();
        QVERIFY(window);
        QCOMPARE(window->loadingLabel()->text(), QStringLiteral("Discovering sessions..."));
        QVERIFY(waitLoaded(window));
        QVERIFY(window->emptyTitle()->isVisible());
        QCOMPARE(window->emptyTitle()->text(), QStringLiteral("No Sessions Found"));
        QCOMPARE(window->emptyText()->text(), QStringLiteral("No importable Claude Code sessions were found for this project."));
        QVERIFY(!window->importButton()->isEnabled());
        // One window per project: asking again brings the same one forward.
        QCOMPARE(openFromSidebar(), window.data());
        window->cancelButton()->click();
        QTRY_VERIFY(!window);
    }

    void filterSelectAndImport()
    {
        const QString today = writeLog("Fix the login page", "claude-opus-4-8", 0);
        const QString week = writeLog("Add a settings dialog", "claude-sonnet-4-6", 3);
        const QString old = writeLog("Fix the flaky test", "claude-sonnet-4-6", 60);
        const QString gone = writeLog("Write the release notes", "claude-opus-4-8", 1);
        m_fx->openWindow({1000, 700});
        ImportWindow *window = openFromSidebar();
        QVERIFY(waitLoaded(window));

        QCOMPARE(window->list()->topLevelItemCount(), 4); // Today, Yesterday, This Week, Older
        QCOMPARE(window->list()->topLevelItem(0)->text(0), QStringLiteral("Today"));
        QCOMPARE(window->list()->topLevelItem(3)->text(0), QStringLiteral("Older"));
        QCOMPARE(window->rowOf(today)->text(ImportWindow::countColumn), QStringLiteral("2 messages"));
        QCOMPARE(window->rowOf(today)->text(ImportWindow::modelColumn), QStringLiteral("claude-opus-4-8"));
        QStringList models;
        for (int i = 0; i < window->modelFilter()->count(); ++i)
            models << window->modelFilter()->itemText(i);
        QCOMPARE(models, QStringList({"All Models", "claude-opus-4-8", "claude-sonnet-4-6"}));

        // Search, then a search nothing matches.
        QTest::keyClicks(window->searchField(), "fix");
        QVERIFY(window->rowOf(today) && window->rowOf(old) && !window->rowOf(week));
        QTest::keyClicks(window->searchField(), " nothing");
        QCOMPARE(window->emptyTitle()->text(), QStringLiteral("No Matching Sessions"));
        QCOMPARE(window->emptyText()->text(), QStringLiteral("Try adjusting your search or filters."));
        window->searchField()->clear();
        // Date and model.
        window->dateFilter()->setCurrentIndex(window->dateFilter()->findText("This Week"));
        QVERIFY(!window->rowOf(old) && window->rowOf(week));
        window->modelFilter()->setCurrentIndex(window->modelFilter()->findText("claude-opus-4-8"));
        QVERIFY(window->rowOf(today) && window->rowOf(gone) && !window->rowOf(week));

        // Select all over what the filters show.
        QCOMPARE(window->selectAllButton()->text(), QStringLiteral("Select All"));
        window->selectAllButton()->click();
        QCOMPARE(window->selectAllButton()->text(), QStringLiteral("Deselect All"));
        QCOMPARE(window->importButton()->text(), QStringLiteral("Import (2)"));
        QCOMPARE(window->selectedLabel()->text(), QStringLiteral("2 selected"));
        QCOMPARE(window->rowOf(today)->checkState(0), Qt::Checked);
        window->modelFilter()->setCurrentIndex(0);
        window->dateFilter()->setCurrentIndex(0);
        // The circle of a row selects it too.
        window->rowOf(week)->setCheckState(0, Qt::Checked);
        QCOMPARE(window->importButton()->text(), QStringLiteral("Import (3)"));
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        QVERIFY(window->grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/session-import.png")));

        // One log goes before the import; the others come in.
        QVERIFY(QFile::remove(m_paths[3]));
        QStringList progress;
        connect(&window->model(), &ImportWindowViewModel::changed, this, [&] {
            if (window->progressLabel()->isVisible() && !progress.contains(window->progressLabel()->text()))
                progress << window->progressLabel()->text();
        });
        QPointer<ImportWindow> guard(window);
        window->importButton()->click();
        QVERIFY(!window->importButton()->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(!window->model().isImporting(), 10000);
        QVERIFY(progress.contains("Importing 3 of 3"));
        QVERIFY(guard); // with an error it stays open and says so
        QVERIFY(window->errorLabel()->isVisible());
        QCOMPARE(window->errorLabel()->text(), QStringLiteral("Failed to import 1 session(s)"));
        QVERIFY(!window->rowOf(today) && !window->rowOf(week) && window->rowOf(old));

        // The main window shows the first new workspace, with its chat.
        const auto chat = m_fx->ctx().fetchFirst<Chat>(Query(where::eq("name", QStringLiteral("Fix the login page")))).value();
        QVERIFY(chat);
        QTRY_COMPARE(m_fx->window->currentChatId(), std::optional(chat->id));
    }

    void previewAndImportFromIt()
    {
        const QString id = writeLog("Explain the build", "claude-opus-4-8", 0,
                                    logs::claudeToolUse("Bash", {{"command", "cmake --build build"}}));
        m_fx->openWindow({1000, 700});
        QPointer<ImportWindow> window = openFromSidebar();
        QVERIFY(waitLoaded(window));
        QPointer<ImportPreviewWindow> preview = window->preview(id);
        QVERIFY(preview);
        QCOMPARE(preview->statusLabel()->text(), QStringLiteral("Loading messages..."));
        QTRY_VERIFY(!preview->isLoading());
        QCOMPARE(preview->messageList()->count(), 3);
        QVERIFY(preview->messageList()->item(2)->text().contains("Bash: cmake --build build"));
        QCOMPARE(m_fx->ctx().count<Chat>().valueOr(-1), 0); // nothing reached the store

        preview->importButton()->click();
        QTRY_VERIFY(!preview);
        QTRY_VERIFY_WITH_TIMEOUT(!window, 10000); // all went well: the window closes
        QCOMPARE(m_fx->ctx().count<Chat>().valueOr(-1), 1);
    }

    void previewOfALogEmptiedSinceTheList()
    {
        const QString id = writeLog("Soon empty", "claude-opus-4-8", 0);
        m_fx->openWindow({1000, 700});
        ImportWindow *window = openFromSidebar();
        QVERIFY(waitLoaded(window));
        logs::writeFile(m_paths.first(), logs::claudeToolResult());
        QPointer<ImportPreviewWindow> preview = window->preview(id);
        QTRY_VERIFY(!preview->isLoading());
        QCOMPARE(preview->statusLabel()->text(), QStringLiteral("No messages found"));
        preview->close();
        QTRY_VERIFY(!preview);
    }
};

QTEST_MAIN(ImportWindowTest)
#include "tst_import_window.moc"
