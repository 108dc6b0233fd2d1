// The registry of live sessions: one session per chat, broadcasts only on real changes, and no
// agent process outliving shutdown.
#include "ClaudeChatHarness.h"

#include "agent/session/SessionManager.h"
#include "core/NotificationCenter.h"

#include <csignal>

using namespace corvane;

class SessionManagerTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;

    int count(const QList<Notification> &posts, const QString &name) const
    {
        return int(std::count_if(posts.cbegin(), posts.cend(), [&](const Notification &n) { return n.name == name; }));
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_store = Store::open(m_env->path("Corvane.store")).value();
    }

    void cleanup()
    {
        m_store.reset();
        m_env.reset();
    }

    void oneSessionPerChatAndOnePost()
    {
        NotificationCenter center;
        QList<Notification> posts;
        center.addObserver("chatSessionDidChange", [&](const Notification &n) { posts << n; });
        SessionManager sessions(*m_store, center);
        const QUuid chat = QUuid::createUuid();
        QCOMPARE(sessions.activityState(chat), ChatActivityState::idle);
        ChatSession *first = sessions.session(chat, "A chat", m_env->path("repo"));
        QCOMPARE(sessions.session(chat, "A chat", m_env->path("repo")), first);
        QVERIFY(posts.isEmpty()); // posted from the event loop, never from inside the call
        QTRY_COMPARE(posts.size(), 1);
        QCOMPARE(posts.first().payload.value("hasSession").toBool(), true);
        QCOMPARE(posts.first().payload.value("chatId").toUuid(), chat);

        sessions.closeSession(QUuid::createUuid()); // unknown: logged, nothing posted
        sessions.closeSession(chat);
        QTRY_COMPARE(posts.size(), 2);
        QCOMPARE(posts.last().payload.value("hasSession").toBool(), false);
        QVERIFY(!sessions.hasSession(chat));
    }

    void activityChangesAreBroadcastOnce()
    {
        NotificationCenter center;
        QList<Notification> posts;
        center.addObserver("chatActivityStateDidChange", [&](const Notification &n) { posts << n; });
        SessionManager sessions(*m_store, center);
        ChatSession *session = sessions.session(QUuid::createUuid(), "A chat", m_env->path("repo"));
        session->didStartThinking();
        session->didReceiveText("Hello"); // still processing: no second post
        session->didComplete(AgentResult{});
        QTRY_COMPARE(posts.size(), 2);
        QTest::qWait(20);
        QCOMPARE(posts.size(), 2);
        QCOMPARE(posts.first().payload.value("state").toString(), QString("processing"));
        QCOMPARE(posts.first().sender, static_cast<const void *>(session));
    }

    void activeChatsAreCounted()
    {
        NotificationCenter center;
        SessionManager sessions(*m_store, center);
        const QUuid chat = QUuid::createUuid();
        QVERIFY(sessions.markChatActive(chat));
        QVERIFY(!sessions.markChatActive(chat));
        sessions.markChatInactive(chat);
        QVERIFY(!sessions.isChatActive(chat));
    }

    void shutdownEndsEveryAgentProcess()
    {
        if (test::FakeModel::claudePath().isEmpty())
            QSKIP("the pinned claude is not installed: run scripts/setup.sh");
        test::ClaudeChatHarness chat("two_turns.json");
        QVERIFY2(chat.ok(), qPrintable(chat.error()));
        NotificationCenter center;
        SessionManager sessions(chat.store(), center);
        ChatSession *session = sessions.session(chat.chatId(), "Test chat", chat.folder());
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        QSignalSpy done(session, &ChatSession::turnCompleted);
        QVERIFY(chat.controller().sendMessage(*session, "first question", {}, sonnet, PermissionMode::ask).ok());
        QVERIFY(done.wait(60000));
        auto *adapter = dynamic_cast<ClaudeSDKService *>(session->adapter());
        QVERIFY(adapter);
        const qint64 pid = adapter->processId();
        QVERIFY(pid > 0);
        sessions.shutdown();
        QVERIFY(!sessions.hasSession(chat.chatId()));
        QTRY_VERIFY_WITH_TIMEOUT(::kill(pid_t(pid), 0) != 0, 10000);
    }
};

QTEST_GUILESS_MAIN(SessionManagerTest)
#include "tst_session_manager.moc"
