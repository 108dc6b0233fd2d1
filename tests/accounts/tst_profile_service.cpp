#include "accounts/AuthStatus.h"
#include "accounts/ProfileRepairs.h"
#include "accounts/ProfileService.h"
#include "core/Broadcasts.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/CoreFiles.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <sys/stat.h>

using namespace corvane;

namespace {

QByteArray base64Url(const QByteArray &json)
{
    return json.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

// JSON written with single quotes, which keeps the rows readable.
QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

QStringList entriesOf(const QString &dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
}

std::shared_ptr<Project> addProject(StoreContext &context, const QString &path, const QUuid &profileId)
{
    Project project;
    project.name = QFileInfo(path).fileName();
    project.path = path;
    project.profileId = profileId;
    auto inserted = context.insert(project);
    if (!context.save().ok())
        qFatal("could not save a project");
    return inserted;
}

} // namespace

class ProfileServiceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    std::unique_ptr<NotificationCenter> m_center;
    std::unique_ptr<ProfileService> m_service;
    int m_posts = 0;

    StoreContext &context() { return m_store->mainContext(); }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        auto store = Store::open(paths::storeFile());
        QVERIFY2(store.ok(), store ? "" : qPrintable(store.error().message));
        m_store = store.value();
        m_center = std::make_unique<NotificationCenter>();
        m_posts = 0;
        m_center->addObserver(broadcast::profilesDidChange, [this](const Notification &) { ++m_posts; });
        m_service = std::make_unique<ProfileService>(context(), *m_center);
        profiles::ensureDefaultProfile(context());
    }

    void cleanup()
    {
        m_service.reset();
        m_store.reset();
        m_center.reset();
        m_env.reset();
    }

    void codexAuthFile_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("loggedIn");
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("authMode");

        const QByteArray payload = base64Url(json("{'email':'bo@example.com'}"));
        QVERIFY(payload.size() % 4 != 0); // the case only means something without padding
        QTest::newRow("key only") << json("{'auth_mode':'apikey','OPENAI_API_KEY':'sk-1'}") << true << QString() << QStringLiteral("apikey");
        QTest::newRow("empty id_token, no key")
            << json("{'tokens':{'id_token':''},'OPENAI_API_KEY':null}") << false << QString() << QString();
        QTest::newRow("unpadded token payload")
            << QByteArray(json("{'auth_mode':'chatgpt','tokens':{'id_token':'eyJhbGciOiJub25lIn0.") + payload + json(".sig'}}"))
            << true << QStringLiteral("bo@example.com") << QStringLiteral("chatgpt");
        QTest::newRow("token of one piece") << json("{'tokens':{'id_token':'opaque'}}") << true << QString() << QString();
        QTest::newRow("payload not base64") << json("{'tokens':{'id_token':'a.%%%.c'}}") << true << QString() << QString();
        QTest::newRow("empty key string") << json("{'auth_mode':'apikey','OPENAI_API_KEY':''}") << false << QString() << QStringLiteral("apikey");
        QTest::newRow("not an object") << QByteArray("[1,2]") << false << QString() << QString();
        QTest::newRow("truncated file") << json("{'OPENAI_API_KEY':'sk-") << false << QString() << QString();
    }

    void codexAuthFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(bool, loggedIn);
        QFETCH(QString, email);
        QFETCH(QString, authMode);
        const QString dir = m_env->path("codex");
        QVERIFY(test::writeFile(dir + "/auth.json", contents));
        const CodexAuthStatus status = ProfileService::fetchCodexAuthStatus(dir);
        QCOMPARE(status.loggedIn, loggedIn);
        QCOMPARE(status.email.value_or(QString()), email);
        QCOMPARE(status.authMode.value_or(QString()), authMode);
    }

    // A blank folder choice gets the profile a folder of its own under the profiles root; a chosen
    // one is used as given, while the codex home is always the profile's own.
    void configFolder_data()
    {
        QTest::addColumn<std::optional<QString>>("chosenDir");
        QTest::addColumn<QString>("expected"); // empty: the profile's own folder; "~": the test's home
        QTest::newRow("absent") << std::optional<QString>() << QString();
        QTest::newRow("empty") << std::optional<QString>(QString()) << QString();
        QTest::newRow("spaces and line ends") << std::optional<QString>(QStringLiteral("  \t\n ")) << QString();
        QTest::newRow("home folder with a tilde") << std::optional<QString>(QStringLiteral(" ~/.claude-work "))
                                                  << "~/.claude-work";
    }

    void configFolder()
    {
        QFETCH(std::optional<QString>, chosenDir);
        QFETCH(QString, expected);
        auto created = m_service->createProfile("  Work ", ProfileColor::green, std::nullopt, chosenDir);
        QVERIFY2(created.ok(), created ? "" : qPrintable(created.error().message));
        const auto &profile = *created;
        const QString own = ProfileService::profilesRootPath() + '/' + profile->id.toString(QUuid::WithoutBraces).toUpper();
        QCOMPARE(profile->name, QStringLiteral("Work"));
        QCOMPARE(profile->configDirPath, expected.isEmpty() ? own : expected.replace('~', QDir::homePath()));
        QVERIFY(QFileInfo(profile->configDirPath).isDir());
        QCOMPARE(profile->codexHomeDir.value_or(QString()), own + "/codex");
        QVERIFY(QFileInfo(own + "/codex").isDir());
        QCOMPARE(profile->colorHex.value_or(QString()), QStringLiteral("#30D158"));
        QCOMPARE(profile->sortOrder, qint64(1)); // after the default profile
        QVERIFY(!profile->isDefault);
        QCOMPARE(m_posts, 1);
    }

    void folderThatCannotBeMadeLeavesNothing()
    {
        // The profiles root is taken by a file: no folder can go under it.
        QVERIFY(test::writeFile(ProfileService::profilesRootPath(), {}));
        const QStringList before = entriesOf(paths::dataRoot());

        auto created = m_service->createProfile("Work", ProfileColor::red);
        QVERIFY(!created.ok());
        QVERIFY2(created.error().message.startsWith("Couldn't create the profile's folder: "), qPrintable(created.error().message));
        QVERIFY(created.error().message.contains(ProfileService::profilesRootPath()));
        QCOMPARE(m_service->fetchProfiles().size(), 1);
        QVERIFY(!context().hasChanges());
        QCOMPARE(entriesOf(paths::dataRoot()), before);
        QCOMPARE(m_posts, 0);
    }

    void deletingTheDefaultDoesNothing_data()
    {
        QTest::addColumn<bool>("deleteFiles");
        QTest::newRow("record only") << false;
        QTest::newRow("with files") << true;
    }

    void deletingTheDefaultDoesNothing()
    {
        QFETCH(bool, deleteFiles);
        const auto fallback = m_service->defaultProfile();
        QVERIFY(fallback);
        QDir().mkpath(fallback->configDirPath);
        QVERIFY(m_service->deleteProfile(fallback, deleteFiles).ok());
        QCOMPARE(m_service->fetchProfiles().size(), 1);
        QVERIFY(QFileInfo(fallback->configDirPath).isDir());
        QCOMPARE(m_posts, 0);
    }

    void deletedProfilesProjectsMoveToTheDefault_data()
    {
        QTest::addColumn<bool>("deleteFiles");
        QTest::addColumn<bool>("overrideFolder");
        QTest::newRow("keep files") << false << false;
        QTest::newRow("remove files") << true << false;
        QTest::newRow("remove files of a chosen folder") << true << true;
    }

    void deletedProfilesProjectsMoveToTheDefault()
    {
        QFETCH(bool, deleteFiles);
        QFETCH(bool, overrideFolder);
        const auto fallback = m_service->defaultProfile();
        auto created = m_service->createProfile("Work", ProfileColor::blue, std::nullopt,
                                                overrideFolder ? std::optional<QString>(m_env->path("chosen")) : std::nullopt);
        QVERIFY(created.ok());
        const auto profile = *created;
        const QString ownRoot = ProfileService::profilesRootPath() + '/' + profile->id.toString(QUuid::WithoutBraces).toUpper();
        QVERIFY(test::writeFile(profile->configDirPath + "/.credentials.json", "{}"));
        addProject(context(), m_env->path("a"), profile->id);
        addProject(context(), m_env->path("b"), fallback->id);
        m_posts = 0;

        std::optional<Status> filesRemoved;
        QVERIFY(m_service->deleteProfile(profile, deleteFiles, [&](Status s) { filesRemoved = s; }).ok());
        if (deleteFiles)
            QTRY_VERIFY(filesRemoved && filesRemoved->ok());

        auto reread = m_store->newContext();
        const auto projects = reread->fetchOrEmpty<Project>(Query().orderBy("name"));
        QCOMPARE(projects.size(), 2);
        for (const auto &project : projects)
            QCOMPARE(project->profileId, std::optional<QUuid>(fallback->id));
        QCOMPARE(reread->fetchOrEmpty<Profile>().size(), 1);
        QCOMPARE(QFileInfo::exists(profile->configDirPath), !deleteFiles);
        QCOMPARE(QFileInfo::exists(ownRoot), !deleteFiles);
        QCOMPARE(m_posts, 1);
    }

    void profileByName_data()
    {
        QTest::addColumn<QString>("asked");
        QTest::addColumn<QString>("found");
        QTest::newRow("exact") << QStringLiteral("Work") << QStringLiteral("Work");
        QTest::newRow("case and spaces") << QStringLiteral("  wORK ") << QStringLiteral("Work");
        QTest::newRow("ambiguous") << QStringLiteral("Twin") << QString();
        QTest::newRow("unknown") << QStringLiteral("Nope") << QString();
        QTest::newRow("blank") << QStringLiteral(" ") << QString();
    }

    void profileByName()
    {
        QFETCH(QString, asked);
        QFETCH(QString, found);
        QVERIFY(m_service->createProfile("Work", ProfileColor::blue).ok());
        QVERIFY(m_service->createProfile("Twin", ProfileColor::blue).ok());
        QVERIFY(m_service->createProfile("twin", ProfileColor::red).ok());
        const auto profile = m_service->profileNamed(asked);
        QCOMPARE(profile ? profile->name : QString(), found);
    }

    void apiKeyFileIsPrivateAndExact()
    {
        auto created = m_service->createProfile("Work", ProfileColor::blue);
        QVERIFY(created.ok());
        const auto profile = *created;
        profile->codexAccountEmail = QStringLiteral("old@example.com");
        const QDateTime future = QDateTime::currentDateTime().addDays(2);
        profile->codexLastLoginAt = future;
        QVERIFY(m_service->saveCodexApiKey(profile, "  sk-proj-123\n").ok());

        const QString path = *profile->codexHomeDir + "/auth.json";
        struct stat info;
        QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777, mode_t(0600));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject written = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(written.keys(), QStringList({"OPENAI_API_KEY", "auth_mode", "tokens"}));
        QCOMPARE(written.value("OPENAI_API_KEY").toString(), QStringLiteral("sk-proj-123"));
        QCOMPARE(written.value("auth_mode").toString(), QStringLiteral("apikey"));
        QVERIFY(written.value("tokens").isNull());
        QVERIFY(!profile->codexAccountEmail);
        QCOMPARE(*profile->codexLastLoginAt, future); // never earlier than what was recorded
    }

    void blankApiKeyWritesNothing()
    {
        auto created = m_service->createProfile("Work", ProfileColor::blue);
        QVERIFY(created.ok());
        const Status saved = m_service->saveCodexApiKey(*created, " \n ");
        QVERIFY(!saved.ok());
        QVERIFY(saved.error().message.startsWith("Couldn't write auth.json: "));
        QVERIFY(!QFileInfo::exists(*(*created)->codexHomeDir + "/auth.json"));
        QVERIFY(!(*created)->codexLastLoginAt);
    }
};

QTEST_GUILESS_MAIN(ProfileServiceTest)
#include "tst_profile_service.moc"
