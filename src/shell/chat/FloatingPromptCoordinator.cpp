#include "shell/chat/FloatingPromptCoordinator.h"

#include "agent/session/SessionManager.h"
#include "shell/chat/FloatingPromptWindow.h"

namespace corvane {

FloatingPromptCoordinator::FloatingPromptCoordinator(SessionManager &sessions, QObject *parent)
    : QObject(parent), m_sessions(sessions)
{
    for (const QUuid &id : sessions.sessionIds())
        watch(sessions.existingSession(id));
    connect(&sessions, &SessionManager::sessionCreated, this, &FloatingPromptCoordinator::watch);
}

FloatingPromptCoordinator::~FloatingPromptCoordinator()
{
    for (const QPointer<FloatingPromptWindow> &window : std::as_const(m_windows))
        delete window.data();
}

void FloatingPromptCoordinator::watch(ChatSession *session)
{
    if (!session)
        return;
    QPointer<ChatSession> guarded(session);
    connect(session, &ChatSession::floatingPromptRequested, this, [this, guarded](const QUuid &, const QString &key) {
        if (guarded)
            open(guarded, key);
    });
    connect(session, &ChatSession::promptClosed, this, &FloatingPromptCoordinator::close);
    const QUuid chatId = session->chatId();
    connect(session, &QObject::destroyed, this, [this, chatId] { closePromptsOf(chatId); });
}

void FloatingPromptCoordinator::open(ChatSession *session, const QString &key)
{
    // The session asks from inside an agent event: the window opens from the event loop.
    QPointer<ChatSession> guarded(session);
    QMetaObject::invokeMethod(this, [this, guarded, key] {
        if (!guarded || guarded->hasView())
            return;
        close(guarded->chatId(), key);
        auto *window = new FloatingPromptWindow(*guarded, key);
        m_windows.insert({guarded->chatId(), key}, window);
        window->show();
        window->raise();
        window->activateWindow();
    }, Qt::QueuedConnection);
}

void FloatingPromptCoordinator::close(const QUuid &chatId, const QString &key)
{
    if (QPointer<FloatingPromptWindow> window = m_windows.take({chatId, key}))
        window->close();
}

void FloatingPromptCoordinator::closePromptsOf(const QUuid &chatId)
{
    for (auto it = m_windows.begin(); it != m_windows.end();) {
        if (it.key().first == chatId) {
            if (it.value())
                it.value()->close();
            it = m_windows.erase(it);
        } else {
            ++it;
        }
    }
}

FloatingPromptWindow *FloatingPromptCoordinator::window(const QUuid &chatId, const QString &key) const
{
    return m_windows.value({chatId, key});
}

QList<FloatingPromptWindow *> FloatingPromptCoordinator::windows() const
{
    QList<FloatingPromptWindow *> out;
    for (const QPointer<FloatingPromptWindow> &window : m_windows)
        if (window)
            out << window;
    return out;
}

} // namespace corvane
