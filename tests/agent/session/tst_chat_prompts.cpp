// Permission prompts, questions and plans against the real claude: what the user answers reaches
// the agent, and the rows and activity state tell the same story afterwards.
#include "ClaudeChatHarness.h"

#include <QFile>
#include <QTimer>
#include <QJsonDocument>

using namespace corvane;
using test::ClaudeChatHarness;

namespace {

// Whether any request the model service received carries `text` (tool results, denials).
bool modelReceived(test::FakeModel &model, const QString &text)
{
    for (const QVariantMap &request : model.requests())
        if (QString::fromUtf8(QJsonDocument::fromVariant(request).toJson()).contains(text))
            return true;
    return false;
}

} // namespace

class ChatPromptsTest : public QObject
{
    Q_OBJECT

    // Starts a turn and waits until the session asks for a permission; the request.
    std::optional<AgentPermissionRequest> askedFor(ClaudeChatHarness &chat, const QString &text, PermissionMode mode)
    {
        QSignalSpy asked(&chat.session(), &ChatSession::permissionRequested);
        if (!chat.start(text, mode))
            return std::nullopt;
        if (!asked.wait(60000) && asked.isEmpty())
            return std::nullopt;
        return asked.at(0).at(1).value<AgentPermissionRequest>();
    }

private slots:
    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    // A keyboard answer goes to the oldest open request, whatever the ids, and the next one
    // after it; a plan waiting for review is left to its own card.
    void keyboardAnswersTakeTheOldestRequest()
    {
        test::TestEnvironment env;
        auto store = Store::open(env.path("Corvane.store")).value();
        ChatSession session(test::insertChat(*store, env.path("repo")), "Test chat", env.path("repo"), *store);
        AgentStreamDelegate &agent = session;
        const QStringList ids{"r5", "r1", "r9", "r3", "r7", "r2"};
        for (const QString &id : ids)
            agent.didRequestPermission(AgentPermissionRequest{id, "Bash", {{"command", "make " + id}}, "t-" + id, {}, {}, {}});
        QStringList answered;
        while (const auto oldest = session.oldestPendingRequest()) {
            answered << oldest->requestId;
            session.handlePermissionApproval(oldest->requestId, PermissionScope::once);
        }
        QCOMPARE(answered, ids);
    }

    void allowOnceRunsTheTool()
    {
        ClaudeChatHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        const auto request = askedFor(chat, "Make the marker", PermissionMode::ask);
        QVERIFY(request);
        QCOMPARE(chat.session().activityState(), ChatActivityState::waitingForPermission);
        const auto rows = chat.storedOfType(MessageContentType::permissionRequest);
        QCOMPARE(rows.size(), 1);
        QVERIFY(rows[0]->content.startsWith("Run command: mkdir -p build"));
        chat.session().handlePermissionApproval(request->requestId, PermissionScope::once);
        QVERIFY(chat.waitForTurn());
        QVERIFY(QFile::exists(chat.folder() + "/build/made-by-bash.txt"));
        QCOMPARE(chat.storedOfType(MessageContentType::permissionGranted).size(), 1);
        QVERIFY(!chat.session().isSessionApproved("Bash"));
    }

    void allowForSessionIsNotAskedAgain()
    {
        ClaudeChatHarness chat("permission_twice.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        const auto request = askedFor(chat, "first", PermissionMode::ask);
        QVERIFY(request);
        chat.session().handlePermissionApproval(request->requestId, PermissionScope::session);
        QVERIFY(chat.waitForTurn());
        QSignalSpy asked(&chat.session(), &ChatSession::permissionRequested);
        QVERIFY(chat.start("second", PermissionMode::ask));
        QVERIFY(chat.waitForTurn());
        QCOMPARE(asked.count(), 0);
        QVERIFY(QFile::exists(chat.folder() + "/two.txt"));
        QCOMPARE(chat.storedOfType(MessageContentType::permissionRequest).size()
                     + chat.storedOfType(MessageContentType::permissionGranted).size(),
                 1);
    }

    void denialReachesTheAgentWithItsNote()
    {
        ClaudeChatHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        const auto request = askedFor(chat, "Make the marker", PermissionMode::ask);
        QVERIFY(request);
        chat.session().handlePermissionDenial(request->requestId);
        QVERIFY(chat.waitForTurn());
        QVERIFY(!QFile::exists(chat.folder() + "/build/made-by-bash.txt"));
        QVERIFY(chat.systemTexts().contains("Permission denied for Bash"));
        QCOMPARE(chat.storedOfType(MessageContentType::permissionDenied).size(), 1);
        QVERIFY(modelReceived(chat.model(), "User denied"));
    }

    void anInterruptWithdrawsTheOpenRequest()
    {
        ClaudeChatHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QVERIFY(askedFor(chat, "Make the marker", PermissionMode::ask));
        chat.session().adapter()->interrupt();
        QVERIFY(!chat.waitForTurn(15000) || true); // a stop ends the turn quietly either way
        QTRY_COMPARE_WITH_TIMEOUT(chat.session().activityState(), ChatActivityState::idle, 15000);
        QVERIFY(chat.session().pendingRequests().isEmpty());
        QCOMPARE(chat.storedOfType(MessageContentType::permissionRequest).size(), 0);
        QCOMPARE(chat.storedOfType(MessageContentType::permissionDenied).size(), 1);
    }

    void protectedPathsAskInEveryMode_data()
    {
        QTest::addColumn<PermissionMode>("mode");
        QTest::addColumn<bool>("asks");
        QTest::newRow("ask") << PermissionMode::ask << true;
        QTest::newRow("accept edits lets a Write through") << PermissionMode::acceptEdits << false;
        QTest::newRow("bypass still asks for .vscode") << PermissionMode::acceptAll << true;
    }

    void protectedPathsAskInEveryMode()
    {
        QFETCH(PermissionMode, mode);
        QFETCH(bool, asks);
        ClaudeChatHarness chat("protected_write.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        int asked = 0;
        QObject::connect(&chat.session(), &ChatSession::permissionRequested, &chat.session(),
                         [&](const QUuid &, const AgentPermissionRequest &request) {
                             ++asked;
                             QTimer::singleShot(0, &chat.session(), [&chat, id = request.requestId] {
                                 chat.session().handlePermissionDenial(id);
                             });
                         });
        QVERIFY(chat.start("Write the settings", mode));
        QVERIFY(chat.waitForTurn());
        QCOMPARE(asked > 0, asks);
        QCOMPARE(QFile::exists(chat.folder() + "/.vscode/settings.json"), !asks);
    }

    void aQuestionIsAnsweredByItsOption()
    {
        ClaudeChatHarness chat("ask_user_question.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QSignalSpy asked(&chat.session(), &ChatSession::questionAsked);
        QVERIFY(chat.start("Pick a colour", PermissionMode::ask));
        QVERIFY(asked.wait(60000));
        QVERIFY(chat.session().pendingQuestion());
        QCOMPARE(chat.session().pendingQuestion()->first().options.size(), 2);
        chat.session().handleQuestionAnswer("Blue");
        QVERIFY(chat.waitForTurn());
        QVERIFY(modelReceived(chat.model(), "Blue"));
        QVERIFY(!chat.session().pendingQuestion());
    }

    void aDismissedQuestionLeavesTheChatIdle()
    {
        ClaudeChatHarness chat("ask_user_question.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QSignalSpy asked(&chat.session(), &ChatSession::questionAsked);
        QVERIFY(chat.start("Pick a colour", PermissionMode::ask));
        QVERIFY(asked.wait(60000));
        chat.session().handleQuestionCancel();
        QCOMPARE(chat.session().activityState(), ChatActivityState::idle);
        QVERIFY(chat.waitForTurn());
        QVERIFY(modelReceived(chat.model(), "User dismissed the question"));
        QVERIFY(chat.systemTexts().contains(
            "Question dismissed. Claude may not have the information it needs to proceed."));
    }

    void aPlanIsShownForApproval_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QString>("planLine");
        QTest::addColumn<bool>("approve");
        QTest::newRow("plan file, approved") << "plan.json" << "Add the button" << true;
        QTest::newRow("plan file, rejected") << "plan.json" << "Add the button" << false;
        QTest::newRow("plan only in the request, approved") << "plan_in_input.json" << "Move the field" << true;
    }

    void aPlanIsShownForApproval()
    {
        QFETCH(QString, scenario);
        QFETCH(QString, planLine);
        QFETCH(bool, approve);
        ClaudeChatHarness chat(scenario);
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QSignalSpy review(&chat.session(), &ChatSession::planApprovalRequested);
        QVERIFY(chat.start("Add a button", PermissionMode::ask));
        QVERIFY(review.wait(60000));
        const PlanState &plan = chat.session().planState();
        QVERIFY(plan.isActive && plan.isAwaitingApproval);
        QVERIFY2(plan.shownText().contains(planLine), qPrintable(plan.shownText()));
        for (const auto &m : chat.stored()) // the planning tools leave no rows
            QVERIFY2(m->toolName != "EnterPlanMode" && m->toolName != "ExitPlanMode", qPrintable(m->content));
        if (approve)
            chat.session().handlePlanApproval();
        else
            chat.session().handlePlanRejection();
        QVERIFY(chat.session().pendingRequests().isEmpty());
        QVERIFY(chat.waitForTurn());
        QCOMPARE(modelReceived(chat.model(), "User rejected the plan"), !approve);
        QVERIFY(!chat.session().planState().isActive); // a plan never outlives its turn
        // What was approved stays in the chat.
        const auto planRows = chat.storedOfType(MessageContentType::planCard);
        QCOMPARE(planRows.size(), approve ? 1 : 0);
        if (approve)
            QVERIFY2(planRows.first()->content.contains(planLine), qPrintable(planRows.first()->content));
    }

    void aModeSwitchApprovesAnOpenEdit()
    {
        ClaudeChatHarness chat("permission.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QVERIFY(askedFor(chat, "Write it", PermissionMode::ask));
        chat.session().adapter()->setPermissionMode(PermissionMode::acceptEdits);
        chat.session().permissionModeDidChange(PermissionMode::acceptEdits);
        QVERIFY(chat.session().pendingRequests().isEmpty());
        QVERIFY(chat.waitForTurn());
        QVERIFY(QFile::exists(chat.folder() + "/permitted.txt"));
        QVERIFY(!chat.session().isSessionApproved("Write"));
    }
    void aPromptLeftOpenAtQuitIsExplainedAtTheNextStart()
    {
        ClaudeChatHarness chat("permission_bash.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        QVERIFY(askedFor(chat, "Make the marker", PermissionMode::ask));
        chat.session().cleanup(); // the application quits with the request open
        ChatSession next(chat.chatId(), "Test chat", chat.folder(), chat.store());
        chat.controller().bind(next, *AgentModelCatalogue::byId("claude:claude-sonnet-4-6"), PermissionMode::ask);
        QCOMPARE(chat.storedOfType(MessageContentType::permissionRequest).size(), 0);
        QCOMPARE(chat.storedOfType(MessageContentType::permissionDenied).size(), 1);
        const QStringList notes = chat.systemTexts();
        QVERIFY2(!notes.isEmpty() && notes.last().contains("waiting for permission to use Bash"), qPrintable(notes.join('|')));
        next.cleanup();
    }
};

QTEST_GUILESS_MAIN(ChatPromptsTest)
#include "tst_chat_prompts.moc"
