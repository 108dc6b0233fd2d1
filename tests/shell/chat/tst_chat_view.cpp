// The chat view driven as a user drives it, with the real claude against the scripted model
// stand-in: typing and Return, the cards' buttons, the stop button, and the floating prompt of a
// chat that no view shows.
#include "ChatViewHarness.h"

#include "shell/Appearance.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatTextEdit.h"
#include "shell/chat/FloatingPromptCoordinator.h"
#include "shell/chat/FloatingPromptWindow.h"
#include "shell/chat/PermissionCard.h"
#include "shell/chat/PlanCard.h"
#include "shell/chat/QuestionCard.h"
#include "presentation/highlight/SyntaxHighlighter.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using test::ChatViewHarness;

namespace {

constexpr int kTurnTimeout = 90000;

PermissionCard *liveCard(ChatView &view)
{
    view.timelineModel().flush();
    for (TimelineRow *row : view.timeline()->visibleRows())
        if (PermissionCard *card = permissionCardOf(row); card && card->isLive())
            return card;
    return nullptr;
}

void typeAndSend(ChatView &view, const QString &text)
{
    view.input()->textEdit()->setFocus();
    QTest::keyClicks(view.input()->textEdit(), text);
    QTest::keyClick(view.input()->textEdit(), Qt::Key_Return);
}

bool isIdle(ChatView &view)
{
    return view.session() && view.session()->activityState() == ChatActivityState::idle && !view.input()->isWaiting();
}

void saveShot(QWidget &widget, const QString &name)
{
    QApplication::processEvents();
    widget.grab().save(QDir::current().filePath(name));
}

} // namespace

class ChatViewTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        // Agent processes ended with their views are reaped from the event loop; let that
        // happen before the next test (and before the leak check at exit).
        QTest::qWait(1000);
    }

    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    void aTypedMessageGetsItsMarkdownReply()
    {
        ChatViewHarness chat(test::chatScenario("markdown_reply.json"));
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        auto view = chat.makeView();
        view->show();
        view->setChat(chat.chatId());
        QCOMPARE(view->titleLabel()->text(), QStringLiteral("Test chat"));
        typeAndSend(*view, "Show the report");
        QVERIFY(view->input()->textEdit()->toPlainText().isEmpty());
        QCOMPARE(view->input()->sendButton()->text(), QStringLiteral("Stop"));
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(*view).contains("See the notes for more."), kTurnTimeout);
        QTRY_VERIFY_WITH_TIMEOUT(isIdle(*view), kTurnTimeout);
        const QString shown = test::timelineText(*view);
        QVERIFY2(shown.contains("Show the report"), qPrintable(shown));
        QVERIFY2(shown.contains("Build report"), qPrintable(shown)); // the heading, without its "#"
        QVERIFY2(!shown.contains("# Build report"), qPrintable(shown));
        QVERIFY2(shown.contains("shell") && shown.contains("30 s"), qPrintable(shown)); // the table's cells
        QVERIFY2(!shown.contains("|---"), qPrintable(shown));
        QVERIFY2(shown.contains("return 0;"), qPrintable(shown));
        QCOMPARE(view->input()->sendButton()->text(), QStringLiteral("Send"));
        QStringList stored;
        for (const auto &m : chat.stored())
            if (m->role == MessageRole::user || m->role == MessageRole::assistant)
                stored << m->content;
        QCOMPARE(stored.size(), 2);
        QCOMPARE(stored[0], QStringLiteral("Show the report"));
        QVERIFY(stored[1].startsWith("# Build report\n"));
        QVERIFY(stored[1].endsWith("for more."));
        saveShot(*view, "chat-markdown.png");
    }

    void coordinatorMarkersAreHiddenFromTheReader()
    {
        ChatViewHarness chat(test::chatScenario("markdown_reply.json"));
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        const QString raw = QStringLiteral("Implemented the parser.\n\n[CORVANE:READY_FOR_VALIDATION]");
        for (const QString &content : {raw, QStringLiteral("[CORVANE:REVIEW_VERDICT=needs_changes]")}) {
            Message reply;
            reply.chatId = chat.chatId();
            reply.role = MessageRole::assistant;
            reply.content = content;
            chat.store().mainContext().insert(reply);
        }
        QVERIFY(chat.store().mainContext().save());
        auto view = chat.makeView();
        view->show();
        view->setChat(chat.chatId());
        const QString shown = test::timelineText(*view);
        QVERIFY2(shown.contains("Implemented the parser.") && !shown.contains("[CORVANE:"), qPrintable(shown));
        QVERIFY2(shown.contains("Reviewer requested changes"), qPrintable(shown));
        QCOMPARE(chat.stored().first()->content, raw); // stored as the agent wrote it
    }

    void allowOnceOnThePermissionCardRunsTheTool()
    {
        ChatViewHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        auto view = chat.makeView();
        view->show();
        view->setChat(chat.chatId());
        typeAndSend(*view, "Make the marker");
        QTRY_VERIFY_WITH_TIMEOUT(liveCard(*view), kTurnTimeout);
        PermissionCard *card = liveCard(*view);
        const QString shown = test::timelineText(*view);
        QVERIFY2(shown.contains("Claude wants to run a command:"), qPrintable(shown));
        QVERIFY2(shown.contains("Run command: mkdir -p build"), qPrintable(shown));
        QCOMPARE(view->input()->statusLabel()->text(), QStringLiteral("Permission needed..."));
        saveShot(*view, "chat-permission.png");
        QTest::mouseClick(card->allowOnceButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(isIdle(*view), kTurnTimeout);
        QVERIFY(QFile::exists(chat.folder() + "/build/made-by-bash.txt"));
        int granted = 0;
        for (const auto &m : chat.stored())
            granted += m->contentType == MessageContentType::permissionGranted;
        QCOMPARE(granted, 1);
        QVERIFY(!liveCard(*view));
        QVERIFY(test::timelineText(*view).contains("Allowed"));
    }

    void aQuestionIsAnsweredByClickingAnOption()
    {
        ChatViewHarness chat("ask_user_question.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        auto view = chat.makeView();
        view->show();
        view->setChat(chat.chatId());
        typeAndSend(*view, "Pick a colour");
        QTRY_VERIFY_WITH_TIMEOUT(view->questionCard()->isVisible(), kTurnTimeout);
        QuestionCard *card = view->questionCard();
        QCOMPARE(card->optionButtons().size(), 2);
        QCOMPARE(card->freeText()->placeholderText(), QStringLiteral("Type a custom answer..."));
        QVERIFY(!card->submitButton()->isEnabled());
        QTest::mouseClick(card->optionButtons().at(1), Qt::LeftButton);
        QVERIFY(card->submitButton()->isEnabled());
        QTest::mouseClick(card->submitButton(), Qt::LeftButton);
        QVERIFY(!view->questionCard()->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(isIdle(*view), kTurnTimeout);
        QVERIFY(chat.modelReceived("Blue"));
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(*view).contains("Blue it is."), 5000);
    }

    void aPlanIsApprovedOnItsCard()
    {
        ChatViewHarness chat("plan.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        auto view = chat.makeView();
        view->show();
        view->setChat(chat.chatId());
        typeAndSend(*view, "Add a button");
        QTRY_VERIFY_WITH_TIMEOUT(view->planCard()->isVisible() && view->planCard()->approveButton()->isVisible(), kTurnTimeout);
        const QString title = view->planCard()->findChild<QLabel *>()->text();
        QCOMPARE(title, QStringLiteral("Plan Ready for Review"));
        QTest::mouseClick(view->planCard()->approveButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(isIdle(*view), kTurnTimeout);
        QVERIFY(!view->planCard()->isVisible());
        QVERIFY(!chat.modelReceived("User rejected the plan"));
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(*view).contains("Plan answered."), 5000);
    }

    void theStopButtonPressedTwiceEndsTheAgent()
    {
        ChatViewHarness chat("slow_reply.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        auto view = chat.makeView();
        view->show();
        view->setChat(chat.chatId());
        typeAndSend(*view, "Take your time");
        QPushButton *button = view->input()->sendButton();
        QTRY_COMPARE_WITH_TIMEOUT(view->session()->activityState(), ChatActivityState::processing, kTurnTimeout);
        QCOMPARE(button->text(), QStringLiteral("Stop"));
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(button->text(), QStringLiteral("Send"));
        QTRY_VERIFY_WITH_TIMEOUT(test::timelineText(*view).contains("Stopped by user."), 5000);
        QVERIFY(!view->session()->adapter() || !view->session()->adapter()->isLaunched());
        bool noted = false;
        for (const auto &m : chat.stored())
            noted = noted || (m->role == MessageRole::system && m->content == "Stopped by user.");
        QVERIFY(noted);
    }

    void aChatWithNoViewAsksInAFloatingWindow()
    {
        ChatViewHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        FloatingPromptCoordinator coordinator(chat.sessions());
        const QUuid background = chat.addChat("Background chat");
        ChatSession *session = chat.sessions().session(background, "Background chat", chat.folder());
        chat.controller().bind(*session, ChatInputView::modelOrder(chat.settings()).first(), PermissionMode::ask);
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        QVERIFY(chat.controller().sendMessage(*session, "Make the marker", {}, sonnet, PermissionMode::ask).ok());
        QTRY_COMPARE_WITH_TIMEOUT(coordinator.windows().size(), 1, kTurnTimeout);
        FloatingPromptWindow *window = coordinator.windows().first();
        QVERIFY(window->isWindow() && window->isVisible());
        QCOMPARE(window->windowTitle(), QStringLiteral("Permission Required"));
        QStringList texts;
        for (QLabel *label : window->findChildren<QLabel *>())
            texts << label->text();
        QVERIFY2(texts.contains("Chat: Background chat"), qPrintable(texts.join('|')));
        QVERIFY(texts.contains("Claude needs permission to use this tool"));
        QVERIFY(texts.contains("Claude wants to use: Bash"));
        saveShot(*window, "floating-prompt.png");
        auto *card = window->findChild<PermissionCard *>();
        QVERIFY(card);
        QPointer<FloatingPromptWindow> guard(window);
        QTest::mouseClick(card->allowOnceButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!guard, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(session->activityState(), ChatActivityState::idle, kTurnTimeout);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(chat.folder() + "/build/made-by-bash.txt"), kTurnTimeout);
    }

    void aViewTakesOverTheFloatingPrompt()
    {
        ChatViewHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        FloatingPromptCoordinator coordinator(chat.sessions());
        ChatSession *session = chat.sessions().session(chat.chatId(), "Test chat", chat.folder());
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        chat.controller().bind(*session, sonnet, PermissionMode::ask);
        QVERIFY(chat.controller().sendMessage(*session, "Make the marker", {}, sonnet, PermissionMode::ask).ok());
        QTRY_COMPARE_WITH_TIMEOUT(coordinator.windows().size(), 1, kTurnTimeout);
        auto view = chat.makeView();
        QObject::connect(view.get(), &ChatView::chatAttached, &coordinator, &FloatingPromptCoordinator::closePromptsOf);
        view->show();
        view->setChat(chat.chatId());
        QTRY_COMPARE(coordinator.windows().size(), 0);
        QTRY_VERIFY(liveCard(*view)); // the open request is shown inline again
        QTest::mouseClick(liveCard(*view)->allowOnceButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!liveCard(*view), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(chat.folder() + "/build/made-by-bash.txt"), kTurnTimeout);
    }

    void screenshotsInBothAppearances_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }

    // A chat with Markdown, a tool group, an answered permission card and a plan waiting for
    // review, saved as chat-light.png and chat-dark.png.
    void screenshotsInBothAppearances()
    {
        QFETCH(bool, dark);
        applyAppearance(dark ? AppearanceMode::dark : AppearanceMode::light);
        ChatViewHarness chat(test::chatScenario("showcase.json"));
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        auto view = chat.makeView();
        view->resize(900, 1400);
        view->show();
        view->setChat(chat.chatId());
        view->input()->setPermissionMode(PermissionMode::acceptAll);
        typeAndSend(*view, "Build it and check the tree");
        QTRY_VERIFY_WITH_TIMEOUT(isIdle(*view) && test::timelineText(*view).contains("Both tools ran."), kTurnTimeout);
        view->input()->setPermissionMode(PermissionMode::ask);
        typeAndSend(*view, "Make the build folder, then plan the button");
        QTRY_VERIFY_WITH_TIMEOUT(liveCard(*view), kTurnTimeout);
        QTest::mouseClick(liveCard(*view)->allowOnceButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(view->planCard()->isVisible() && view->planCard()->approveButton()->isVisible(), kTurnTimeout);
        view->input()->textEdit()->setPlainText(QStringLiteral("Looks good"));
        QTRY_COMPARE_WITH_TIMEOUT(sharedHighlighter()->pendingCount(), 0, 10000);
        QTest::qWait(100);
        view->timelineModel().flush();
        const QString shown = test::timelineText(*view);
        QVERIFY2(shown.contains("2 tool calls: Bash, Write"), qPrintable(shown));
        saveShot(*view, dark ? "chat-dark.png" : "chat-light.png");
        QTest::mouseClick(view->planCard()->approveButton(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(isIdle(*view), kTurnTimeout);
        applyAppearance(AppearanceMode::light);
    }

    void openChatFollowsTextSizeAndHiddenModels()
    {
        ChatViewHarness chat(test::chatScenario("markdown_reply.json"));
        auto view = chat.makeView();
        view->show();
        const int before = view->timeline()->context().style.bodyFont().pixelSize();
        const int models = view->input()->modelPicker()->count();
        chat.settings().setTextSizeScale(1.5);
        QCOMPARE(view->timeline()->context().style.textScale, 1.5);
        QVERIFY(view->timeline()->context().style.bodyFont().pixelSize() >= before * 3 / 2);
        chat.settings().setModelHidden(QStringLiteral("codex:o3"), true);
        QCOMPARE(view->input()->modelPicker()->count(), models - 1);
        QCOMPARE(view->input()->modelPicker()->findData(QStringLiteral("codex:o3")), -1);
    }
};

QTEST_MAIN(ChatViewTest)
#include "tst_chat_view.moc"
