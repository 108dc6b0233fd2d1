#include "app/AgentServices.h"

#include "agent/claude/ClaudeSDKService.h"
#include "agent/codex/CodexSDKService.h"
#include "agent/runtime/ToolLocator.h"
#include "agent/session/ChatController.h"
#include "agent/session/SessionManager.h"
#include "core/Broadcasts.h"
#include "core/settings/AppSettings.h"
#include "shell/chat/FloatingPromptCoordinator.h"
#include "shell/notifications/BackgroundNotificationService.h"

namespace corvane {

AgentServices::AgentServices(Store &store, AppSettings &settings, NotificationCenter &center, QObject *parent)
    : QObject(parent)
    , m_notifications(std::make_unique<BackgroundNotificationService>())
    , m_sessions(std::make_unique<SessionManager>(store, center))
{
    m_sessions->setNotifier(m_notifications.get());
    // Prompts of chats no window shows open windows of their own, so no agent waits unseen.
    m_prompts = std::make_unique<FloatingPromptCoordinator>(*m_sessions);
    connect(m_notifications.get(), &BackgroundNotificationService::chatActivationRequested, this,
            &AgentServices::chatActivationRequested);
    // The tool is looked up at each start, so a path set in the settings (or a tool installed
    // meanwhile) counts from the next chat on.
    AppSettings *prefs = &settings;
    m_controller = std::make_unique<ChatController>([prefs](AgentType type) -> std::unique_ptr<AgentAdapter> {
        if (type == AgentType::codex)
            return std::make_unique<CodexSDKService>(locateTool(AgentTool::codex, prefs->codexPath()));
        return std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, prefs->claudePath()));
    });
    m_controller->setRenameObserver([&center](const QUuid &chatId) {
        broadcast::post(center, broadcast::ChatRenamed{chatId});
    });
}

AgentServices::~AgentServices()
{
    shutdown();
}

void AgentServices::shutdown()
{
    if (m_sessions)
        m_sessions->shutdown();
}

} // namespace corvane
