// corvane-cli's project actions, as a script would use them: the real program on a store file
// that this test wrote, the scripts run by a real shell in the project's folder.
#include "core/Paths.h"
#include "core/records/ProjectActions.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/CliRun.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QProcess>
#include <QTest>

using namespace corvane;

class ActionCliTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    QString m_project;

    test::CliRun cli(const QStringList &args) { return test::runCli(QStringLiteral(CORVANE_CLI_PATH), args); }

private slots:
    void initTestCase()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        QDir().mkpath(m_env->path("app"));
        m_project = QDir(m_env->path("app")).canonicalPath();
        auto store = Store::open(paths::storeFile()).value();
        StoreContext &ctx = store->mainContext();
        const QUuid projectId = test::insertPlace(ctx, m_project).projectId;
        projectactions::add(ctx, projectId, QStringLiteral("Where"), QStringLiteral("play.fill"),
                            QStringLiteral("echo \"in $(pwd)\"; echo to-stderr >&2"));
        projectactions::add(ctx, projectId, QStringLiteral("Fails"), QStringLiteral("play.fill"), QStringLiteral("echo partial; exit 7"));
        projectactions::add(ctx, projectId, QStringLiteral("Slow"), QStringLiteral("play.fill"),
                            QStringLiteral("echo first; sleep 2; echo second"));
    }

    void verbs_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        const QString dir = QStringLiteral("@project");
        QTest::newRow("list") << QStringList{"actions", "--project", dir} << 0
                              << "0\tWhere\techo \"in $(pwd)\"; echo to-stderr >&2\n1\tFails\techo partial; exit 7\n"
                                 "2\tSlow\techo first; sleep 2; echo second\n" << QString();
        QTest::newRow("run in the folder") << QStringList{"action", "run", "--project", dir, "--name", "Where"} << 0
                                           << "in @project\n" << "to-stderr";
        QTest::newRow("the script's exit code") << QStringList{"action", "run", "--project", dir, "--name", "Fails"} << 7
                                                << "partial\n" << QString();
        QTest::newRow("unknown action") << QStringList{"action", "run", "--project", dir, "--name", "Deploy"} << 1 << QString()
                                        << "app has no action named \"Deploy\" (it has \"Where\", \"Fails\", \"Slow\")";
        QTest::newRow("unknown project") << QStringList{"actions", "--project", "/"} << 1 << QString() << "/ is not a project";
        QTest::newRow("no name") << QStringList{"action", "run", "--project", dir} << 2 << QString()
                                 << "usage: corvane-cli action run --project DIR --name NAME";
        QTest::newRow("unknown verb") << QStringList{"action", "start", "--project", dir, "--name", "Where"} << 2 << QString()
                                      << "usage: corvane-cli action run";
    }

    void verbs()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        args.replaceInStrings(QStringLiteral("@project"), m_project);
        const test::CliRun run = cli(args);
        QCOMPARE(run.exitCode, exitCode);
        if (out.isEmpty())
            QCOMPARE(run.out, QString());
        else
            QCOMPARE(run.out, out.replace(QStringLiteral("@project"), m_project));
        QVERIFY2(run.err.contains(err), qPrintable(run.err));
    }

    void runStreamsWhileTheScriptRuns()
    {
        QProcess process;
        process.start(QStringLiteral(CORVANE_CLI_PATH), {"action", "run", "--project", m_project, "--name", "Slow"});
        QVERIFY(QTest::qWaitFor([&] { return process.readAllStandardOutput().contains("first"); }, 10000));
        QCOMPARE(process.state(), QProcess::Running); // "second" is two seconds away
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.readAllStandardOutput(), QByteArray("second\n"));
        QCOMPARE(process.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(ActionCliTest)
#include "tst_action_cli.moc"
