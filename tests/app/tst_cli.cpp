// corvane-cli as a script would use it: separate processes on one store, the real claude
// behind it talking to the scripted model stand-in.
#include "core/Paths.h"
#include "core/records/AutomationRun.h"
#include "core/records/Chat.h"
#include "core/records/Issue.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "planning/SkillsService.h"
#include "support/FakeCodexModel.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

} // namespace

class CliTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;

    Run cli(const QStringList &args, const QProcessEnvironment &extra = {}, const QByteArray &input = {})
    {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString &key : extra.keys())
            env.insert(key, extra.value(key));
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(CORVANE_CLI_PATH), args);
        process.write(input);
        process.closeWriteChannel();
        Run run;
        if (!process.waitForFinished(120000)) {
            process.kill();
            process.waitForFinished();
        }
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        run.out = process.readAllStandardOutput();
        run.err = process.readAllStandardError();
        return run;
    }

    static QString scenario(const QString &name)
    {
        return qEnvironmentVariable("CORVANE_SOURCE_DIR") + "/tests/automation/scenarios/" + name;
    }

    // A new issue in `repo` with one gate "tests" running `gate`; returns the issue's id.
    QString issueWithGate(const QString &repo, const QString &gate, const QString &title = "Add a parser")
    {
        QDir().mkpath(repo);
        const Run made = cli({"issue", "new", "--project", repo, "--title", title});
        if (!made.err.startsWith("issue "))
            qFatal("issue new: %s", made.err.constData());
        const Run added = cli({"gate", "add", "--project", repo, "--name", "tests", "--command", gate, "--feedback",
                               "{name} failed ({exitCode}): {output}"});
        if (added.exitCode != 0)
            qFatal("gate add: %s", added.err.constData());
        return QString::fromUtf8(made.err.trimmed().mid(6));
    }

    // `run start` against the stand-in: the run's id (from "run <UUID>") and what it printed.
    std::pair<QString, Run> startRun(const test::FakeModel &model, const QStringList &args)
    {
        const Run run = cli(QStringList{"run", "start"} + args + QStringList{"--claude", test::FakeModel::claudePath()},
                            model.claudeEnvironment());
        return {run.err.startsWith("run ") ? QString::fromUtf8(run.err.split('\n').first().mid(4)).trimmed() : QString(), run};
    }

    QJsonObject showRun(const QString &id) { return QJsonDocument::fromJson(cli({"run", "show", "--run", id}).out).object(); }

    static bool received(const test::FakeModel &model, const QByteArray &text)
    {
        for (const QVariantMap &request : model.requests())
            if (QJsonDocument::fromVariant(request).toJson(QJsonDocument::Compact).contains(text))
                return true;
        return false;
    }

private slots:
    void init() { m_env = std::make_unique<test::TestEnvironment>(); }
    void cleanup() { m_env.reset(); }

    void badInputGetsAClearMessage_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("no command") << QStringList() << "Usage: corvane-cli";
        QTest::newRow("unknown command") << QStringList{"frobnicate"} << "unknown command \"frobnicate\"";
        QTest::newRow("send without text") << QStringList{"send", "--project", "/tmp"} << "nothing to send";
        QTest::newRow("send to a missing folder") << QStringList{"send", "--project", "/no/such/folder", "hi"} << "is not a folder";
        QTest::newRow("unknown mode") << QStringList{"send", "--project", "/tmp", "--mode", "yolo", "hi"} << "unknown --mode";
        QTest::newRow("unknown answer policy") << QStringList{"send", "--project", "/tmp", "--on-permission", "maybe", "hi"}
                                               << "--on-permission is ask, allow, deny or allow-session";
        QTest::newRow("attachment of an unknown type") << QStringList{"send", "--project", "/tmp", "--attach", "/etc/hostname", "hi"}
                                                       << "This file type is not supported. Use PNG, JPEG, GIF, WebP, or PDF.";
        QTest::newRow("messages of a bad id") << QStringList{"messages", "--chat", "nope"} << "is not a chat id";
        QTest::newRow("flows of a missing folder") << QStringList{"flows", "--project", "/no/such/folder"} << "is not a folder";
        QTest::newRow("skill restore without a version") << QStringList{"skill", "restore", "--file", "/tmp/x.md"}
                                                         << "usage: corvane-cli skill history --file PATH";
        QTest::newRow("skill restore to version zero")
            << QStringList{"skill", "restore", "--file", "/tmp/x.md", "--version", "0"} << "\"0\" is not a version number";
        QTest::newRow("skill history of no skill") << QStringList{"skill", "history", "--file", "/tmp/none.md"}
                                                   << "no skill or command at /tmp/none.md";
        QTest::newRow("gate without a command") << QStringList{"gate", "add", "--project", "/tmp", "--name", "t"}
                                                << "usage: corvane-cli gate add";
        QTest::newRow("gate with a bad time-out")
            << QStringList{"gate", "add", "--project", "/tmp", "--name", "t", "--command", "true", "--timeout", "soon"}
            << "\"soon\" is not a number of seconds";
        QTest::newRow("issue move to no column")
            << QStringList{"issue", "move", "--id", QUuid::createUuid().toString(QUuid::WithoutBraces), "--status", "someday"}
            << "no issue with the id";
        QTest::newRow("issues of an unknown column") << QStringList{"issues", "--status", "someday"}
                                                     << "--status is one of backlog, planned, inProgress, done";
        QTest::newRow("issue edit without a change") << QStringList{"issue", "edit", "--id", "x"} << "no issue with the id \"x\"";
        QTest::newRow("messages of an unknown chat")
            << QStringList{"messages", "--chat", QUuid::createUuid().toString(QUuid::WithoutBraces)} << "no chat with the id";
    }

    void badInputGetsAClearMessage()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        const Run run = cli(args);
        QVERIFY(run.exitCode != 0);
        QVERIFY2((run.out + run.err).contains(message.toUtf8()), run.out + run.err);
    }

    void definitionsListedAndASkillRestored()
    {
        const QString project = m_env->path("app");
        QVERIFY(QDir().mkpath(project + "/.corvane/flows"));
        QFile ship(project + "/.corvane/flows/ship.md");
        QVERIFY(ship.open(QIODevice::WriteOnly) && ship.write("---\nname: ship\n---\nShip it.\n") > 0);
        ship.close();
        Run run = cli({"flows", "--project", project});
        QCOMPARE(run.exitCode, 0);
        const QString home = QDir::homePath();
        QCOMPARE(run.out, QStringLiteral("build-and-test\tuser\t%1/.claude/flows/build-and-test.md\n"
                                         "quick-fix\tuser\t%1/.claude/flows/quick-fix.md\n"
                                         "ship\tproject\t%2/.corvane/flows/ship.md\n").arg(home, project).toUtf8());
        run = cli({"agents"});
        QCOMPARE(run.out, QStringLiteral("planner\tuser\t%1/.claude/agents/planner.md\n"
                                         "reviewer\tuser\t%1/.claude/agents/reviewer.md\n").arg(home).toUtf8());

        // Two saves in the window make two versions; the cli lists them and restores the first.
        const QString notes = home + "/.claude/commands/notes.md";
        QVERIFY(QDir().mkpath(home + "/.claude/commands"));
        auto write = [&](const QByteArray &text) {
            QFile file(notes);
            return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
        };
        QVERIFY(write("---\nname: notes\n---\nfirst\n"));
        run = cli({"skills"});
        QCOMPARE(run.out, QStringLiteral("notes\tuser\t%1\n").arg(notes).toUtf8());
        {
            auto store = Store::open(paths::storeFile()).value();
            SkillsService skills(store);
            QSignalSpy done(&skills, &DefinitionService::reloaded);
            skills.reload({});
            QVERIFY(done.wait(5000));
            const auto skill = skills.skills().first();
            QVERIFY(skills.saveSkill(skill, {"notes", "", "", "", "", "second\n"}));
            QVERIFY(skills.saveSkill(skill, {"notes", "", "", "", "", "third\n"}));
        }
        run = cli({"skill", "history", "--file", notes});
        QCOMPARE(run.exitCode, 0);
        const QList<QByteArray> lines = run.out.trimmed().split('\n');
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines[0].startsWith("v2\t") && lines[0].endsWith("\t-\tnotes.md"), lines[0]);
        QVERIFY(lines[1].startsWith("v1\t"));
        run = cli({"skill", "restore", "--file", notes, "--version", "1"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("Restored %1 to v1; the state before is v3\n").arg(notes).toUtf8());
        QFile restored(notes);
        QVERIFY(restored.open(QIODevice::ReadOnly));
        QCOMPARE(restored.readAll(), QByteArray("---\nname: notes\n---\nfirst\n"));
        run = cli({"skill", "history", "--file", notes});
        QVERIFY2(run.out.startsWith("v3\t") && run.out.contains("\tRestored to v1\t"), run.out);
    }

    // The board from the command line: new cards, moves that number the column, an edit, a
    // delete that asks first.
    void issuesMovedEditedAndDeleted()
    {
        const QString repo = m_env->path("app");
        QDir().mkpath(repo);
        QStringList ids;
        for (const char *title : {"Add export", "Fix login", "Write docs"}) {
            const Run made = cli({"issue", "new", "--project", repo, "--title", title});
            QVERIFY2(made.exitCode == 0, made.err);
            ids << QString::fromUtf8(made.err.trimmed().mid(6));
        }
        auto lines = [&](const QStringList &args) {
            QStringList out;
            for (const QByteArray &line : cli(args).out.trimmed().split('\n'))
                out << QString::fromUtf8(line).section('\t', 1); // without the id
            return out;
        };
        Run run = cli({"issue", "move", "--id", ids[2], "--status", "planned"});
        QCOMPARE(run.out, QStringLiteral("%1\tplanned\t0\ttask\tmedium\tapp\tWrite docs\n").arg(ids[2]).toUtf8());
        QVERIFY(cli({"issue", "move", "--id", ids[0], "--status", "planned", "--index", "0"}).exitCode == 0);
        QCOMPARE(lines({"issues", "--status", "planned"}),
                 (QStringList{"planned\t0\ttask\tmedium\tapp\tAdd export", "planned\t1\ttask\tmedium\tapp\tWrite docs"}));
        run = cli({"issue", "edit", "--id", ids[1], "--type", "bug", "--priority", "high", "--body", "Since 2.1"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(lines({"issues", "--project", repo}),
                 (QStringList{"backlog\t0\tbug\thigh\tapp\tFix login", "planned\t0\ttask\tmedium\tapp\tAdd export",
                              "planned\t1\ttask\tmedium\tapp\tWrite docs"}));
        const QJsonObject shown = QJsonDocument::fromJson(cli({"issue", "show", "--id", ids[1]}).out).object();
        QCOMPARE(shown.value("body").toString(), QStringLiteral("Since 2.1"));
        QCOMPARE(shown.value("project").toString(), QFileInfo(repo).canonicalFilePath());
        QVERIFY(shown.value("plan").isNull());

        run = cli({"issue", "delete", "--id", ids[1]});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("add --yes to confirm"), run.err);
        run = cli({"issue", "delete", "--id", ids[1], "--yes"});
        QCOMPARE(run.out, ("deleted " + ids[1] + "\n").toUtf8());
        QCOMPARE(lines({"issues", "--status", "backlog"}), QStringList{""});
    }

    void gatesAddedAndListed()
    {
        const QString project = m_env->path("app");
        QVERIFY(QDir().mkpath(project));
        Run run = cli({"gate", "add", "--project", project, "--name", "build", "--command", "make", "--timeout", "600"});
        QCOMPARE(run.exitCode, 0);
        run = cli({"gate", "add", "--project", project, "--name", "style", "--command", "make lint", "--optional",
                   "--feedback", "{name}: {output}"});
        QCOMPARE(run.exitCode, 0);
        run = cli({"gate", "add", "--project", project, "--name", "build", "--command", "make again"});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("already has a gate named \"build\""), run.err);
        run = cli({"gates", "--project", project});
        QCOMPARE(run.out, QByteArray("0\tbuild\trequired\t600s\t0\tmake\n1\tstyle\toptional\t-\t0\tmake lint\n"));
    }

    // A run driven from the command line with the real claude: a failed gate, a fixed pass, the
    // reviewer's change, approval; then the user approves.
    void runDrivenToReviewAndApproved()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::FakeModel model(scenario("coordinator_run.json"));
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const QString repo = m_env->path("repo");
        QDir().mkpath(repo);
        Run run = cli({"issue", "new", "--project", repo, "--title", "Add a parser"});
        QVERIFY2(run.exitCode == 0 && run.err.startsWith("issue "), run.err);
        const QString issueId = QString::fromUtf8(run.err.trimmed().mid(6));
        run = cli({"gate", "add", "--project", repo, "--name", "tests", "--feedback", "The gate \"{name}\" failed ({exitCode}):\n{output}",
                   "--command", "n=$(cat .gate-count 2>/dev/null || echo 0); n=$((n+1)); echo $n > .gate-count; echo \"run $n\"; [ $n -ge 2 ]"});
        QCOMPARE(run.exitCode, 0);

        run = cli({"run", "start", "--issue", issueId, "--mode", "simple", "--claude", test::FakeModel::claudePath()},
                  model.claudeEnvironment());
        QVERIFY2(run.exitCode == 0, run.err);
        QVERIFY2(run.err.startsWith("run "), run.err);
        QCOMPARE(run.out, QByteArray("awaitingUserReview\n"));
        const QString runId = QString::fromUtf8(run.err.split('\n').first().mid(4)).trimmed();

        run = cli({"run", "show", "--run", runId});
        const QJsonObject shown = QJsonDocument::fromJson(run.out).object();
        QCOMPARE(shown.value("status").toString(), QStringLiteral("awaitingUserReview"));
        QCOMPARE(shown.value("iterations").toArray().size(), 3);
        QCOMPARE(shown.value("gateResults").toArray().first().toObject().value("passed").toBool(), false);
        QCOMPARE(shown.value("reviewVerdict").toString(), QStringLiteral("approved"));
        QVERIFY(shown.value("tokens").toInteger() > 0);

        run = cli({"run", "approve", "--run", runId});
        QCOMPARE(run.out, QByteArray("done\n"));
        run = cli({"run", "approve", "--run", runId});
        QCOMPARE(run.exitCode, 1); // a closed run takes no second decision
    }

    // How a run ends, driven from the command line with the real claude.
    void runOutcomes_data()
    {
        QTest::addColumn<QString>("replies");
        QTest::addColumn<QString>("gate");
        QTest::addColumn<QByteArray>("status");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<int>("iterations");
        QTest::addColumn<QByteArray>("received");
        QTest::newRow("a gate command that does not exist fails every pass up to the cap")
            << "run_always_ready.json" << "no-such-tool --check" << QByteArray("blocked")
            << "Gate 'tests' failed and the run hit its iteration/token/cost cap." << 8 << QByteArray("tests failed (127): ");
        QTest::newRow("the reviewer rejects") << "run_rejected.json" << "true" << QByteArray("failed") << "Wrong approach" << 1
                                              << QByteArray("quality gates passed (iteration 1)");
    }

    void runOutcomes()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        QFETCH(QString, replies);
        QFETCH(QString, gate);
        QFETCH(QByteArray, status);
        test::FakeModel model(scenario(replies));
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const QString issue = issueWithGate(m_env->path("repo"), gate);
        const auto [id, run] = startRun(model, {"--issue", issue, "--mode", "simple"});
        QVERIFY2(!id.isEmpty(), run.err);
        QCOMPARE(run.out, status + "\n");
        QCOMPARE(run.exitCode, 1);
        const QJsonObject shown = showRun(id);
        QCOMPARE(shown.value("status").toString(), QString::fromUtf8(status));
        QTEST(shown.value("failureReason").toString(), "reason");
        QTEST(int(shown.value("iterations").toArray().size()), "iterations");
        QFETCH(QByteArray, received);
        QVERIFY(CliTest::received(model, received));
        QVERIFY(shown.value("tokens").toInteger() > 0);
    }

    // A coordinator that stops without a marker leaves its run waiting; a second run on the issue
    // supersedes it, reaches review, and is discarded.
    void runSupersededThenDiscarded()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::FakeModel model(scenario("run_superseded.json"));
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const QString issue = issueWithGate(m_env->path("repo"), "true");
        const auto [first, waiting] = startRun(model, {"--issue", issue, "--mode", "simple"});
        QCOMPARE(waiting.exitCode, 1);
        QCOMPARE(waiting.out, QByteArray("planning\n"));
        QVERIFY2(waiting.err.contains("the coordinator ended its turn without a marker"), waiting.err);
        const auto [second, reviewed] = startRun(model, {"--issue", issue, "--mode", "simple"});
        QCOMPARE(reviewed.out, QByteArray("awaitingUserReview\n"));
        QCOMPARE(showRun(first).value("status").toString(), QStringLiteral("blocked"));
        QCOMPARE(showRun(first).value("failureReason").toString(), QStringLiteral("Superseded by new automation run"));

        const Run discarded = cli({"run", "discard", "--run", second});
        QCOMPARE(discarded.out, QByteArray("blocked\n"));
        QCOMPARE(showRun(second).value("failureReason").toString(), QStringLiteral("Discarded by user from the review banner."));
        const Run late = cli({"run", "approve", "--run", second});
        QCOMPARE(late.exitCode, 1);
        QVERIFY2(late.err.contains("the run is blocked, not waiting for review"), late.err);
        // Each run had its own workspace; the issue now points at the second one's.
        auto store = Store::open(paths::storeFile()).value();
        StoreContext &ctx = store->mainContext();
        const auto one = ctx.get<AutomationRun>(QUuid::fromString(first));
        const auto two = ctx.get<AutomationRun>(QUuid::fromString(second));
        QVERIFY(one && two && one->workspaceId != two->workspaceId);
        QCOMPARE(ctx.get<Issue>(QUuid::fromString(issue))->workspaceId, two->workspaceId);
    }

    // The default mode: the run works in a new worktree on its own branch, and the gates run
    // there. A second run asking for the same branch cannot make its worktree.
    void runInAWorktree()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::FakeModel model(scenario("run_approved.json"));
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const QString repo = m_env->path("repo");
        QDir().mkpath(repo);
        QCOMPARE(QProcess::execute("git", {"-C", repo, "init", "-q", "-b", "main"}), 0);
        QCOMPARE(QProcess::execute("git", {"-C", repo, "-c", "user.name=T", "-c", "user.email=t@example.com", "commit", "-q",
                                           "--allow-empty", "-m", "first"}), 0);
        const QString issue = issueWithGate(repo, "git rev-parse --abbrev-ref HEAD > gate-branch.txt");
        const auto [id, run] = startRun(model, {"--issue", issue});
        QVERIFY2(run.exitCode == 0, run.err);
        QVERIFY(received(model, "- Running in an isolated git worktree for this run."));

        auto store = Store::open(paths::storeFile()).value();
        const auto workspace = store->mainContext().get<Workspace>(*store->mainContext().get<AutomationRun>(QUuid::fromString(id))->workspaceId);
        QVERIFY(workspace->usesWorktree && workspace->worktreePath);
        QCOMPARE(workspace->gitBranch, std::optional<QString>("add-a-parser"));
        QFile branch(*workspace->worktreePath + "/gate-branch.txt");
        QVERIFY(branch.open(QIODevice::ReadOnly));
        QCOMPARE(branch.readAll(), QByteArray("add-a-parser\n"));
        QVERIFY(!QFile::exists(repo + "/gate-branch.txt"));
        store.reset();

        const auto [none, refused] = startRun(model, {"--issue", issue, "--branch", "add-a-parser"});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.contains("corvane-cli run start: Failed to start run: ") && refused.err.contains("already exists"),
                 refused.err);
        QCOMPARE(showRun(id).value("status").toString(), QStringLiteral("awaitingUserReview")); // a run under review stays
    }

    // Runs that cannot start say why and leave no run, workspace or chat behind.
    void runStartRefused_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("detachIssue");
        QTest::addColumn<QString>("message");
        QTest::newRow("an unknown flow") << QStringList{"--flow", "nope"} << false << "no flow named \"nope\"";
        QTest::newRow("a worktree of a folder that is no repository") << QStringList() << false
                                                                     << "Failed to start run: ";
        QTest::newRow("an issue without a project") << QStringList() << true
                                                    << "the issue \"Add a parser\" belongs to no project";
    }

    void runStartRefused()
    {
        QFETCH(QStringList, args);
        QFETCH(bool, detachIssue);
        const QString issue = issueWithGate(m_env->path("plain"), "true");
        auto counts = [] {
            auto store = Store::open(paths::storeFile()).value();
            StoreContext &ctx = store->mainContext();
            return QList<qint64>{ctx.count<AutomationRun>().valueOr(-1), ctx.count<Workspace>().valueOr(-1),
                                 ctx.count<Chat>().valueOr(-1)};
        };
        if (detachIssue) {
            auto store = Store::open(paths::storeFile()).value();
            store->mainContext().get<Issue>(QUuid::fromString(issue))->projectId.reset();
            QVERIFY(store->mainContext().save());
        }
        const QList<qint64> before = counts();
        const Run run = cli(QStringList{"run", "start", "--issue", issue} + args);
        QCOMPARE(run.exitCode, 1);
        QFETCH(QString, message);
        QVERIFY2(run.err.contains(message.toUtf8()), run.err);
        QCOMPARE(counts(), before);
    }

    void sendThenReadBack()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::FakeModel model("two_turns.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const QString repo = m_env->path("repo");
        QDir().mkpath(repo);
        const QStringList base{"--claude", test::FakeModel::claudePath(), "--mode", "acceptAll"};

        Run first = cli(QStringList{"send", "--project", repo} + base + QStringList{"Please answer the first question"}, model.claudeEnvironment());
        QVERIFY2(first.exitCode == 0, first.err);
        QVERIFY2(first.err.startsWith("chat "), first.err);
        QCOMPARE(first.out.trimmed(), QByteArray("Answer to the first question."));
        const QString chatId = QString::fromUtf8(first.err.split('\n').first().mid(5)).trimmed();

        // The same chat again: its agent session resumes in a new process.
        Run second = cli(QStringList{"send", "--chat", chatId} + base + QStringList{"Now the second question"}, model.claudeEnvironment());
        QVERIFY2(second.exitCode == 0, second.err);
        QCOMPARE(second.out.trimmed(), QByteArray("Answer to the second question."));

        // Each call ended right after its turn; claude still saved its session on the way out,
        // so the second call resumed that session instead of replaying into a new one.
        const QStringList sessions = QDir(model.configDir() + "/projects").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(sessions.size(), 1);
        QCOMPARE(QDir(model.configDir() + "/projects/" + sessions.first()).entryList({"*.jsonl"}).size(), 1);

        const Run messages = cli({"messages", "--chat", chatId});
        QCOMPARE(messages.exitCode, 0);
        QVERIFY2(!messages.out.contains("could not be resumed"), messages.out);
        QStringList rows;
        for (const QByteArray &line : messages.out.split('\n')) {
            if (line.isEmpty())
                continue;
            const QJsonObject row = QJsonDocument::fromJson(line).object();
            for (const char *key : {"role", "contentType", "content", "toolName", "toolUseId", "metadata"})
                QVERIFY2(row.contains(key), key);
            if (row.value("role").toString() != "system")
                rows << row.value("role").toString() + ": " + row.value("content").toString();
        }
        QCOMPARE(rows, QStringList({"user: Please answer the first question", "assistant: Answer to the first question.",
                                    "user: Now the second question", "assistant: Answer to the second question."}));

        const Run chats = cli({"chats", "--project", repo});
        QCOMPARE(chats.exitCode, 0);
        QVERIFY2(chats.out.startsWith(chatId.toUtf8() + "\t"), chats.out);
        QVERIFY(chats.out.contains("\tclaude_code\n"));
    }

    void sendToCodex()
    {
        if (test::FakeCodexModel::codexPath().isEmpty())
            QSKIP("the pinned codex is not installed: run scripts/setup.sh");
        test::FakeCodexModel model("plain_text.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const QString repo = m_env->path("repo");
        QDir().mkpath(repo);
        const Run run = cli({"send", "--project", repo, "--agent", "codex", "--codex", test::FakeCodexModel::codexPath(),
                             "--model", "gpt-5.5", "Hello"},
                            model.codexEnvironment());
        QVERIFY2(run.exitCode == 0, run.err);
        QCOMPARE(run.out.trimmed(), QByteArray("Hello from the fake model."));
        const Run chats = cli({"chats", "--project", repo});
        QVERIFY2(chats.out.contains("\tcodex\n"), chats.out);
    }

    void answersFromTheTerminal_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<QString>("prompted");
        QTest::addColumn<QString>("reply");
        QTest::newRow("permission allowed once") << "permission_bash.json" << QByteArray("y\n")
                                                 << "Claude wants to run a command:" << "";
        QTest::newRow("question answered by number") << "ask_user_question.json" << QByteArray("2\n") << "2. Blue"
                                                     << "Blue it is.";
    }

    void answersFromTheTerminal()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        QFETCH(QString, scenario);
        QFETCH(QByteArray, typed);
        QFETCH(QString, prompted);
        QFETCH(QString, reply);
        const QString repo = m_env->path("repo");
        QDir().mkpath(repo);
        test::FakeModel model(scenario, {"WORKDIR=" + repo});
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const Run run = cli({"send", "--project", repo, "--claude", test::FakeModel::claudePath(), "--on-permission", "ask", "Go"},
                            model.claudeEnvironment(), typed);
        QVERIFY2(run.exitCode == 0, run.err);
        QVERIFY2(run.err.contains(prompted.toUtf8()), run.err);
        QVERIFY2(run.out.contains(reply.toUtf8()), run.out);
        if (scenario == "permission_bash.json")
            QVERIFY(QFile::exists(repo + "/build/made-by-bash.txt"));
    }
};

QTEST_GUILESS_MAIN(CliTest)
#include "tst_cli.moc"
