// The file tree's state and rows on real folders: lazy loading, reloads that keep the rows a view
// holds, every operation with its conflicts and failures, the tree's clipboard, and a change made
// on disk reaching the tree through the inspector's FileSystemMonitor.
#include "core/Broadcasts.h"
#include "source_control/FileSystemMonitor.h"
#include "source_control/MonitorSupport.h"
#include "support/FileTreeFixture.h"
#include "support/TestEnvironment.h"
#include "tools/files/FileTreeItemModel.h"
#include "tools/files/FileTreeViewModel.h"

#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace corvane;
using namespace corvane::test;

namespace {

// A tree with its rows, on a folder of the test's own and a centre of its own.
struct Tree
{
    explicit Tree(const QStringList &entries)
    {
        makeTree(dir.path(), entries);
        tree.setRoot(dir.path());
    }

    QString path(const QString &relative) const { return dir.filePath(relative); }
    QModelIndex index(const QString &relative) const { return model.indexForPath(path(relative)); }
    QStringList rows(const QString &relative = {}) const { return rowNames(model, relative.isEmpty() ? QModelIndex() : index(relative)); }
    bool open(const QString &relative)
    {
        tree.setExpanded(path(relative), true);
        return settle(tree);
    }

    QTemporaryDir dir;
    NotificationCenter center;
    FileTreeViewModel tree{center};
    FileTreeItemModel model{tree};
};

enum class Answer { replace, keepBoth, cancel };

} // namespace

Q_DECLARE_METATYPE(Answer)

class FileTreeTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_environment = std::make_unique<TestEnvironment>(); }
    void cleanup() { m_environment.reset(); }

    void opensSortedWithHiddenRules()
    {
        Tree t({"Banana", "apple", "alpha", "Zeta/", ".git/HEAD", ".DS_Store", ".env"});
        bool showHidden = true;
        t.tree.setShowHiddenSetting([&showHidden] { return showHidden; });
        t.tree.reload();
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), (QStringList{"Zeta", ".env", "alpha", "apple", "Banana"}));
        // The setting's broadcast reloads the tree.
        showHidden = false;
        t.center.post(broadcast::showHiddenFilesChanged);
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), (QStringList{"Zeta", "alpha", "apple", "Banana"}));
    }

    void expandsLazily()
    {
        Tree t({"lib/a.txt", "lib/sub/b.txt"});
        QVERIFY(settle(t.tree));
        const QModelIndex lib = t.index("lib");
        QVERIFY(t.model.hasChildren(lib));
        QCOMPARE(t.model.rowCount(lib), 0);
        QVERIFY(t.model.canFetchMore(lib));
        QSignalSpy inserted(&t.model, &QAbstractItemModel::rowsInserted);
        t.model.fetchMore(lib); // what a view's expand does
        QVERIFY(t.tree.isExpanded(t.path("lib")));
        QVERIFY(!t.model.canFetchMore(lib));
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows("lib"), (QStringList{"sub", "a.txt"}));
        QCOMPARE(inserted.count(), 1);
        QVERIFY(!t.model.canFetchMore(lib));
        QVERIFY(t.model.canFetchMore(t.index("lib/sub")));
        // An empty folder loses its arrow once read.
        QVERIFY(QDir().mkdir(t.path("empty")));
        t.tree.reload();
        QVERIFY(settle(t.tree));
        QVERIFY(t.open("empty"));
        QVERIFY(!t.model.hasChildren(t.index("empty")));
    }

    void reloadKeepsRowsAndDiffs()
    {
        Tree t({"lib/a.txt", "lib/c.txt", "lib/sub/deep.txt", "top.txt"});
        QVERIFY(settle(t.tree));
        QVERIFY(t.open("lib"));
        QVERIFY(t.open("lib/sub"));
        const QPersistentModelIndex deep = t.index("lib/sub/deep.txt");
        const QPersistentModelIndex c = t.index("lib/c.txt");
        QVERIFY(deep.isValid());
        QSignalSpy reset(&t.model, &QAbstractItemModel::modelReset);
        QSignalSpy removed(&t.model, &QAbstractItemModel::rowsRemoved);
        QSignalSpy inserted(&t.model, &QAbstractItemModel::rowsInserted);
        t.tree.reload();
        QVERIFY(settle(t.tree));
        QCOMPARE(reset.count(), 0);
        QCOMPARE(removed.count(), 0);
        QCOMPARE(inserted.count(), 0);
        QCOMPARE(deep.data(FileTreeItemModel::PathRole).toString(), t.path("lib/sub/deep.txt"));

        // A file that came and one that went: one row each, the others untouched.
        makeTree(t.dir.path(), {"lib/b.txt"});
        QVERIFY(QFile::remove(t.path("lib/sub/deep.txt")));
        t.tree.reload();
        QVERIFY(settle(t.tree));
        QCOMPARE(reset.count(), 0);
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(inserted.first().at(1).toInt(), 2); // after "sub" and "a.txt"
        QCOMPARE(removed.count(), 1);
        QVERIFY(!deep.isValid());
        QCOMPARE(c.data().toString(), QStringLiteral("c.txt"));
        QCOMPARE(t.rows("lib"), (QStringList{"sub", "a.txt", "b.txt", "c.txt"}));
        QVERIFY(t.tree.isExpanded(t.path("lib/sub")));
    }

    void folderThatFailsToLoadCloses()
    {
        LogCapture log;
        Tree t({"lib/a.txt", "other/"});
        QVERIFY(settle(t.tree));
        // Gone on disk before the tree heard of it: reading it fails and it closes again.
        QVERIFY(QDir(t.path("lib")).removeRecursively());
        QSignalSpy expansion(&t.tree, &FileTreeViewModel::expansionChanged);
        t.tree.setExpanded(t.path("lib"), true);
        QVERIFY(settle(t.tree));
        QVERIFY(!t.tree.isExpanded(t.path("lib")));
        QCOMPARE(expansion.count(), 2);
        QVERIFY2(log.text().contains("[FileTreeVM] Failed to load children for lib: "), qPrintable(log.text()));
        QVERIFY(t.model.canFetchMore(t.index("lib")));
        // Replaced by a file: the next reload shows the file.
        makeTree(t.dir.path(), {"lib"});
        t.tree.reload();
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), (QStringList{"other", "lib"}));
        QVERIFY(!t.model.hasChildren(t.index("lib")));
    }

    void failedReloadKeepsTheOldTree()
    {
        LogCapture log;
        Tree t({"a.txt"});
        QVERIFY(settle(t.tree));
        QVERIFY(QDir(t.dir.path()).removeRecursively());
        t.tree.reload();
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), QStringList{"a.txt"});
        QVERIFY2(log.text().contains("[FileTreeVM] Failed to load files: "), qPrintable(log.text()));
    }

    void move_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QStringList>("rootAfter"); // names under the root on disk
        const QStringList untouched{"a.txt", "app", "app2"};
        QTest::newRow("file into a folder") << "a.txt" << "app" << QStringList{"app", "app2"};
        QTest::newRow("to where it is") << "a.txt" << "" << untouched;
        QTest::newRow("folder into itself") << "app" << "app" << untouched;
        QTest::newRow("folder into its subfolder") << "app" << "app/src" << untouched;
        QTest::newRow("app into app2") << "app" << "app2" << QStringList{"a.txt", "app2"};
    }
    void move()
    {
        QFETCH(QString, source);
        QFETCH(QString, folder);
        QFETCH(QStringList, rootAfter);
        LogCapture log;
        Tree t({"a.txt", "app/src/main.c", "app2/"});
        QVERIFY(settle(t.tree));
        QSignalSpy conflicts(&t.tree, &FileTreeViewModel::conflictRaised);
        t.tree.moveItem(t.path(source), folder.isEmpty() ? t.dir.path() : t.path(folder));
        QVERIFY(settle(t.tree));
        QCOMPARE(diskNames(t.dir.path()), rootAfter);
        QStringList rows = t.rows();
        rows.sort();
        QCOMPARE(rows, rootAfter);
        QCOMPARE(conflicts.count(), 0);
        QCOMPARE(log.text(), QString()); // refused moves say nothing
    }

    void conflict_data()
    {
        QTest::addColumn<bool>("isMove");
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<QStringList>("rootAfter");
        QTest::addColumn<QStringList>("destAfter");
        QTest::addColumn<QByteArray>("destText");
        QTest::newRow("move, replace") << true << Answer::replace << QStringList{"dest"} << QStringList{"a.txt"} << QByteArray("a.txt");
        QTest::newRow("move, keep both") << true << Answer::keepBoth << QStringList{"dest"} << QStringList{"a 2.txt", "a.txt"} << QByteArray("dest/a.txt");
        QTest::newRow("move, cancel") << true << Answer::cancel << QStringList{"a.txt", "dest"} << QStringList{"a.txt"} << QByteArray("dest/a.txt");
        QTest::newRow("copy, replace") << false << Answer::replace << QStringList{"a.txt", "dest"} << QStringList{"a.txt"} << QByteArray("a.txt");
        QTest::newRow("copy, keep both") << false << Answer::keepBoth << QStringList{"a.txt", "dest"} << QStringList{"a 2.txt", "a.txt"} << QByteArray("dest/a.txt");
        QTest::newRow("copy, cancel") << false << Answer::cancel << QStringList{"a.txt", "dest"} << QStringList{"a.txt"} << QByteArray("dest/a.txt");
    }
    void conflict()
    {
        QFETCH(bool, isMove);
        QFETCH(Answer, answer);
        QFETCH(QStringList, rootAfter);
        QFETCH(QStringList, destAfter);
        QFETCH(QByteArray, destText);
        Tree t({"a.txt", "dest/a.txt"});
        QVERIFY(settle(t.tree));
        QSignalSpy conflicts(&t.tree, &FileTreeViewModel::conflictRaised);
        if (isMove)
            t.tree.moveItem(t.path("a.txt"), t.path("dest"));
        else
            t.tree.copyItem(t.path("a.txt"), t.path("dest"));
        QVERIFY(settle(t.tree));
        QCOMPARE(conflicts.count(), 1);
        const FileConflict expected{t.path("a.txt"), t.path("dest/a.txt"), isMove};
        QCOMPARE(t.tree.pendingConflict(), std::optional(expected));
        QCOMPARE(diskNames(t.dir.path()), (QStringList{"a.txt", "dest"})); // nothing happens before the answer
        switch (answer) {
        case Answer::replace: t.tree.resolveConflictReplacing(); break;
        case Answer::keepBoth: t.tree.resolveConflictKeepingBoth(); break;
        case Answer::cancel: t.tree.cancelConflict(); break;
        }
        QVERIFY(!t.tree.pendingConflict());
        QVERIFY(settle(t.tree));
        QCOMPARE(diskNames(t.dir.path()), rootAfter);
        QCOMPARE(diskNames(t.path("dest")), destAfter);
        QCOMPARE(contents(t.path("dest/a.txt")), destText);
        const QStringList rowsAfter = rootAfter.contains("a.txt") ? QStringList{"dest", "a.txt"} : QStringList{"dest"};
        QCOMPARE(t.rows(), rowsAfter);
    }

    void copyOntoItselfKeepsBoth()
    {
        Tree t({"a.txt"});
        QVERIFY(settle(t.tree));
        t.tree.copyItem(t.path("a.txt"), t.dir.path());
        QVERIFY(settle(t.tree));
        QVERIFY(t.tree.pendingConflict());
        t.tree.resolveConflictKeepingBoth();
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), (QStringList{"a 2.txt", "a.txt"}));
        // Replacing an item with itself must not remove it.
        t.tree.copyItem(t.path("a.txt"), t.dir.path());
        QVERIFY(settle(t.tree));
        t.tree.resolveConflictReplacing();
        QVERIFY(settle(t.tree));
        QCOMPARE(contents(t.path("a.txt")), QByteArray("a.txt"));
    }

    void failedMoveKeepsTreeAndFiles()
    {
        LogCapture log;
        Tree t({"lib/a.txt", "b.txt"});
        QVERIFY(settle(t.tree));
        QVERIFY(t.open("lib"));
        const int version = t.tree.treeVersion();
        // /proc is read-only even for root: the move fails half-way into a copy.
        t.tree.moveItem(t.path("lib"), QStringLiteral("/proc"));
        QVERIFY(settle(t.tree));
        QVERIFY2(log.text().contains("[FileTreeVM] Move failed: "), qPrintable(log.text()));
        QCOMPARE(t.tree.treeVersion(), version);
        QCOMPARE(t.rows(), (QStringList{"lib", "b.txt"}));
        QCOMPARE(t.rows("lib"), QStringList{"a.txt"});
        QCOMPARE(diskNames(t.path("lib")), QStringList{"a.txt"});
        // A copy into a folder that went away meanwhile.
        t.tree.copyItem(t.path("b.txt"), t.path("gone"));
        QVERIFY(settle(t.tree));
        QVERIFY(log.text().contains("[FileTreeVM] Copy failed: "));
        QCOMPARE(diskNames(t.dir.path()), (QStringList{"b.txt", "lib"}));
    }

    void clipboard()
    {
        Tree t({"a.txt", "one/", "two/", "three/"});
        QVERIFY(settle(t.tree));
        // A copy pastes again and again.
        t.tree.copyToClipboard(t.path("a.txt"));
        t.tree.paste(t.path("one"));
        QVERIFY(settle(t.tree));
        t.tree.paste(t.path("two"));
        QVERIFY(settle(t.tree));
        QCOMPARE(t.tree.clipboard(), std::optional(FileClipboard{FileClipboard::Kind::copy, t.path("a.txt")}));
        QCOMPARE(diskNames(t.path("one")), QStringList{"a.txt"});
        QCOMPARE(diskNames(t.path("two")), QStringList{"a.txt"});
        // A cut moves once.
        t.tree.cutToClipboard(t.path("a.txt"));
        t.tree.paste(t.path("three"));
        QVERIFY(!t.tree.clipboard());
        QVERIFY(settle(t.tree));
        t.tree.paste(t.path("one"));
        QVERIFY(settle(t.tree));
        QCOMPARE(diskNames(t.path("three")), QStringList{"a.txt"});
        QCOMPARE(diskNames(t.path("one")), QStringList{"a.txt"});
        QVERIFY(!QFileInfo::exists(t.path("a.txt")));
    }

    void rename_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("rootAfter");
        QTest::newRow("new name") << "c.txt" << QStringList{"b.txt", "c.txt"};
        QTest::newRow("taken name") << "b.txt" << QStringList{"b 2.txt", "b.txt"};
        QTest::newRow("trimmed") << "  c.txt\n" << QStringList{"b.txt", "c.txt"};
        QTest::newRow("empty") << " \n" << QStringList{"a.txt", "b.txt"};
        QTest::newRow("unchanged") << "a.txt" << QStringList{"a.txt", "b.txt"};
    }
    void rename()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, rootAfter);
        Tree t({"a.txt", "b.txt"});
        QVERIFY(settle(t.tree));
        t.tree.beginRename(t.path("a.txt"));
        QVERIFY(t.model.setData(t.index("a.txt"), text)); // what the row's editor does
        QVERIFY(settle(t.tree));
        QVERIFY(!t.tree.renamingPath());
        QCOMPARE(diskNames(t.dir.path()), rootAfter);
        QCOMPARE(t.rows(), rootAfter);
    }

    void renamedFolderStaysOpen()
    {
        Tree t({"lib/sub/a.txt"});
        QVERIFY(settle(t.tree));
        QVERIFY(t.open("lib"));
        QVERIFY(t.open("lib/sub"));
        t.tree.rename(t.path("lib"), QStringLiteral("src"));
        QVERIFY(settle(t.tree));
        QVERIFY(t.tree.isExpanded(t.path("src")));
        QVERIFY(t.tree.isExpanded(t.path("src/sub")));
        QCOMPARE(t.rows("src/sub"), QStringList{"a.txt"});
    }

    void newFileAndFolder()
    {
        Tree t({"lib/"});
        QVERIFY(settle(t.tree));
        t.tree.newFile(t.path("lib"));
        QVERIFY(settle(t.tree));
        QVERIFY(t.tree.isExpanded(t.path("lib")));
        QCOMPARE(t.tree.renamingPath(), std::optional(t.path("lib/untitled")));
        t.tree.endRename();
        t.tree.newFile(t.path("lib"));
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows("lib"), (QStringList{"untitled", "untitled 2"}));
        QCOMPARE(t.tree.renamingPath(), std::optional(t.path("lib/untitled 2")));

        t.tree.newFolder(t.dir.path(), QStringLiteral("  docs "));
        QVERIFY(settle(t.tree));
        t.tree.newFolder(t.dir.path(), QStringLiteral("docs"));
        t.tree.newFolder(t.dir.path(), QStringLiteral("   ")); // nothing
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), (QStringList{"docs", "docs 2", "lib"}));
    }

    void newFolderFailureIsLogged()
    {
        LogCapture log;
        Tree t({"a.txt"});
        QVERIFY(settle(t.tree));
        t.tree.newFolder(t.path("a.txt"), QStringLiteral("inside a file"));
        QVERIFY(settle(t.tree));
        QVERIFY2(log.text().contains("[FilesView] Could not create folder: "), qPrintable(log.text()));
    }

    void duplicate_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("copy");
        QTest::newRow("file") << "a.txt" << "a 2.txt";
        QTest::newRow("dot file") << ".env" << ".env 2";
        QTest::newRow("folder") << "lib" << "lib 2";
    }
    void duplicate()
    {
        QFETCH(QString, item);
        QFETCH(QString, copy);
        Tree t({"a.txt", ".env", "lib/inner.txt"});
        QVERIFY(settle(t.tree));
        t.tree.duplicate(t.path(item));
        QVERIFY(settle(t.tree));
        QVERIFY(t.index(copy).isValid());
        if (item == "lib")
            QCOMPARE(contents(t.path("lib 2/inner.txt")), QByteArray("lib/inner.txt"));
        else
            QCOMPARE(contents(t.path(copy)), item.toUtf8());
    }

    void trash()
    {
        Tree t({"a.txt", "b.txt"});
        QVERIFY(settle(t.tree));
        t.tree.moveToTrash(t.path("a.txt"));
        QVERIFY(settle(t.tree));
        QCOMPARE(t.rows(), QStringList{"b.txt"});
        QVERIFY(QFileInfo::exists(m_environment->path("xdg_data_home/Trash/info/a.txt.trashinfo")));
        LogCapture log;
        t.tree.moveToTrash(t.path("a.txt"));
        QVERIFY(settle(t.tree));
        QVERIFY(log.text().contains("[FilesView] Could not trash: "));
    }

    void insideRoot()
    {
        Tree t({"app/src/", "sub/"});
        QTemporaryDir outside;
        QVERIFY(QFile::link(outside.path(), t.path("outlink")));
        QVERIFY(t.tree.isInsideRoot(t.dir.path()));
        QVERIFY(t.tree.isInsideRoot(t.path("app/src")));
        QVERIFY(t.tree.isInsideRoot(t.path("app/new.txt")));
        QVERIFY(!t.tree.isInsideRoot(t.dir.path() + "2/x"));
        QVERIFY(!t.tree.isInsideRoot(outside.path()));
        QVERIFY(!t.tree.isInsideRoot(t.path("outlink/file"))); // resolved, it is outside
    }

    void dropRules()
    {
        Tree t({"app/src/", "app2/", "a.txt"});
        QVERIFY(settle(t.tree));
        auto mime = [](const QString &path) {
            auto *data = new QMimeData;
            data->setUrls({QUrl::fromLocalFile(path)});
            return std::unique_ptr<QMimeData>(data);
        };
        QVERIFY(t.open("app"));
        const auto app = mime(t.path("app"));
        QVERIFY(!t.model.canDropMimeData(app.get(), Qt::MoveAction, -1, -1, t.index("app/src")));
        QVERIFY(!t.model.canDropMimeData(app.get(), Qt::MoveAction, -1, -1, t.index("app")));
        QVERIFY(!t.model.canDropMimeData(app.get(), Qt::MoveAction, -1, -1, {})); // already in the root
        QVERIFY(t.model.canDropMimeData(app.get(), Qt::MoveAction, -1, -1, t.index("app2")));
        // A drop on the empty area goes to the root; from outside it copies.
        QTemporaryDir outside;
        makeTree(outside.path(), {"x.txt"});
        const auto x = mime(outside.filePath("x.txt"));
        QVERIFY(t.model.canDropMimeData(x.get(), Qt::MoveAction, -1, -1, {}));
        t.model.dropMimeData(x.get(), Qt::MoveAction, -1, -1, {});
        t.model.dropMimeData(mime(t.path("a.txt")).get(), Qt::CopyAction, -1, -1, t.index("app2"));
        QVERIFY(settle(t.tree));
        QVERIFY(QFileInfo::exists(outside.filePath("x.txt")));
        QCOMPARE(diskNames(t.dir.path()), (QStringList{"app", "app2", "x.txt"}));
        QCOMPARE(diskNames(t.path("app2")), QStringList{"a.txt"});
    }

    void diskChangeReachesTheTree()
    {
        Tree t({"lib/a.txt"});
        QVERIFY(settle(t.tree));
        QVERIFY(t.open("lib"));
        FileSystemMonitor monitor(t.dir.path(), t.center);
        monitor.start();
        QTRY_VERIFY_WITH_TIMEOUT(monitor.isReady(), 10000);
        makeTree(t.dir.path(), {"lib/made by the agent.txt"});
        QTRY_COMPARE_WITH_TIMEOUT(t.rows("lib"), (QStringList{"a.txt", "made by the agent.txt"}), 10000);
        // A broadcast for another folder leaves the tree alone.
        const int version = t.tree.treeVersion();
        broadcast::post(t.center, broadcast::FileSystemChanged{t.dir.path() + "2"});
        QVERIFY(settle(t.tree));
        QCOMPARE(t.tree.treeVersion(), version);
    }

    void newRootResetsAndNoneClears()
    {
        Tree t({"a.txt"});
        QVERIFY(settle(t.tree));
        QTemporaryDir other;
        makeTree(other.path(), {"b.txt", "c.txt"});
        QSignalSpy reset(&t.model, &QAbstractItemModel::modelReset);
        t.tree.setRoot(other.path());
        QVERIFY(settle(t.tree));
        QCOMPARE(rowNames(t.model), (QStringList{"b.txt", "c.txt"}));
        t.tree.setRoot(std::nullopt);
        QCOMPARE(t.model.rowCount(), 0);
        QVERIFY(!t.tree.rootNode());
        QVERIFY(reset.count() >= 2);
    }

private:
    std::unique_ptr<TestEnvironment> m_environment;
};

QTEST_GUILESS_MAIN(FileTreeTest)
#include "tst_file_tree.moc"
