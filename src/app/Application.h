#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QUuid>

#include <functional>
#include <memory>

namespace corvane {

class AgentDefinitionsService;
class AutomatedAgentOrchestrator;
class CoordinatorBridge;
class AgentServices;
class AutomationFlowsService;
class PlannerService;
class SkillsService;
struct ToolServices;
class BranchSync;
class WorkspaceLifecycleService;
class ArchiveCleanupService;
class ProfileService;
class ProfileAuthMonitor;
class AppSettings;
class MainWindow;
class PreferencesStore;
class NotificationCenter;
class OnboardingWindow;
class Store;
class TerminalService;
class OpenFileService;
namespace store { class MessageSearchFiller; }

// The composition root: creates the services in order at start, opens the first window, and
// takes them down in reverse order at quit.
class Application : public QObject
{
    Q_OBJECT

public:
    explicit Application(NotificationCenter &center);
    ~Application() override;

    // Runs the start-up sequence; false when the store could not be opened at all (the reason
    // has been shown to the user).
    bool start();

    MainWindow *openMainWindow();
    QList<MainWindow *> windows() const;

signals:
    // After the first window has been shown (used to measure start-up).
    void firstWindowShown();

private:
    void startDefinitionServices();
    void startAutomation();
    void openOnboarding();
    void connectAgents(MainWindow &window);
    void showChat(const QUuid &chatId);
    void shutdown();
    void watchShownWorkspace(MainWindow &window);

    NotificationCenter &m_center;
    std::shared_ptr<Store> m_store;
    QList<QPointer<MainWindow>> m_windows;
    QPointer<OnboardingWindow> m_onboarding;
    std::unique_ptr<PreferencesStore> m_preferences;
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<AgentServices> m_agents;
    std::unique_ptr<BranchSync> m_branchSync;
    std::unique_ptr<WorkspaceLifecycleService> m_lifecycle;
    std::unique_ptr<ArchiveCleanupService> m_archiveCleanup;
    std::unique_ptr<ProfileService> m_profiles;
    std::unique_ptr<ProfileAuthMonitor> m_authMonitor;
    std::unique_ptr<AutomationFlowsService> m_flows;
    std::unique_ptr<AgentDefinitionsService> m_agentDefinitions;
    std::unique_ptr<SkillsService> m_skills;
    std::unique_ptr<PlannerService> m_planner;
    std::unique_ptr<ToolServices> m_definitions;
    std::unique_ptr<AutomatedAgentOrchestrator> m_orchestrator;
    std::unique_ptr<CoordinatorBridge> m_coordinators;
    std::unique_ptr<TerminalService> m_terminals;
    std::unique_ptr<OpenFileService> m_openFiles;
    std::unique_ptr<store::MessageSearchFiller> m_searchFiller;
    int m_windowCounter = 0;
    bool m_shownFirst = false;
};

} // namespace corvane
