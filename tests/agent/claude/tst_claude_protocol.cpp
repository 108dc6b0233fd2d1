// The lines we write to claude: user turns with attachments, answers to its requests, interrupts.
#include "agent/claude/ClaudeProtocol.h"

#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

namespace {

Attachment attachment(AttachmentType type, const QString &fileName, const QByteArray &data = {},
                      const QString &mediaType = {}, std::optional<QUrl> url = std::nullopt)
{
    Attachment a;
    a.type = type;
    a.fileName = fileName;
    a.data = data;
    a.mediaType = mediaType;
    a.fileURL = std::move(url);
    return a;
}

// A fake file system for temporary text files: known names read, others fail.
std::optional<QString> fakeRead(const QUrl &url)
{
    if (url.fileName() == "notes.txt")
        return QStringLiteral("line one\nline two ✓");
    return std::nullopt;
}

QByteArray compact(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).toJson(QJsonDocument::Compact);
}

} // namespace

class ClaudeProtocolTest : public QObject
{
    Q_OBJECT

private slots:
    void contentBlocks_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<Attachment>>("attachments");
        QTest::addColumn<QByteArray>("expected");

        const QUrl notes = QUrl::fromLocalFile("/tmp/notes.txt");
        const QUrl missing = QUrl::fromLocalFile("/tmp/missing.txt");

        QTest::newRow("text only") << "Hello" << QList<Attachment>{} << QByteArray(R"([{"type":"text","text":"Hello"}])");
        QTest::newRow("nothing at all") << "" << QList<Attachment>{} << QByteArray(R"([{"type":"text","text":""}])");
        QTest::newRow("image as base64")
            << "Look" << QList<Attachment>{attachment(AttachmentType::image, "a.png", "PNG!", "image/png")}
            << QByteArray(R"([{"type":"text","text":"Look"},
                              {"type":"image","source":{"type":"base64","media_type":"image/png","data":"UE5HIQ=="}}])");
        QTest::newRow("PDF as a document, whatever its media type says")
            << "" << QList<Attachment>{attachment(AttachmentType::pdf, "a.pdf", "%PDF", "application/octet-stream")}
            << QByteArray(R"([{"type":"document","source":{"type":"base64","media_type":"application/pdf","data":"JVBERg=="}}])");
        QTest::newRow("text file read in")
            << "See file" << QList<Attachment>{attachment(AttachmentType::tempFile, "notes.txt", {}, "text/plain", notes)}
            << QByteArray(R"([{"type":"text","text":"See file"},
                              {"type":"text","text":"Content from file notes.txt:\nline one\nline two ✓"}])");
        QTest::newRow("unreadable text file alone gives one empty block")
            << "" << QList<Attachment>{attachment(AttachmentType::tempFile, "missing.txt", {}, {}, missing)}
            << QByteArray(R"([{"type":"text","text":""}])");
        QTest::newRow("text file without a location")
            << "Hi" << QList<Attachment>{attachment(AttachmentType::tempFile, "notes.txt")}
            << QByteArray(R"([{"type":"text","text":"Hi"}])");
        QTest::newRow("attachments keep their order")
            << "" << QList<Attachment>{attachment(AttachmentType::pdf, "b.pdf", "B"), attachment(AttachmentType::image, "c.jpg", "C", "image/jpeg")}
            << QByteArray(R"([{"type":"document","source":{"type":"base64","media_type":"application/pdf","data":"Qg=="}},
                              {"type":"image","source":{"type":"base64","media_type":"image/jpeg","data":"Qw=="}}])");
    }

    void contentBlocks()
    {
        QFETCH(QString, text);
        QFETCH(QList<Attachment>, attachments);
        QFETCH(QByteArray, expected);
        const QJsonArray blocks = claudeprotocol::contentBlocks(text, attachments, fakeRead);
        QCOMPARE(QJsonDocument(blocks).toJson(QJsonDocument::Compact), compact(expected));
    }

    void userTurnLine()
    {
        const QByteArray line = claudeprotocol::userTurn(claudeprotocol::contentBlocks(QString::fromUtf8("héllo 😀"), {}), "s-1");
        QVERIFY(line.endsWith('\n'));
        QCOMPARE(line.count('\n'), 1);
        // Raw UTF-8, as claude itself writes, never \u escapes.
        QCOMPARE(line, QByteArray(R"({"message":{"content":[{"text":"héllo 😀","type":"text"}],"role":"user"},)"
                                  R"("parent_tool_use_id":null,"session_id":"s-1","type":"user"})") + '\n');
        const QByteArray multiLine = claudeprotocol::userTurn(claudeprotocol::contentBlocks("a\nb\r\nc", {}), "");
        QCOMPARE(multiLine.count('\n'), 1);
    }

    void readsTemporaryTextFiles()
    {
        QTemporaryDir dir;
        QFile good(dir.filePath("good.txt"));
        QVERIFY(good.open(QIODevice::WriteOnly));
        good.write("käse\n");
        good.close();
        QFile bad(dir.filePath("bad.txt"));
        QVERIFY(bad.open(QIODevice::WriteOnly));
        bad.write("\xff\xfe not text");
        bad.close();

        QCOMPARE(claudeprotocol::readTextFile(QUrl::fromLocalFile(good.fileName())), QString::fromUtf8("käse\n"));
        QVERIFY(!claudeprotocol::readTextFile(QUrl::fromLocalFile(bad.fileName())));
        QVERIFY(!claudeprotocol::readTextFile(QUrl::fromLocalFile(dir.filePath("absent.txt"))));
        QVERIFY(!claudeprotocol::readTextFile(QUrl("https://example.com/good.txt")));
    }

    void controlLines_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("allow carries the input")
            << claudeprotocol::allow("r1", {{"file_path", "/w/a.txt"}, {"content", "x"}})
            << QByteArray(R"({"type":"control_response","response":{"subtype":"success","request_id":"r1",
                              "response":{"behavior":"allow","updatedInput":{"file_path":"/w/a.txt","content":"x"}}}})");
        QTest::newRow("allow with nothing to change still sends an input")
            << claudeprotocol::allow("r2", {})
            << QByteArray(R"({"type":"control_response","response":{"subtype":"success","request_id":"r2",
                              "response":{"behavior":"allow","updatedInput":{}}}})");
        QTest::newRow("deny with a message")
            << claudeprotocol::deny("r3", QString("Not now"))
            << QByteArray(R"({"type":"control_response","response":{"subtype":"success","request_id":"r3",
                              "response":{"behavior":"deny","message":"Not now"}}})");
        QTest::newRow("deny without a message")
            << claudeprotocol::deny("r4", std::nullopt)
            << QByteArray(R"({"type":"control_response","response":{"subtype":"success","request_id":"r4",
                              "response":{"behavior":"deny","message":"User denied"}}})");
        QTest::newRow("question answered")
            << claudeprotocol::answerQuestion("q1", QString("Blue"))
            << QByteArray(R"({"type":"control_response","response":{"subtype":"success","request_id":"q1",
                              "response":{"behavior":"deny","message":"Blue"}}})");
        QTest::newRow("question dismissed")
            << claudeprotocol::answerQuestion("q2", std::nullopt)
            << QByteArray(R"({"type":"control_response","response":{"subtype":"success","request_id":"q2",
                              "response":{"behavior":"deny","message":"User dismissed the question"}}})");
        QTest::newRow("interrupt")
            << claudeprotocol::interruptRequest("corvane-interrupt-1")
            << QByteArray(R"({"type":"control_request","request_id":"corvane-interrupt-1","request":{"subtype":"interrupt"}})");
    }

    void controlLines()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, expected);
        QVERIFY(line.endsWith('\n'));
        QCOMPARE(line.count('\n'), 1);
        QCOMPARE(line.chopped(1), compact(expected));
    }
};

QTEST_GUILESS_MAIN(ClaudeProtocolTest)
#include "tst_claude_protocol.moc"
