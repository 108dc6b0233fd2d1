// corvane-cli project show end to end: the real program on a real repository that the window's
// store knows, its JSON checked field by field, and its refusals.
#include "HygieneRepo.h"
#include "support/CliRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace corvane;

class ProjectCliTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;

    static test::CliRun cli(const QStringList &arguments)
    {
        return test::runCli(QStringLiteral(CORVANE_CLI_PATH), arguments, 120000);
    }

    static QJsonObject figure(const QJsonObject &overview, const QString &kind)
    {
        for (const QJsonValue &value : overview["hygiene"]["figures"].toArray())
            if (value["kind"] == kind)
                return value.toObject();
        return {};
    }

private slots:
    void showsTheOverview()
    {
        const test::HygieneRepo repo = test::makeHygieneRepo(m_sandbox, "cli", 3, 1, 0);
        m_sandbox.write(repo.repo + "/CLAUDE.md", "Be brief.\n");
        // The workspace command makes the project, with its first workspace on the checkout.
        const test::CliRun made = cli({"workspace", "new", "--project", repo.repo, "--mode", "simple"});
        QVERIFY2(made.exitCode == 0, qPrintable(made.err));

        const test::CliRun shown = cli({"project", "show", "--project", repo.repo, "--measure"});
        QVERIFY2(shown.exitCode == 0, qPrintable(shown.err));
        const QJsonObject overview = QJsonDocument::fromJson(shown.out.toUtf8()).object();
        QCOMPARE(overview["path"].toString(), repo.repo);
        QCOMPARE(overview["currentBranch"].toString(), QStringLiteral("main"));
        QVERIFY(overview["workspaces"].toArray().size() >= 1);
        QCOMPARE(overview["worktrees"].toArray().size(), 2);
        QCOMPARE(overview["worktrees"][0]["hasWorkspace"].toBool(), false);
        QCOMPARE(overview["memoryFiles"][0]["name"].toString(), QStringLiteral("CLAUDE.md"));
        QCOMPARE(overview["memoryFiles"][0]["preview"].toString(), QStringLiteral("Be brief. "));

        QCOMPARE(figure(overview, "staleBranches")["value"].toString(), QStringLiteral("3"));
        QCOMPARE(figure(overview, "staleBranches")["color"].toString(), QStringLiteral("yellow"));
        QCOMPARE(figure(overview, "stashes")["value"].toString(), QStringLiteral("1"));
        QCOMPARE(figure(overview, "lingeringProcesses")["value"].toString(), QStringLiteral("0"));
        QCOMPARE(figure(overview, "worktreesWithoutWorkspace")["value"].toString(), QStringLiteral("2"));
        QVERIFY(!figure(overview, "diskUsage")["value"].toString().isEmpty()); // --measure
        QCOMPARE(figure(overview, "outdatedDependencies")["value"].toString(), QStringLiteral("No package.json"));
        QCOMPARE(overview["hygiene"]["health"].toString(), QStringLiteral("Fair"));
        QCOMPARE(overview["hygiene"]["staleBranches"].toArray().size(), 3);
        QVERIFY(overview["hygiene"]["dependencies"].isNull());
    }

    void refusals_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("no folder given") << QStringList{"project", "show"} << 2 << "usage";
        QTest::newRow("no verb") << QStringList{"project"} << 2 << "usage";
        QTest::newRow("a stray word") << QStringList{"project", "show", "--project", "/tmp", "extra"} << 2 << "usage";
        QTest::newRow("not a project") << QStringList{"project", "show", "--project", "/tmp"} << 1 << "is not a Corvane project";
        QTest::newRow("no such folder") << QStringList{"project", "show", "--project", "/no/such"} << 1 << "is not a Corvane project";
    }
    void refusals()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const test::CliRun run = cli(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        QVERIFY(run.out.isEmpty());
    }
};

QTEST_GUILESS_MAIN(ProjectCliTest)
#include "tst_project_cli.moc"
