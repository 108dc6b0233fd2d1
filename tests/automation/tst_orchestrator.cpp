// The automation run's state machine on a real store and real gates (/bin/sh): the iteration
// and the prompt each outcome leads to, the caps, verdicts, the user's changes, and a restart.
#include "automation/AutomatedAgentOrchestrator.h"

#include "core/NotificationCenter.h"
#include "core/records/AutomationIteration.h"
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

// Records what the orchestrator asks of the coordinator's chat.
struct RecordingBridge : AutomationCoordinatorBridge
{
    QStringList sent;
    QList<QUuid> registered;
    QList<QUuid> unregistered;
    void send(const QString &text, const QUuid &) override { sent << text; }
    void registerRun(const AutomationRun &run) override { registered << run.id; }
    void unregister(const QUuid &chatId) override { unregistered << chatId; }
};

QualityGate gate(const QString &name, const QString &command)
{
    QualityGate g;
    g.name = name;
    g.command = command;
    g.feedbackTemplate = QStringLiteral("{name} failed ({exitCode}): {output}");
    return g;
}

} // namespace

class OrchestratorTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    std::unique_ptr<NotificationCenter> m_center;
    std::unique_ptr<AutomatedAgentOrchestrator> m_orchestrator;
    RecordingBridge m_bridge;
    test::InsertedPlace m_place;

    StoreContext &ctx() { return m_store->mainContext(); }

    std::shared_ptr<AutomationRun> start(bool skipReview = false, const QString &prompt = "Go")
    {
        const QString name = skipReview ? "quick" : "full";
        auto flow = m_orchestrator->flowNamed(name);
        if (!flow) {
            AutomationFlow made;
            made.name = name;
            made.coordinatorPrompt = "# Coordinator";
            made.skipReviewPhase = skipReview;
            made.filePath = m_env->path(name + ".md");
            made.permissionModeRaw = "acceptAll";
            flow = ctx().insert(made);
        }
        return m_orchestrator->startRun(std::nullopt, ctx().get<Workspace>(m_place.workspaceId), ctx().get<Chat>(m_place.chatId),
                                        *flow, 0, prompt);
    }

    void validate(const std::shared_ptr<AutomationRun> &run, const QList<QualityGate> &gates)
    {
        bool done = false;
        m_orchestrator->validate(run, gates, m_env->root(), [&done] { done = true; });
        QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    }

    QStringList iterations(const AutomationRun &run)
    {
        QStringList out;
        for (const auto &i : ctx().fetchOrEmpty<AutomationIteration>(Query(where::eq("runId", run.id)).orderBy("number")))
            out << QStringLiteral("%1 %2 %3").arg(i->number).arg(i->triggerReasonRaw, i->triggerNote.value_or("-"));
        return out;
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_store = Store::open(m_env->path("runs.store")).value();
        m_center = std::make_unique<NotificationCenter>();
        m_orchestrator = std::make_unique<AutomatedAgentOrchestrator>(ctx(), *m_center);
        m_orchestrator->setBridge(&m_bridge);
        m_bridge = {};
        m_place = test::insertPlace(ctx(), m_env->path("repo"), "Coordinator");
    }
    void cleanup()
    {
        m_orchestrator.reset();
        m_store.reset();
        m_env.reset();
    }

    void triggerReasons_data()
    {
        QTest::addColumn<QString>("gate");
        QTest::addColumn<QString>("reason");
        QTest::newRow("tests") << "Unit Tests" << "testsFailed";
        QTest::newRow("build before test") << "Rebuild tests" << "buildFailed";
        QTest::newRow("lint") << "Run lint" << "lintFailed";
        QTest::newRow("anything else") << "format" << "gateFailed";
    }

    void triggerReasons()
    {
        QFETCH(QString, gate);
        QFETCH(QString, reason);
        QCOMPARE(toRaw(automation::triggerReasonForGate(gate)), reason);
    }

    void startingWritesTheRunAndPromptsTheCoordinator()
    {
        const auto run = start();
        QVERIFY(!ctx().hasChanges()); // saved
        QCOMPARE(run->statusRaw, QStringLiteral("planning"));
        QCOMPARE(iterations(*run), QStringList{"1 initial -"});
        QVERIFY(ctx().get<Chat>(m_place.chatId)->isCoordinator());
        QCOMPARE(ctx().get<Workspace>(m_place.workspaceId)->automationStatusRaw, std::optional<QString>("planning"));
        QCOMPARE(m_bridge.sent, QStringList{"Go"});
        QCOMPARE(m_bridge.registered, QList<QUuid>{run->id});
        QCOMPARE(m_orchestrator->flowPermissionMode(m_place.workspaceId), std::optional(PermissionMode::acceptAll));
    }

    void aFailedGateSendsItsFeedbackAsTheNextIteration()
    {
        const auto run = start();
        validate(run, {gate("build", "true"), gate("Unit Tests", "echo 1 failure; exit 1")});
        QCOMPARE(run->statusRaw, QStringLiteral("implementing"));
        QCOMPARE(iterations(*run), (QStringList{"1 initial -", "2 testsFailed Unit Tests"}));
        QCOMPARE(m_bridge.sent.last(), QStringLiteral("Unit Tests failed (1): 1 failure\n"));
        // Passing gates in a reviewing flow: the coordinator is asked for the reviewer's verdict.
        validate(run, {gate("build", "true")});
        QCOMPARE(run->statusRaw, QStringLiteral("reviewing"));
        QVERIFY(m_bridge.sent.last().contains("[CORVANE:REVIEW_VERDICT=approved]"));
        m_orchestrator->applyReviewVerdict(run, ReviewVerdict::needsChanges, QString("rename it"));
        QCOMPARE(m_bridge.sent.last(), QStringLiteral("rename it"));
        QCOMPARE(iterations(*run).last(), QStringLiteral("3 reviewNeedsChanges review"));
        m_orchestrator->applyReviewVerdict(run, ReviewVerdict::approved, std::nullopt);
        QCOMPARE(run->statusRaw, QStringLiteral("awaitingUserReview"));
        QCOMPARE(run->currentPhaseRaw, QStringLiteral("awaitingReview"));
        QVERIFY(!run->finishedAt);
        m_orchestrator->finish(run, AutomationRunStatus::done);
        QCOMPARE(m_bridge.unregistered, QList<QUuid>{m_place.chatId});
        QCOMPARE(ctx().get<Workspace>(m_place.workspaceId)->automationStatusRaw, std::optional<QString>("done"));
    }

    void aFlowWithoutReviewWaitsForTheUser()
    {
        const auto run = start(true);
        validate(run, {});
        QCOMPARE(run->statusRaw, QStringLiteral("awaitingUserReview"));
        QCOMPARE(m_bridge.sent, QStringList{"Go"});
    }

    void aFlowDeletedDuringTheRunCountsAsReviewing()
    {
        // The run names a flow whose file went away meanwhile: no permission mode of its own,
        // and passing gates lead to the reviewer as for any flow.
        const auto run = start(true);
        QCOMPARE(m_orchestrator->flowPermissionMode(m_place.workspaceId), std::optional(PermissionMode::acceptAll));
        ctx().remove(m_orchestrator->flowNamed("quick"));
        QVERIFY(ctx().save());
        QCOMPARE(m_orchestrator->flowPermissionMode(m_place.workspaceId), std::nullopt);
        validate(run, {gate("check", "true")});
        QCOMPARE(run->statusRaw, QStringLiteral("reviewing"));
    }

    void aGateThatAlwaysFailsBlocksAtTheIterationCap()
    {
        const auto run = start();
        for (int pass = 1; pass <= 7; ++pass)
            validate(run, {gate("check", "exit 2")});
        QCOMPARE(run->iterationCount, 8);
        QCOMPARE(run->statusRaw, QStringLiteral("implementing"));
        validate(run, {gate("check", "exit 2")});
        QCOMPARE(run->statusRaw, QStringLiteral("blocked"));
        QCOMPARE(run->currentPhaseRaw, QStringLiteral("validating")); // where it stopped
        QCOMPARE(*run->failureReason, QStringLiteral("Gate 'check' failed and the run hit its iteration/token/cost cap."));
        QVERIFY(run->finishedAt);
        QVERIFY(!m_orchestrator->isActive(run->id));
    }

    void rejectedFailsAndAMissingTemplateBlocks()
    {
        auto run = start();
        m_orchestrator->applyReviewVerdict(run, ReviewVerdict::rejected, QString());
        QCOMPARE(run->statusRaw, QStringLiteral("failed"));
        QCOMPARE(run->failureReason, std::optional<QString>(QString())); // an empty block stays empty
        m_place = test::insertPlace(ctx(), m_env->path("repo2"), "Coordinator");
        run = start();
        QualityGate silent = gate("check", "exit 1");
        silent.feedbackTemplate.clear();
        validate(run, {silent});
        QCOMPARE(run->statusRaw, QStringLiteral("implementing")); // an empty template is still feedback
        m_bridge.sent.clear();
        m_orchestrator->applyReviewVerdict(run, ReviewVerdict::needsChanges, std::nullopt);
        QCOMPARE(m_bridge.sent, QStringList{"Reviewer requested changes."});
    }

    void theUsersChangesBecomeThePrompt()
    {
        const auto run = start(true);
        validate(run, {});
        m_orchestrator->userRequestedChanges(run, QString("  \n "));
        QCOMPARE(m_bridge.sent.last(), QStringLiteral(
            "# Automation: user feedback (iteration 2)\n\nThe user reviewed the last pass and requested changes. Address the\n"
            "feedback below, apply the necessary edits, and continue iterating.\n\n## Feedback\nUser requested changes.\n\n"
            "## Protocol reminder\nWhen you are done with this iteration and want quality gates to run,\nemit on its own line:\n\n"
            "    [CORVANE:READY_FOR_VALIDATION]"));
        QCOMPARE(iterations(*run).last(), QStringLiteral("2 userFeedback user"));
        QCOMPARE(run->statusRaw, QStringLiteral("implementing"));
    }

    void capsOnTokensCostAndTime()
    {
        const auto run = start();
        m_orchestrator->addTurnUsage(run, 1999999, 1.5);
        QVERIFY(!m_orchestrator->capsExceeded(*run));
        m_orchestrator->addTurnUsage(run, 1, 0);
        QVERIFY(m_orchestrator->capsExceeded(*run));
        QCOMPARE(ctx().get<AutomationRun>(run->id)->cumulativeTokens, 2000000);

        // A restart keeps the run's start: an hour spent closed counts against it.
        const auto second = start();
        second->startedAt = QDateTime::currentDateTime().addSecs(-3599);
        QVERIFY(ctx().save());
        AutomatedAgentOrchestrator restarted(ctx(), *m_center);
        restarted.restoreActiveRuns();
        QVERIFY(restarted.isActive(second->id));
        QVERIFY(!restarted.capsExceeded(*second));
        restarted.setClock([] { return QDateTime::currentDateTime().addSecs(2); });
        QVERIFY(restarted.capsExceeded(*second));
    }
};

QTEST_GUILESS_MAIN(OrchestratorTest)
#include "tst_orchestrator.moc"
