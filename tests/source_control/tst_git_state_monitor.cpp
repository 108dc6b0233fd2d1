// GitStateMonitor on real checkouts: a branch switch made outside the program is posted, the
// watch comes back after each event, and checkouts without ".git/HEAD" are left alone; the
// inspector, which listens to both monitors, keeps its status current.
#include "GitSandbox.h"
#include "MonitorSupport.h"
#include "support/StoreFixture.h"

#include "source_control/FileSystemMonitor.h"
#include "source_control/GitStateMonitor.h"
#include "source_control/inspector/InspectorViewModel.h"
#include "core/Broadcasts.h"
#include "source_control/workspaces/BranchSync.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using test::PostRecorder;

class GitStateMonitorTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;
    NotificationCenter m_center;
    InotifyHub m_hub;

private slots:
    void branchSwitchesArePosted()
    {
        const QString repository = m_sandbox.makeRepository("switches");
        GitStateMonitor monitor(repository, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::gitStateDidChange);
        monitor.start();
        QVERIFY(monitor.isRunning());
        QVERIFY(monitor.isArmed());

        m_sandbox.git(repository, {"switch", "-q", "-c", "topic"});
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 3000);
        QCOMPARE(broadcast::GitStateChanged::from(posts.last()).workingDirectory, repository);

        // Re-armed on the new HEAD file half a second later.
        QTRY_VERIFY_WITH_TIMEOUT(monitor.isArmed(), 3000);
        QCOMPARE(posts.count(), 1);
        m_sandbox.git(repository, {"switch", "-q", "main"});
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 2, 3000);
        QTRY_VERIFY_WITH_TIMEOUT(monitor.isArmed(), 3000);
        m_sandbox.git(repository, {"checkout", "-q", "--detach"});
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 3, 3000);
    }

    void switchDuringTheRearmGapIsToldWhenTheWatchReturns()
    {
        const QString repository = m_sandbox.makeRepository("gap");
        GitStateMonitor monitor(repository, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::gitStateDidChange);
        monitor.start();
        m_sandbox.git(repository, {"switch", "-q", "-c", "first"});
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 3000);
        QVERIFY(!monitor.isArmed());
        m_sandbox.git(repository, {"switch", "-q", "-c", "second"});
        const qint64 switched = posts.now();
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 2, 3000);
        QVERIFY(posts.lastTime() - switched < 1000);
        // Nothing changed during the second gap: no third post.
        QTest::qWait(1200);
        QCOMPARE(posts.count(), 2);
        QVERIFY(monitor.isArmed());
    }

    void quickSwitchesGiveAtLeastOne()
    {
        const QString repository = m_sandbox.makeRepository("quick");
        m_sandbox.git(repository, {"branch", "other"});
        GitStateMonitor monitor(repository, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::gitStateDidChange);
        monitor.start();
        m_sandbox.git(repository, {"switch", "-q", "other"});
        m_sandbox.git(repository, {"switch", "-q", "main"});
        QTRY_VERIFY_WITH_TIMEOUT(posts.count() >= 1, 3000);
        QTest::qWait(1000);
        QVERIFY(posts.count() <= 2);
        QVERIFY(monitor.isArmed());
    }

    void commitsOnTheBranchLeaveHeadAlone()
    {
        const QString repository = m_sandbox.makeRepository("commits");
        GitStateMonitor monitor(repository, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::gitStateDidChange);
        monitor.start();
        m_sandbox.write(repository + "/more.txt", "more\n");
        m_sandbox.commitAll(repository, "more");
        QTest::qWait(1000);
        QCOMPARE(posts.count(), 0);
    }

    void switchWithoutFileChangesOnlyMovesHead()
    {
        const QString repository = m_sandbox.makeRepository("both");
        GitStateMonitor head(repository, m_center, &m_hub);
        FileSystemMonitor tree(repository, m_center, &m_hub);
        PostRecorder headPosts(m_center, broadcast::gitStateDidChange);
        PostRecorder treePosts(m_center, broadcast::fileSystemDidChange);
        head.start();
        QSignalSpy ready(&tree, &FileSystemMonitor::ready);
        tree.start();
        QVERIFY(ready.wait(5000));
        m_sandbox.git(repository, {"switch", "-q", "-c", "same-commit"});
        QTRY_COMPARE_WITH_TIMEOUT(headPosts.count(), 1, 3000);
        QTest::qWait(1200);
        QCOMPARE(treePosts.count(), 0);
    }

    // In a linked worktree ".git" is a file: the HEAD watched is the worktree's own, in the main
    // repository, and a switch there is seen; the main checkout's switches are not its.
    void aLinkedWorktreeIsWatched()
    {
        const QString repository = m_sandbox.makeRepository("with-worktree");
        const QString directory = m_sandbox.path("linked");
        m_sandbox.git(repository, {"worktree", "add", "-q", "-b", "wt", directory});
        QVERIFY(QFileInfo(directory + "/.git").isFile());
        GitStateMonitor monitor(directory, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::gitStateDidChange);
        monitor.start();
        QVERIFY(monitor.isRunning());
        m_sandbox.git(repository, {"switch", "-q", "-c", "elsewhere"});
        QTest::qWait(700);
        QCOMPARE(posts.count(), 0);
        m_sandbox.git(directory, {"switch", "-q", "-c", "in-the-worktree"});
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 3000);
    }

    // A branch switched in a terminal reaches the stored workspace and its chats, which is what
    // the sidebar, the chat header and the inspector draw.
    void aSwitchOutsideReachesTheStoredBranch()
    {
        const QString repository = m_sandbox.makeRepository("synced");
        auto store = Store::open(m_sandbox.path("synced.store")).value();
        StoreContext &ctx = store->mainContext();
        const test::InsertedPlace place = test::insertPlace(ctx, repository, QStringLiteral("Chat 1"), QStringLiteral("main"));

        BranchSync sync(ctx, m_center);
        std::unique_ptr<QObject> monitor(BranchSync::makeMonitor(repository, m_center));
        m_sandbox.git(repository, {"switch", "-q", "-c", "from-the-terminal"});
        auto stored = [&] { return store->newContext()->get<Workspace>(place.workspaceId)->gitBranch.value_or(QString()); };
        QTRY_COMPARE_WITH_TIMEOUT(stored(), QStringLiteral("from-the-terminal"), 5000);
        QCOMPARE(store->newContext()->get<Chat>(place.chatId)->gitBranch, std::optional<QString>("from-the-terminal"));
        m_sandbox.git(repository, {"checkout", "-q", "--detach"}); // a detached HEAD keeps what is shown
        QTest::qWait(1000);
        QCOMPARE(stored(), QStringLiteral("from-the-terminal"));
    }

    void noHeadFileNoWatch()
    {
        const QString directory = m_sandbox.path("no-head-folder");
        QDir().mkpath(directory);
        test::LogCapture log;
        GitStateMonitor monitor(directory, m_center, &m_hub);
        monitor.start();
        QVERIFY(!monitor.isRunning());
        QCOMPARE(log.text(), "[GitStateMonitor] No .git/HEAD found at " + directory + "/.git/HEAD\n");
    }

    void stopCancelsTheRearm()
    {
        const QString repository = m_sandbox.makeRepository("stop");
        GitStateMonitor monitor(repository, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::gitStateDidChange);
        monitor.start();
        m_sandbox.git(repository, {"switch", "-q", "-c", "x"});
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 3000);
        monitor.stop();
        QTest::qWait(800);
        QVERIFY(!monitor.isRunning());
        m_sandbox.git(repository, {"switch", "-q", "main"});
        QTest::qWait(500);
        QCOMPARE(posts.count(), 1);
        QCOMPARE(m_hub.watchCount(), 0);
    }
    // The inspector reads git's status again after edits and switches made outside the program,
    // counts a new file's lines, and lets the folder go when nothing is shown.
    void theInspectorFollowsTheWorkingTree()
    {
        const QString repository = m_sandbox.makeRepository("inspected");
        GitStateMonitor head(repository, m_center, &m_hub);
        head.start();
        InspectorViewModel inspector(m_center);
        inspector.setWorkingDirectory(repository);
        QTRY_VERIFY_WITH_TIMEOUT(inspector.isGitInitialized(), 5000);
        QCOMPARE(inspector.currentBranch(), std::optional<QString>("main"));
        QVERIFY(inspector.modifiedFiles().isEmpty());

        m_sandbox.write(repository + "/todo.txt", "one\ntwo\n");
        QTRY_COMPARE_WITH_TIMEOUT(inspector.modifiedFiles().size(), 1, 5000);
        QCOMPARE(inspector.modifiedFiles().first().status, GitStatus::untracked);
        QCOMPARE(inspector.diffStats().value("todo.txt"), (DiffStat{3, 0}));
        m_sandbox.write(repository + "/README.md", "changed\n");
        QTRY_COMPARE_WITH_TIMEOUT(inspector.modifiedFiles().size(), 2, 5000);

        m_sandbox.git(repository, {"switch", "-q", "-c", "topic"});
        QTRY_COMPARE_WITH_TIMEOUT(inspector.currentBranch(), std::optional<QString>("topic"), 5000);

        inspector.setWorkingDirectory(std::nullopt);
        QVERIFY(!inspector.isGitInitialized());
        QVERIFY(inspector.modifiedFiles().isEmpty());
        QCOMPARE(inspector.currentBranch(), std::nullopt);
    }

    void theInspectorWaitsWhenAutomaticRefreshIsOff()
    {
        const QString repository = m_sandbox.makeRepository("manual");
        InspectorViewModel inspector(m_center);
        inspector.setAutoRefreshSetting([] { return false; });
        inspector.setWorkingDirectory(repository);
        QTRY_COMPARE_WITH_TIMEOUT(inspector.refreshCount(), 1, 5000);
        m_sandbox.write(repository + "/new.txt", "x");
        QTest::qWait(1500); // past the monitor's settling time
        QVERIFY(inspector.modifiedFiles().isEmpty());
        inspector.refreshStatus();
        QTRY_COMPARE_WITH_TIMEOUT(inspector.modifiedFiles().size(), 1, 5000);

        // A folder outside any repository has no status.
        inspector.setWorkingDirectory(m_sandbox.path("plain"));
        QTRY_COMPARE_WITH_TIMEOUT(inspector.refreshCount(), 3, 5000);
        QVERIFY(!inspector.isGitInitialized());
    }
};

QTEST_GUILESS_MAIN(GitStateMonitorTest)
#include "tst_git_state_monitor.moc"
