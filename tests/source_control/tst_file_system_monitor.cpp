// FileSystemMonitor on real folders: one post per burst, folders made after the start watched,
// git's bookkeeping never counted, one inotify descriptor for everyone.
#include "GitSandbox.h"
#include "MonitorSupport.h"

#include "source_control/FileSystemMonitor.h"
#include "core/Broadcasts.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

using namespace corvane;
using namespace std::chrono_literals;
using test::PostRecorder;

namespace {

// Long enough for the debounce and the slowest machine; a second post would come within it.
constexpr int settleMs = 1500;

void touch(const QString &file, const QByteArray &content = "x\n")
{
    QFile out(file);
    QVERIFY2(out.open(QIODevice::WriteOnly | QIODevice::Append), qPrintable(file));
    out.write(content);
}

} // namespace

class FileSystemMonitorTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;
    NotificationCenter m_center;
    InotifyHub m_hub;

    QString makeTree(const QString &name)
    {
        const QString root = m_sandbox.makeRepository(name);
        QDir().mkpath(root + "/src/core");
        QDir().mkpath(root + "/docs");
        touch(root + "/src/core/a.cpp");
        return root;
    }

    static void startAndWait(FileSystemMonitor &monitor)
    {
        QSignalSpy ready(&monitor, &FileSystemMonitor::ready);
        monitor.start();
        QVERIFY(monitor.isRunning());
        QVERIFY(ready.wait(5000));
        QVERIFY(monitor.isReady());
    }

private slots:
    void oneNotificationPerBurst_data()
    {
        QTest::addColumn<QString>("burst");
        QTest::addColumn<QString>("laterFolder"); // a folder the burst made, written again afterwards
        QTest::newRow("100 files at the root within 0.2 s") << "root files" << "";
        QTest::newRow("nested folders made after the start") << "nested" << "new/a/b/c";
        QTest::newRow("deep folders made at once") << "mkpath" << "deep/x/y/z";
        QTest::newRow("folder renamed, then written inside") << "rename" << "renamed";
        QTest::newRow("files and a folder deleted") << "delete" << "";
    }

    void oneNotificationPerBurst()
    {
        QFETCH(QString, burst);
        QFETCH(QString, laterFolder);
        const QString root = makeTree("burst-" + QString(burst).replace(u' ', u'-'));
        FileSystemMonitor monitor(root, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::fileSystemDidChange);
        startAndWait(monitor);

        if (burst == "root files") {
            for (int i = 0; i < 100; ++i) {
                touch(root + QStringLiteral("/file%1.txt").arg(i));
                if (i % 10 == 0)
                    QThread::msleep(20);
            }
        } else if (burst == "nested") {
            for (const QString folder : {"new", "new/a", "new/a/b", "new/a/b/c"}) {
                QVERIFY(QDir(root).mkdir(folder));
                QThread::msleep(30); // each folder exists on its own before its child
                touch(root + u'/' + folder + "/inside.txt");
            }
        } else if (burst == "mkpath") {
            QVERIFY(QDir().mkpath(root + "/deep/x/y/z"));
            touch(root + "/deep/x/y/z/leaf.txt");
        } else if (burst == "rename") {
            QVERIFY(QDir(root).rename("src", "renamed"));
            touch(root + "/renamed/b.cpp");
        } else {
            QVERIFY(QFile::remove(root + "/src/core/a.cpp"));
            QVERIFY(QDir(root + "/docs").removeRecursively());
        }
        const qint64 lastChange = posts.now();

        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 5000);
        QVERIFY2(posts.lastTime() - lastChange >= 450, "the post waits for the burst to settle");
        QCOMPARE(broadcast::FileSystemChanged::from(posts.last()).workingDirectory, QDir::cleanPath(root));
        QTest::qWait(settleMs);
        QCOMPARE(posts.count(), 1);

        // A folder made during the burst is watched from then on.
        touch(root + u'/' + (laterFolder.isEmpty() ? QStringLiteral("after.txt") : laterFolder + "/after.txt"));
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 2, 5000);
        if (burst == "rename") {
            // The old name is gone; the moved folder still reports under its new name.
            touch(root + "/renamed/core/deeper.txt");
            QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 3, 5000);
        }
    }

    void gitBookkeepingIsNoChange()
    {
        const QString root = makeTree("bookkeeping");
        FileSystemMonitor monitor(root, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::fileSystemDidChange);
        startAndWait(monitor);

        m_sandbox.git(root, {"commit", "-q", "--allow-empty", "-m", "empty"});
        m_sandbox.git(root, {"branch", "side"});
        m_sandbox.git(root, {"status"});
        touch(root + "/.git/scratch");
        QDir().mkpath(root + "/.git/deeper/still");
        touch(root + "/.git/deeper/still/file");
        QTest::qWait(settleMs);
        QCOMPARE(posts.count(), 0);

        // ".github" is not ".git".
        QDir().mkpath(root + "/src/.github");
        touch(root + "/src/.github/workflow.yml");
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 5000);
    }

    void eventPathFilter_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("counts");
        QTest::newRow("work tree file") << "/repo/src/a.cpp" << true;
        QTest::newRow("inside .git") << "/repo/.git/index.lock" << false;
        QTest::newRow("nested repository's .git") << "/repo/vendor/lib/.git/HEAD" << false;
        QTest::newRow(".github folder") << "/repo/src/.github/x" << true;
        QTest::newRow(".git file of a linked worktree") << "/repo/.git" << true;
        QTest::newRow(".gitignore") << "/repo/.gitignore" << true;
    }

    void eventPathFilter()
    {
        QFETCH(QString, path);
        QFETCH(bool, counts);
        QCOMPARE(FileSystemMonitor::countsAsChange(path), counts);
    }

    void oneWatchPerWorkTreeFolder()
    {
        const QString root = makeTree("watch-count"); // root, src, src/core, docs, and .git
        QVERIFY(QDir(root + "/.git/objects").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() > 2);
        InotifyHub hub;
        FileSystemMonitor monitor(root, m_center, &hub);
        startAndWait(monitor);
        QCOMPARE(monitor.watchCount(), 4);
        QCOMPARE(hub.watchCount(), 4);

        QVERIFY(QDir().mkpath(root + "/docs/new/inner"));
        QTRY_COMPARE(monitor.watchCount(), 6);
        QVERIFY(QDir(root + "/src").removeRecursively());
        QTRY_COMPARE(monitor.watchCount(), 4);

        // A second monitor on the same tree shares the kernel's watches.
        FileSystemMonitor twin(root, m_center, &hub);
        startAndWait(twin);
        QCOMPARE(hub.watchCount(), 4);
        monitor.stop();
        QCOMPARE(hub.watchCount(), 4);
        twin.stop();
        QCOMPARE(hub.watchCount(), 0);
    }

    void stopDropsThePendingPost()
    {
        const QString root = makeTree("stop");
        FileSystemMonitor monitor(root, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::fileSystemDidChange);
        startAndWait(monitor);
        touch(root + "/a.txt");
        QTest::qWait(150);
        monitor.stop();
        QVERIFY(!monitor.isRunning());
        touch(root + "/b.txt");
        QTest::qWait(settleMs);
        QCOMPARE(posts.count(), 0);
    }

    void restartKeepsOneSetOfWatches()
    {
        const QString root = makeTree("restart");
        FileSystemMonitor monitor(root, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::fileSystemDidChange);
        startAndWait(monitor);
        startAndWait(monitor);
        QCOMPARE(monitor.watchCount(), 4);
        touch(root + "/docs/a.md");
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 5000);
        QTest::qWait(settleMs);
        QCOMPARE(posts.count(), 1);
    }

    void oneDescriptorForEveryMonitor()
    {
        const QString root = makeTree("descriptor");
        InotifyHub::shared(); // the process's one, made before counting
        const int before = test::inotifyInstances();
        std::vector<std::unique_ptr<FileSystemMonitor>> monitors;
        for (int i = 0; i < 20; ++i) {
            monitors.push_back(std::make_unique<FileSystemMonitor>(root, m_center));
            startAndWait(*monitors.back());
        }
        QCOMPARE(test::inotifyInstances(), before);
        QVERIFY(before >= 1);
    }

    void changesDuringSetupAreTold_data()
    {
        QTest::addColumn<int>("bulkFolders");
        QTest::newRow("small tree, watched within start()") << 400;
        QTest::newRow("large tree, finished on a worker thread") << 6000;
    }

    void changesDuringSetupAreTold()
    {
        QFETCH(int, bulkFolders);
        const QString root = makeTree(QStringLiteral("setup-%1").arg(bulkFolders));
        for (int i = 0; i < bulkFolders; ++i)
            QDir().mkpath(root + QStringLiteral("/bulk/d%1/e%2").arg(i % 20).arg(i));
        FileSystemMonitor monitor(root, m_center, &m_hub);
        PostRecorder posts(m_center, broadcast::fileSystemDidChange);
        QSignalSpy ready(&monitor, &FileSystemMonitor::ready);
        monitor.start();
        if (bulkFolders > 1000)
            QVERIFY2(!monitor.isReady(), "a tree this large takes longer than the start budget");
        // Right after start(), before the event loop turns.
        QVERIFY(QDir().mkpath(root + "/early/inner"));
        touch(root + "/early/inner/a.txt");
        QVERIFY(ready.wait(10000));
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 1, 5000);
        QTest::qWait(settleMs);
        QCOMPARE(posts.count(), 1);
        QCOMPARE(monitor.watchCount(), 4 + 1 + 20 + bulkFolders + 2);
        touch(root + "/early/inner/b.txt");
        QTRY_COMPARE_WITH_TIMEOUT(posts.count(), 2, 5000);
    }

    void stopDuringTheWalkLeavesNoWatch()
    {
        const QString root = makeTree("stopped-walk");
        for (int i = 0; i < 6000; ++i)
            QDir().mkpath(root + QStringLiteral("/bulk/d%1/e%2").arg(i % 20).arg(i));
        InotifyHub hub;
        {
            FileSystemMonitor doomed(root, m_center, &hub);
            doomed.start();
            QVERIFY(!doomed.isReady());
        } // gone while its walk still runs
        FileSystemMonitor monitor(root, m_center, &hub);
        QSignalSpy ready(&monitor, &FileSystemMonitor::ready);
        monitor.start();
        monitor.stop();
        QVERIFY(!ready.wait(1000));
        QCOMPARE(hub.watchCount(), 0);
        monitor.start();
        QVERIFY(ready.wait(10000));
        QCOMPARE(monitor.watchCount(), 4 + 1 + 20 + 6000);
    }

    void missingFolderStaysStopped()
    {
        test::LogCapture log;
        FileSystemMonitor monitor(m_sandbox.path("not there"), m_center, &m_hub);
        monitor.start();
        QVERIFY(!monitor.isRunning());
        QCOMPARE(log.text(), QString("[FileSystemMonitor] Failed to create event stream\n"));
    }
};

QTEST_GUILESS_MAIN(FileSystemMonitorTest)
#include "tst_file_system_monitor.moc"
