// The open-file buffers over real files: what opens and what is refused, the active file as
// files open and close, the save prompt's three answers, atomic saves, and files changed or
// deleted on disk under clean and dirty buffers.
#include "core/Broadcasts.h"
#include "support/CoreFiles.h"
#include "tools/editor/OpenFileService.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

class TestOpenFiles : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    NotificationCenter m_center;
    std::unique_ptr<OpenFileService> m_service;
    QUuid m_workspace = QUuid::createUuid();
    QStringList m_warnings;
    QList<OpenFileService::SaveAnswer> m_answers; // what the user answers, in order
    int m_asked = 0;
    int m_posts = 0;
    ObserverGuard m_observer;

    QString path(const QString &name) const { return m_dir->filePath(name); }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_service = std::make_unique<OpenFileService>(m_center);
        m_warnings.clear();
        m_answers.clear();
        m_asked = 0;
        m_posts = 0;
        m_service->setWarning([this](const QString &title, const QString &text) { m_warnings << title + " | " + text; });
        m_service->setSavePrompt([this](const OpenFile &) {
            ++m_asked;
            return m_answers.isEmpty() ? OpenFileService::SaveAnswer::cancel : m_answers.takeFirst();
        });
        m_observer = broadcast::observe<broadcast::OpenFilesChanged>(m_center, this, [this](const broadcast::OpenFilesChanged &c) {
            if (c.workspaceId == m_workspace)
                ++m_posts;
        });
    }

    void decoding_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QByteArray>("writtenBack");
        QTest::newRow("plain") << QByteArray("a\nb\n") << "a\nb\n" << "" << QByteArray("a\nb\n");
        QTest::newRow("accents, CJK, emoji") << QByteArray("café 漢字 🙂") << "café 漢字 🙂" << "" << QByteArray("café 漢字 🙂");
        QTest::newRow("crlf written back as crlf") << QByteArray("a\r\nb\r\n") << "a\nb\n" << "" << QByteArray("a\r\nb\r\n");
        QTest::newRow("mixed line ends kept as they are")
            << QByteArray("a\r\nb\n") << "a\r\nb\n" << "" << QByteArray("a\r\nb\n");
        QTest::newRow("byte order mark kept") << QByteArray("\xEF\xBB\xBFx") << "x" << "" << QByteArray("\xEF\xBB\xBFx");
        QTest::newRow("latin-1 is not UTF-8") << QByteArray("caf\xE9") << "" << "The file is not UTF-8 text." << QByteArray();
        QTest::newRow("binary") << QByteArray("PNG\0\x01", 5) << "" << "The file holds binary data, not text." << QByteArray();
        QTest::newRow("empty") << QByteArray() << "" << "" << QByteArray();
    }

    void decoding()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        QFETCH(QString, error);
        QFETCH(QByteArray, writtenBack);
        const Result<TextFile> decoded = textfile::decode(bytes);
        QCOMPARE(decoded.ok(), error.isEmpty());
        if (!decoded) {
            QCOMPARE(decoded.error().message, error);
            return;
        }
        QCOMPARE(decoded->text, text);
        QCOMPARE(textfile::encode(decoded->text, *decoded), writtenBack);
    }

    void openingTwiceReadsOnceAndRefusalsWarn()
    {
        QVERIFY(writeFile(path("a.txt"), "one"));
        const OpenFilePtr first = m_service->open(path("a.txt"), m_workspace);
        QVERIFY(first);
        first->contents = "edited";
        QVERIFY(writeFile(path("a.txt"), "changed behind our back"));
        // Opening again only brings it to front; the buffer is not read again.
        QCOMPARE(m_service->open(path("a.txt"), m_workspace), first);
        QCOMPARE(first->contents, QStringLiteral("edited"));
        QCOMPARE(m_posts, 2);

        QVERIFY(writeFile(path("image.bin"), QByteArray("\x89PNG\0", 5)));
        QVERIFY(!m_service->open(path("image.bin"), m_workspace));
        QVERIFY(!m_service->open(path("missing.txt"), m_workspace));
        QCOMPARE(m_warnings.size(), 2);
        QVERIFY(m_warnings[0].startsWith("Couldn't open image.bin | The file holds binary data"));
        QVERIFY(m_warnings[1].startsWith("Couldn't open missing.txt | "));
        QCOMPARE(m_service->files(m_workspace).size(), 1);
    }

    void closingMovesTheActiveFile()
    {
        for (const char *name : {"a.txt", "b.txt", "c.txt"}) {
            QVERIFY(writeFile(path(name), name));
            QVERIFY(m_service->open(path(name), m_workspace));
        }
        m_service->setActive(path("b.txt"), m_workspace);
        QVERIFY(m_service->close(path("b.txt"), m_workspace, true));
        // The last remaining file becomes the active one.
        QCOMPARE(m_service->activeFile(m_workspace)->path, path("c.txt"));
        QVERIFY(m_service->close(path("c.txt"), m_workspace, true));
        QCOMPARE(m_service->activeFile(m_workspace)->path, path("a.txt"));
        QVERIFY(m_service->close(path("a.txt"), m_workspace, true));
        QVERIFY(!m_service->activeFile(m_workspace));
        QVERIFY(!m_service->workspaces().contains(m_workspace));
        QVERIFY(m_service->close(path("a.txt"), m_workspace, true)); // not open: nothing to do
        QCOMPARE(m_asked, 0);
    }

    void closingADirtyFile_data()
    {
        QTest::addColumn<OpenFileService::SaveAnswer>("answer");
        QTest::addColumn<bool>("closed");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::newRow("Save") << OpenFileService::SaveAnswer::save << true << QByteArray("mine");
        QTest::newRow("Don't Save") << OpenFileService::SaveAnswer::discard << true << QByteArray("disk");
        QTest::newRow("Cancel") << OpenFileService::SaveAnswer::cancel << false << QByteArray("disk");
    }

    void closingADirtyFile()
    {
        QFETCH(OpenFileService::SaveAnswer, answer);
        QFETCH(bool, closed);
        QFETCH(QByteArray, onDisk);
        QVERIFY(writeFile(path("other.txt"), "other"));
        QVERIFY(writeFile(path("a.txt"), "disk"));
        QVERIFY(m_service->open(path("other.txt"), m_workspace));
        const OpenFilePtr file = m_service->open(path("a.txt"), m_workspace);
        m_service->setContents(file, "mine");
        QVERIFY(file->isDirty());
        m_answers << answer;
        QCOMPARE(m_service->close(path("a.txt"), m_workspace, true), closed);
        QCOMPARE(m_asked, 1);
        QCOMPARE(readFile(path("a.txt")), onDisk);
        QCOMPARE(bool(m_service->file(path("a.txt"), m_workspace)), !closed);
        if (!closed) // cancelled: still open, still in front, still dirty
            QCOMPARE(m_service->activeFile(m_workspace), file);
    }

    void dirtyStateFollowsTheTextBackAndForth()
    {
        QVERIFY(writeFile(path("a.txt"), "abc"));
        const OpenFilePtr file = m_service->open(path("a.txt"), m_workspace);
        const int before = m_posts;
        m_service->setContents(file, "abcd");
        m_service->setContents(file, "abcde"); // still dirty: no post
        m_service->setContents(file, "abc");   // typed back to the saved text: clean again
        QCOMPARE(m_posts - before, 2);
        QVERIFY(!file->isDirty());
    }

    void savingIsAtomicAndAFailureKeepsTheBuffer()
    {
        QVERIFY(writeFile(path("a.txt"), "old"));
        QFile::setPermissions(path("a.txt"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const OpenFilePtr file = m_service->open(path("a.txt"), m_workspace);
        m_service->setContents(file, "new ☕");
        QString saved;
        ObserverGuard guard = broadcast::observe<broadcast::EditorSavedFile>(m_center, this,
            [&saved](const broadcast::EditorSavedFile &s) { saved = s.path; });
        QVERIFY(m_service->save(file));
        QCOMPARE(readFile(path("a.txt")), QString("new ☕").toUtf8());
        QCOMPARE(saved, path("a.txt"));
        QVERIFY(!file->isDirty());
        // The file's mode survives the write through a temporary file.
        QVERIFY(QFileInfo(path("a.txt")).permissions() & QFile::ExeOwner);

        // Something that cannot be written over (a folder now stands at the path): the warning,
        // what is there untouched, the edits still in the buffer.
        QVERIFY(writeFile(path("b.txt"), "text"));
        const OpenFilePtr blocked = m_service->open(path("b.txt"), m_workspace);
        QFile::remove(path("b.txt"));
        QVERIFY(QDir().mkpath(path("b.txt/inside")));
        m_service->setContents(blocked, "my edits");
        QVERIFY(!m_service->save(blocked));
        QVERIFY(m_warnings.last().startsWith("Couldn't save b.txt | "));
        QVERIFY(QFileInfo(path("b.txt/inside")).isDir());
        QCOMPARE(blocked->contents, QStringLiteral("my edits"));
        QVERIFY(blocked->isDirty());
    }

    void changesOnDisk()
    {
        QVERIFY(writeFile(path("clean.txt"), "v1"));
        QVERIFY(writeFile(path("dirty.txt"), "v1"));
        QVERIFY(writeFile(path("gone.txt"), "text"));
        const OpenFilePtr clean = m_service->open(path("clean.txt"), m_workspace);
        const OpenFilePtr dirty = m_service->open(path("dirty.txt"), m_workspace);
        const OpenFilePtr gone = m_service->open(path("gone.txt"), m_workspace);
        m_service->setContents(dirty, "my edit");
        QTest::qWait(20); // a modification time the file system can tell apart
        QVERIFY(writeFile(path("clean.txt"), "v2 from the agent"));
        QVERIFY(writeFile(path("dirty.txt"), "v2 from git"));
        QFile::remove(path("gone.txt"));
        QStringList replaced;
        connect(m_service.get(), &OpenFileService::contentsReplaced, this, [&replaced](const QString &p) { replaced << p; });
        // As the working tree's monitor tells it.
        broadcast::post(m_center, broadcast::FileSystemChanged{m_dir->path()});

        QCOMPARE(clean->contents, QStringLiteral("v2 from the agent"));
        QVERIFY(!clean->isDirty());
        QCOMPARE(replaced, QStringList{path("clean.txt")});
        // Unsaved edits are never replaced; the buffer remembers the disk moved on.
        QCOMPARE(dirty->contents, QStringLiteral("my edit"));
        QVERIFY(dirty->changedOnDisk);
        QCOMPARE(dirty->savedContents, QStringLiteral("v2 from git"));
        // A deleted file stays open with its text, and saving writes it again.
        QCOMPARE(gone->contents, QStringLiteral("text"));
        QVERIFY(m_service->save(gone));
        QCOMPARE(readFile(path("gone.txt")), QByteArray("text"));

        // Our own save is not mistaken for someone else's change.
        replaced.clear();
        QVERIFY(m_service->save(dirty));
        broadcast::post(m_center, broadcast::FileSystemChanged{m_dir->path()});
        QVERIFY(replaced.isEmpty());
        QVERIFY(!dirty->changedOnDisk);
    }

    void quittingAsksAboutEachDirtyFile()
    {
        const QUuid second = QUuid::createUuid();
        for (const char *name : {"a.txt", "b.txt", "c.txt"})
            QVERIFY(writeFile(path(name), name));
        m_service->setContents(m_service->open(path("a.txt"), m_workspace), "a!");
        m_service->setContents(m_service->open(path("b.txt"), m_workspace), "b!");
        QVERIFY(m_service->open(path("c.txt"), second)); // clean: closes without a question
        m_answers << OpenFileService::SaveAnswer::save << OpenFileService::SaveAnswer::cancel;
        QVERIFY(!m_service->closeAllAsking());
        QCOMPARE(m_asked, 2);
        // Cancelled on b: it is still open, and in front, so the user sees what was asked about.
        QCOMPARE(m_service->activeFile(m_workspace)->path, path("b.txt"));
        m_answers << OpenFileService::SaveAnswer::discard;
        QVERIFY(m_service->closeAllAsking());
        QVERIFY(m_service->workspaces().isEmpty());
        QCOMPARE(readFile(path("a.txt")), QByteArray("a!"));
        QCOMPARE(readFile(path("b.txt")), QByteArray("b.txt"));
    }
};

QTEST_GUILESS_MAIN(TestOpenFiles)
#include "tst_open_files.moc"
