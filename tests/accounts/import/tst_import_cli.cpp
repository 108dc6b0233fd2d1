// `corvane-cli import` on a real store and real log folders under a temporary HOME.
#include "core/Paths.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/CliRun.h"
#include "support/SessionLogs.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QTest>

using namespace corvane;
namespace logs = corvane::test::logs;

class ImportCliTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    QString m_project;
    QStringList m_ids;

    static test::CliRun cli(const QStringList &arguments) { return test::runCli(CORVANE_CLI_PATH, QStringList{"import"} + arguments); }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_project = QFileInfo(m_env->path("repo")).absoluteFilePath();
        QDir().mkpath(m_project);
        m_project = QFileInfo(m_project).canonicalFilePath();
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY(store.ok());
            auto &context = (*store)->mainContext();
            // The profile keeps claude's logs in a folder of its own; codex's are in ~/.codex.
            Profile profile;
            profile.name = "Work";
            profile.configDirPath = m_env->path("profiles/work/claude");
            profile.isDefault = true;
            context.insert(profile);
            QVERIFY(context.save());
            const auto place = test::insertPlace(context, m_project, {});
            context.get<Project>(place.projectId)->profileId = profile.id;
            QVERIFY(context.save());
        }
        m_ids = {QUuid::createUuid().toString(QUuid::WithoutBraces), QUuid::createUuid().toString(QUuid::WithoutBraces)};
        const QString claudeFolder = logs::claudeFolder(m_env->path("profiles/work/claude/projects"), m_project);
        logs::writeFile(claudeFolder + "/" + m_ids[0] + ".jsonl",
                        logs::claudeUser("Fix the\nlogin\tpage") + logs::claudeText("Fixed.", "claude-opus-4-8"));
        logs::writeFile(claudeFolder + "/" + m_ids[1] + ".jsonl", logs::claudeUser("Second task"));
        logs::writeFile(QDir::homePath() + "/.codex/sessions/2026/03/04/rollout-x.jsonl",
                        logs::codexMeta("codex-1", m_project) + logs::codexMessage("user", "Codex task"));
        QFile first(claudeFolder + "/" + m_ids[0] + ".jsonl");
        QVERIFY(first.open(QIODevice::ReadWrite));
        QVERIFY(first.setFileTime(QDateTime::currentDateTime().addDays(-1), QFileDevice::FileModificationTime));
    }
    void cleanup() { m_env.reset(); }

    void listsOneLinePerSession()
    {
        const auto run = cli({"--project", m_project});
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.out.trimmed().split('\n');
        QCOMPARE(lines.size(), 3);
        const QStringList oldest = lines.last().split('\t');
        QCOMPARE(oldest.size(), 6);
        QCOMPARE(oldest[0], m_ids[0]);
        QCOMPARE(oldest[1], QStringLiteral("claude_code"));
        QVERIFY(QDateTime::fromString(oldest[2], Qt::ISODate).isValid());
        QCOMPARE(oldest[3], QStringLiteral("claude-opus-4-8"));
        QCOMPARE(oldest[4], QStringLiteral("2"));
        QCOMPARE(oldest[5], QStringLiteral("Fix the login page"));
        QVERIFY(run.out.contains("codex-1\tcodex\t"));
        QVERIFY(run.out.contains("\t-\t1\tSecond task"));
        QCOMPARE(cli({"--project", m_project, "--list"}).out, run.out);
    }

    void importsChosenSessions()
    {
        const auto run = cli({"--project", m_project, "--session", m_ids[0], "--session", "codex-1"});
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.out.trimmed().split('\n');
        QCOMPARE(lines.size(), 2);
        const QStringList first = lines.first().split('\t');
        QCOMPARE(first[2], m_ids[0]);
        QCOMPARE(first[3], QStringLiteral("Fix the login page"));
        {
            auto store = Store::open(paths::storeFile());
            auto chat = (*store)->mainContext().get<Chat>(QUuid::fromString(first[1]));
            QVERIFY(chat);
            QCOMPARE(chat->claudeSessionId, std::optional(m_ids[0]));
            QCOMPARE(chat->workspaceId, std::optional(QUuid::fromString(first[0])));
        }
        // What was imported no longer lists; importing it again is an error.
        QCOMPARE(cli({"--project", m_project}).out.trimmed().split('\n').size(), 1);
        const auto again = cli({"--project", m_project, "--session", m_ids[0]});
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.err.contains(m_ids[0]));
        const auto rest = cli({"--project", m_project, "--all"});
        QCOMPARE(rest.exitCode, 0);
        QVERIFY(rest.out.contains(m_ids[1]));
    }

    void failuresAndBadUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QTest::newRow("no project") << QStringList{"--all"} << 2 << "--project DIR is required";
        QTest::newRow("all and session") << QStringList{"--project", "@", "--all", "--session", "x"} << 2 << "exclude each other";
        QTest::newRow("stray word") << QStringList{"--project", "@", "now"} << 2 << "unexpected argument";
        QTest::newRow("not a project") << QStringList{"--project", "/tmp"} << 1 << "/tmp is not a project";
        QTest::newRow("unreadable log") << QStringList{"--project", "@", "--all", "!"} << 1 << "Cannot read session file: ";
    }
    void failuresAndBadUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        if (arguments.removeAll("!")) {
            // Bad bytes behind what the list reads: the whole log cannot be read.
            QByteArray bytes = logs::claudeUser("Second task") + logs::claudeText(QString(60000, u'x')) + logs::claudeText("bad XX");
            const QString path = logs::claudeFolder(m_env->path("profiles/work/claude/projects"), m_project) + "/" + m_ids[1] + ".jsonl";
            QVERIFY(logs::writeFile(path, bytes.replace("XX", "\xff")));
        }
        arguments.replaceInStrings("@", m_project);
        const auto run = cli(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
        if (exitCode == 1 && arguments.contains("--all"))
            QCOMPARE(run.out.trimmed().split('\n').size(), 2); // the others were imported
    }
};

QTEST_GUILESS_MAIN(ImportCliTest)
#include "tst_import_cli.moc"
