// A whole automation run against the real claude, the scripted model playing the coordinator:
// its first READY meets a failing gate, the fixed pass passes, the reviewer asks for a change
// through a fenced block, the third pass is approved, and the run waits for the user; what the
// user then types into the coordinator chat is a request for changes, driving a fourth pass.
#include "agent/claude/ClaudeSDKService.h"
#include "agent/runtime/ToolLocator.h"
#include "agent/session/ChatController.h"
#include "agent/session/SessionManager.h"
#include "automation/CoordinatorBridge.h"
#include "automation/RunLaunch.h"
#include "core/NotificationCenter.h"
#include "core/records/AutomationIteration.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/GateResult.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "support/FakeModel.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QJsonDocument>
#include <QTest>

using namespace corvane;

class CoordinatorRunTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
    }

    void aRunIteratesUntilTheReviewerApproves()
    {
        test::TestEnvironment env;
        const QString repo = env.path("repo");
        QDir().mkpath(repo);
        test::FakeModel model(qEnvironmentVariable("CORVANE_SOURCE_DIR") + "/tests/automation/scenarios/coordinator_run.json",
                              {"WORKDIR=" + repo});
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        auto store = Store::open(env.path("run.store")).value();
        StoreContext &ctx = store->mainContext();
        NotificationCenter center;
        SessionManager sessions(*store, center);
        ChatController controller([&model](AgentType) {
            auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, test::FakeModel::claudePath()));
            adapter->setExtraEnvironment(model.claudeEnvironment());
            return adapter;
        });
        AutomatedAgentOrchestrator orchestrator(ctx, center);
        CoordinatorBridge bridge(sessions, controller, ctx, orchestrator);

        const auto place = test::insertPlace(ctx, repo, "Coordinator");
        AutomationFlow flow;
        flow.name = "build-and-test";
        flow.filePath = env.path("build-and-test.md");
        flow.permissionModeRaw = "acceptAll";
        ctx.insert(flow);
        QualityGate tests; // fails on its first run, passes after
        tests.projectId = place.projectId;
        tests.name = "tests";
        tests.command = "n=$(cat .gate-count 2>/dev/null || echo 0); n=$((n+1)); echo $n > .gate-count; echo \"run $n\"; [ $n -ge 2 ]";
        tests.feedbackTemplate = "The gate \"{name}\" failed ({exitCode}):\n{output}";
        ctx.insert(tests);
        QVERIFY(ctx.save());

        const auto run = orchestrator.startRun(std::nullopt, ctx.get<Workspace>(place.workspaceId), ctx.get<Chat>(place.chatId),
                                               flow, 0, runlaunch::launchPrompt(flow.name, {"Add a parser", {}}, false));
        QTRY_COMPARE_WITH_TIMEOUT(run->statusRaw, QStringLiteral("awaitingUserReview"), 120000);

        QStringList iterations;
        for (const auto &i : ctx.fetchOrEmpty<AutomationIteration>(Query(where::eq("runId", run->id)).orderBy("number")))
            iterations << QStringLiteral("%1 %2").arg(i->number).arg(i->triggerReasonRaw);
        QCOMPARE(iterations, (QStringList{"1 initial", "2 testsFailed", "3 reviewNeedsChanges"}));
        QStringList gates;
        for (const auto &r : ctx.fetchOrEmpty<GateResult>(Query(where::eq("runId", run->id)).orderBy("ranAt")))
            gates << QStringLiteral("%1 %2 %3").arg(r->iterationNumber).arg(r->passed ? "pass" : "fail").arg(r->exitCode);
        QCOMPARE(gates, (QStringList{"1 fail 1", "2 pass 0", "3 pass 0"}));
        QCOMPARE(run->reviewVerdictRaw, std::optional<QString>("approved"));
        QVERIFY(run->cumulativeTokens > 0);

        // The model received the filled template and the reviewer's fenced feedback.
        QString sent;
        for (const QVariantMap &request : model.requests())
            sent += QString::fromUtf8(QJsonDocument::fromVariant(request).toJson());
        QVERIFY(sent.contains("The gate \\\"tests\\\" failed (1):\\nrun 1"));
        QVERIFY(sent.contains("- rename the helper"));

        // Typed into the chat while the run waits: stored as the user's message, not sent as it
        // stands, but carried to the coordinator as the user-feedback prompt of iteration 4.
        ChatSession *session = sessions.existingSession(place.chatId);
        QVERIFY(session);
        const auto claudeModel = AgentModelCatalogue::forAgentType(AgentType::claudeCode).value(0);
        QVERIFY(controller.sendMessage(*session, "  Please document the parser\n", {}, claudeModel, PermissionMode::acceptAll));
        QCOMPARE(run->statusRaw, QStringLiteral("implementing"));
        QTRY_COMPARE_WITH_TIMEOUT(run->statusRaw, QStringLiteral("awaitingUserReview"), 60000);
        const auto fourth = ctx.fetchFirst<AutomationIteration>(Query(where::eq("runId", run->id)).orderBy("number", false));
        QVERIFY(fourth);
        QCOMPARE(fourth.value()->number, 4);
        QCOMPARE(fourth.value()->triggerReasonRaw, QStringLiteral("userFeedback"));
        QCOMPARE(fourth.value()->triggerNote, std::optional<QString>("user"));
        const auto typed = ctx.fetchOrEmpty<Message>(Query(where::eq("chatId", place.chatId) && where::eq("content", QStringLiteral("  Please document the parser\n"))));
        QCOMPARE(typed.size(), 1);
        sent.clear();
        for (const QVariantMap &request : model.requests())
            sent += QString::fromUtf8(QJsonDocument::fromVariant(request).toJson());
        QVERIFY(sent.contains("# Automation: user feedback (iteration 4)"));
        QVERIFY(sent.contains("## Feedback\\nPlease document the parser\\n\\n## Protocol reminder"));

        orchestrator.finish(run, AutomationRunStatus::done);
        QCOMPARE(ctx.get<Workspace>(place.workspaceId)->automationStatusRaw, std::optional<QString>("done"));
        QVERIFY(!bridge.isRegistered(place.chatId));
        sessions.shutdown();
        QTest::qWait(500);
    }
};

QTEST_GUILESS_MAIN(CoordinatorRunTest)
#include "tst_coordinator_run.moc"
