// `corvane-cli profiles` and `send --profile` on a real store, asking the real claude.
#include "accounts/ProfileRepairs.h"
#include "accounts/ProfileService.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "core/records/Project.h"
#include "support/CliRun.h"
#include "support/CoreFiles.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QtTest>

using namespace corvane;

namespace {

test::CliRun cli(const QStringList &arguments)
{
    return test::runCli(QStringLiteral(CORVANE_CLI_PATH), arguments, 30000);
}

} // namespace

class ProfilesCliTest : public QObject
{
    Q_OBJECT

private slots:
    void listsEachProfilesSignIn()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed under .deps/npm (run scripts/setup.sh)");
        test::TestEnvironment env;
        qunsetenv("ANTHROPIC_API_KEY");
        QString workDir;
        QString workId;
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY(store.ok());
            NotificationCenter center;
            ProfileService service((*store)->mainContext(), center);
            profiles::ensureDefaultProfile((*store)->mainContext());
            auto work = service.createProfile("Work", ProfileColor::teal);
            auto home = service.createProfile("Home", ProfileColor::pink);
            QVERIFY(work.ok() && home.ok());
            QVERIFY(test::writeFile((*work)->configDirPath + "/settings.json", R"({"apiKeyHelper": "echo sk-ant-work"})"));
            QVERIFY(service.saveCodexApiKey(*home, "sk-proj-home").ok());
            workDir = (*work)->configDirPath;
            workId = (*work)->id.toString(QUuid::WithoutBraces).toUpper();
        }

        ProcessCommand command;
        command.program = QStringLiteral(CORVANE_CLI_PATH);
        command.arguments = {"profiles", "--claude", test::FakeModel::claudePath()};
        auto ran = ChildProcess::runSync(command, {}, 120000);
        QVERIFY(ran.ok());
        QVERIFY2(ran->exitCode == 0, ran->errorOutput.constData());
        const QStringList lines = QString::fromUtf8(ran->output).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines.at(0).section('\t', 1), QStringLiteral("Default (default)\tclaude: signed out\tcodex: signed out\t")
                                                   + QDir::homePath() + "/.claude");
        QCOMPARE(lines.at(1), QStringList({workId, "Work", "claude: signed in (api_key_helper)", "codex: signed out", workDir})
                                  .join('\t'));
        QCOMPARE(lines.at(2).section('\t', 1, 3), QStringLiteral("Home\tclaude: signed out\tcodex: signed in (apikey)"));

        // The answer was stored: the signed-in profile now has a sign-in time.
        auto store = Store::open(paths::storeFile());
        QVERIFY(store.ok());
        auto work = (*store)->mainContext().get<Profile>(QUuid::fromString(workId));
        QVERIFY(work && work->lastLoginAt);
    }

    // Each edit verb against a store with the default profile, "Work" (one project) and "Home".
    void editVerbs_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("said"); // a piece of standard output, or of standard error on failure
        QTest::addColumn<QString>("names"); // the profiles afterwards, in order, the default marked

        const QString both = QStringLiteral("Default*,Work,Home");
        QTest::newRow("new") << QStringList{"new", "Client A", "--color", "green"} << 0 << "\tClient A\t" << "Default*,Work,Home,Client A";
        QTest::newRow("new, bad colour") << QStringList{"new", "X", "--color", "mauve"} << 2 << "unknown colour \"mauve\"" << both;
        QTest::newRow("new, blank name") << QStringList{"new", "  "} << 1 << "A profile needs a name." << both;
        QTest::newRow("rename by name, any case") << QStringList{"rename", "work", "Office"} << 0 << "\tOffice" << "Default*,Office,Home";
        QTest::newRow("rename, blank") << QStringList{"rename", "Work", " "} << 2 << "the new name is blank" << both;
        QTest::newRow("rename, nobody") << QStringList{"rename", "Nobody", "X"} << 1 << "no profile named \"Nobody\"" << both;
        QTest::newRow("default") << QStringList{"default", "Home"} << 0 << "\tHome (default)" << "Default,Work,Home*";
        QTest::newRow("delete asks first") << QStringList{"delete", "Work"} << 1
                                           << "1 project will be moved to the default profile. Give --yes" << both;
        QTest::newRow("delete") << QStringList{"delete", "Work", "--yes"} << 0 << "deleted\t" << "Default*,Home";
        QTest::newRow("delete the default") << QStringList{"delete", "Default", "--yes"} << 1 << "can't be deleted" << both;
        QTest::newRow("no verb") << QStringList{"rename"} << 2 << "expected more arguments" << both;
        QTest::newRow("unknown verb") << QStringList{"merge"} << 2 << "give new, rename, delete or default" << both;
    }

    void editVerbs()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, said);
        QFETCH(QString, names);
        test::TestEnvironment env;
        QUuid projectId;
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY(store.ok());
            NotificationCenter center;
            ProfileService service((*store)->mainContext(), center);
            profiles::ensureDefaultProfile((*store)->mainContext());
            auto work = service.createProfile("Work", ProfileColor::teal);
            QVERIFY(work.ok() && service.createProfile("Home", ProfileColor::pink).ok());
            auto project = std::make_shared<Project>();
            project->name = "repo";
            project->path = env.path("repo");
            project->profileId = (*work)->id;
            projectId = project->id;
            (*store)->mainContext().insert(project);
            QVERIFY((*store)->mainContext().save().ok());
        }

        arguments.prepend("profile");
        const test::CliRun ran = cli(arguments);
        QVERIFY2(ran.exitCode == exitCode, qPrintable(ran.out + ran.err));
        QVERIFY2((exitCode == 0 ? ran.out : ran.err).contains(said), qPrintable(ran.out + ran.err));

        auto store = Store::open(paths::storeFile());
        QVERIFY(store.ok());
        NotificationCenter center;
        ProfileService service((*store)->mainContext(), center);
        QStringList listed;
        for (const auto &profile : service.fetchProfiles())
            listed << profile->name + (profile->isDefault ? "*" : "");
        QCOMPARE(listed.join(','), names);
        // The project always has a profile that exists: a deleted one's project went to the default.
        const auto project = (*store)->mainContext().get<Project>(projectId);
        QVERIFY(project && project->profileId);
        QVERIFY((*store)->mainContext().get<Profile>(*project->profileId));
    }

    void deleteWithFilesRemovesTheFolders()
    {
        test::TestEnvironment env;
        QString configDir;
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY(store.ok());
            NotificationCenter center;
            ProfileService service((*store)->mainContext(), center);
            profiles::ensureDefaultProfile((*store)->mainContext());
            auto work = service.createProfile("Work", ProfileColor::teal);
            QVERIFY(work.ok());
            configDir = (*work)->configDirPath;
            QVERIFY(test::writeFile(configDir + "/projects/x/session.jsonl", "{}\n"));
        }
        const test::CliRun ran = cli({"profile", "delete", "Work", "--delete-files", "--yes"});
        QVERIFY2(ran.exitCode == 0, qPrintable(ran.err));
        QVERIFY(!QFileInfo::exists(configDir));
    }

    void unknownOptionIsRefused()
    {
        test::TestEnvironment env;
        ProcessCommand command;
        command.program = QStringLiteral(CORVANE_CLI_PATH);
        command.arguments = {"profiles", "--bogus"};
        auto ran = ChildProcess::runSync(command, {}, 30000);
        QVERIFY(ran.ok());
        QCOMPARE(ran->exitCode, 2);
        QVERIFY(ran->errorOutput.contains("corvane-cli profiles: "));
    }
    void sendRunsUnderTheNamedProfile()
    {
        // The Work profile reaches the model service only through its own settings file, so a
        // reply proves claude ran with the profile's configuration folder.
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed under .deps/npm (run scripts/setup.sh)");
        test::TestEnvironment env;
        qunsetenv("ANTHROPIC_API_KEY");
        test::FakeModel model("two_turns.json");
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY(store.ok());
            NotificationCenter center;
            ProfileService service((*store)->mainContext(), center);
            profiles::ensureDefaultProfile((*store)->mainContext());
            auto work = service.createProfile("Work", ProfileColor::teal);
            QVERIFY(work.ok());
            QVERIFY(test::writeFile((*work)->configDirPath + "/settings.json",
                                    QStringLiteral("{\"apiKeyHelper\": \"echo sk-ant-work\", \"env\": {\"ANTHROPIC_BASE_URL\": "
                                                   "\"http://127.0.0.1:%1\"}}").arg(model.port()).toUtf8()));
        }
        const QString repo = env.path("repo");
        QDir().mkpath(repo);
        ProcessCommand command;
        command.program = QStringLiteral(CORVANE_CLI_PATH);
        command.arguments = {"send", "--profile", "work", "--project", repo, "--claude", test::FakeModel::claudePath(),
                             "Please answer the first question"};
        command.environment.insert("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1");
        command.environment.insert("IS_SANDBOX", "1");
        auto ran = ChildProcess::runSync(command, {}, 120000);
        QVERIFY(ran.ok());
        QVERIFY2(ran->exitCode == 0, ran->errorOutput.constData());
        QCOMPARE(ran->output.trimmed(), QByteArray("Answer to the first question."));

        command.arguments = {"send", "--profile", "Nobody", "--project", repo, "Hello"};
        ran = ChildProcess::runSync(command, {}, 30000);
        QVERIFY(ran.ok());
        QVERIFY2(ran->errorOutput.contains("no profile named \"Nobody\""), ran->errorOutput.constData());
    }
};

QTEST_GUILESS_MAIN(ProfilesCliTest)
#include "tst_profiles_cli.moc"
