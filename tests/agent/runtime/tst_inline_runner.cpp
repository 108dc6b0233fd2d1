// Texts a model writes outside any chat: the clean-up and parsing of answers, the choice of
// agent and model, and the real claude run once per prompt against the scripted stand-in for
// its model service (an answer, a time-out, a missing tool).
#include "agent/inline/InlineAgentRunner.h"
#include "agent/inline/TextGenerators.h"
#include "core/records/Profile.h"
#include "support/FakeModel.h"

#include <QDir>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

ToolLocation pinnedClaude(AgentTool tool)
{
    ToolLocation location;
    location.tool = tool;
    if (tool == AgentTool::claude && !test::FakeModel::claudePath().isEmpty())
        location.path = test::FakeModel::claudePath();
    return location;
}

// Runs `request` and waits for its one outcome.
InlineAgentRunner::Outcome runToEnd(InlineAgentRunner &runner, const InlineRequest &request)
{
    std::optional<InlineAgentRunner::Outcome> outcome;
    runner.run(request, [&outcome](InlineAgentRunner::Outcome o) { outcome = std::move(o); });
    if (!QTest::qWaitFor([&outcome] { return outcome.has_value(); }, 60000))
        qWarning("the run gave no outcome in 60 s");
    return outcome.value_or(RunnerError::emptyOutput(AgentTool::claude));
}

} // namespace

class InlineRunnerTest : public QObject
{
    Q_OBJECT

private slots:
    void commitTitles_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("title");
        QTest::newRow("quoted, with more lines") << "\"fix: keep the caret\"\nBecause..." << "fix: keep the caret";
        QTest::newRow("single quotes and blanks") << "  'feat(ui): add labels'  " << "feat(ui): add labels";
        QTest::newRow("72 characters stay") << QString(72, 'a') << QString(72, 'a');
        QTest::newRow("73 are cut") << QString(73, 'a') << QString(69, 'a') + "...";
    }

    void commitTitles()
    {
        QFETCH(QString, answer);
        QFETCH(QString, title);
        QCOMPARE(generators::cleanCommitTitle(answer), title);
    }

    void pullRequestAnswers()
    {
        using generators::PullRequestText;
        QCOMPARE(generators::parsePullRequestStrict("Sure!\nTITLE: \"feat: labels\"\nBODY: ignored\n## Summary\n- a\n"),
                 std::optional(PullRequestText{"feat: labels", "## Summary\n- a"}));
        QCOMPARE(generators::parsePullRequestStrict("TITLE: feat: x\n"), std::optional(PullRequestText{"feat: x", generators::defaultPullRequestBody()}));
        QCOMPARE(generators::parsePullRequestStrict("TITLE:   \nBODY:\ntext"), std::nullopt);
        QCOMPARE(generators::parsePullRequestLenient("# **Add labels**\n\nBody text\n"), (PullRequestText{"Add labels", "Body text"}));
        QCOMPARE(generators::parsePullRequestLenient(""), (PullRequestText{"Pull Request", generators::defaultPullRequestBody()}));
        const QString prompt = generators::pullRequestPrompt({"feature/x", "origin/main", "abc First", "1 file", "diff"}, true);
        QVERIFY(prompt.startsWith("Please generate a pull request title and description"));
        QVERIFY(prompt.contains("Branch: feature/x \u2192 origin/main\n\nCRITICAL FORMAT REQUIREMENT"));
        QVERIFY(prompt.endsWith("Commits:\nabc First\n\nDiff stats:\n1 file\n\nDiff:\ndiff"));
    }

    void chatTitlesByRule_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("title");
        QTest::newRow("short") << "fix the build" << "fix the build";
        QTest::newRow("five words") << "  please\tfix the failing build " << "please fix the failing...";
        QTest::newRow("empty") << " \t " << "New Chat";
        QTest::newRow("long words") << QString(60, 'x') << QString(47, 'x') + "...";
    }

    void chatTitlesByRule()
    {
        QFETCH(QString, message);
        QFETCH(QString, title);
        QCOMPARE(generators::simpleChatTitle(message), title);
    }

    void theAgentAndModel()
    {
        QCOMPARE(resolveInlineModel(nullptr).modelId, QStringLiteral("claude-sonnet-4-5-20250929"));
        Profile codexOnly;
        codexOnly.codexLastLoginAt = QDateTime::currentDateTime();
        QCOMPARE(resolveInlineModel(&codexOnly).agent, AgentTool::codex);
        QCOMPARE(resolveInlineModel(&codexOnly).modelId, QStringLiteral("gpt-5.5"));
        // A chosen model of an agent the profile is not signed in to is passed over.
        codexOnly.commitMessageModelId = QStringLiteral("claude:claude-sonnet-4-6");
        QCOMPARE(resolveInlineModel(&codexOnly).agent, AgentTool::codex);
        const QByteArray codexLines = "{\"type\":\"item.completed\",\"item\":{\"type\":\"agent_message\",\"text\":\"first\"}}\n"
                                      "not json\n"
                                      "{\"type\":\"item.completed\",\"item\":{\"type\":\"reasoning\",\"text\":\"hmm\"}}\n"
                                      "{\"type\":\"item.completed\",\"item\":{\"type\":\"agent_message\",\"text\":\"fix: last\"}}\n";
        QCOMPARE(InlineAgentRunner::lastAgentMessage(codexLines), QStringLiteral("fix: last"));
        QCOMPARE(RunnerError::timeout(AgentTool::codex, 90).description(), QStringLiteral("codex timed out after 90s."));
        QCOMPARE(RunnerError::nonZeroExit(AgentTool::claude, 2, {}).description(), QStringLiteral("claude exited with status 2"));
    }

    void aCommitTitleFromTheRealClaude()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::FakeModel model("commit_title.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess();
        InlineAgentRunner runner(pinnedClaude);
        std::optional<Result<QString>> title;
        generators::generateCommitTitle(runner, "diff --git a/notes.txt b/notes.txt\n+one\n", QDir::tempPath(), nullptr,
                                        [&title](Result<QString> r) { title = std::move(r); });
        QTRY_VERIFY_WITH_TIMEOUT(title.has_value(), 60000);
        QVERIFY2(title->ok(), title->ok() ? "" : qPrintable(title->error().message));
        QCOMPARE(title->value(), QStringLiteral("feat(notes): add the notes file"));
        bool sawPrompt = false;
        for (const QVariantMap &request : model.requests()) {
            const QString body = QString::fromUtf8(QJsonDocument::fromVariant(request).toJson());
            sawPrompt = sawPrompt || (body.contains("Based on the following git diff") && body.contains("+one"));
        }
        QVERIFY(sawPrompt);

        // Nothing to describe: no agent is started.
        std::optional<Result<QString>> empty;
        generators::generateCommitTitle(runner, "  \n", QDir::tempPath(), nullptr, [&empty](Result<QString> r) { empty = std::move(r); });
        QVERIFY(empty && !empty->ok());
        QCOMPARE(empty->error().message, QStringLiteral("No changes to generate title from"));
    }

    void aRunPastItsTimeIsEnded()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::FakeModel model("slow_reply.json", {"DELAY=20"});
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        model.exportToThisProcess();
        InlineAgentRunner runner(pinnedClaude);
        const auto outcome = runToEnd(runner, InlineRequest{"hello", QDir::tempPath(), nullptr, {}, 2});
        const auto *error = std::get_if<RunnerError>(&outcome);
        QVERIFY(error);
        QCOMPARE(error->description(), QStringLiteral("claude timed out after 2s."));
        QVERIFY(!runner.isRunning());
    }

    void aMissingTool()
    {
        InlineAgentRunner runner([](AgentTool tool) {
            ToolLocation nowhere;
            nowhere.tool = tool;
            return nowhere;
        });
        const auto outcome = runToEnd(runner, InlineRequest{"hello", QDir::tempPath(), nullptr, {}, 60});
        QCOMPARE(std::get<RunnerError>(outcome).description(), QStringLiteral("Couldn't find the claude CLI on PATH."));
    }
};

QTEST_GUILESS_MAIN(InlineRunnerTest)
#include "tst_inline_runner.moc"
