#pragma once

// What the chat tests share: a fresh store with one chat whose folder is "repo", new sessions on
// it, sending a message and waiting for the turn's end, and what the store then holds. Agent
// tests derive from it next to QObject and add only how their agent is made.
#include "agent/AgentModelDescriptor.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
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
    StoreContext &ctx = store.mainContext();
    Project project;
    project.name = QStringLiteral("repo");
    project.path = folder;
    Workspace workspace;
    workspace.name = QStringLiteral("repo");
    workspace.projectId = project.id;
    Chat chat;
    chat.name = name;
    chat.projectId = project.id;
    chat.workspaceId = workspace.id;
    ctx.insert(project);
    ctx.insert(workspace);
    ctx.insert(chat);
    (void)ctx.save();
    return chat.id;
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

    QList<std::shared_ptr<Message>> stored()
    {
        return m_store->newContext()->fetchOrEmpty<Message>(Query(where::eq("chatId", m_chatId)).orderBy("timestamp"));
    }
    QList<std::shared_ptr<Message>> storedWith(MessageRole role)
    {
        QList<std::shared_ptr<Message>> out;
        for (const auto &m : stored())
            if (m->role == role)
                out << m;
        return out;
    }
    QStringList textsOf(MessageRole role)
    {
        QStringList out;
        for (const auto &m : storedWith(role))
            out << m->content;
        return out;
    }
    QStringList assistantTexts() { return textsOf(MessageRole::assistant); }
    std::shared_ptr<Chat> storedChat() { return m_store->newContext()->get<Chat>(m_chatId); }

    std::unique_ptr<TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    QUuid m_chatId;
    QString m_folder;
};

} // namespace corvane::test
