#pragma once

// One chat in a fresh store, driven through ChatController and ChatSession against the real
// claude and the scripted model stand-in, the way the window drives it.
#include "agent/AgentModelCatalogue.h"
#include "agent/claude/ClaudeSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "support/ChatFixture.h"
#include "support/FakeModel.h"
#include "support/TestEnvironment.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QSignalSpy>
#include <QTest>

namespace corvane::test {

class ClaudeChatHarness
{
public:
    explicit ClaudeChatHarness(const QString &scenario, QStringList vars = {})
        : m_store(Store::open(m_env.path("Corvane.store")).value())
        , m_folder(m_env.path("repo"))
        , m_model(scenario, withWorkdir(vars, m_env.path("repo")))
    {
        QDir().mkpath(m_folder);
        m_chatId = insertChat(*m_store, m_folder);
        m_session = std::make_unique<ChatSession>(m_chatId, "Test chat", m_folder, *m_store);
        m_session->setSaveInterval(200);
        m_done = std::make_unique<QSignalSpy>(m_session.get(), &ChatSession::turnCompleted);
        m_failed = std::make_unique<QSignalSpy>(m_session.get(), &ChatSession::turnFailed);
    }

    bool ok() const { return m_model.isRunning(); }
    QString error() const { return m_model.error(); }
    ChatSession &session() { return *m_session; }
    ChatController &controller() { return m_controller; }
    Store &store() { return *m_store; }
    QString folder() const { return m_folder; }
    FakeModel &model() { return m_model; }
    QUuid chatId() const { return m_chatId; }

    // Sends without waiting.
    bool start(const QString &text, PermissionMode mode)
    {
        const auto sonnet = *AgentModelCatalogue::byId("claude:claude-sonnet-4-6");
        return m_controller.sendMessage(*m_session, text, {}, sonnet, mode).ok();
    }

    // Waits until the turn ends; true when it completed.
    bool waitForTurn(int timeoutMs = 60000)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (m_done->count() + m_failed->count() == m_turnsSeen && !deadline.hasExpired())
            QTest::qWait(20);
        const bool completed = m_done->count() > m_completedSeen;
        m_turnsSeen = m_done->count() + m_failed->count();
        m_completedSeen = m_done->count();
        return completed;
    }

    QList<std::shared_ptr<Message>> stored() { return storedMessages(*m_store, m_chatId); }
    QList<std::shared_ptr<Message>> storedOfType(MessageContentType type)
    {
        return only(stored(), [type](const Message &m) { return m.contentType == type; });
    }
    QStringList systemTexts()
    {
        return contentsOf(only(stored(), [](const Message &m) { return m.role == MessageRole::system; }));
    }

private:
    static QStringList withWorkdir(QStringList vars, const QString &folder)
    {
        vars << QStringLiteral("WORKDIR=") + folder;
        return vars;
    }

    std::unique_ptr<AgentAdapter> makeAdapter()
    {
        auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, FakeModel::claudePath()));
        adapter->setExtraEnvironment(m_model.claudeEnvironment());
        return adapter;
    }

    TestEnvironment m_env;
    std::shared_ptr<Store> m_store;
    QString m_folder;
    FakeModel m_model;
    QUuid m_chatId;
    std::unique_ptr<ChatSession> m_session;
    ChatController m_controller{[this](AgentType) { return makeAdapter(); }};
    std::unique_ptr<QSignalSpy> m_done;
    std::unique_ptr<QSignalSpy> m_failed;
    int m_turnsSeen = 0;
    int m_completedSeen = 0;
};

} // namespace corvane::test
