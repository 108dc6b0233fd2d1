#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "CloneWindow.h"
#include "shell/window/MainWindow.h"
#include "shell/window/NewWorkspaceDialog.h"
#include "shell/window/WindowActions.h"
#include "source_control/GitSandbox.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTest>

#include <memory>

using namespace corvane;

namespace {

struct Fixture : test::CloneWindow
{
    bool projectAdded = openWithProject();

    // Opens the dialog in `mode` once the branches are listed; null if it did not come up.
    NewWorkspaceDialog *open(WorkspaceCreationMode mode)
    {
        if (!projectAdded)
            return nullptr;
        window->actions().action(KeyboardShortcutAction::newChat)->trigger();
        auto *dialog = window->findChild<NewWorkspaceDialog *>();
        if (!dialog)
            return nullptr;
        dialog->modeButton(mode)->click();
        const bool listed = QTest::qWaitFor([&] { return dialog->baseBranchList()->count() > 0; }, 10000);
        return listed ? dialog : nullptr;
    }

    QList<std::shared_ptr<Workspace>> workspaces() { return store->mainContext().fetchOrEmpty<Workspace>(); }
    std::shared_ptr<Workspace> workspace(const QString &branch)
    {
        for (const auto &each : workspaces())
            if (each->gitBranch == branch)
                return each;
        return nullptr;
    }
    bool hasBranch(const QString &branch) const
    {
        return sandbox.gitRun(repo, {"rev-parse", "--verify", "-q", "refs/heads/" + branch}).exitCode == 0;
    }
};

// Types the name and presses Create; returns once the dialog has gone.
void createWith(NewWorkspaceDialog *dialog, const QString &name)
{
    QPointer<NewWorkspaceDialog> guard(dialog);
    QTest::keyClicks(dialog->branchField(), name);
    QVERIFY(dialog->createButton()->isEnabled());
    dialog->createButton()->click();
    QTRY_VERIFY_WITH_TIMEOUT(guard.isNull(), 20000);
}

} // namespace

class NewWorkspaceDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void branchThenWorktree()
    {
        Fixture f;
        NewWorkspaceDialog *dialog = f.open(WorkspaceCreationMode::newBranch);
        QVERIFY(dialog);
        createWith(dialog, QStringLiteral("feature/one"));
        const auto branchWorkspace = f.workspace(QStringLiteral("feature/one"));
        QVERIFY(branchWorkspace);
        QVERIFY(!branchWorkspace->usesWorktree);
        QCOMPARE(f.window->currentChatId(), branchWorkspace->activeChatId);
        QCOMPARE(f.sandbox.git(f.repo, {"branch", "--show-current"}).trimmed(), QByteArray("feature/one"));
        // The branch went to the remote with its upstream set.
        QVERIFY(f.sandbox.git(f.repo, {"ls-remote", "--heads", "origin"}).contains("refs/heads/feature/one"));

        dialog = f.open(WorkspaceCreationMode::worktree);
        QVERIFY(dialog);
        createWith(dialog, QStringLiteral("feature/two"));
        const auto tree = f.workspace(QStringLiteral("feature/two"));
        QVERIFY(tree);
        QVERIFY(tree->usesWorktree);
        QVERIFY(tree->worktreePath);
        QCOMPARE(QFileInfo(*tree->worktreePath).path(), paths::worktreesRoot());
        // The base is the checkout's branch at the time, which the first workspace had switched to.
        QCOMPARE(tree->worktreeBaseBranch, std::optional<QString>(QStringLiteral("feature/one")));
        QVERIFY(f.hasBranch(QStringLiteral("feature/two")));
        QVERIFY(QString::fromUtf8(f.sandbox.git(f.repo, {"worktree", "list"})).contains(*tree->worktreePath));
        const auto chats = f.store->mainContext().fetchOrEmpty<Chat>();
        const auto chat = std::find_if(chats.begin(), chats.end(), [&](const auto &c) { return c->workspaceId == tree->id; });
        QVERIFY(chat != chats.end());
        QCOMPARE((*chat)->worktreePath, tree->worktreePath);
        QCOMPARE(f.window->currentChatId(), std::optional((*chat)->id));
    }

    void refusesBadNames_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("name");
        QTest::newRow("space, new branch") << int(WorkspaceCreationMode::newBranch) << "bad name";
        QTest::newRow("double slash, worktree") << int(WorkspaceCreationMode::worktree) << "a//b";
        QTest::newRow("dot git would take, worktree") << int(WorkspaceCreationMode::worktree) << "v1.2";
        QTest::newRow("trailing slash, new branch") << int(WorkspaceCreationMode::newBranch) << "feature/";
    }

    void refusesBadNames()
    {
        QFETCH(int, mode);
        QFETCH(QString, name);
        Fixture f;
        const int before = int(f.workspaces().size());
        NewWorkspaceDialog *dialog = f.open(WorkspaceCreationMode(mode));
        QVERIFY(dialog);
        QTest::keyClicks(dialog->branchField(), name);
        dialog->createButton()->click();
        QTRY_COMPARE(dialog->errorLabel()->text(), QStringLiteral("Invalid branch name"));
        QVERIFY(dialog->isVisible());
        // The typed text stays for the user to correct.
        QCOMPARE(dialog->branchField()->text(), name);
        QCOMPARE(int(f.workspaces().size()), before);
        QVERIFY(!f.hasBranch(name));
        QCOMPARE(f.sandbox.git(f.repo, {"worktree", "list"}).trimmed().count('\n'), 0);
        QCOMPARE(f.sandbox.git(f.repo, {"branch", "--show-current"}).trimmed(), QByteArray("main"));
    }

    // The existing-branch picker on the remote tab, drawn for the documentation; "main" is checked
    // out already, so git refuses and the hint shows.
    void existingRemoteBranch()
    {
        Fixture f;
        NewWorkspaceDialog *dialog = f.open(WorkspaceCreationMode::worktree);
        QVERIFY(dialog);
        dialog->existingSourceButton()->click();
        QVERIFY(!dialog->createButton()->isEnabled());
        dialog->branchTabs()->setCurrentIndex(1);
        QTRY_COMPARE_WITH_TIMEOUT(dialog->existingBranchList()->count(), 1, 20000);
        QCOMPARE(dialog->existingBranchList()->item(0)->text(), QStringLiteral("origin/main"));
        dialog->existingBranchList()->setCurrentRow(0);
        QVERIFY(dialog->createButton()->isEnabled());
        QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
        QVERIFY(dialog->grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/new-workspace.png")));

        const int before = int(f.workspaces().size());
        dialog->createButton()->click();
        QTRY_VERIFY_WITH_TIMEOUT(dialog->errorLabel()->text().contains("may already be checked out"), 20000);
        QVERIFY(dialog->createButton()->isEnabled());
        QCOMPARE(int(f.workspaces().size()), before);
    }
};

QTEST_MAIN(NewWorkspaceDialogTest)
#include "tst_new_workspace_dialog.moc"
