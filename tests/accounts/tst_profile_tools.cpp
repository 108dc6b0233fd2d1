// Profiles against the real claude and codex: what each tool sees of a profile's folders and of
// the keys in our own environment.
#include "accounts/ProfileRepairs.h"
#include "accounts/ProfileService.h"
#include "agent/runtime/AgentEnvironment.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/process/ChildProcess.h"
#include "core/records/Profile.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/CoreFiles.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace corvane;

namespace {

// Lets claude reach the stand-in model with a key of the folder's own, without any variable.
void writeKeyHelperSettings(const QString &configDir, int port, const QString &key)
{
    const QJsonObject settings{
        {"apiKeyHelper", "echo " + key},
        {"env", QJsonObject{{"ANTHROPIC_BASE_URL", QStringLiteral("http://127.0.0.1:%1").arg(port)},
                            {"CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1"}}}};
    QVERIFY(test::writeFile(configDir + "/settings.json", QJsonDocument(settings).toJson()));
}

// Everything under a folder that mentions `text`, as paths relative to it.
QStringList filesMentioning(const QString &dir, const QByteArray &text)
{
    QStringList out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (file.open(QIODevice::ReadOnly) && file.readAll().contains(text))
            out << QDir(dir).relativeFilePath(path);
    }
    return out;
}

QString codexPath()
{
    const QString path = QString::fromLocal8Bit(qgetenv("CORVANE_NPM_DIR")) + "/node_modules/.bin/codex";
    return QFileInfo(path).isExecutable() ? path : QString();
}

} // namespace

class ProfileToolsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    NotificationCenter m_center;
    std::unique_ptr<ProfileService> m_service;

    std::shared_ptr<Profile> newProfile(const QString &name)
    {
        auto created = m_service->createProfile(name, ProfileColor::blue);
        if (!created)
            qFatal("%s", qPrintable(created.error().message));
        return *created;
    }

    std::optional<AuthStatus> askClaude(const std::optional<QString> &configDir)
    {
        bool answered = false;
        std::optional<AuthStatus> result;
        m_service->fetchAuthStatus(configDir, this, [&](std::optional<AuthStatus> status) {
            answered = true;
            result = std::move(status);
        });
        if (!QTest::qWaitFor([&] { return answered; }, 60000))
            qWarning("claude auth status did not answer");
        return result;
    }

private slots:
    void init()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed under .deps/npm (run scripts/setup.sh)");
        m_env = std::make_unique<test::TestEnvironment>();
        qunsetenv("ANTHROPIC_API_KEY");
        qunsetenv("OPENAI_API_KEY");
        qunsetenv("CLAUDE_CONFIG_DIR");
        qunsetenv("CODEX_HOME");
        auto store = Store::open(paths::storeFile());
        QVERIFY(store.ok());
        m_store = store.value();
        m_service = std::make_unique<ProfileService>(m_store->mainContext(), m_center);
        m_service->setClaudePath(test::FakeModel::claudePath());
        profiles::ensureDefaultProfile(m_store->mainContext());
    }

    void cleanup()
    {
        m_service.reset();
        m_store.reset();
        m_env.reset();
        qunsetenv("ANTHROPIC_API_KEY");
        qunsetenv("OPENAI_API_KEY");
    }

    void claudeReportsTheAccountOfTheFolder()
    {
        const auto profile = newProfile("Work");
        // What claude keeps after a claude.ai sign-in: the token and, beside it, the account.
        QVERIFY(test::writeFile(profile->configDirPath + "/.credentials.json",
                  R"({"claudeAiOauth":{"accessToken":"sk-ant-oat01-x","refreshToken":"sk-ant-ort01-y",)"
                  R"("expiresAt":4102444800000,"scopes":["user:inference","user:profile"],"subscriptionType":"max"}})"));
        QVERIFY(test::writeFile(profile->configDirPath + "/.claude.json",
                  R"({"oauthAccount":{"accountUuid":"11111111-1111-1111-1111-111111111111",)"
                  R"("emailAddress":"ana@example.com","organizationUuid":"22222222-2222-2222-2222-222222222222",)"
                  R"("organizationName":"Ana Works"}})"));

        const auto status = askClaude(profile->configDirPath);
        QVERIFY(status);
        QVERIFY(status->loggedIn);
        QCOMPARE(status->email.value_or(QString()), QStringLiteral("ana@example.com"));
        QCOMPARE(status->orgName.value_or(QString()), QStringLiteral("Ana Works"));
        QCOMPARE(status->subscriptionType.value_or(QString()), QStringLiteral("max"));

        // An empty folder: claude exits 1 but still answers.
        const auto other = newProfile("Empty");
        const auto signedOut = askClaude(other->configDirPath);
        QVERIFY(signedOut);
        QVERIFY(!signedOut->loggedIn);
        QVERIFY(!signedOut->email);
    }

    void signInTimeNeverMovesBackwards_data()
    {
        QTest::addColumn<int>("recordedDaysFromNow");
        QTest::newRow("none recorded") << 0;
        QTest::newRow("recorded in the past") << -3;
        QTest::newRow("recorded ahead of the clock") << 3;
    }

    void signInTimeNeverMovesBackwards()
    {
        QFETCH(int, recordedDaysFromNow);
        const auto profile = newProfile("Work");
        writeKeyHelperSettings(profile->configDirPath, 9, "sk-ant-work");
        const QDateTime before = QDateTime::currentDateTime();
        std::optional<QDateTime> recorded;
        if (recordedDaysFromNow != 0)
            recorded = before.addDays(recordedDaysFromNow);
        profile->lastLoginAt = recorded;
        QVERIFY(m_store->mainContext().save().ok());

        bool done = false;
        m_service->refreshAccountInfo(profile, [&](std::optional<AuthStatus>) { done = true; });
        QTRY_VERIFY_WITH_TIMEOUT(done, 60000);
        QVERIFY(profile->lastLoginAt);
        if (recordedDaysFromNow > 0)
            QCOMPARE(*profile->lastLoginAt, *recorded);
        else
            QVERIFY(*profile->lastLoginAt >= before);
        auto reread = m_store->newContext();
        QCOMPARE(reread->get<Profile>(profile->id)->lastLoginAt, profile->lastLoginAt);
    }

    void missingClaudeAnswersNothing()
    {
        m_service->setClaudePath(m_env->path("no/such/claude"));
        QVERIFY(!askClaude(std::nullopt));
        const auto profile = newProfile("Work");
        bool done = false;
        m_service->refreshAccountInfo(profile, [&](std::optional<AuthStatus> status) { done = !status; });
        QVERIFY(done);
        QVERIFY(!profile->lastLoginAt);
    }

    void ambientKeyReachesOnlyTheDefaultProfile()
    {
        // Both folders could sign in through their helper; only the default may see our key.
        qputenv("ANTHROPIC_API_KEY", "sk-ant-ambient");
        writeKeyHelperSettings(QDir::homePath() + "/.claude", 9, "sk-ant-default");
        const auto profile = newProfile("Work");
        writeKeyHelperSettings(profile->configDirPath, 9, "sk-ant-work");

        const auto ambient = askClaude(std::nullopt);
        QVERIFY(ambient && ambient->loggedIn);
        QCOMPARE(ambient->apiKeySource.value_or(QString()), QStringLiteral("ANTHROPIC_API_KEY"));
        const auto own = askClaude(profile->configDirPath);
        QVERIFY(own && own->loggedIn);
        QCOMPARE(own->apiKeySource.value_or(QString()), QStringLiteral("apiKeyHelper"));
    }

    void twoProfilesKeepTheirFilesApart()
    {
        test::FakeModel model(QStringLiteral("plain_text.json"));
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        const auto work = newProfile("Work");
        const auto home = newProfile("Home");
        writeKeyHelperSettings(work->configDirPath, model.port(), "sk-ant-work");
        writeKeyHelperSettings(home->configDirPath, model.port(), "sk-ant-home");
        QDir().mkpath(m_env->path("repo"));

        // Our environment points at yet another folder and carries a key: neither may leak.
        QProcessEnvironment base = QProcessEnvironment::systemEnvironment();
        base.insert("ANTHROPIC_API_KEY", "sk-ant-ambient");
        base.insert("CLAUDE_CONFIG_DIR", model.configDir());
        base.insert("IS_SANDBOX", "1");
        QHash<QString, QByteArray> sessions;
        for (const auto &profile : {work, home}) {
            ProcessCommand command;
            command.program = test::FakeModel::claudePath();
            command.arguments = {"-p", "hello from " + profile->name, "--output-format", "json"};
            command.workingDirectory = m_env->path("repo");
            command.environment = claudeEnvironment(base, profile.get());
            QVERIFY(!command.environment.contains("ANTHROPIC_API_KEY"));
            auto ran = ChildProcess::runSync(command, {}, 120000);
            QVERIFY2(ran.ok(), ran ? "" : qPrintable(ran.error().message));
            QVERIFY2(ran->exitCode == 0, ran->errorOutput.constData());
            const QJsonObject result = QJsonDocument::fromJson(ran->output).object();
            QVERIFY2(!result.value("is_error").toBool(true), ran->output.constData());
            sessions[profile->name] = result.value("session_id").toString().toUtf8();
            QVERIFY(!sessions[profile->name].isEmpty());
        }

        QVERIFY(!filesMentioning(work->configDirPath, sessions["Work"]).isEmpty());
        QVERIFY(!filesMentioning(home->configDirPath, sessions["Home"]).isEmpty());
        QCOMPARE(filesMentioning(work->configDirPath, sessions["Home"]), QStringList());
        QCOMPARE(filesMentioning(home->configDirPath, sessions["Work"]), QStringList());
        QCOMPARE(filesMentioning(work->configDirPath, "hello from Home"), QStringList());
        QCOMPARE(filesMentioning(home->configDirPath, "hello from Work"), QStringList());
        QCOMPARE(filesMentioning(model.configDir(), sessions["Work"]), QStringList());
        QCOMPARE(filesMentioning(model.configDir(), sessions["Home"]), QStringList());
    }

    void ambientOpenAIKeyReachesOnlyTheDefaultProfile()
    {
        if (codexPath().isEmpty())
            QSKIP("the pinned codex is not installed under .deps/npm (run scripts/setup.sh)");
        test::FakeModel model(QStringLiteral("plain_text.json"));
        QVERIFY2(model.isRunning(), qPrintable(model.error()));
        // A provider that takes its key from OPENAI_API_KEY: codex names the variable when it is
        // missing, and otherwise goes on to ask the server (which has no such endpoint).
        const QByteArray config = QStringLiteral("model_provider = \"probe\"\nmodel = \"gpt-test\"\n"
                                                 "[model_providers.probe]\nname = \"probe\"\n"
                                                 "base_url = \"http://127.0.0.1:%1/v1\"\nwire_api = \"responses\"\n"
                                                 "env_key = \"OPENAI_API_KEY\"\nrequest_max_retries = 0\n"
                                                 "stream_max_retries = 0\n").arg(model.port()).toUtf8();
        const auto work = newProfile("Work");
        QVERIFY(test::writeFile(*work->codexHomeDir + "/config.toml", config));
        QVERIFY(test::writeFile(QDir::homePath() + "/.codex/config.toml", config));
        const auto fallback = m_service->defaultProfile();
        QDir().mkpath(m_env->path("repo"));

        QProcessEnvironment base = QProcessEnvironment::systemEnvironment();
        base.insert("OPENAI_API_KEY", "sk-ambient");
        const QByteArray missing = "Missing environment variable: `OPENAI_API_KEY`";
        for (const auto &profile : {work, fallback}) {
            ProcessCommand command;
            command.program = codexPath();
            command.arguments = {"exec", "--json", "--skip-git-repo-check", "--", "hi"};
            command.workingDirectory = m_env->path("repo");
            command.environment = codexEnvironment(base, profile.get());
            auto ran = ChildProcess::runSync(command, {}, 120000);
            QVERIFY2(ran.ok(), ran ? "" : qPrintable(ran.error().message));
            QCOMPARE(ran->output.contains(missing), !profile->isDefault);
        }
    }

    void codexAcceptsTheKeyFileWeWrite()
    {
        if (codexPath().isEmpty())
            QSKIP("the pinned codex is not installed under .deps/npm (run scripts/setup.sh)");
        const auto work = newProfile("Work");
        QVERIFY(m_service->saveCodexApiKey(work, "sk-proj-work").ok());
        ProcessCommand command;
        command.program = codexPath();
        command.arguments = {"login", "status"};
        command.environment = codexEnvironment(QProcessEnvironment::systemEnvironment(), work.get());
        auto ran = ChildProcess::runSync(command, {}, 60000);
        QVERIFY(ran.ok());
        QCOMPARE(ran->exitCode, 0);
        QVERIFY2((ran->output + ran->errorOutput).contains("API key configured"), ran->output.constData());
    }
};

QTEST_GUILESS_MAIN(ProfileToolsTest)
#include "tst_profile_tools.moc"
