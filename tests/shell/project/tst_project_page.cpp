// The project page drawn offscreen over a real repository: the tiles fill in with their colours,
// the stale-branch deletion lists what it deletes before it runs, a worktree is adopted from its
// row, and a click on a project in a real main window brings the page up. Leaves the light and
// dark screenshots.
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/Appearance.h"
#include "shell/project/ProjectPage.h"
#include "shell/window/ContentArea.h"
#include "shell/window/MainWindow.h"
#include "shell/window/SidebarView.h"
#include "source_control/HygieneRepo.h"
#include "source_control/overview/ProjectOverviewViewModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace corvane;

namespace {

QString valueOf(ProjectPage &page, HygieneFigureKind kind)
{
    return page.tile(kind)->findChild<QLabel *>(QStringLiteral("value"))->text();
}

QString colorOf(ProjectPage &page, HygieneFigureKind kind)
{
    return page.tile(kind)->findChild<QLabel *>(QStringLiteral("dot"))->property("hygieneColor").toString();
}

} // namespace

class ProjectPageTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;
    int m_case = 0;

private slots:
    void tilesActionsAndScreenshots()
    {
        const test::HygieneRepo repo = test::makeHygieneRepo(m_sandbox, "page");
        m_sandbox.write(repo.repo + "/CLAUDE.md", "# House rules\nKeep functions short.\nTest with real parts.\n");
        auto store = Store::open(m_sandbox.path(QStringLiteral("store%1.sqlite").arg(++m_case))).value();
        NotificationCenter center;
        WorkspaceLifecycleService lifecycle(store->mainContext(), center);
        auto project = lifecycle.createProject("page", repo.repo, std::nullopt);
        lifecycle.createSimpleWorkspace(*project);
        ProjectOverviewViewModel model(store->mainContext(), lifecycle, center);
        QWidget window;
        auto *page = new ProjectPage(model, &window);
        QStringList asked;
        bool answer = false;
        page->setConfirm([&](const QString &title, const QString &text, const QString &) {
            asked << title + "|" + text;
            return answer;
        });
        window.resize(1100, 900);
        page->resize(window.size());
        window.show();

        model.setProject(project);
        QCOMPARE(page->findChild<QLabel *>("projectTitle")->text(), QStringLiteral("page"));
        QCOMPARE(page->findChild<QLabel *>("projectHealth")->text(), QStringLiteral("Checking project health..."));
        QCOMPARE(valueOf(*page, HygieneFigureKind::stashes), QStringLiteral("Measuring…"));
        QTRY_VERIFY_WITH_TIMEOUT(model.isIdle(), 30000);

        QCOMPARE(valueOf(*page, HygieneFigureKind::staleBranches), QStringLiteral("4"));
        QCOMPARE(colorOf(*page, HygieneFigureKind::staleBranches), QStringLiteral("red"));
        QCOMPARE(colorOf(*page, HygieneFigureKind::stashes), QStringLiteral("yellow"));
        QCOMPARE(valueOf(*page, HygieneFigureKind::diskUsage), QStringLiteral("Not measured"));
        QCOMPARE(valueOf(*page, HygieneFigureKind::outdated), QStringLiteral("Dependencies haven't been checked"));
        QCOMPARE(page->findChild<QLabel *>("projectHealth")->text(), QStringLiteral("Health: Poor"));
        QCOMPARE(page->findChild<QListWidget *>("branchList")->count(), 8);
        QVERIFY(page->findChild<QListWidget *>("memoryList")->item(0)->text().startsWith("CLAUDE.md  (project)"));

        // Measure on request; the value replaces the prompt.
        QTest::mouseClick(page->tile(HygieneFigureKind::diskUsage)->findChild<QPushButton *>("action"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(model.isIdle(), 30000);
        QVERIFY(valueOf(*page, HygieneFigureKind::diskUsage).back().isLetter());

        // Screenshots while there is something to see.
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        for (auto [mode, name] : {std::pair{AppearanceMode::light, "light"}, std::pair{AppearanceMode::dark, "dark"}}) {
            applyAppearance(mode);
            QApplication::processEvents();
            QVERIFY(window.grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/project-overview-%1.png").arg(name)));
        }
        applyAppearance(AppearanceMode::light);

        // Delete asks first, naming each branch; "no" deletes nothing.
        QPushButton *deleteStale = page->tile(HygieneFigureKind::staleBranches)->findChild<QPushButton *>("action");
        QVERIFY(deleteStale->isEnabled());
        QTest::mouseClick(deleteStale, Qt::LeftButton);
        QCOMPARE(asked.size(), 1);
        for (const QString &branch : repo.staleBranches)
            QVERIFY2(asked.first().contains("\n" + branch), qPrintable(asked.first()));
        QVERIFY(model.isIdle());
        QCOMPARE(m_sandbox.git(repo.repo, {"branch", "--list", "old/*"}).count('\n'), 4);
        answer = true;
        QTest::mouseClick(deleteStale, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(model.isIdle(), 30000);
        QCOMPARE(valueOf(*page, HygieneFigureKind::staleBranches), QStringLiteral("0"));
        QVERIFY(!deleteStale->isEnabled());
        QVERIFY(m_sandbox.git(repo.repo, {"branch", "--list", "old/*"}).isEmpty());

        // The orphan worktrees' rows offer a workspace; taking it moves the figure.
        QCOMPARE(valueOf(*page, HygieneFigureKind::orphanWorktrees), QStringLiteral("2"));
        QPushButton *adopt = page->findChild<QWidget *>("worktreeList")->findChild<QPushButton *>("adoptButton");
        QVERIFY(adopt);
        QTest::mouseClick(adopt, Qt::LeftButton);
        QTRY_COMPARE(valueOf(*page, HygieneFigureKind::orphanWorktrees), QStringLiteral("1"));
        QCOMPARE(model.recentWorkspaces().size(), 2);
    }

    // The branch rows' menu and the stash tile's menu act through git; git's refusal shows in
    // the page's words.
    void branchAndStashMenus()
    {
        const test::HygieneRepo repo = test::makeHygieneRepo(m_sandbox, "menus", 1, 2, 0);
        auto store = Store::open(m_sandbox.path(QStringLiteral("store%1.sqlite").arg(++m_case))).value();
        NotificationCenter center;
        WorkspaceLifecycleService lifecycle(store->mainContext(), center);
        auto project = lifecycle.createProject("menus", repo.repo, std::nullopt);
        ProjectOverviewViewModel model(store->mainContext(), lifecycle, center);
        QWidget window;
        auto *page = new ProjectPage(model, &window);
        page->setConfirm([](const QString &, const QString &, const QString &) { return true; });
        window.show();
        model.setProject(project);
        QTRY_VERIFY_WITH_TIMEOUT(model.isIdle(), 30000);
        auto *message = page->findChild<QLabel *>("actionMessage");
        const auto trigger = [&](const QString &branch, int index) {
            QMenu *menu = page->branchMenu(branch);
            menu->actions().at(index)->trigger();
            delete menu;
            QTRY_VERIFY_WITH_TIMEOUT(model.isIdle(), 30000);
        };

        trigger("fresh", 0); // Switch to Branch
        QCOMPARE(model.currentBranch(), QStringLiteral("fresh"));
        trigger("main", 0);
        QCOMPARE(model.currentBranch(), QStringLiteral("main"));

        // Not merged: git refuses, and the page says so.
        trigger("old/topic-0", 3); // Delete Branch…
        QVERIFY(!message->isHidden());
        QVERIFY2(message->text().startsWith("Delete branch failed: ") && message->text().contains("not fully merged"),
                 qPrintable(message->text()));
        trigger("old/topic-0", 1); // Merge into Current
        trigger("old/topic-0", 3);
        QVERIFY2(message->isHidden(), qPrintable(message->text()));
        QVERIFY(m_sandbox.git(repo.repo, {"branch", "--list", "old/*"}).isEmpty());

        QCOMPARE(valueOf(*page, HygieneFigureKind::stashes), QStringLiteral("2"));
        QMenu *stashes = page->stashMenu();
        QCOMPARE(stashes->actions().size(), 2);
        QVERIFY(stashes->actions().first()->text().startsWith("stash@{0}: "));
        stashes->actions().first()->menu()->actions().at(1)->trigger(); // Drop…
        QTRY_VERIFY_WITH_TIMEOUT(model.isIdle(), 30000);
        QCOMPARE(valueOf(*page, HygieneFigureKind::stashes), QStringLiteral("1"));
        QCOMPARE(QString::fromUtf8(m_sandbox.git(repo.repo, {"stash", "list"})).count('\n'), 1);
    }

    void aClickOnAProjectShowsItsPage()
    {
        const QString folder = m_sandbox.makeRepository("clicked");
        auto store = Store::open(m_sandbox.path(QStringLiteral("store%1.sqlite").arg(++m_case))).value();
        PreferencesStore preferences(m_sandbox.path("settings.json"));
        NotificationCenter center;
        AppSettings settings(preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; });
        WorkspaceLifecycleService lifecycle(store->mainContext(), center);
        auto workspace = lifecycle.addProjectFolder(folder, std::nullopt);
        QVERIFY(workspace);
        const QUuid projectId = *(*workspace)->projectId;
        MainWindow window(WindowServices{store->mainContext(), preferences, settings, center, lifecycle}, 1);
        window.setAttribute(Qt::WA_DeleteOnClose, false);
        window.show();

        QTreeWidget *tree = window.sidebar()->tree();
        QTreeWidgetItem *item = window.sidebar()->item(projectId);
        QVERIFY(item);
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
        QTRY_VERIFY(window.content()->isShowingProject());
        auto *page = window.content()->findChild<ProjectPage *>();
        QVERIFY(page && page->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(page->model().isIdle() && page->model().project(), 30000);
        QCOMPARE(page->findChild<QLabel *>("projectTitle")->text(), QStringLiteral("clicked"));
        QCOMPARE(page->findChild<QLabel *>("projectHealth")->text(), QStringLiteral("Health: Good"));
        QCOMPARE(page->model().hygieneRuns(), 1);
        QCOMPARE(page->findChild<QListWidget *>("workspaceList")->count(), 1);
    }
};

QTEST_MAIN(ProjectPageTest)
#include "tst_project_page.moc"
