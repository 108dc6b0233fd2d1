#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowNavigator.h"
#include "CloneWindow.h"
#include "shell/window/BranchSwitchButton.h"
#include "shell/window/MainWindow.h"
#include "shell/window/NewWorkspaceDialog.h"
#include "shell/window/RenameDialog.h"
#include "shell/window/SidebarTreeWidget.h"
#include "shell/window/SidebarView.h"
#include "source_control/GitSandbox.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/SidebarViewModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace corvane;

namespace {

// A window on a clone of a bare repository, with the project added the way a user adds it.
struct Fixture : test::CloneWindow
{
    QList<StoreChanges> saves;

    Fixture()
    {
        QVERIFY(openWithProject());
        QObject::connect(&ctx(), &StoreContext::saved, [this](const StoreChanges &changes) { saves.append(changes); });
    }

    SidebarView &sidebar() { return *window->sidebar(); }
    template <typename R>
    QList<std::shared_ptr<R>> all() { return ctx().fetchOrEmpty<R>(Query().orderBy("sortOrder")); }
    std::shared_ptr<Project> project() { return all<Project>().first(); }
    std::shared_ptr<Workspace> firstWorkspace() { return lifecycle.workspaces(*project()).first(); }
    std::shared_ptr<Chat> firstChat() { return lifecycle.chats(*firstWorkspace()).first(); }

    // Triggers the row menu's item (or the item of one of its submenus) with this text.
    bool trigger(const QUuid &row, const QString &text)
    {
        QObject owner;
        for (QAction *action : sidebar().rowActions(row, &owner)) {
            const QList<QAction *> within = action->menu() ? action->menu()->actions() : QList<QAction *>{action};
            for (QAction *each : within)
                if (each->text() == text && each->isEnabled()) {
                    each->trigger();
                    return true;
                }
        }
        return false;
    }

    // Presses `button` on the newest confirmation once it shows; its text is returned.
    QString confirm(const QString &button)
    {
        QMessageBox *box = nullptr;
        (void)QTest::qWaitFor([&] {
            const auto boxes = window->findChildren<QMessageBox *>(QStringLiteral("lifecycleConfirmation"));
            for (QMessageBox *each : boxes)
                if (each->isVisible())
                    box = each;
            return box != nullptr;
        }, 20000);
        if (!box)
            return QStringLiteral("(no confirmation)");
        const QString text = box->windowTitle() + QLatin1Char('|') + box->text();
        for (QAbstractButton *each : box->buttons())
            if (each->text() == button)
                each->click();
        return text;
    }

    QString git(const QString &dir, const QStringList &args) { return QString::fromUtf8(sandbox.git(dir, args)).trimmed(); }
};

void sendDrag(QTreeWidget *tree, int kind, const QUuid &dragged, const QList<QTreeWidgetItem *> &overRows)
{
    std::unique_ptr<QMimeData> data(SidebarTreeWidget::rowMimeData(kind, dragged));
    QPoint at = tree->visualItemRect(tree->currentItem() ? tree->currentItem() : overRows.first()).center();
    QDragEnterEvent enter(at, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(tree->viewport(), &enter);
    for (QTreeWidgetItem *row : overRows) {
        at = tree->visualItemRect(row).center();
        QDragMoveEvent move(at, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(tree->viewport(), &move);
    }
    QDropEvent drop(at, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(tree->viewport(), &drop);
}

} // namespace

class SidebarActionsTest : public QObject
{
    Q_OBJECT

private slots:
    void renameInPlace_data()
    {
        QTest::addColumn<bool>("chat");
        QTest::addColumn<bool>("withF2");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("expected"); // empty: unchanged, nothing saved
        QTest::newRow("workspace, F2, trimmed") << false << true << "  Parser work \n" << "Parser work";
        QTest::newRow("chat, menu") << true << false << "Tokens" << "Tokens";
        QTest::newRow("workspace, blank") << false << false << "   " << "";
        QTest::newRow("chat, same name, F2") << true << true << "Chat 1" << "";
    }

    void renameInPlace()
    {
        QFETCH(bool, chat);
        QFETCH(bool, withF2);
        QFETCH(QString, typed);
        QFETCH(QString, expected);
        Fixture f;
        const QUuid id = chat ? f.firstChat()->id : f.firstWorkspace()->id;
        const QString before = chat ? f.firstChat()->name : f.firstWorkspace()->name;
        QTreeWidgetItem *row = f.sidebar().item(id);
        QVERIFY(row);
        if (withF2) {
            f.sidebar().tree()->setCurrentItem(row);
            f.sidebar().tree()->setFocus();
            QTest::keyClick(f.sidebar().tree(), Qt::Key_F2);
        } else {
            QVERIFY(f.trigger(id, QStringLiteral("Rename")));
        }
        QPointer<QLineEdit> editor = f.sidebar().tree()->viewport()->findChild<QLineEdit *>();
        QVERIFY(editor);
        QCOMPARE(editor->text(), before); // the record's name, not the row's label
        editor->setText(typed);
        f.window->runCommand(KeyboardShortcutAction::toggleInspector); // the window redraws meanwhile
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(editor.isNull()); // the edit is committed as the editor closes
        const QString now = chat ? f.ctx().get<Chat>(id)->name : f.ctx().get<Workspace>(id)->name;
        QCOMPARE(now, expected.isEmpty() ? before : expected);
        if (expected.isEmpty())
            QVERIFY(f.saves.isEmpty());
        QTRY_COMPARE(f.sidebar().item(id)->text(0), now);
    }

    void removeProjectLeavesOthersAndFiles()
    {
        Fixture f;
        const QString other = f.sandbox.makeRepository("other");
        QVERIFY(f.window->addProjectFolder(other));
        const auto removed = f.project();
        QVERIFY(f.trigger(removed->id, QStringLiteral("Remove Project…")));
        QCOMPARE(f.confirm(QStringLiteral("Remove")), "Remove Project|" + lifecycleText::removeProjectText);
        QTRY_COMPARE(f.all<Project>().size(), 1);
        QCOMPARE(f.all<Project>().first()->path, other);
        for (const auto &workspace : f.all<Workspace>())
            QCOMPARE(workspace->projectId, std::optional(f.all<Project>().first()->id));
        QCOMPARE(f.all<Chat>().size(), 1);
        QVERIFY(QFileInfo::exists(f.repo + "/README.md"));
        QVERIFY(!f.sidebar().item(removed->id));
    }

    void fork_data()
    {
        QTest::addColumn<bool>("worktree");
        QTest::newRow("into the checkout") << false;
        QTest::newRow("into a new worktree") << true;
    }

    void fork()
    {
        QFETCH(bool, worktree);
        Fixture f;
        QVERIFY(f.trigger(f.firstChat()->id, worktree ? "Fork Into New Worktree" : "Fork Into Local"));
        QPointer<NewWorkspaceDialog> dialog = f.window->findChild<NewWorkspaceDialog *>();
        QVERIFY(dialog);
        QTRY_VERIFY_WITH_TIMEOUT(dialog->baseBranchList()->count() > 0, 20000);
        QTest::keyClicks(dialog->branchField(), QStringLiteral("fork/one"));
        dialog->createButton()->click();
        QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), 20000);
        std::shared_ptr<Workspace> forked;
        for (const auto &each : f.all<Workspace>())
            if (each->gitBranch == QStringLiteral("fork/one"))
                forked = each;
        QVERIFY(forked);
        QCOMPARE(forked->usesWorktree, worktree);
        if (worktree)
            QVERIFY(f.git(f.repo, {"worktree", "list"}).contains(*forked->worktreePath));
        else
            QCOMPARE(f.git(f.repo, {"branch", "--show-current"}), QStringLiteral("fork/one"));
        QVERIFY(f.sidebar().item(forked->id));
    }

    void deleteForGood_data()
    {
        QTest::addColumn<bool>("workspace");
        QTest::addColumn<bool>("dirtyWorktree");
        QTest::newRow("a chat") << false << false;
        QTest::newRow("a workspace on a clean worktree") << true << false;
        QTest::newRow("a workspace whose worktree holds changes") << true << true;
    }

    void deleteForGood()
    {
        QFETCH(bool, workspace);
        QFETCH(bool, dirtyWorktree);
        Fixture f;
        const QString tree = f.sandbox.path("trees/doomed");
        f.sandbox.git(f.repo, {"worktree", "add", "-q", "-b", "doomed", tree});
        const auto doomed = f.lifecycle.adoptWorktree(*f.project(), GitWorktree{tree, QStringLiteral("doomed")});
        if (dirtyWorktree)
            f.sandbox.write(tree + "/notes.txt", "unsaved thoughts\n");
        const auto keptChat = f.firstChat();
        const QUuid target = workspace ? doomed->id : f.lifecycle.chats(*doomed).first()->id;
        QTRY_VERIFY(f.sidebar().item(target));

        QVERIFY(f.trigger(target, QStringLiteral("Delete Permanently…")));
        const QString name = workspace ? doomed->name : f.ctx().get<Chat>(target)->name;
        QCOMPARE(f.confirm(QStringLiteral("Delete Permanently")),
                 lifecycleText::deleteWorkspaceTitle(name) + "|"
                     + (workspace ? lifecycleText::deleteWorkspaceText : lifecycleText::deleteChatText));
        if (dirtyWorktree) {
            // The worktree's work is named before it goes.
            QVERIFY(f.confirm(QStringLiteral("Delete Permanently")).contains(QStringLiteral("Would be lost: 1 changed file.")));
        }
        QTRY_VERIFY_WITH_TIMEOUT(!f.ctx().get<Workspace>(target) && !f.ctx().get<Chat>(target), 20000);
        QCOMPARE(QFileInfo::exists(tree), !workspace);
        if (workspace)
            QVERIFY(f.lifecycle.chats(*doomed, true).isEmpty());
        QVERIFY(f.ctx().get<Chat>(keptChat->id));
        QVERIFY(f.ctx().get<Workspace>(keptChat->workspaceId.value()));
        QTRY_VERIFY(!f.sidebar().item(target));
    }

    void dragReorder_data()
    {
        QTest::addColumn<bool>("projects");
        QTest::addColumn<int>("from");
        QTest::addColumn<QList<int>>("over"); // the rows passed on the way, the last is the drop
        QTest::addColumn<QList<int>>("order");
        QTest::addColumn<int>("rewritten");
        QTest::newRow("workspace last to first, past the others")
            << false << 3 << QList<int>{2, 1, 0} << QList<int>{3, 0, 1, 2} << 4;
        QTest::newRow("workspace swaps with its neighbour") << false << 1 << QList<int>{0} << QList<int>{1, 0, 2, 3} << 2;
        QTest::newRow("workspace there and back") << false << 2 << QList<int>{0, 1} << QList<int>{0, 1, 2, 3} << 0;
        QTest::newRow("project to the end") << true << 0 << QList<int>{1, 2, 3} << QList<int>{1, 2, 3, 0} << 4;
        QTest::newRow("project past one") << true << 2 << QList<int>{3} << QList<int>{0, 1, 3, 2} << 2;
    }

    void dragReorder()
    {
        QFETCH(bool, projects);
        QFETCH(int, from);
        QFETCH(QList<int>, over);
        QFETCH(QList<int>, order);
        QFETCH(int, rewritten);
        Fixture f;
        QList<QUuid> ids;
        if (projects) {
            for (const QString name : {"b", "c", "d"})
                QVERIFY(f.window->addProjectFolder(f.sandbox.makeRepository(name)));
            for (const auto &project : f.all<Project>())
                ids.append(project->id);
        } else {
            for (const QString name : {"Two", "Three", "Four"})
                f.lifecycle.createWorkspace(*f.project(), name, std::nullopt);
            for (const auto &workspace : f.lifecycle.workspaces(*f.project()))
                ids.append(workspace->id);
        }
        QCOMPARE(ids.size(), 4);
        QTRY_VERIFY(f.sidebar().item(ids.last()));
        QTreeWidget *tree = f.sidebar().tree();
        QList<QTreeWidgetItem *> rows;
        for (int index : over)
            rows.append(f.sidebar().item(ids[index]));
        f.saves.clear();
        tree->setCurrentItem(f.sidebar().item(ids[from]));
        sendDrag(tree, int(projects ? SidebarView::ItemKind::project : SidebarView::ItemKind::workspace), ids[from], rows);

        const QString entity = projects ? QStringLiteral("Project") : QStringLiteral("Workspace");
        QCOMPARE(f.saves.size(), rewritten ? 1 : 0); // one save on the drop, none while moving
        QCOMPARE(rewritten ? int(f.saves.first().updated.value(entity).size()) : 0, rewritten);
        QList<QUuid> stored;
        if (projects)
            for (const auto &project : f.all<Project>())
                stored.append(project->id);
        else
            for (const auto &workspace : f.lifecycle.workspaces(*f.project()))
                stored.append(workspace->id);
        QList<QUuid> expected;
        for (int index : order)
            expected.append(ids[index]);
        QCOMPARE(stored, expected);
        // Dragged projects were folded while moving; they open again as they were.
        QTRY_VERIFY(f.sidebar().item(expected.first())->isExpanded());
    }

    void moveToAnotherProfile()
    {
        Fixture f;
        Profile work;
        work.name = QStringLiteral("Work");
        work.sortOrder = 1;
        f.ctx().insert(work);
        QVERIFY(f.ctx().save());
        f.window->sidebarModel().loadProjects();
        auto chat = f.firstChat();
        chat->claudeSessionId = QStringLiteral("session-of-the-old-account");
        QVERIFY(f.ctx().save());
        QVERIFY(f.trigger(f.project()->id, QStringLiteral("Work")));
        QCOMPARE(f.project()->profileId, std::optional(work.id));
        // The agent's session does not carry over to the other account; it is replayed there.
        QVERIFY(chat->pendingProfileMigration);
        QVERIFY(!chat->claudeSessionId);
        QObject owner;
        for (QAction *action : f.sidebar().rowActions(f.project()->id, &owner))
            if (action->menu())
                for (QAction *each : action->menu()->actions())
                    QVERIFY(each->text() != QStringLiteral("Work")); // only the other profiles are listed
    }

    void collapsedProjectStaysCollapsedInANewWindow()
    {
        Fixture f;
        const QUuid id = f.project()->id;
        f.sidebar().tree()->collapseItem(f.sidebar().item(id));
        QVERIFY(!f.project()->isExpanded);
        f.window.reset();
        f.openWindow();
        QVERIFY(f.sidebar().item(id));
        QVERIFY(!f.sidebar().item(id)->isExpanded());
        f.sidebar().tree()->expandItem(f.sidebar().item(id));
        QVERIFY(f.project()->isExpanded);
    }

    void archivingRowSaysSoAndTakesNoActions()
    {
        Fixture f;
        const auto workspace = f.firstWorkspace();
        const auto archiving = f.lifecycle.archiveWorkspace(workspace, true);
        QTreeWidgetItem *row = f.sidebar().item(workspace->id);
        QCOMPARE(row->text(0), lifecycleText::archivingWorkspace);
        QVERIFY(row->isDisabled());
        QObject owner;
        for (QAction *action : f.sidebar().rowActions(workspace->id, &owner))
            QVERIFY2(!action->isEnabled(), qPrintable(action->text()));
        QVERIFY(test::await(archiving));
        QTRY_VERIFY(!f.sidebar().item(workspace->id));
    }

    void branchSwitchInTheChatHeader()
    {
        Fixture f;
        f.sandbox.git(f.repo, {"branch", "side"});
        BranchSwitchButton *button = f.window->branchSwitch();
        QTRY_COMPARE_WITH_TIMEOUT(button->text(), QStringLiteral("main"), 20000);
        QTRY_COMPARE(button->branches().size(), 2);
        QVERIFY(button->isEnabled());
        QCOMPARE(button->toolTip(), QStringLiteral("Click to switch branch"));
        for (QAction *item : button->branchMenu()->actions())
            if (item->text() == QStringLiteral("side"))
                item->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(f.git(f.repo, {"branch", "--show-current"}), QStringLiteral("side"), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(button->text(), QStringLiteral("side"), 20000);
        QCOMPARE(f.firstChat()->gitBranch, std::optional<QString>(QStringLiteral("side")));

        // A dirty checkout stays where it is, and the user is told why.
        f.sandbox.write(f.repo + "/README.md", "edited\n");
        QString shown;
        QObject::connect(f.window.get(), &MainWindow::lifecycleMessageShown, [&](const QString &text) { shown = text; });
        QTRY_VERIFY(std::any_of(button->branches().cbegin(), button->branches().cend(),
                                [](const GitBranch &b) { return b.isCurrent && b.name == QStringLiteral("side"); }));
        for (QAction *item : button->branchMenu()->actions())
            if (item->text() == QStringLiteral("main"))
                item->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(shown.startsWith(QStringLiteral("Uncommitted Changes")), 20000);
        QCOMPARE(f.git(f.repo, {"branch", "--show-current"}), QStringLiteral("side"));

        // A worktree's chat keeps its branch.
        const QString tree = f.sandbox.path("trees/fixed");
        f.sandbox.git(f.repo, {"worktree", "add", "-q", "-b", "fixed", tree});
        const auto fixed = f.lifecycle.adoptWorktree(*f.project(), GitWorktree{tree, QStringLiteral("fixed")});
        const auto chat = f.lifecycle.chats(*fixed).first();
        chat->usesWorktree = true;
        chat->worktreePath = tree;
        f.window->navigator().showChat(chat->id);
        f.window->runCommand(KeyboardShortcutAction::toggleSidebar); // any command redraws the window
        QTRY_COMPARE_WITH_TIMEOUT(button->text(), QStringLiteral("fixed"), 20000);
        QVERIFY(!button->isEnabled());
        QCOMPARE(button->toolTip(), QStringLiteral("Worktree chat - branch is fixed"));
    }

    void chatPillMenuRenamesAndArchives()
    {
        Fixture f;
        const auto first = f.firstChat();
        const auto second = f.lifecycle.createChat(*f.firstWorkspace());
        f.window->navigator().showChat(first->id);
        f.window->runCommand(KeyboardShortcutAction::toggleSidebar);
        QObject owner;
        const QList<QAction *> actions = f.window->chatPillActions(first->id, &owner);
        QStringList texts;
        for (QAction *action : actions)
            texts << action->text();
        QCOMPARE(texts, (QStringList{"Rename…", "Archive", "Close"}));

        actions[0]->trigger();
        QPointer<RenameDialog> sheet = f.window->findChild<RenameDialog *>();
        QVERIFY(sheet);
        QCOMPARE(sheet->windowTitle(), QStringLiteral("Rename Chat"));
        sheet->nameField()->setText(QStringLiteral("   "));
        QVERIFY(!sheet->renameButton()->isEnabled());
        sheet->nameField()->setText(QStringLiteral("Parser review"));
        sheet->renameButton()->click();
        QCOMPARE(first->name, QStringLiteral("Parser review"));
        QTRY_COMPARE(f.window->content()->tabBar()->tabs().first().title, QStringLiteral("Parser review"));

        actions[1]->trigger();
        QTRY_VERIFY(first->isArchived());
        QTRY_COMPARE(f.window->content()->tabBar()->tabs().size(), 1);
        QCOMPARE(f.window->content()->tabBar()->tabs().first().chatId, second->id);
    }

    // The chat's menu over the window, for the documentation.
    void screenshot()
    {
        Fixture f;
        f.lifecycle.createWorkspace(*f.project(), QStringLiteral("Parser work"), QStringLiteral("main"));
        QTRY_VERIFY(f.sidebar().item(f.firstChat()->id));
        QMenu menu(f.window.get());
        menu.addActions(f.sidebar().rowActions(f.firstChat()->id, &menu));
        const QRect row = f.sidebar().tree()->visualItemRect(f.sidebar().item(f.firstChat()->id));
        const QPoint at = f.sidebar().tree()->viewport()->mapTo(f.window.get(), row.center());
        menu.popup(f.window->mapToGlobal(at));
        QTest::qWait(100);
        QPixmap shot = f.window->grab();
        {
            QPainter painter(&shot);
            painter.drawPixmap(at, menu.grab());
        }
        menu.hide();
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        QVERIFY(shot.save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/sidebar-actions.png")));
    }
};

QTEST_MAIN(SidebarActionsTest)
#include "tst_sidebar_actions.moc"
