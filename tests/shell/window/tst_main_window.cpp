#include "automation/AutomatedAgentOrchestrator.h"
#include "automation/ProjectGates.h"
#include "core/records/QualityGate.h"
#include "core/NotificationCenter.h"
#include "core/records/AutomationFlow.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowNavigator.h"
#include "core/window/WindowStateModel.h"
#include "shell/Appearance.h"
#include "shell/window/AutomationRunBanner.h"
#include "shell/window/ContentArea.h"
#include "shell/window/InspectorView.h"
#include "shell/diff/DiffWindow.h"
#include "shell/profiles/ProfileDotsView.h"
#include "shell/window/MainWindow.h"
#include "shell/window/NewWorkspaceDialog.h"
#include "shell/window/QualityGatesDialog.h"
#include "shell/window/SidebarView.h"
#include "shell/window/WindowActions.h"
#include "shell/window/WorkspaceTabBar.h"
#include "core/Broadcasts.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/SidebarViewModel.h"
#include "support/TestEnvironment.h"

#include <QAction>
#include <QCheckBox>
#include <QSpinBox>
#include <QListWidget>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QPointer>
#include <QProcess>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSplitter>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace corvane;

namespace {

// A real repository with one commit.
void git(const QString &folder, const QStringList &args)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("git"), args);
    QVERIFY(process.waitForFinished(10000));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
}

void makeRepository(const QString &path)
{
    QDir().mkpath(path);
    git(path, {"init", "-q", "-b", "main"});
    git(path, {"-c", "user.name=T", "-c", "user.email=t@example.com", "commit", "-q", "--allow-empty", "-m", "first"});
}

void triggerRowAction(MainWindow *window, const QUuid &id, const QString &text)
{
    QObject owner;
    for (QAction *action : window->sidebar()->rowActions(id, &owner))
        if (action->text() == text)
            return action->trigger();
    QFAIL(qPrintable("no row action " + text));
}

// What the application gives a window: one store, one preferences file, one settings object.
struct Services
{
    test::TestEnvironment env;
    std::shared_ptr<Store> store = Store::open(env.path("store.sqlite")).value();
    PreferencesStore preferences{env.path("settings.json")};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
    WorkspaceLifecycleService lifecycle{store->mainContext(), center};
    AutomatedAgentOrchestrator orchestrator{store->mainContext(), center};

    std::unique_ptr<MainWindow> openWindow()
    {
        auto window = std::make_unique<MainWindow>(
            WindowServices{store->mainContext(), preferences, settings, center, lifecycle, nullptr, &orchestrator}, 1);
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
        return window;
    }
};

void click(SidebarView *sidebar, const QUuid &id)
{
    QTreeWidget *tree = sidebar->tree();
    QTreeWidgetItem *item = sidebar->item(id);
    QVERIFY(item);
    tree->scrollToItem(item);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
}

void clickPill(WorkspaceTabBar *bar, int index)
{
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->pillRects().at(index).center().toPoint());
}

QStringList tabTitles(WorkspaceTabBar *bar)
{
    QStringList titles;
    for (const auto &tab : bar->tabs())
        titles << tab.title;
    return titles;
}

} // namespace

class MainWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void addProjectSelectAndSwitchTabs()
    {
        Services s;
        const QString repo = s.env.path("alpha");
        makeRepository(repo);
        auto window = s.openWindow();
        window->setFolderPicker([&](QWidget *) { return repo; });
        QCOMPARE(window->content()->currentWidget()->objectName(), QStringLiteral("emptyState"));

        window->actions().action(KeyboardShortcutAction::addProject)->trigger();
        QCOMPARE(window->sidebarModel().projects().size(), 1);
        const auto project = window->sidebarModel().projects().first();
        QCOMPARE(project->name, QStringLiteral("alpha"));
        QCOMPARE(window->content()->currentWidget()->objectName(), QStringLiteral("workspacePage"));
        WorkspaceTabBar *bar = window->content()->tabBar();
        QCOMPARE(tabTitles(bar), QStringList{"Chat 1"});
        auto *placeholder = qobject_cast<QLabel *>(window->content()->chatView());
        QVERIFY(placeholder);
        QCOMPARE(placeholder->text(), QStringLiteral("Chat 1"));

        // The + button adds a chat and shows it; the factory draws it from now on.
        window->setChatViewFactory([](const QUuid &id) {
            auto *view = new QLabel(id.toString());
            view->setObjectName(QStringLiteral("chatView"));
            return view;
        });
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->addButtonRect().center().toPoint());
        QCOMPARE(tabTitles(bar), (QStringList{"Chat 1", "Chat 2"}));
        const QUuid second = bar->tabs().at(1).chatId;
        QCOMPARE(bar->selectedChatId(), std::optional(second));
        QCOMPARE(window->content()->chatView()->objectName(), QStringLiteral("chatView"));
        QCOMPARE(window->currentChatId(), std::optional(second));

        clickPill(bar, 0);
        QCOMPARE(window->currentChatId(), std::optional(bar->tabs().at(0).chatId));
        QCOMPARE(window->content()->chatViewId(), std::optional(bar->tabs().at(0).chatId));

        // Sidebar: the project shows its overview, a chat brings back its workspace.
        click(window->sidebar(), project->id);
        QCOMPARE(window->content()->currentWidget()->objectName(), QStringLiteral("projectPage"));
        QVERIFY(!window->actions().action(KeyboardShortcutAction::closeChat)->isEnabled());
        click(window->sidebar(), second);
        QCOMPARE(window->state().content(), ContentState::workspace(s.lifecycle.workspaces(*project).first()->id));
        QCOMPARE(window->currentChatId(), std::optional(second));
        QCOMPARE(window->sidebar()->tree()->currentItem(), window->sidebar()->item(second));

        // Activity from the sessions reaches the tab bar.
        broadcast::post(s.center, broadcast::ChatActivityChanged{second, QStringLiteral("processing")});
        QCOMPARE(bar->tabs().at(1).activity, QStringLiteral("processing"));

        // Close Workspace goes to the empty state and hands the workspace over for its sessions.
        QSignalSpy closed(window.get(), &MainWindow::workspaceCloseRequested);
        window->actions().action(KeyboardShortcutAction::closeChat)->trigger();
        QCOMPARE(closed.size(), 1);
        QCOMPARE(window->content()->currentWidget()->objectName(), QStringLiteral("emptyState"));
    }

    void manyChatsScroll()
    {
        Services s;
        makeRepository(s.env.path("many"));
        auto window = s.openWindow();
        window->resize(1000, 600);
        QVERIFY(window->addProjectFolder(s.env.path("many")));
        for (int i = 0; i < 11; ++i)
            window->actions().action(KeyboardShortcutAction::newChatInWorkspace)->trigger();
        QApplication::processEvents();
        WorkspaceTabBar *bar = window->content()->tabBar();
        QCOMPARE(bar->tabs().size(), 12);
        QCOMPARE(bar->pillRects().first().width(), 120.0);
        // The row is wider than the column, scrolls, and still ends with the + button.
        auto *scroller = window->content()->findChild<QScrollArea *>(QStringLiteral("tabScroller"));
        QVERIFY(bar->width() > scroller->viewport()->width());
        QVERIFY(scroller->horizontalScrollBar()->maximum() > 0);
        QVERIFY(bar->rect().contains(bar->addButtonRect().toRect()));
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->addButtonRect().center().toPoint());
        QCOMPARE(bar->tabs().size(), 13);
    }

    void archivingFromTheSidebar()
    {
        Services s;
        const QString repo = s.env.path("epsilon");
        makeRepository(repo);
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(repo));
        const QUuid plain = window->state().content().id;

        // A workspace on the checkout goes at once, and the window leaves it.
        triggerRowAction(window.get(), plain, QStringLiteral("Archive Workspace"));
        QTRY_VERIFY(window->state().content().isEmpty());
        QVERIFY(!window->sidebar()->item(plain));
        // ... and comes back from its project's row.
        const QUuid projectId = window->sidebarModel().projects().first()->id;
        const QString restoreText = QStringLiteral("Restore Workspace \u201C%1\u201D")
                                        .arg(s.store->mainContext().get<Workspace>(plain)->name);
        triggerRowAction(window.get(), projectId, restoreText);
        QTRY_VERIFY(window->sidebar()->item(plain));
        triggerRowAction(window.get(), plain, QStringLiteral("Archive Workspace"));
        QTRY_VERIFY(!window->sidebar()->item(plain));

        // A worktree with uncommitted work asks first; nothing goes before the answer.
        const QString tree = s.env.path("trees/feature");
        git(repo, {"worktree", "add", "-q", "-b", "feature", tree});
        QFile dirty(tree + "/notes.txt");
        QVERIFY(dirty.open(QIODevice::WriteOnly));
        dirty.write("draft");
        dirty.close();
        auto &context = s.store->mainContext();
        Workspace workspace;
        workspace.name = QStringLiteral("feature");
        workspace.usesWorktree = true;
        workspace.worktreePath = tree;
        workspace.projectId = window->sidebarModel().projects().first()->id;
        const auto stored = context.insert(workspace);
        Chat chat;
        chat.name = QStringLiteral("Chat 1");
        chat.workspaceId = stored->id;
        chat.projectId = workspace.projectId;
        context.insert(chat);
        QVERIFY(context.save());
        QTRY_VERIFY(window->sidebar()->item(stored->id));
        click(window->sidebar(), chat.id);
        QCOMPARE(window->state().content(), ContentState::workspace(stored->id));

        QSignalSpy asked(window.get(), &MainWindow::lifecycleMessageShown);
        triggerRowAction(window.get(), stored->id, QStringLiteral("Archive Workspace"));
        QTRY_COMPARE(asked.size(), 1);
        QVERIFY2(asked.first().first().toString().contains("uncommitted changes"), qPrintable(asked.first().first().toString()));
        QVERIFY(QFileInfo::exists(tree + "/notes.txt"));
        QCOMPARE(window->state().content(), ContentState::workspace(stored->id));

        QMessageBox *box = window->findChild<QMessageBox *>();
        QVERIFY(box);
        QPushButton *go = nullptr;
        for (QAbstractButton *button : box->buttons())
            if (button->text() == QStringLiteral("Archive Workspace & Remove Worktree"))
                go = qobject_cast<QPushButton *>(button);
        QVERIFY(go);
        go->click();
        // While git removes the worktree, the row says so and takes no clicks.
        QTreeWidgetItem *row = window->sidebar()->item(stored->id);
        QVERIFY(row);
        QCOMPARE(row->text(0), lifecycleText::archivingWorkspace);
        QVERIFY(row->isDisabled());
        QTRY_VERIFY_WITH_TIMEOUT(window->state().content().isEmpty(), 20000);
        QTRY_VERIFY(!QFileInfo::exists(tree));
        QVERIFY(context.get<Workspace>(stored->id)->isArchived());
    }

    void chatsWrittenByAnotherProcessAppear()
    {
        Services s;
        const QString repo = s.env.path("zeta");
        makeRepository(repo);
        s.store->watchOtherWriters(50);
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(repo));
        const QUuid workspaceId = window->state().content().id;
        // corvane-cli writes through its own connection, as this second store does.
        auto other = Store::open(s.store->path()).value();
        Chat chat;
        chat.name = QStringLiteral("From the command line");
        chat.workspaceId = workspaceId;
        chat.projectId = window->sidebarModel().projects().first()->id;
        other->mainContext().insert(chat);
        QVERIFY(other->mainContext().save());
        QTRY_VERIFY_WITH_TIMEOUT(window->sidebar()->item(chat.id), 5000);
    }

    // A streaming chat saves its record with every new row; a rename is a save too. Both change
    // one row in place, never the whole tree; a new chat does rebuild it.
    void chatSavesUpdateTheirRowOnly()
    {
        Services s;
        makeRepository(s.env.path("eta"));
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(s.env.path("eta")));
        const QUuid workspaceId = window->state().content().id;
        QApplication::processEvents();
        const auto chatId = window->currentChatId();
        QVERIFY(chatId);
        const int rebuilds = window->sidebar()->rebuildCount();

        auto session = s.store->newContext(); // as a chat session saves
        for (int i = 0; i < 20; ++i) {
            session->get<Chat>(*chatId)->setUpdatedAt(QDateTime::currentDateTime().addSecs(i));
            QVERIFY(session->save());
            QApplication::processEvents();
        }
        session->get<Chat>(*chatId)->name = QStringLiteral("Renamed while streaming");
        QVERIFY(session->save());
        QTRY_COMPARE(window->sidebar()->item(*chatId)->text(0), QStringLiteral("Renamed while streaming"));
        QTRY_COMPARE(tabTitles(window->content()->tabBar()), QStringList{"Renamed while streaming"});
        QCOMPARE(window->sidebar()->rebuildCount(), rebuilds);

        Chat added;
        added.name = QStringLiteral("Second");
        added.workspaceId = workspaceId;
        added.projectId = window->sidebarModel().projects().first()->id;
        added.sortOrder = 1;
        session->insert(added);
        QVERIFY(session->save());
        QTRY_VERIFY(window->sidebar()->item(added.id));
        QCOMPARE(window->sidebar()->rebuildCount(), rebuilds + 1);
    }

    void archivedWorkspaceLeavesTheWindow()
    {
        Services s;
        makeRepository(s.env.path("beta"));
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(s.env.path("beta")));
        const QUuid workspaceId = window->state().content().id;
        QVERIFY(!window->addProjectFolder(s.env.path("beta")));
        QCOMPARE(window->sidebarModel().projects().size(), 1);

        auto other = s.store->newContext();
        other->get<Workspace>(workspaceId)->statusRaw = QStringLiteral("archived");
        QVERIFY(other->save());
        QTRY_VERIFY(window->state().content().isEmpty());
        QTRY_COMPARE(window->content()->currentWidget()->objectName(), QStringLiteral("emptyState"));
        QVERIFY(!window->sidebar()->item(workspaceId));
    }

    void profilePages()
    {
        Services s;
        Profile work, home;
        work.name = QStringLiteral("Work");
        work.isDefault = true;
        home.name = QStringLiteral("Home");
        home.sortOrder = 1;
        s.store->mainContext().insert(work);
        s.store->mainContext().insert(home);
        QVERIFY(s.store->mainContext().save());
        makeRepository(s.env.path("job"));
        makeRepository(s.env.path("hobby"));

        auto window = s.openWindow();
        ProfileDotsView *picker = window->sidebar()->profileDots();
        QVERIFY(picker->isVisible());
        QTest::mouseClick(picker, Qt::LeftButton, {}, picker->dotRect(0).center());
        QVERIFY(window->addProjectFolder(s.env.path("job")));
        const QUuid jobWorkspace = window->state().content().id;
        QTest::mouseClick(picker, Qt::LeftButton, {}, picker->dotRect(1).center());
        QVERIFY(window->state().content().isEmpty());
        QVERIFY(window->addProjectFolder(s.env.path("hobby")));
        const auto hobby = window->sidebarModel().projects().last();
        QCOMPARE(hobby->profileId, std::optional(home.id));
        QVERIFY(window->sidebar()->item(hobby->id));
        QVERIFY(!window->sidebar()->item(jobWorkspace));

        // Back on the work page, its last workspace comes back.
        QTest::mouseClick(picker, Qt::LeftButton, {}, picker->dotRect(0).center());
        QCOMPARE(window->state().content(), ContentState::workspace(jobWorkspace));
        QVERIFY(window->sidebar()->item(jobWorkspace));
        QVERIFY(!window->sidebar()->item(hobby->id));
    }

    void keyboardShortcuts()
    {
        Services s;
        makeRepository(s.env.path("gamma"));
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(s.env.path("gamma")));
        QApplication::setActiveWindow(window.get());
        QVERIFY(QTest::qWaitForWindowActive(window.get()));

        // No two actions on one key, and none on a key the terminal needs.
        QHash<QString, QString> owners;
        for (QAction *action : window->actions().allActions()) {
            const QString key = action->shortcut().toString(QKeySequence::PortableText);
            if (key.isEmpty())
                continue;
            QVERIFY2(!owners.contains(key), qPrintable(key + " on " + action->text() + " and " + owners.value(key)));
            owners.insert(key, action->text());
        }
        for (const char *kept : {"Ctrl+C", "Ctrl+D", "Ctrl+Z", "Ctrl+L", "Ctrl+R", "Ctrl+W", "Ctrl+S"})
            QVERIFY2(!owners.contains(kept), kept);

        QVERIFY(window->sidebar()->isVisible());
        QTest::keyClick(window.get(), Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!window->sidebar()->isVisible());
        QCOMPARE(window->actions().action(KeyboardShortcutAction::toggleSidebar)->text(), QStringLiteral("Show Sidebar"));
        QTest::keyClick(window.get(), Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(window->sidebar()->isVisible());

        QVERIFY(!window->inspector()->isVisible());
        QTest::keyClick(window.get(), Qt::Key_I, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(window->inspector()->isVisible());

        QTest::keyClick(window.get(), Qt::Key_T, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(tabTitles(window->content()->tabBar()), (QStringList{"Chat 1", "Chat 2"}));

        window->setChatViewFactory([](const QUuid &) { return new QLineEdit; });
        QVERIFY(!window->content()->chatView()->hasFocus());
        QTest::keyClick(window.get(), Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(window->content()->chatView()->hasFocus());
        // Ctrl+L is the chat's, or the terminal's, not the window's.
        QTest::keyClick(window->content()->chatView(), Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(window->state().content().kind, ContentState::Kind::workspace);

        // A changed binding is live at once.
        QVERIFY(s.settings.setShortcut({QStringLiteral("b"), KeyCombo::Command}, KeyboardShortcutAction::toggleSidebar));
        QTest::keyClick(window.get(), Qt::Key_B, Qt::ControlModifier);
        QVERIFY(!window->sidebar()->isVisible());
    }

    void stateRestoredAfterRestart()
    {
        Services s;
        makeRepository(s.env.path("delta"));
        QUuid chat;
        QList<int> widths;
        QSize size(1100, 700);
        {
            auto window = s.openWindow();
            QVERIFY(window->addProjectFolder(s.env.path("delta")));
            window->actions().action(KeyboardShortcutAction::newChatInWorkspace)->trigger();
            clickPill(window->content()->tabBar(), 0);
            chat = *window->currentChatId();
            window->actions().action(KeyboardShortcutAction::toggleInspector)->trigger();
            window->resize(size);
            window->splitter()->setSizes({300, 400, 380});
            QApplication::processEvents();
            widths = window->splitter()->sizes();
            window->close();
        }
        auto window = s.openWindow();
        QVERIFY(window->hasSavedGeometry());
        QCOMPARE(window->size(), size);
        QCOMPARE(window->currentChatId(), std::optional(chat));
        QCOMPARE(window->content()->chatViewId(), std::optional(chat));
        QVERIFY(window->inspector()->isVisible());
        QCOMPARE(window->splitter()->sizes(), widths);
    }

    // The run banner over a workspace whose run waits for review: the user approves there.
    void aRunWaitingForReviewIsDecidedOnItsBanner()
    {
        Services s;
        makeRepository(s.env.path("app"));
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(s.env.path("app")));
        StoreContext &ctx = s.store->mainContext();
        const auto workspace = ctx.fetchOrEmpty<Workspace>().first();
        auto chat = ctx.insert(Chat());
        chat->workspaceId = workspace->id;
        chat->projectId = workspace->projectId;
        AutomationFlow flow;
        flow.name = "quick-fix";
        flow.skipReviewPhase = true;
        flow.filePath = s.env.path("quick-fix.md");
        ctx.insert(flow);
        const auto run = s.orchestrator.startRun(std::nullopt, workspace, chat, flow, 0, std::nullopt);
        QualityGate style;
        style.name = "style";
        style.command = "echo too long; exit 1";
        style.isRequired = false;
        QualityGate tests;
        tests.name = "tests";
        tests.command = "true";
        tests.order = 1;
        bool validated = false;
        s.orchestrator.validate(run, {style, tests}, s.env.path("app"), [&] { validated = true; });
        QTRY_VERIFY(validated);
        click(window->sidebar(), workspace->id);
        auto *banner = window->findChild<AutomationRunBanner *>();
        QVERIFY(banner);
        QTRY_VERIFY(banner->isVisible());
        QCOMPARE(banner->title()->text(), QStringLiteral("Review Required"));
        QCOMPARE(banner->text()->text(), QStringLiteral("The agent finished its run. Approve the result or request changes."));
        QTRY_VERIFY(window->sidebar()->item(workspace->id)->text(0).endsWith(QStringLiteral("\u00B7 Review Required")));
        // The inspector lists the last validation's gates.
        QListWidget *gates = window->inspector()->gateResults();
        QTRY_COMPARE(gates->count(), 2);
        QVERIFY2(gates->item(0)->text().startsWith(QStringLiteral("\u2717 style \u00B7 exit 1 \u00B7 ")), qPrintable(gates->item(0)->text()));
        QCOMPARE(gates->item(0)->toolTip(), QStringLiteral("too long"));
        QVERIFY(gates->item(1)->text().startsWith(QStringLiteral("\u2713 tests")));
        banner->findChild<QPushButton *>("approveRunButton")->click();
        QCOMPARE(run->statusRaw, QStringLiteral("done"));
        QTRY_COMPARE(banner->title()->text(), QStringLiteral("Run approved"));
        QVERIFY(!banner->findChild<QPushButton *>("approveRunButton")->isVisible());
    }

    // A project's gates from its row's menu: two added, a name given twice refused with the
    // reason and the dialog kept open, then saved in the order shown.
    void qualityGatesEditedFromTheProjectMenu()
    {
        Services s;
        makeRepository(s.env.path("app"));
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(s.env.path("app")));
        StoreContext &ctx = s.store->mainContext();
        const auto project = ctx.fetchOrEmpty<Project>().first();
        QAction *open = nullptr;
        for (QAction *action : window->sidebar()->rowActions(project->id, window.get()))
            if (action->text() == QStringLiteral("Quality Gates…"))
                open = action;
        QVERIFY(open);
        open->trigger();
        auto *dialog = window->findChild<QualityGatesDialog *>();
        QVERIFY(dialog && dialog->isVisible());
        auto addGate = [&](const QString &name, const QString &command) {
            dialog->addButton()->click();
            QTest::keyClicks(dialog->nameField(), name);
            QTest::keyClicks(dialog->commandField(), command);
        };
        addGate("tests", "make test");
        dialog->timeoutField()->setValue(600);
        addGate("tests", "make lint");
        dialog->requiredBox()->setChecked(false);
        dialog->saveButton()->click();
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->errorLabel()->text(), QStringLiteral("Two gates are named \"tests\""));
        QCOMPARE(ctx.count<QualityGate>().valueOr(-1), 0);
        dialog->nameField()->selectAll();
        QTest::keyClicks(dialog->nameField(), "lint");
        QCOMPARE(dialog->list()->item(1)->text(), QStringLiteral("lint \u00B7 optional"));
        for (QPushButton *button : dialog->findChildren<QPushButton *>())
            if (button->text() == QStringLiteral("Up"))
                button->click();
        dialog->grab().save(QDir::current().filePath("quality-gates.png"));
        dialog->saveButton()->click();
        QTRY_VERIFY(!window->findChild<QualityGatesDialog *>()); // closed and gone
        QStringList saved;
        for (const auto &gate : projectgates::of(ctx, project->id))
            saved << QStringLiteral("%1 %2 %3 %4 %5").arg(gate->order).arg(gate->name, gate->command)
                         .arg(gate->isRequired ? "required" : "optional").arg(gate->timeoutSeconds);
        QCOMPARE(saved, (QStringList{"0 lint make lint optional 0", "1 tests make test required 600"}));
    }

    void screenshots()
    {
        Services s;
        for (const char *name : {"corvane", "website"})
            makeRepository(s.env.path(name));
        auto window = s.openWindow();
        QVERIFY(window->addProjectFolder(s.env.path("website")));
        QVERIFY(window->addProjectFolder(s.env.path("corvane")));
        window->actions().action(KeyboardShortcutAction::newChat)->trigger();
        // The dialog opens on the checkout as it is: Create makes a plain workspace.
        auto *dialog = window->findChild<NewWorkspaceDialog *>();
        QVERIFY(dialog);
        dialog->createButton()->click();
        for (int i = 0; i < 2; ++i)
            window->actions().action(KeyboardShortcutAction::newChatInWorkspace)->trigger();
        const auto tabs = window->content()->tabBar()->tabs();
        broadcast::post(s.center, broadcast::ChatActivityChanged{tabs.at(0).chatId, "processing"});
        broadcast::post(s.center, broadcast::ChatActivityChanged{tabs.at(1).chatId, "waitingForPermission"});
        broadcast::post(s.center, broadcast::ChatActivityChanged{tabs.at(2).chatId, "completed"});
        window->actions().action(KeyboardShortcutAction::toggleInspector)->trigger();
        // An edit made outside the program reaches the inspector's list of changes.
        // Without an upstream, the commits not on a default branch count as ahead.
        QTRY_COMPARE_WITH_TIMEOUT(window->inspector()->changesTitle()->text(), QStringLiteral("No changes \u00B7 1 commit ahead"), 5000);
        QFile edited(s.env.path("corvane/README.md"));
        QVERIFY(edited.open(QIODevice::WriteOnly));
        edited.write("# Corvane\n\nAgents at work.\n");
        edited.close();
        QTRY_COMPARE_WITH_TIMEOUT(window->inspector()->changes()->count(), 1, 5000);
        QCOMPARE(window->inspector()->changes()->item(0)->text(), QStringLiteral("?  README.md  +4 \u22120"));
        QCOMPARE(window->inspector()->changesTitle()->text(), QStringLiteral("1 changed file \u00B7 1 commit ahead"));
        // A double click opens the file's diff: untracked, it is a new file.
        QListWidget *changes = window->inspector()->changes();
        emit changes->itemDoubleClicked(changes->item(0));
        auto *diff = window->findChild<DiffWindow *>();
        QVERIFY(diff);
        QTRY_VERIFY(diff->isLoaded());
        QCOMPARE(diff->rightHeader()->text(), QStringLiteral("New File"));
        diff->close();
        window->resize(1400, 820);
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        for (auto [mode, name] : {std::pair{AppearanceMode::light, "light"}, std::pair{AppearanceMode::dark, "dark"}}) {
            applyAppearance(mode);
            QApplication::processEvents();
            const QString file = QStringLiteral(CORVANE_SCREENSHOT_DIR "/main-window-%1.png").arg(name);
            QVERIFY(window->grab().save(file));
        }
        applyAppearance(AppearanceMode::light);
    }
};

QTEST_MAIN(MainWindowTest)
#include "tst_main_window.moc"
