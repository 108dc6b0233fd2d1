#include "app/Application.h"

#include "agent/session/ChatSession.h"
#include "agent/session/SessionManager.h"
#include "agent/session/ChatController.h"
#include "accounts/ProfileAuthMonitor.h"
#include "accounts/ProfileService.h"
#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "accounts/onboarding/OnboardingValidator.h"
#include "app/AgentServices.h"
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "automation/CoordinatorBridge.h"
#include "planning/PlannerService.h"
#include "planning/SkillsService.h"
#include "shell/tools/ToolPages.h"
#include "shell/chat/ChatView.h"
#include "shell/chat/FloatingPromptCoordinator.h"
#include "core/window/WindowNavigator.h"
#include "source_control/retention/ArchiveCleanupService.h"
#include "source_control/workspaces/BranchSync.h"
#include "source_control/workspaces/SidebarViewModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "tools/editor/OpenFileService.h"
#include "tools/terminal/TerminalService.h"
#include "core/Analytics.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/window/WindowStateModel.h"
#include "app/OnboardingSignIn.h"
#include "app/SignInLauncher.h"
#include "app/StartupSequence.h"
#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/settings/AppSettings.h"
#include "core/process/ProcessReaper.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/MessageSearchFiller.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/Appearance.h"
#include "shell/OnboardingWindow.h"
#include "shell/window/MainWindow.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>

namespace corvane {

Application::Application(NotificationCenter &center) : m_center(center)
{
    connect(qApp, &QCoreApplication::aboutToQuit, this, &Application::shutdown);
}

Application::~Application()
{
    // Windows draw our store and sessions: they go first, then the agents, then the services.
    for (const QPointer<MainWindow> &window : std::as_const(m_windows))
        delete window.data();
    delete m_onboarding.data();
    shutdown();
}

bool Application::start()
{
    m_preferences = std::make_unique<PreferencesStore>(paths::settingsFile());
    m_settings = std::make_unique<AppSettings>(*m_preferences, m_center);
    applyAppearance(m_settings->appearanceMode());
    m_center.addObserver(broadcast::appearanceModeChanged,
                         [this](const Notification &) { applyAppearance(m_settings->appearanceMode()); }, nullptr, this);

    auto store = startup::openStore(paths::storeFile());
    if (!store) {
        // The one fatal path: even a fresh store could not be made (a full disk, a folder we may
        // not write). Say so plainly; nothing has been deleted.
        logLine("Startup", store.error().message);
        QMessageBox::critical(nullptr, tr("Corvane cannot start"),
                              tr("Corvane could not open its data store.\n\n%1").arg(store.error().message));
        return false;
    }
    m_store = store.value();
    if (auto aside = m_store->openReport().setAsidePath) {
        QMessageBox::warning(nullptr, tr("Your data store could not be read"),
                             tr("Corvane could not read its data store (%1) and started with a new one.\n\n"
                                "Nothing was deleted: the old store was moved to\n%2")
                                 .arg(m_store->openReport().setAsideReason, *aside));
    }
    // corvane-cli may write to the same store for minutes (an automation run): the window's
    // thread never waits for it, its saves land when the other writer lets go.
    m_store->keepResponsive(thread());
    m_store->watchOtherWriters();
    startup::startActivityBackfill(m_store, this, m_center);
    // Messages stored before the search index existed are added to it in the background.
    m_searchFiller = std::make_unique<store::MessageSearchFiller>(m_store->path());
    m_searchFiller->start();
    startup::runMigrations(*m_store);
    m_agents = std::make_unique<AgentServices>(*m_store, *m_settings, m_center);
    // A branch switched outside the program reaches every window: the shown workspaces' HEADs
    // are watched (one shared inotify instance), and the branch is stored where it changed.
    m_branchSync = std::make_unique<BranchSync>(m_store->mainContext(), m_center);
    m_agents->sessions().setGitMonitorFactory([center = &m_center](const QUuid &, const QString &path) {
        return BranchSync::makeMonitor(path, *center);
    });
    connect(m_agents.get(), &AgentServices::chatActivationRequested, this, &Application::showChat);
    // Archiving, deleting or moving a chat ends its agent; closing a workspace ends its monitor.
    m_lifecycle = std::make_unique<WorkspaceLifecycleService>(m_store->mainContext(), m_center);
    m_profiles = std::make_unique<ProfileService>(m_store->mainContext(), m_center);
    m_profiles->setClaudePath(m_settings->claudePath());
    // Sign-in checks start when a screen shows the profiles, never before the first window.
    m_authMonitor = std::make_unique<ProfileAuthMonitor>(*m_profiles, m_store->mainContext());
    m_terminals = std::make_unique<TerminalService>(m_store->mainContext());
    // An archived or deleted workspace's shells end with it.
    connect(m_lifecycle.get(), &WorkspaceLifecycleService::recordsChanged, m_terminals.get(),
            &TerminalService::closePanelsOfGoneWorkspaces);
    SessionManager *sessions = &m_agents->sessions();
    m_lifecycle->setSessionCloser([sessions](const QUuid &chatId) { sessions->closeSession(chatId); });
    m_lifecycle->setWorkspaceCloser([sessions](const QUuid &workspaceId) { sessions->removeGitMonitor(workspaceId); });
    // Archived records past their retention go shortly after start, daily, and when a setting changes.
    m_archiveCleanup = std::make_unique<ArchiveCleanupService>(*m_lifecycle, [settings = m_settings.get()] {
        return ArchiveCleanupService::Retentions{settings->archivedChatRetention(), settings->archivedWorkspaceRetention()};
    });
    m_archiveCleanup->start(m_center);
    // The swept messages' texts stay in the search index; the filler drops it when they pile up.
    connect(m_archiveCleanup.get(), &ArchiveCleanupService::sweepFinished, this, [this](const SweepReport &report) {
        if (!report.deleted.isEmpty() && m_searchFiller)
            m_searchFiller->start();
    });
    startDefinitionServices();
    startAutomation();

    m_center.addObserver(broadcast::showSetupChecklist, [this](const Notification &) { openOnboarding(); }, nullptr, this);
    Analytics::shared().record(QStringLiteral("app.launched"), {{QStringLiteral("projectCount"), m_store->mainContext().count<Project>().valueOr(0)}});
    if (m_settings->shouldShowOnboarding())
        openOnboarding();
    else
        openMainWindow();
    return true;
}

void Application::startDefinitionServices()
{
    m_flows = std::make_unique<AutomationFlowsService>(m_store);
    m_agentDefinitions = std::make_unique<AgentDefinitionsService>(m_store);
    m_skills = std::make_unique<SkillsService>(m_store);
    m_planner = std::make_unique<PlannerService>(m_store->mainContext(), m_center);
    m_definitions.reset(new ToolServices{*m_flows, *m_agentDefinitions, *m_skills, m_planner.get(), m_terminals.get(),
                                         m_store, &m_center});
    m_definitions->isChatRunning = [this](const QUuid &chatId) {
        const ChatSession *session = m_agents ? m_agents->sessions().existingSession(chatId) : nullptr;
        return session && session->isAgentStarted();
    };
    // The tools scan when first shown; from then on a project added or removed is scanned too.
    connect(&m_store->mainContext(), &StoreContext::saved, this, [this](const StoreChanges &changes) {
        if (!changes.touches(QStringLiteral("Project")))
            return;
        QStringList folders;
        for (const auto &project : m_store->mainContext().fetchOrEmpty<Project>())
            folders.append(project->path);
        for (DefinitionService *service : std::initializer_list<DefinitionService *>{m_flows.get(), m_agentDefinitions.get(), m_skills.get()})
            if (service->isWatching())
                service->reload(folders);
    });
}

void Application::startAutomation()
{
    m_orchestrator = std::make_unique<AutomatedAgentOrchestrator>(m_store->mainContext(), m_center);
    m_coordinators = std::make_unique<CoordinatorBridge>(m_agents->sessions(), m_agents->controller(),
                                                         m_store->mainContext(), *m_orchestrator);
    // Runs that were open when the application ended go on: their coordinators are known again,
    // their caps and clocks restored, and those that were at work are told to carry on.
    m_coordinators->restore();
    m_orchestrator->restoreActiveRuns();
    QTimer::singleShot(0, m_coordinators.get(), &CoordinatorBridge::resumeInterruptedRuns);
}

MainWindow *Application::openMainWindow()
{
    const WindowServices services{m_store->mainContext(), *m_preferences, *m_settings, m_center, *m_lifecycle,
                                  m_definitions.get(), m_orchestrator.get(), m_terminals.get(), m_openFiles.get(),
                                  m_profiles.get(), m_authMonitor.get()};
    auto *window = new MainWindow(services, ++m_windowCounter);
    connect(window, &MainWindow::newWindowRequested, this, &Application::openMainWindow);
    connectAgents(*window);
    m_windows.append(window);
    // A window that remembers where it was stays there; a first one opens in the middle.
    QScreen *screen = QGuiApplication::primaryScreen();
    if (screen && !window->hasSavedGeometry()) {
        const QRect area = screen->availableGeometry();
        window->move(area.center() - window->rect().center());
    }
    window->show();
    window->raise();
    window->activateWindow();
    if (!m_shownFirst) {
        m_shownFirst = true;
        // Reported once the window has been laid out and painted, not merely asked to show.
        QTimer::singleShot(0, this, &Application::firstWindowShown);
    }
    return window;
}

QList<MainWindow *> Application::windows() const
{
    QList<MainWindow *> out;
    for (const QPointer<MainWindow> &window : m_windows)
        if (window)
            out.append(window.data());
    return out;
}

void Application::connectAgents(MainWindow &window)
{
    SessionManager &sessions = m_agents->sessions();
    AgentServices *agents = m_agents.get();
    Store *store = m_store.get();
    AppSettings *settings = m_settings.get();
    ProfileAuthMonitor *monitor = m_authMonitor.get();
    window.setChatViewFactory([agents, store, settings, monitor](const QUuid &chatId) -> QWidget * {
        auto *view = new ChatView(agents->sessions(), agents->controller(), *store, *settings);
        QObject::connect(view, &ChatView::chatAttached, &agents->floatingPrompts(), &FloatingPromptCoordinator::closePromptsOf);
        QObject::connect(view, &ChatView::signInRequested, view, [store, settings, view, monitor](const QUuid &id) {
            openSignInSheet(store->mainContext(), *settings, id, view->window(), monitor);
        });
        view->setChat(chatId);
        return view;
    });
    connect(&window.state(), &WindowStateModel::contentChanged, this, [this, w = QPointer<MainWindow>(&window)] {
        if (w)
            watchShownWorkspace(*w);
    });
    watchShownWorkspace(window);
    window.setPendingPermissionProbe([&sessions](const QUuid &chatId) {
        ChatSession *session = sessions.existingSession(chatId);
        return session && !session->pendingRequests().isEmpty();
    });
    connect(&window, &MainWindow::commandRequested, this,
            [&sessions, agents](KeyboardShortcutAction action, std::optional<QUuid> chatId) {
                ChatSession *session = chatId ? sessions.existingSession(*chatId) : nullptr;
                if (session && action == KeyboardShortcutAction::stopAgent) {
                    agents->controller().stop(*session);
                    return;
                }
                const auto oldest = session ? session->oldestPendingRequest() : std::nullopt;
                if (!oldest)
                    return;
                const QString requestId = oldest->requestId;
                if (action == KeyboardShortcutAction::allowOnce)
                    session->handlePermissionApproval(requestId, PermissionScope::once);
                else if (action == KeyboardShortcutAction::allowForSession)
                    session->handlePermissionApproval(requestId, PermissionScope::session);
                else if (action == KeyboardShortcutAction::deny)
                    session->handlePermissionDenial(requestId);
            });
}

void Application::watchShownWorkspace(MainWindow &window)
{
    StoreContext &context = m_store->mainContext();
    const ContentState content = window.state().content();
    std::shared_ptr<Workspace> workspace;
    if (content.kind == ContentState::Kind::workspace)
        workspace = context.get<Workspace>(content.id);
    else if (content.kind == ContentState::Kind::chat)
        if (const auto chat = context.get<Chat>(content.id); chat && chat->workspaceId)
            workspace = context.get<Workspace>(*chat->workspaceId);
    if (!workspace)
        return;
    const auto project = workspace->projectId ? context.get<Project>(*workspace->projectId) : nullptr;
    if (const auto folder = workspace->workingDirectory(project.get())) {
        m_agents->sessions().gitMonitor(workspace->id, *folder);
        m_branchSync->refresh(*folder); // what changed while nobody watched
    }
}

void Application::showChat(const QUuid &chatId)
{
    // A click on a desktop notification: the chat comes up in the frontmost window.
    MainWindow *window = m_windows.isEmpty() ? openMainWindow() : m_windows.last().data();
    if (!window)
        window = openMainWindow();
    window->navigator().showChat(chatId);
    window->show();
    window->raise();
    window->activateWindow();
}

void Application::openOnboarding()
{
    if (m_onboarding) {
        m_onboarding->show();
        m_onboarding->raise();
        m_onboarding->activateWindow();
        return;
    }
    auto *validator = new OnboardingValidator(m_profiles.get());
    validator->setToolPaths(m_settings->claudePath(), m_settings->codexPath());
    validator->setSignInOpener(onboardingSignInOpener(*m_settings));
    m_onboarding = new OnboardingWindow(new OnboardingChecklistViewModel(validator));
    connect(m_onboarding, &OnboardingWindow::completed, this, [this] {
        m_settings->setHasCompletedOnboarding(true);
        Analytics::shared().record(QStringLiteral("onboarding.completed"));
        // Shown again from the Help menu, the checklist goes back to the windows already open.
        if (windows().isEmpty())
            openMainWindow();
        m_onboarding->close();
    });
    m_onboarding->show();
    if (!m_shownFirst) {
        m_shownFirst = true;
        QTimer::singleShot(0, this, &Application::firstWindowShown);
    }
}

void Application::shutdown()
{
    // Every agent ends by itself, all at once, while the event loop still runs: claude writes its
    // session only on the way out, so the next start can resume it. Bounded by signals, and no
    // agent process outlives us. Records need no final write: every change was saved as it
    // happened.
    // The search index fill stops after its current batch and goes on at the next start.
    m_searchFiller.reset();
    m_coordinators.reset();
    m_orchestrator.reset();
    if (m_agents)
        m_agents->shutdown();
    if (m_terminals)
        m_terminals->shutdown();
    ProcessReaper::shared().drain();
    m_branchSync.reset();
    m_terminals.reset();
    m_archiveCleanup.reset();
    m_lifecycle.reset();
    m_definitions.reset();
    m_planner.reset();
    m_skills.reset();
    m_agentDefinitions.reset();
    m_flows.reset();
    m_authMonitor.reset();
}

} // namespace corvane
