#pragma once

#include <QObject>
#include <QUuid>

#include <memory>

namespace corvane {

class AppSettings;
class BackgroundNotificationService;
class ChatController;
class FloatingPromptCoordinator;
class NotificationCenter;
class SessionManager;
class Store;

// The agent side of the application, made once at start and taken down before the store: the
// registry of live chat sessions, the controller that starts agents for chats (claude or codex,
// at the paths the settings name), and the desktop notifications for chats nobody looks at.
class AgentServices : public QObject
{
    Q_OBJECT

public:
    AgentServices(Store &store, AppSettings &settings, NotificationCenter &center, QObject *parent = nullptr);
    ~AgentServices() override;

    SessionManager &sessions() { return *m_sessions; }
    ChatController &controller() { return *m_controller; }
    FloatingPromptCoordinator &floatingPrompts() { return *m_prompts; }

    // Every agent process ends; called at quit.
    void shutdown();

signals:
    // A click on a desktop notification: bring that chat up.
    void chatActivationRequested(const QUuid &chatId);

private:
    std::unique_ptr<BackgroundNotificationService> m_notifications;
    std::unique_ptr<SessionManager> m_sessions;
    std::unique_ptr<ChatController> m_controller;
    std::unique_ptr<FloatingPromptCoordinator> m_prompts;
};

} // namespace corvane
