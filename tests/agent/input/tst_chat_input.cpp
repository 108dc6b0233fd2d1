// What the input makes of what the user types or attaches, before any agent sees it.
#include "agent/input/AttachmentService.h"
#include "agent/input/SlashCommands.h"
#include "agent/input/TaskContext.h"
#include "agent/session/SessionText.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

class ChatInputTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString sizedFile(const QString &name, qint64 size)
    {
        QFile file(m_dir.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || !file.resize(size))
            return {};
        return file.fileName();
    }

private slots:
    void slashCommands_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("prompt");
        const int none = int(SlashCommand::Kind::notACommand), clear = int(SlashCommand::Kind::clear),
                  prompt = int(SlashCommand::Kind::prompt);
        QTest::newRow("upper-case clear") << "/CLEAR" << clear << "";
        QTest::newRow("blanks around plan") << "  /plan  " << prompt
                                            << "Enter plan mode. Analyze the task, explore the codebase, and present a "
                                               "detailed implementation plan before making changes.";
        QTest::newRow("unknown goes as typed") << "/unknown x" << none << "";
        QTest::newRow("compact") << "/compact" << prompt << "Compact this conversation to free up context.";
        QTest::newRow("compact with blanks only") << "/compact   " << prompt << "Compact this conversation to free up context.";
        QTest::newRow("compact with focus") << "/compact auth" << prompt
                                            << "Compact this conversation to free up context. Focus on: auth";
        QTest::newRow("pr comments with a number") << "/pr-comments 42" << prompt
                                                   << "Fetch and review comments from GitHub pull request 42. Use the gh CLI.";
        QTest::newRow("text with a slash inside") << "use a/b" << none << "";
    }

    void slashCommands()
    {
        QFETCH(QString, typed);
        QFETCH(int, kind);
        QFETCH(QString, prompt);
        const SlashCommand command = slashcommands::parse(typed);
        QCOMPARE(int(command.kind), kind);
        QCOMPARE(command.prompt, prompt);
    }

    void slashListAndCompletion()
    {
        QCOMPARE(slashcommands::matching("/", AgentType::claudeCode).size(), 6);
        QCOMPARE(slashcommands::matching("/", AgentType::codex).size(), 5); // no plan mode in codex
        QCOMPARE(slashcommands::matching("/C", AgentType::claudeCode).size(), 2);
        const auto compact = slashcommands::matching("/comp", AgentType::claudeCode);
        QCOMPARE(slashcommands::completion(compact.first()), QString("/compact "));
        QCOMPARE(slashcommands::completion(slashcommands::matching("/in", AgentType::claudeCode).first()), QString("/init"));
        QVERIFY(slashcommands::matching("no slash", AgentType::claudeCode).isEmpty());
    }

    void titles_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("title");
        QTest::newRow("four words") << "fix the login bug" << "fix the login bug";
        QTest::newRow("five words") << "please fix the login bug" << "please fix the login...";
        QTest::newRow("tabs and blanks") << "  a\t\tb   c " << "a b c";
        QTest::newRow("empty") << "   " << "New Chat";
        QTest::newRow("long words cut at 47")
            << QString(60, 'x') << QString(47, 'x') + "...";
    }

    void titles()
    {
        QFETCH(QString, message);
        QFETCH(QString, title);
        QCOMPARE(sessiontext::simpleTitle(message), title);
    }

    void placeholderNames()
    {
        QVERIFY(sessiontext::hasPlaceholderName("Chat 3"));
        QVERIFY(sessiontext::hasPlaceholderName("New Chat"));
        QVERIFY(!sessiontext::hasPlaceholderName("Fix login"));
    }

    void sizeLimits_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("error");
        QTest::newRow("image at the limit") << "a.png" << attachments::ImageLimitBytes << "";
        QTest::newRow("image one byte over") << "b.png" << attachments::ImageLimitBytes + 1 << "File exceeds the 20MB size limit.";
        QTest::newRow("pdf over 32 MB") << "c.pdf" << attachments::PdfLimitBytes + 1 << "File exceeds the 32MB size limit.";
        QTest::newRow("pdf of 25 MB") << "d.pdf" << 25LL * 1024 * 1024 << "";
        QTest::newRow("unknown type") << "e.docx" << 10LL
                                      << "This file type is not supported. Use PNG, JPEG, GIF, WebP, or PDF.";
    }

    void sizeLimits()
    {
        QFETCH(QString, name);
        QFETCH(qint64, size);
        QFETCH(QString, error);
        const QString path = sizedFile(name, size);
        QVERIFY(!path.isEmpty());
        const auto type = attachments::validate(path);
        QCOMPARE(type ? QString() : type.error().message, error);
        QFile::remove(path);
    }

    void largeImagesAreScaled()
    {
        QImage image(4096, 1024, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        const QString path = m_dir.filePath("wide.jpg");
        QVERIFY(image.save(path, "JPEG"));
        const auto attachment = attachments::imageAttachment(path);
        QVERIFY2(attachment, attachment ? "" : qPrintable(attachment.error().message));
        QCOMPARE(attachment->mediaType, QString("image/jpeg"));
        QCOMPARE(QImage::fromData(attachment->data).size(), QSize(2048, 512));
        QCOMPARE(attachment->fileSize, qint64(attachment->data.size()));
    }

    void brokenImagesSayWhy()
    {
        QFile file(m_dir.filePath("broken.png"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not a png at all");
        file.close();
        const auto attachment = attachments::imageAttachment(file.fileName());
        QVERIFY(!attachment);
        QCOMPARE(attachment.error().message, QString("Could not read the file."));
    }

    void longPastesBecomeFiles()
    {
        const QString text = QString(501, QChar(0x00E9));
        const auto attachment = attachments::textAttachment(text);
        QVERIFY(attachment);
        QCOMPARE(attachment->type, AttachmentType::tempFile);
        QFile file(attachment->fileURL->toLocalFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), text);
        QCOMPARE(attachment->fileSize, qint64(text.toUtf8().size()));
        file.remove();
    }

    void taskReferencesExpandEverywhere()
    {
        TaskContext task;
        task.title = "Login fails";
        task.type = "Bug";
        task.priority = "High";
        task.status = "In Progress";
        task.labels = QStringList{"auth", "web"};
        task.checklist = {{"Reproduce", true}, {"Fix", false}};
        const QString expanded = taskcontext::expand("see @task and @task", task);
        QCOMPARE(expanded.count("[Task Context]"), 2);
        QVERIFY(expanded.contains("Type: Bug | Priority: High | Status: In Progress"));
        QVERIFY(expanded.contains("Labels: auth, web"));
        QVERIFY(expanded.contains("Checklist:\n- [x] Reproduce\n- [ ] Fix"));
        QVERIFY(!expanded.contains("Description:"));
    }
};

QTEST_GUILESS_MAIN(ChatInputTest)
#include "tst_chat_input.moc"
