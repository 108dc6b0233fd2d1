// The road of a user message through the real claude: attachments as the model receives them,
// slash commands, "/clear", and the two-press stop.
#include "ClaudeChatHarness.h"

#include "agent/input/AttachmentService.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace corvane;
using test::ClaudeChatHarness;

namespace {

// The content blocks of the last user message the model service received.
QJsonArray lastUserBlocks(test::FakeModel &model)
{
    QJsonArray blocks;
    for (const QVariantMap &request : model.requests()) {
        const QJsonArray messages = QJsonObject::fromVariantMap(request).value("body").toObject().value("messages").toArray();
        for (const QJsonValue &m : messages)
            if (m.toObject().value("role") == "user" && m.toObject().value("content").isArray())
                blocks = m.toObject().value("content").toArray();
    }
    return blocks;
}

} // namespace

class ChatRoadTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_files;

private slots:
    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    void imagesAndPdfsReachTheModel()
    {
        ClaudeChatHarness chat("plain_text.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QImage big(3000, 1500, QImage::Format_RGB32);
        big.fill(Qt::red);
        QVERIFY(big.save(m_files.filePath("big.png")));
        QFile pdf(m_files.filePath("spec.pdf"));
        QVERIFY(pdf.open(QIODevice::WriteOnly));
        pdf.write("%PDF-1.4\n1 0 obj << /Type /Catalog >> endobj\ntrailer << /Root 1 0 R >>\n%%EOF\n");
        pdf.close();
        const auto image = attachments::fromFile(m_files.filePath("big.png"));
        const auto document = attachments::fromFile(pdf.fileName());
        QVERIFY(image && document);
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        QVERIFY(chat.controller().sendMessage(chat.session(), "What is in these?", {*image, *document}, sonnet, PermissionMode::ask).ok());
        QVERIFY(chat.waitForTurn());
        QJsonObject imageBlock, documentBlock;
        for (const QJsonValue &block : lastUserBlocks(chat.model())) {
            if (block.toObject().value("type") == "image")
                imageBlock = block.toObject();
            if (block.toObject().value("type") == "document")
                documentBlock = block.toObject();
        }
        QVERIFY2(!imageBlock.isEmpty(), "the image arrived as an image block");
        const QByteArray png = QByteArray::fromBase64(imageBlock.value("source").toObject().value("data").toString().toLatin1());
        // We send 2048 by 1024; claude itself scales images down to 2000 on the longer side.
        const QSize arrived = QImage::fromData(png).size();
        QVERIFY2(arrived.width() <= 2048 && arrived.width() == 2 * arrived.height(), qPrintable(QString::number(arrived.width())));
        QCOMPARE(documentBlock.value("source").toObject().value("media_type").toString(), QString("application/pdf"));
        const QStringList shown{chat.stored().first()->content};
        QCOMPARE(shown.first(), QString("What is in these?\n[Image: big.png]\n[PDF: spec.pdf]"));
    }

    void slashCommandsArriveAsPrompts()
    {
        ClaudeChatHarness chat("plain_text.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QVERIFY(chat.start("/compact auth", PermissionMode::ask));
        QVERIFY(chat.waitForTurn());
        bool received = false;
        for (const QJsonValue &block : lastUserBlocks(chat.model()))
            received |= block.toObject().value("text").toString().contains("Compact this conversation to free up context. Focus on: auth");
        QVERIFY(received);
        QCOMPARE(chat.stored().first()->content, QString("/compact auth")); // the row shows what was typed
    }

    void clearStartsAfresh()
    {
        ClaudeChatHarness chat("two_turns.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QVERIFY(chat.start("first question", PermissionMode::ask));
        QVERIFY(chat.waitForTurn());
        const QString before = chat.store().newContext()->get<Chat>(chat.chatId())->claudeSessionId.value_or(QString());
        QVERIFY(!before.isEmpty());
        QVERIFY(chat.start("/clear", PermissionMode::ask));
        QVERIFY(chat.stored().size() <= 1); // at most the starting indicator
        QVERIFY(chat.start("second question", PermissionMode::ask));
        QVERIFY(chat.waitForTurn());
        const QString after = chat.store().newContext()->get<Chat>(chat.chatId())->claudeSessionId.value_or(QString());
        QVERIFY(!after.isEmpty() && after != before);
    }

    // Each chat has its own two presses: a stop in one chat does not arm the stop of another,
    // nor does the window's command bypass it.
    void stopPressesBelongToTheirChat()
    {
        test::TestEnvironment env;
        auto store = Store::open(env.path("Corvane.store")).value();
        ChatSession first(test::insertChat(*store, env.path("a")), "A", env.path("a"), *store);
        ChatSession second(test::insertChat(*store, env.path("b")), "B", env.path("b"), *store);
        ChatController controller([](AgentType) { return std::unique_ptr<AgentAdapter>(); });
        using Outcome = ChatController::StopOutcome;
        QCOMPARE(controller.stop(first), Outcome::interrupted);
        QCOMPARE(controller.stop(second), Outcome::interrupted);
        QCOMPARE(controller.stop(first), Outcome::forced);
        QCOMPARE(controller.stop(first), Outcome::interrupted); // a forced stop disarms
        QCOMPARE(controller.stop(second), Outcome::forced);
    }

    void theSecondStopPressEndsTheProcess()
    {
        ClaudeChatHarness chat("slow_reply.json", {"DELAY=0", "DELTA_DELAY=0.3"});
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QVERIFY(chat.start("Take your time", PermissionMode::ask));
        QTRY_COMPARE_WITH_TIMEOUT(chat.session().activityState(), ChatActivityState::processing, 30000);
        chat.controller().stop(chat.session());
        chat.controller().stop(chat.session());
        QTRY_VERIFY_WITH_TIMEOUT(!chat.session().adapter()->isLaunched(), 10000);
        QCOMPARE(chat.session().activityState(), ChatActivityState::idle);
        QVERIFY(chat.systemTexts().contains("Stopped by user."));
        QVERIFY(chat.start("Go on", PermissionMode::ask)); // the next message resumes
        QVERIFY(chat.waitForTurn());
    }
};

QTEST_GUILESS_MAIN(ChatRoadTest)
#include "tst_chat_road.moc"
