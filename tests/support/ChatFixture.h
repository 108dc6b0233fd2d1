#pragma once

// What the chat tests share: a fresh store with one chat whose folder is "repo", new sessions on
// it, sending a message and waiting for the turn's end, and what the store then holds. Agent
// tests derive from it next to QObject and add only how their agent is made.
#include "agent/AgentModelDescriptor.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <functional>
#include <memory>

namespace corvane::test {

// A project for `folder` with one workspace and one chat; the chat's id.
inline QUuid insertChat(Store &store, const QString &folder, const QString &name = QStringLiteral("Test chat"))
{
    return insertPlace(store.mainContext(), folder, name).chatId;
}

// The chat's stored messages, oldest first, read through a context of their own.
inline QList<std::shared_ptr<Message>> storedMessages(Store &store, const QUuid &chatId)
{
    return store.newContext()->fetchOrEmpty<Message>(Query(where::eq("chatId", chatId)).orderBy("timestamp"));
}

template <typename Keep>
QList<std::shared_ptr<Message>> only(const QList<std::shared_ptr<Message>> &rows, Keep keep)
{
    QList<std::shared_ptr<Message>> out;
    for (const auto &m : rows)
        if (keep(*m))
            out << m;
    return out;
}

inline QStringList contentsOf(const QList<std::shared_ptr<Message>> &rows)
{
    QStringList out;
    for (const auto &m : rows)
        out << m->content;
    return out;
}

// How one turn ended.
struct TurnOutcome
{
    bool completed = false;
    QString failure;
    int failures = 0;
};

// Sends `text` and waits until the turn ends either way; `during` runs once the turn has started.
inline TurnOutcome sendAndWait(ChatSession &session, ChatController &chat, const QString &text,
                               const AgentModelDescriptor &model, PermissionMode mode,
                               const QList<Attachment> &attachments = {}, const std::function<void()> &during = {},
                               int timeoutMs = 60000)
{
    TurnOutcome turn;
    QSignalSpy done(&session, &ChatSession::turnCompleted);
    QSignalSpy failed(&session, &ChatSession::turnFailed);
    if (Status sent = chat.sendMessage(session, text, attachments, model, mode); !sent) {
        turn.failure = sent.error().message;
        return turn;
    }
    if (during)
        during();
    QDeadlineTimer deadline(timeoutMs);
    while (done.count() + failed.count() == 0 && !deadline.hasExpired())
        QTest::qWait(20);
    if (done.count() + failed.count() == 0)
        turn.failure = QStringLiteral("the turn did not end in time");
    turn.completed = done.count() > 0;
    turn.failures = int(failed.count());
    if (failed.count())
        turn.failure = failed.at(0).at(1).toString();
    return turn;
}

class ChatFixture
{
protected:
    // Call from init() and cleanup().
    void setUpChat()
    {
        m_env = std::make_unique<TestEnvironment>();
        m_store = Store::open(m_env->path("Corvane.store")).value();
        m_folder = m_env->path("repo");
        QDir().mkpath(m_folder);
        m_chatId = insertChat(*m_store, m_folder);
    }
    void tearDownChat()
    {
        m_store.reset();
        m_env.reset();
    }

    std::unique_ptr<ChatSession> newSession()
    {
        auto session = std::make_unique<ChatSession>(m_chatId, "Test chat", m_folder, *m_store);
        session->setSaveInterval(200);
        return session;
    }

    QList<std::shared_ptr<Message>> stored() { return storedMessages(*m_store, m_chatId); }
    QList<std::shared_ptr<Message>> storedWith(MessageRole role)
    {
        return only(stored(), [role](const Message &m) { return m.role == role; });
    }
    QStringList textsOf(MessageRole role) { return contentsOf(storedWith(role)); }
    QStringList assistantTexts() { return textsOf(MessageRole::assistant); }
    std::shared_ptr<Chat> storedChat() { return m_store->newContext()->get<Chat>(m_chatId); }

    std::unique_ptr<TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    QUuid m_chatId;
    QString m_folder;
};

} // namespace corvane::test
