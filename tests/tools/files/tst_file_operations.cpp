// The disk side of the file tree on real folders: listing order and hidden names, free names,
// moves and copies with and without replacing, renames, new items and the trash, and that a
// failed operation leaves everything where it was.
#include "support/FileTreeFixture.h"
#include "support/TestEnvironment.h"
#include "tools/files/FileOperations.h"

#include <QTemporaryDir>
#include <QTest>

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace corvane;
using namespace corvane::test;

namespace {

QStringList names(const FileNodeList &nodes)
{
    QStringList list;
    for (const FileNodePtr &node : nodes)
        list << (node->isDirectory ? node->name + QLatin1Char('/') : node->name);
    return list;
}

// A Unix socket file: it lists like a file but can't be read, as root too.
bool makeSocket(const QString &path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (fd < 0 || size_t(name.size()) >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    ::close(fd);
    return bound;
}

} // namespace

class FileOperationsTest : public QObject
{
    Q_OBJECT

private slots:
    void listing_data()
    {
        QTest::addColumn<bool>("showHidden");
        QTest::addColumn<QStringList>("expected");
        // ".git" and ".DS_Store" never show; ".env" does when hidden files are on.
        QTest::newRow("hidden shown") << true << QStringList{".config/", "lib/", "Zeta/", ".env", "alpha", "apple", "Banana"};
        QTest::newRow("hidden skipped") << false << QStringList{"lib/", "Zeta/", "alpha", "apple", "Banana"};
    }
    void listing()
    {
        QFETCH(bool, showHidden);
        QFETCH(QStringList, expected);
        QTemporaryDir root;
        makeTree(root.path(), {"Banana", "apple", "alpha", "Zeta/", "lib/", "lib/inner.txt", ".git/", ".git/HEAD",
                               ".DS_Store", ".env", ".config/"});
        const Result<FileNodeList> nodes = files::loadDirectory(root.path(), false, showHidden);
        QVERIFY2(nodes.ok(), qPrintable(nodes.ok() ? QString() : nodes.error().message));
        QCOMPARE(names(*nodes), expected);
        for (const FileNodePtr &node : *nodes)
            QVERIFY(!node->isLoaded()); // one level at a time
    }

    void listingRecursive()
    {
        QTemporaryDir root;
        makeTree(root.path(), {"b/", "b/z.txt", "b/A/", "b/A/deep.txt", "top.txt"});
        const Result<FileNodeList> nodes = files::loadDirectory(root.path(), true, true);
        QVERIFY(nodes.ok());
        QCOMPARE(names(*nodes), (QStringList{"b/", "top.txt"}));
        const FileNodePtr b = nodes->first();
        QVERIFY(b->isLoaded());
        QCOMPARE(names(*b->children), (QStringList{"A/", "z.txt"}));
        QCOMPARE(names(*b->children->first()->children), QStringList{"deep.txt"});
    }

    void listingMissingFolder()
    {
        QTemporaryDir root;
        const Result<FileNodeList> nodes = files::loadDirectory(root.filePath("gone"), false, true);
        QVERIFY(!nodes.ok());
        QVERIFY(nodes.error().message.contains("gone"));
    }

    void uniquePath_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QString>("wanted");
        QTest::addColumn<QString>("expected");
        QTest::newRow("free") << QStringList{} << "a.txt" << "a.txt";
        QTest::newRow("file") << QStringList{"a.txt"} << "a.txt" << "a 2.txt";
        QTest::newRow("next number") << QStringList{"a.txt", "a 2.txt", "a 3.txt"} << "a.txt" << "a 4.txt";
        QTest::newRow("dot file") << QStringList{".env"} << ".env" << ".env 2";
        QTest::newRow("two extensions") << QStringList{"archive.tar.gz"} << "archive.tar.gz" << "archive.tar 2.gz";
        QTest::newRow("no extension") << QStringList{"Makefile"} << "Makefile" << "Makefile 2";
        QTest::newRow("folder") << QStringList{"lib/"} << "lib" << "lib 2";
        QTest::newRow("folder with a dot") << QStringList{"v1.2/"} << "v1.2" << "v1.2 2";
    }
    void uniquePath()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, wanted);
        QFETCH(QString, expected);
        QTemporaryDir root;
        makeTree(root.path(), existing);
        QCOMPARE(files::uniquePath(root.filePath(wanted)), root.filePath(expected));
    }

    void uniquePathCountsDanglingLinks()
    {
        QTemporaryDir root;
        QVERIFY(QFile::link(root.filePath("nowhere"), root.filePath("link")));
        QCOMPARE(files::uniquePath(root.filePath("link")), root.filePath("link 2"));
    }

    void sameOrInside_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("item");
        QTest::addColumn<bool>("inside");
        QTest::newRow("itself") << "x/app" << "x/app" << true;
        QTest::newRow("subfolder") << "x/app/src" << "x/app" << true;
        QTest::newRow("name sharing a prefix") << "x/app2" << "x/app" << false;
        QTest::newRow("parent") << "x" << "x/app" << false;
        QTest::newRow("through a link") << "alias/src" << "x/app" << true;
    }
    void sameOrInside()
    {
        QFETCH(QString, folder);
        QFETCH(QString, item);
        QFETCH(bool, inside);
        QTemporaryDir root;
        makeTree(root.path(), {"x/app/src/", "x/app2/"});
        QVERIFY(QFile::link(root.filePath("x/app"), root.filePath("alias")));
        QCOMPARE(files::isSameOrInside(root.filePath(folder), root.filePath(item)), inside);
    }

    void moveAndCopy()
    {
        QTemporaryDir root;
        makeTree(root.path(), {"lib/", "lib/.hidden", "lib/sub/deep.txt", "dest/", "dest/lib/"});
        QVERIFY(QFile::link(QStringLiteral("sub/deep.txt"), root.filePath("lib/link")));
        // A copy of a folder takes everything, hidden files too, and keeps links as links.
        const Result<QString> copied = files::copy(root.filePath("lib"), root.filePath("dest/lib"));
        QVERIFY(copied.ok());
        QCOMPARE(*copied, root.filePath("dest/lib 2"));
        QCOMPARE(diskNames(*copied), (QStringList{".hidden", "link", "sub"}));
        QCOMPARE(QFile::symLinkTarget(*copied + "/link"), *copied + "/sub/deep.txt");
        QCOMPARE(contents(*copied + "/sub/deep.txt"), QByteArray("lib/sub/deep.txt"));
        // A move to a taken name gets a free one.
        const Result<QString> moved = files::move(root.filePath("lib"), root.filePath("dest/lib"));
        QVERIFY(moved.ok());
        QCOMPARE(*moved, root.filePath("dest/lib 3"));
        QVERIFY(!QFileInfo::exists(root.filePath("lib")));
    }

    void copyIntoItselfRefused()
    {
        QTemporaryDir root;
        makeTree(root.path(), {"lib/sub/a.txt"});
        const Result<QString> copied = files::copy(root.filePath("lib"), root.filePath("lib/sub/lib"));
        QVERIFY(!copied.ok());
        QCOMPARE(diskNames(root.filePath("lib/sub")), QStringList{"a.txt"});
    }

    void replacing_data()
    {
        QTest::addColumn<bool>("isMove");
        QTest::newRow("move") << true;
        QTest::newRow("copy") << false;
    }
    void replacing()
    {
        QFETCH(bool, isMove);
        QTemporaryDir root;
        makeTree(root.path(), {"a.txt", "dest/a.txt", "dest/other"});
        const Result<QString> done = isMove ? files::moveReplacing(root.filePath("a.txt"), root.filePath("dest/a.txt"))
                                            : files::copyReplacing(root.filePath("a.txt"), root.filePath("dest/a.txt"));
        QVERIFY(done.ok());
        QCOMPARE(contents(root.filePath("dest/a.txt")), QByteArray("a.txt"));
        QCOMPARE(QFileInfo::exists(root.filePath("a.txt")), !isMove);
        QCOMPARE(diskNames(root.filePath("dest")), (QStringList{"a.txt", "other"})); // nothing set aside is left
    }

    void replacingTheFolderHoldingTheSourceRefused()
    {
        QTemporaryDir root;
        makeTree(root.path(), {"lib/lib/a.txt", "lib/b.txt"});
        // Moving lib/lib up onto lib would first remove lib, and lib/lib with it.
        const Result<QString> done = files::moveReplacing(root.filePath("lib/lib"), root.filePath("lib"));
        QVERIFY(!done.ok());
        QCOMPARE(diskNames(root.filePath("lib")), (QStringList{"b.txt", "lib"}));
        QCOMPARE(diskNames(root.filePath("lib/lib")), QStringList{"a.txt"});
    }

    void replacingWithItselfChangesNothing()
    {
        QTemporaryDir root;
        makeTree(root.path(), {"a.txt"});
        QVERIFY(files::copyReplacing(root.filePath("a.txt"), root.filePath("a.txt")).ok());
        QCOMPARE(contents(root.filePath("a.txt")), QByteArray("a.txt"));
        QCOMPARE(diskNames(root.path()), QStringList{"a.txt"});
    }

    void failedReplaceRestoresTheOldItem()
    {
        QTemporaryDir root;
        makeTree(root.path(), {"src/ok.txt", "dest/src/old.txt"});
        QVERIFY(makeSocket(root.filePath("src/socket")));
        const Result<QString> done = files::copyReplacing(root.filePath("src"), root.filePath("dest/src"));
        QVERIFY(!done.ok());
        QVERIFY2(done.error().message.contains("socket"), qPrintable(done.error().message));
        QCOMPARE(diskNames(root.filePath("dest")), QStringList{"src"});
        QCOMPARE(diskNames(root.filePath("dest/src")), QStringList{"old.txt"});
    }

    void failedMoveLosesNothing()
    {
        // /proc takes no new files, not even from root: the move falls back to a copy that fails.
        QTemporaryDir root;
        makeTree(root.path(), {"lib/a.txt"});
        const Result<QString> moved = files::move(root.filePath("lib"), QStringLiteral("/proc/lib"));
        QVERIFY(!moved.ok());
        QCOMPARE(diskNames(root.filePath("lib")), QStringList{"a.txt"});
        QVERIFY(!files::move(root.filePath("gone"), root.filePath("elsewhere")).ok());
    }

    void rename_data()
    {
        QTest::addColumn<QString>("newName");
        QTest::addColumn<QString>("expected"); // empty: refused
        QTest::newRow("free name") << "c.txt" << "c.txt";
        QTest::newRow("taken name") << "b.txt" << "b 2.txt";
        QTest::newRow("same name") << "a.txt" << "a.txt";
        QTest::newRow("slash") << "x/y" << "";
        QTest::newRow("dot dot") << ".." << "";
        QTest::newRow("empty") << "" << "";
    }
    void rename()
    {
        QFETCH(QString, newName);
        QFETCH(QString, expected);
        QTemporaryDir root;
        makeTree(root.path(), {"a.txt", "b.txt"});
        const Result<QString> renamed = files::rename(root.filePath("a.txt"), newName);
        QCOMPARE(renamed.ok(), !expected.isEmpty());
        if (expected.isEmpty()) {
            QCOMPARE(diskNames(root.path()), (QStringList{"a.txt", "b.txt"}));
            return;
        }
        QCOMPARE(*renamed, root.filePath(expected));
        QCOMPARE(contents(*renamed), QByteArray("a.txt"));
    }

    void createItems()
    {
        QTemporaryDir root;
        QCOMPARE(files::createFile(root.filePath("untitled")).valueOr({}), root.filePath("untitled"));
        QCOMPARE(files::createFile(root.filePath("untitled")).valueOr({}), root.filePath("untitled 2"));
        QCOMPARE(files::createFolder(root.filePath("docs")).valueOr({}), root.filePath("docs"));
        QCOMPARE(files::createFolder(root.filePath("docs")).valueOr({}), root.filePath("docs 2"));
        QVERIFY(QFileInfo(root.filePath("docs 2")).isDir());
        QCOMPARE(QFileInfo(root.filePath("untitled 2")).size(), 0);
        QVERIFY(!files::createFile(root.filePath("missing/untitled")).ok());
    }

    void trash()
    {
        TestEnvironment environment; // $XDG_DATA_HOME in a temporary folder
        QTemporaryDir root(environment.path("work-XXXXXX"));
        makeTree(root.path(), {"notes.txt", "lib/a.txt"});
        QVERIFY(files::moveToTrash(root.filePath("notes.txt")).ok());
        QVERIFY(files::moveToTrash(root.filePath("lib")).ok());
        QCOMPARE(diskNames(root.path()), QStringList{});
        const QString trash = environment.path("xdg_data_home/Trash");
        QCOMPARE(diskNames(trash + "/files"), (QStringList{"lib", "notes.txt"}));
        QCOMPARE(diskNames(trash + "/info"), (QStringList{"lib.trashinfo", "notes.txt.trashinfo"}));
        QVERIFY(contents(trash + "/info/notes.txt.trashinfo").contains("Path=" + QFile::encodeName(root.filePath("notes.txt"))));
        QVERIFY(!files::moveToTrash(root.filePath("notes.txt")).ok());
    }
};

QTEST_GUILESS_MAIN(FileOperationsTest)
#include "tst_file_operations.moc"
