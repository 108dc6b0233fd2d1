#pragma once

#include "agent/session/ChatSession.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUuid>

#include <functional>
#include <memory>

namespace corvane {

class BackgroundNotifier;
class NotificationCenter;
class Store;

QString toRaw(ChatActivityState state);

// The registry of what outlives a view: one live ChatSession per chat, and one repository monitor
// per workspace. A chat keeps running while the window shows something else; a window only
// attaches to and detaches from the session. Lives on the main thread, like the sessions.
//
// Broadcasts: broadcast::ChatSessionChanged when a session is created or closed, and
// broadcast::ChatActivityChanged (the state as toRaw() text) on every real change of a session's
// activity. Both are posted from the event loop, never from inside the call that caused them.
class SessionManager : public QObject
{
    Q_OBJECT

public:
    explicit SessionManager(Store &store, NotificationCenter &center, QObject *parent = nullptr);
    ~SessionManager() override;

    // Told of background completions, questions and permission requests; not owned.
    void setNotifier(BackgroundNotifier *notifier) { m_notifier = notifier; }

    // The chat's session, created on first request.
    ChatSession *session(const QUuid &chatId, const QString &chatName, const QString &workingDirectory);
    ChatSession *existingSession(const QUuid &chatId) const { return m_sessions.value(chatId).get(); }
    bool hasSession(const QUuid &chatId) const { return m_sessions.contains(chatId); }
    QList<QUuid> sessionIds() const { return m_sessions.keys(); }
    // Ends the chat's agent process and forgets the session (chat closed, archived or deleted,
    // its workspace closed or moved to another profile).
    void closeSession(const QUuid &chatId);

    // Chats some window has on display; answers whether it was newly inserted.
    bool markChatActive(const QUuid &chatId);
    void markChatInactive(const QUuid &chatId) { m_activeChatIds.remove(chatId); }
    bool isChatActive(const QUuid &chatId) const { return m_activeChatIds.contains(chatId); }

    ChatActivityState activityState(const QUuid &chatId) const;

    // One repository monitor per workspace, made by the factory on first request and started by
    // it; the registry only owns it. Kept generic so this library need not know git.
    using MonitorFactory = std::function<QObject *(const QUuid &workspaceId, const QString &path)>;
    void setGitMonitorFactory(MonitorFactory factory) { m_monitorFactory = std::move(factory); }
    QObject *gitMonitor(const QUuid &workspaceId, const QString &path);
    QObject *existingGitMonitor(const QUuid &workspaceId) const { return m_gitMonitors.value(workspaceId); }
    void removeGitMonitor(const QUuid &workspaceId);

    // Application end: every agent is asked to end (its input closes, so claude saves its
    // session), every monitor stops. The processes end in the background; see
    // ProcessReaper::drain() for waiting on them. Nothing else needs saving: sessions save as
    // they go.
    void shutdown();

signals:
    // A new live session, before anything can happen in it (for whoever shows its prompts).
    void sessionCreated(corvane::ChatSession *session);

private:
    template <typename Payload>
    void postAsync(const Payload &payload, const void *sender);

    Store &m_store;
    NotificationCenter &m_center;
    BackgroundNotifier *m_notifier = nullptr;
    QHash<QUuid, std::shared_ptr<ChatSession>> m_sessions;
    QSet<QUuid> m_activeChatIds;
    QHash<QUuid, QPointer<QObject>> m_gitMonitors;
    MonitorFactory m_monitorFactory;
};

} // namespace corvane
