#include "agent/session/SessionManager.h"

#include "core/Log.h"
#include "core/Broadcasts.h"

#include <QPointer>
#include <QTimer>

namespace corvane {

namespace {
const char *const Tag = "SessionManager";
}

QString toRaw(ChatActivityState state)
{
    switch (state) {
    case ChatActivityState::idle: return QStringLiteral("idle");
    case ChatActivityState::processing: return QStringLiteral("processing");
    case ChatActivityState::waitingForPermission: return QStringLiteral("waitingForPermission");
    case ChatActivityState::completed: return QStringLiteral("completed");
    }
    return QStringLiteral("idle");
}

SessionManager::SessionManager(Store &store, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_store(store), m_center(center)
{
}

SessionManager::~SessionManager()
{
    shutdown();
}

ChatSession *SessionManager::session(const QUuid &chatId, const QString &chatName, const QString &workingDirectory)
{
    if (auto existing = m_sessions.value(chatId))
        return existing.get();
    auto created = std::make_shared<ChatSession>(chatId, chatName, workingDirectory, m_store);
    created->setNotifier(m_notifier);
    ChatSession *raw = created.get();
    connect(raw, &ChatSession::activityStateChanged, this, [this, raw](const QUuid &id, ChatActivityState state) {
        postAsync(broadcast::ChatActivityChanged{id, toRaw(state)}, raw);
    });
    m_sessions.insert(chatId, created);
    emit sessionCreated(raw);
    postAsync(broadcast::ChatSessionChanged{chatId, true}, this);
    return created.get();
}

void SessionManager::closeSession(const QUuid &chatId)
{
    const std::shared_ptr<ChatSession> session = m_sessions.take(chatId);
    m_activeChatIds.remove(chatId);
    if (!session) {
        logLine(Tag, QStringLiteral("closeSession: no session found for ") + chatId.toString(QUuid::WithoutBraces));
        return;
    }
    logLine(Tag, QStringLiteral("closeSession: %1 (%2), remaining sessions=%3")
                     .arg(session->chatName(), chatId.toString(QUuid::WithoutBraces).left(6))
                     .arg(m_sessions.size()));
    session->disconnect(this);
    session->cleanup();
    postAsync(broadcast::ChatSessionChanged{chatId, false}, this);
}

bool SessionManager::markChatActive(const QUuid &chatId)
{
    if (m_activeChatIds.contains(chatId))
        return false;
    m_activeChatIds.insert(chatId);
    return true;
}

ChatActivityState SessionManager::activityState(const QUuid &chatId) const
{
    const auto session = m_sessions.value(chatId);
    return session ? session->activityState() : ChatActivityState::idle;
}

QObject *SessionManager::gitMonitor(const QUuid &workspaceId, const QString &path)
{
    if (QObject *existing = m_gitMonitors.value(workspaceId))
        return existing;
    if (!m_monitorFactory)
        return nullptr;
    QObject *monitor = m_monitorFactory(workspaceId, path);
    if (monitor) {
        monitor->setParent(this);
        m_gitMonitors.insert(workspaceId, monitor);
    }
    return monitor;
}

void SessionManager::removeGitMonitor(const QUuid &workspaceId)
{
    if (QPointer<QObject> monitor = m_gitMonitors.take(workspaceId))
        delete monitor.data();
}

void SessionManager::shutdown()
{
    const auto sessions = std::exchange(m_sessions, {});
    const auto monitors = std::exchange(m_gitMonitors, {});
    m_activeChatIds.clear();
    for (const auto &session : sessions) {
        session->disconnect(this);
        session->cleanup();
    }
    for (const QPointer<QObject> &monitor : monitors)
        delete monitor.data();
}

template <typename Payload>
void SessionManager::postAsync(const Payload &payload, const void *sender)
{
    // Observers redraw on these; posting from the event loop keeps them out of the session's own
    // call stack.
    QPointer<SessionManager> self(this);
    QTimer::singleShot(0, this, [self, payload, sender] {
        if (self)
            broadcast::post(self->m_center, payload, sender);
    });
}

} // namespace corvane
