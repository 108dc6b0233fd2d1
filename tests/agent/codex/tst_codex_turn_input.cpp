// What a codex turn is started with: the prompt, the image files and the argument vector.
#include "agent/codex/CodexTurn.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

namespace {

Attachment textFile(const QString &name, const QString &path)
{
    Attachment a;
    a.type = AttachmentType::tempFile;
    a.fileName = name;
    a.fileURL = QUrl::fromLocalFile(path);
    return a;
}

} // namespace

class CodexTurnInputTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void arguments_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("session");
        QTest::addColumn<QStringList>("images");
        QTest::addColumn<QStringList>("expected");

        const QStringList none;
        QTest::newRow("new, ask") << int(PermissionMode::ask) << "gpt-5.5" << "" << none
                                  << QStringList{"exec", "--json", "--skip-git-repo-check", "-m", "gpt-5.5", "-s",
                                                 "workspace-write", "-C", "/w", "--", "hello"};
        QTest::newRow("new, no model, accept all")
            << int(PermissionMode::acceptAll) << "" << "" << none
            << QStringList{"exec", "--json", "--skip-git-repo-check", "--dangerously-bypass-approvals-and-sandbox", "-C",
                           "/w", "--", "hello"};
        QTest::newRow("resume, accept edits: sandbox by -c, no -C")
            << int(PermissionMode::acceptEdits) << "gpt-5.4" << "t-1" << none
            << QStringList{"exec", "resume", "t-1", "--json", "--skip-git-repo-check", "-m", "gpt-5.4", "-c",
                           "sandbox_mode=\"workspace-write\"", "--", "hello"};
        QTest::newRow("resume, accept all")
            << int(PermissionMode::acceptAll) << "" << "t-1" << none
            << QStringList{"exec", "resume", "t-1", "--json", "--skip-git-repo-check",
                           "--dangerously-bypass-approvals-and-sandbox", "--", "hello"};
        QTest::newRow("images before the separator")
            << int(PermissionMode::ask) << "" << "" << QStringList{"/i/a.png", "/i/b.jpg"}
            << QStringList{"exec", "--json", "--skip-git-repo-check", "-s", "workspace-write", "-C", "/w", "-i",
                           "/i/a.png", "-i", "/i/b.jpg", "--", "hello"};
    }

    void arguments()
    {
        QFETCH(int, mode);
        QFETCH(QString, model);
        QFETCH(QString, session);
        QFETCH(QStringList, images);
        QFETCH(QStringList, expected);
        const codexturn::Input input{"hello", images};
        QCOMPARE(codexturn::arguments(PermissionMode(mode), model, session, "/w", input), expected);
    }

    void prompt_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<Attachment>>("attachments");
        QTest::addColumn<QString>("expectedPrompt");
        QTest::addColumn<QByteArrayList>("images"); // the bytes of each image file handed to codex

        QVERIFY(m_dir.isValid());
        const auto write = [this](const QString &name, const QByteArray &content) {
            QFile file(m_dir.filePath(name));
            return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? file.fileName() : QString();
        };
        const QString notes = write("notes.txt", "line one\nline two\n");
        const QString binary = write("binary.bin", QByteArray("\xff\xfe\x00zz", 5));
        QVERIFY(!notes.isEmpty() && !binary.isEmpty());

        Attachment pdf;
        pdf.type = AttachmentType::pdf;
        pdf.fileName = "doc.pdf";
        pdf.data = "%PDF-1.4";
        Attachment imageOnDisk;
        imageOnDisk.type = AttachmentType::image;
        imageOnDisk.fileURL = QUrl::fromLocalFile(notes); // any existing file stands in for a picture
        Attachment imageWithoutAnything;
        imageWithoutAnything.type = AttachmentType::image;
        Attachment pasted = imageWithoutAnything;
        pasted.fileName = "pasted.png";
        pasted.mediaType = "image/png";
        pasted.data = QByteArray("\x89PNG\r\n", 6);

        const QByteArrayList none;
        QTest::newRow("text only") << "hi" << QList<Attachment>{} << "hi" << none;
        QTest::newRow("empty text, nothing usable: one blank") << "" << QList<Attachment>{pdf} << " " << none;
        QTest::newRow("text file appended")
            << "see this" << QList<Attachment>{textFile("notes.txt", notes)}
            << "see this\n\n--- attachment: notes.txt ---\nline one\nline two\n" << none;
        QTest::newRow("unreadable and missing text files are skipped")
            << "x" << QList<Attachment>{textFile("binary.bin", binary), textFile("gone.txt", m_dir.filePath("gone.txt"))}
            << "x" << none;
        QTest::newRow("image on disk by its path")
            << "look" << QList<Attachment>{imageOnDisk} << "look" << QByteArrayList{"line one\nline two\n"};
        QTest::newRow("pasted image written for codex, byte for byte")
            << "look" << QList<Attachment>{pasted} << "look" << QByteArrayList{pasted.data};
        QTest::newRow("image with neither file nor bytes dropped")
            << "look" << QList<Attachment>{imageWithoutAnything} << "look" << none;
    }

    void prompt()
    {
        QFETCH(QString, text);
        QFETCH(QList<Attachment>, attachments);
        QFETCH(QString, expectedPrompt);
        QFETCH(QByteArrayList, images);
        QTemporaryDir scratch;
        const codexturn::Input input = codexturn::build(text, attachments, scratch.path());
        QCOMPARE(input.prompt, expectedPrompt);
        QByteArrayList written;
        for (const QString &path : input.imagePaths) {
            QFile file(path);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
            written << file.readAll();
            if (path.startsWith(scratch.path())) // written by us: named for its type
                QVERIFY2(path.endsWith(".png"), qPrintable(path));
        }
        QCOMPARE(written, images);
    }

    void failureText_data()
    {
        QTest::addColumn<QString>("tail");
        QTest::addColumn<QString>("expected");
        QTest::newRow("only the stdin notice") << "Reading additional input from stdin...\n" << "";
        QTest::newRow("notice and a real error")
            << "Reading additional input from stdin...\nError: thread not found\n" << "Error: thread not found";
        QTest::newRow("real error alone") << "  boom \n" << "boom";
        QTest::newRow("home under /tmp warning")
            << "WARNING: proceeding, even though we could not create PATH aliases: Refusing to create helper binaries "
               "under temporary dir \"/tmp\"\nReading additional input from stdin...\nError loading config.toml:\n  x\n"
            << "Error loading config.toml:\n  x";
    }

    void failureText()
    {
        QFETCH(QString, tail);
        QFETCH(QString, expected);
        QCOMPARE(codexturn::failureText(tail), expected);
    }
};

QTEST_GUILESS_MAIN(CodexTurnInputTest)
#include "tst_codex_turn_input.moc"
