// The sign-in monitor against a stand-in claude (a script answering from the profile's folder),
// real codex homes with their auth.json, and once against the real claude.
#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileRepairs.h"
#include "accounts/ProfileService.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/records/Profile.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/ClaudeStub.h"
#include "support/CoreFiles.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>
#include <QtTest>

using namespace corvane;
using Kind = AuthState::Kind;

Q_DECLARE_METATYPE(std::optional<QDateTime>)

namespace QTest {
template <>
char *toString(const AuthState &state)
{
    return qstrdup(qPrintable(describe(state)));
}
} // namespace QTest

class ProfileAuthMonitorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    NotificationCenter m_center;
    std::unique_ptr<ProfileService> m_service;
    std::unique_ptr<ProfileAuthMonitor> m_monitor;
    test::ClaudeStub m_stub;

    StoreContext &context() { return m_store->mainContext(); }

    std::shared_ptr<Profile> newProfile(const QString &name)
    {
        auto created = m_service->createProfile(name, ProfileColor::teal);
        if (!created)
            qFatal("%s", qPrintable(created.error().message));
        return *created;
    }

    // The record as a fresh reader of the store sees it.
    std::shared_ptr<Profile> stored(const QUuid &id) { return m_store->newContext()->get<Profile>(id); }

    bool settled() { return QTest::qWaitFor([this] { return m_monitor->inFlight().isEmpty(); }, 20000); }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        qunsetenv("CLAUDE_CONFIG_DIR");
        qunsetenv("ANTHROPIC_API_KEY");
        m_store = Store::open(paths::storeFile()).value();
        m_service = std::make_unique<ProfileService>(context(), m_center);
        profiles::ensureDefaultProfile(context());
        m_stub = test::ClaudeStub::write(m_env->root());
        QVERIFY(!m_stub.path.isEmpty());
        m_service->setClaudePath(m_stub.path);
        m_monitor = std::make_unique<ProfileAuthMonitor>(*m_service, context());
    }

    void cleanup()
    {
        m_monitor.reset();
        m_service.reset();
        m_store.reset();
        m_env.reset();
    }

    void unknownUntilChecked()
    {
        const auto work = newProfile("Work");
        QCOMPARE(m_monitor->state(work->id), AuthState());
        QCOMPARE(m_monitor->codexState(work->id), AuthState());
        QVERIFY(!m_monitor->isProbing(work->id));
    }

    // probeAll asks only what is not known; a sign-in sheet closing asks again regardless.
    void probeAllSkipsWhatIsKnown()
    {
        const auto out = newProfile("Out");
        const auto in = newProfile("In");
        QVERIFY(test::ClaudeStub::signedIn(in->configDirPath, "in@example.com"));
        m_monitor->probeAll({out, in});
        QCOMPARE(m_monitor->state(out->id).kind, Kind::probing);
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(out->id), AuthState::of(Kind::signedOut));
        QCOMPARE(m_monitor->state(in->id), AuthState::of(Kind::signedIn, "in@example.com"));
        QCOMPARE(m_monitor->codexState(out->id), AuthState::of(Kind::signedOut));
        QCOMPARE(stored(in->id)->accountEmail, std::optional<QString>("in@example.com"));
        QVERIFY(stored(in->id)->lastLoginAt);
        QVERIFY(!stored(out->id)->lastLoginAt);

        // Signed in meanwhile: probeAll doesn't look again.
        QVERIFY(test::ClaudeStub::signedIn(out->configDirPath, "out@example.com"));
        m_monitor->probeAll({out, in});
        QVERIFY(m_monitor->inFlight().isEmpty());
        QCOMPARE(test::ClaudeStub::calls(out->configDirPath), 1);
        QCOMPARE(m_monitor->state(out->id).kind, Kind::signedOut);

        // The sheet closing does.
        m_monitor->probeClaude(out);
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(out->id), AuthState::of(Kind::signedIn, "out@example.com"));
        QCOMPARE(test::ClaudeStub::calls(out->configDirPath), 2);
    }

    void defaultProfileAsksTheUsersOwnFolder()
    {
        const auto fallback = m_service->defaultProfile();
        QVERIFY(test::ClaudeStub::signedIn(QDir::homePath() + "/.claude", "me@example.com"));
        m_monitor->probeClaude(fallback);
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(fallback->id), AuthState::of(Kind::signedIn, "me@example.com"));
    }

    void secondProbeWhileOneRunsChangesNothing()
    {
        const auto work = newProfile("Work");
        QVERIFY(test::ClaudeStub::delay(work->configDirPath, 1));
        QVERIFY(test::ClaudeStub::signedIn(work->configDirPath, "w@example.com"));
        QSignalSpy changes(m_monitor.get(), &ProfileAuthMonitor::stateChanged);
        m_monitor->probeClaude(work);
        QCOMPARE(changes.count(), 1); // to probing
        m_monitor->probeClaude(work);
        m_monitor->probeAll({work});
        QCOMPARE(changes.count(), 1);
        QCOMPARE(m_monitor->inFlight(), QSet<QUuid>{work->id});
        QVERIFY(settled());
        QCOMPARE(changes.count(), 2);
        QCOMPARE(test::ClaudeStub::calls(work->configDirPath), 1);
    }

    void checksOfDifferentProfilesRunSideBySide()
    {
        const auto a = newProfile("A");
        const auto b = newProfile("B");
        for (const auto &p : {a, b})
            QVERIFY(test::ClaudeStub::delay(p->configDirPath, 2));
        QElapsedTimer clock;
        clock.start();
        m_monitor->probeAll({a, b});
        QCOMPARE(m_monitor->inFlight().size(), 2);
        QVERIFY(settled());
        // One after the other they would take four seconds at least.
        QVERIFY2(clock.elapsed() < 3800, "the two checks ran one after the other");
    }

    // Absent differs from present: a signed-in answer without an email clears the stored one,
    // while codex, whose key names no account, keeps showing the email it last knew.
    void signedInWithoutEmail()
    {
        const auto work = newProfile("Work");
        work->accountEmail = QStringLiteral("old@example.com");
        work->codexAccountEmail = QStringLiteral("codex@example.com");
        QVERIFY(context().save());
        QVERIFY(test::ClaudeStub::signedIn(work->configDirPath));
        QVERIFY(test::writeFile(*work->codexHomeDir + "/auth.json", R"({"auth_mode":"apikey","OPENAI_API_KEY":"sk-1"})"));

        m_monitor->probeAll({work});
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(work->id), AuthState::of(Kind::signedIn));
        QCOMPARE(stored(work->id)->accountEmail, std::nullopt);
        QCOMPARE(m_monitor->codexState(work->id), AuthState::of(Kind::signedIn, "codex@example.com"));
        QCOMPARE(stored(work->id)->codexAccountEmail, std::optional<QString>("codex@example.com"));
        QVERIFY(stored(work->id)->codexLastLoginAt);
    }

    void codexTokenNamesTheAccount()
    {
        const auto work = newProfile("Work");
        const QByteArray payload = QByteArray(R"({"email":"gpt@example.com"})").toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
        QVERIFY(test::writeFile(*work->codexHomeDir + "/auth.json",
                                R"({"auth_mode":"chatgpt","tokens":{"id_token":"h.)" + payload + R"(.s"}})"));
        m_monitor->probeCodex(work);
        QCOMPARE(m_monitor->codexState(work->id), AuthState::of(Kind::signedIn, "gpt@example.com"));
        QCOMPARE(stored(work->id)->codexAccountEmail, std::optional<QString>("gpt@example.com"));

        // Signed out later: the state says so, the sign-in date stays.
        QVERIFY(QFile::remove(*work->codexHomeDir + "/auth.json"));
        m_monitor->probeCodex(work);
        QCOMPARE(m_monitor->codexState(work->id), AuthState::of(Kind::signedOut));
        QVERIFY(stored(work->id)->codexLastLoginAt);
    }

    void profileDeletedDuringACheck()
    {
        const auto work = newProfile("Work");
        QVERIFY(test::ClaudeStub::delay(work->configDirPath, 1));
        QVERIFY(test::ClaudeStub::signedIn(work->configDirPath, "gone@example.com"));
        m_monitor->probeClaude(work);
        QVERIFY(m_service->deleteProfile(work, false));
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(work->id), AuthState::of(Kind::signedIn, "gone@example.com"));
        QVERIFY(!stored(work->id));
        QVERIFY(!context().get<Profile>(work->id));
    }

    void unusableAnswerIsAnError_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("not json") << QByteArray("Please log in");
        QTest::newRow("an array") << QByteArray("[true]");
    }

    void unusableAnswerIsAnError()
    {
        QFETCH(QByteArray, answer);
        const auto work = newProfile("Work");
        QVERIFY(test::ClaudeStub::answer(work->configDirPath, answer));
        m_monitor->probeClaude(work);
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(work->id), AuthState::of(Kind::error));
    }

    void missingClaudeIsAnError()
    {
        m_service->setClaudePath(m_env->path("no/such/claude"));
        const auto work = newProfile("Work");
        m_monitor->probeClaude(work);
        QVERIFY(settled());
        QCOMPARE(m_monitor->state(work->id), AuthState::of(Kind::error));
        QVERIFY(!stored(work->id)->lastLoginAt);
    }

    void signInTimesOnlyMoveForward_data()
    {
        QTest::addColumn<int>("recordedDaysFromNow");
        QTest::newRow("none recorded") << 0;
        QTest::newRow("recorded yesterday") << -1;
        QTest::newRow("recorded ahead of the clock") << 2;
    }

    void signInTimesOnlyMoveForward()
    {
        QFETCH(int, recordedDaysFromNow);
        const auto work = newProfile("Work");
        const QDateTime before = QDateTime::currentDateTime();
        std::optional<QDateTime> recorded;
        if (recordedDaysFromNow != 0)
            recorded = before.addDays(recordedDaysFromNow);
        work->lastLoginAt = recorded;
        work->codexLastLoginAt = recorded;
        QVERIFY(context().save());
        QVERIFY(test::ClaudeStub::signedIn(work->configDirPath, "w@example.com"));
        QVERIFY(test::writeFile(*work->codexHomeDir + "/auth.json", R"({"OPENAI_API_KEY":"sk-1"})"));
        m_monitor->probeAll({work});
        QVERIFY(settled());
        const auto after = stored(work->id);
        for (const auto &when : {after->lastLoginAt, after->codexLastLoginAt}) {
            QVERIFY(when);
            if (recordedDaysFromNow > 0)
                QCOMPARE(when->toSecsSinceEpoch(), recorded->toSecsSinceEpoch());
            else
                QVERIFY(*when >= before.addSecs(-1));
        }
    }

    // The real claude in an empty folder: it exits 1 but still says loggedIn false.
    void realClaudeSignedOut()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed under .deps/npm (run scripts/setup.sh)");
        m_service->setClaudePath(test::FakeModel::claudePath());
        const auto work = newProfile("Empty");
        m_monitor->probeClaude(work);
        QVERIFY(QTest::qWaitFor([&] { return m_monitor->inFlight().isEmpty(); }, 60000));
        QCOMPARE(m_monitor->state(work->id), AuthState::of(Kind::signedOut));
    }
};

QTEST_GUILESS_MAIN(ProfileAuthMonitorTest)
#include "tst_profile_auth_monitor.moc"
