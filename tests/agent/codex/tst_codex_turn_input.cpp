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

Attachment pastedImage(const QByteArray &data)
{
    Attachment a;
    a.type = AttachmentType::image;
    a.fileName = "pasted.png";
    a.mediaType = "image/png";
    a.data = data;
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
        QTest::addColumn<int>("expectedImages");

        QVERIFY(m_dir.isValid());
        const QString notes = m_dir.filePath("notes.txt");
        QFile file(notes);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("line one\nline two\n");
        file.close();
        const QString binary = m_dir.filePath("binary.bin");
        QFile bin(binary);
        QVERIFY(bin.open(QIODevice::WriteOnly));
        bin.write("\xff\xfe\x00zz", 5);
        bin.close();

        Attachment pdf;
        pdf.type = AttachmentType::pdf;
        pdf.fileName = "doc.pdf";
        pdf.data = "%PDF-1.4";
        Attachment imageOnDisk;
        imageOnDisk.type = AttachmentType::image;
        imageOnDisk.fileURL = QUrl::fromLocalFile(notes); // any existing file stands in for a picture
        Attachment imageWithoutAnything;
        imageWithoutAnything.type = AttachmentType::image;

        QTest::newRow("text only") << "hi" << QList<Attachment>{} << "hi" << 0;
        QTest::newRow("empty text, nothing usable: one blank") << "" << QList<Attachment>{pdf} << " " << 0;
        QTest::newRow("text file appended")
            << "see this" << QList<Attachment>{textFile("notes.txt", notes)}
            << "see this\n\n--- attachment: notes.txt ---\nline one\nline two\n" << 0;
        QTest::newRow("unreadable and missing text files are skipped")
            << "x" << QList<Attachment>{textFile("binary.bin", binary), textFile("gone.txt", m_dir.filePath("gone.txt"))}
            << "x" << 0;
        QTest::newRow("image on disk by its path") << "look" << QList<Attachment>{imageOnDisk} << "look" << 1;
        QTest::newRow("pasted image written for codex") << "look" << QList<Attachment>{pastedImage("PNGDATA")} << "look" << 1;
        QTest::newRow("image with neither file nor bytes dropped")
            << "look" << QList<Attachment>{imageWithoutAnything} << "look" << 0;
    }

    void prompt()
    {
        QFETCH(QString, text);
        QFETCH(QList<Attachment>, attachments);
        QFETCH(QString, expectedPrompt);
        QFETCH(int, expectedImages);
        QTemporaryDir scratch;
        const codexturn::Input input = codexturn::build(text, attachments, scratch.path());
        QCOMPARE(input.prompt, expectedPrompt);
        QCOMPARE(input.imagePaths.size(), expectedImages);
        for (const QString &path : input.imagePaths)
            QVERIFY2(QFile::exists(path), qPrintable(path));
    }

    void pastedImageKeepsItsBytes()
    {
        QTemporaryDir scratch;
        const codexturn::Input input =
            codexturn::build("x", {pastedImage(QByteArray("\x89PNG\r\n", 6))}, scratch.path());
        QCOMPARE(input.imagePaths.size(), 1);
        QVERIFY(input.imagePaths[0].endsWith(".png"));
        QFile file(input.imagePaths[0]);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("\x89PNG\r\n", 6));
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
