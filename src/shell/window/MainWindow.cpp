#include "shell/window/MainWindow.h"

#include "core/Broadcasts.h"
#include "core/MainThread.h"
#include "automation/AutomatedAgentOrchestrator.h"
#include "core/records/Chat.h"
#include "core/records/GateResult.h"
#include "core/records/Issue.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "shell/chat/ChatView.h"
#include "shell/preferences/PreferencesWindow.h"
#include "shell/search/QuickSearchPalette.h"
#include "shell/tools/PulseToolPage.h"
#include "shell/tools/TerminalsToolPage.h"
#include "core/settings/AppSettings.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "core/window/PinnedTool.h"
#include "core/window/ShortcutBindings.h"
#include "core/window/WindowNavigator.h"
#include "core/window/WindowStateModel.h"
#include "agent/inline/InlineAgentRunner.h"
#include "automation/LandingTexts.h"
#include "planning/PlannerService.h"
#include "shell/diff/DiffWindow.h"
#include "shell/editor/FileEditorView.h"
#include "tools/editor/OpenFileService.h"
#include "shell/tools/IssueDetailView.h"
#include "shell/tools/PlannerToolPage.h"
#include "shell/tools/ToolPages.h"
#include "shell/window/AutomationRunBanner.h"
#include "shell/window/ProjectActionsBar.h"
#include "shell/window/InspectorView.h"
#include "shell/window/PullRequestSection.h"
#include "shell/window/SidebarView.h"
#include "shell/project/ProjectPage.h"
#include "source_control/overview/ProjectOverviewViewModel.h"
#include "shell/window/WindowActions.h"
#include "source_control/inspector/GitActionsModel.h"
#include "source_control/inspector/InspectorViewModel.h"
#include "tools/files/FileTreeViewModel.h"
#include "source_control/workspaces/SidebarViewModel.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QMenuBar>
#include <QMessageBox>
#include <QSplitter>
#include <QTimer>
#include <QTreeWidgetItem>

namespace corvane {

namespace {

const QList<int> defaultColumnWidths{260, 820, 360};

} // namespace

MainWindow::MainWindow(const WindowServices &services, int number, QWidget *parent)
    : QMainWindow(parent), m_services(services), m_state(new WindowStateModel(services.preferences, this)),
      m_sidebarModel(new SidebarViewModel(services.context, services.lifecycle, services.center, this)),
      m_navigator(new WindowNavigator(services.context, *m_state, this)),
      m_inspectorModel(new InspectorViewModel(services.center, this)), m_saveColumnsTimer(new QTimer(this))
{
    setObjectName(QStringLiteral("MainWindow%1").arg(number));
    setWindowTitle(QStringLiteral("Corvane"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_folderPicker = [](QWidget *parent) {
        return QFileDialog::getExistingDirectory(parent, tr("Select a folder for your project"));
    };

    buildColumns();
    m_actions = new WindowActions(menuBar(), this, [this](KeyboardShortcutAction action) { runCommand(action); });
    connect(m_actions, &WindowActions::aboutRequested, this, &MainWindow::showAbout);
    connect(m_actions, &WindowActions::preferencesRequested, this, [this] { openPreferences(); });
    connect(m_actions, &WindowActions::updatesRequested, this, [this] { openPreferences(PreferencesTab::updates); });
    // From the Help menu or from Preferences: the application opens the checklist.
    connect(m_actions, &WindowActions::setupChecklistRequested, this, &MainWindow::setupChecklistRequested);
    connect(this, &MainWindow::setupChecklistRequested, this,
            [this] { m_services.center.post(broadcast::showSetupChecklist); });
    m_actions->applyBindings(resolveShortcutBindings(services.settings));
    m_sidebar->setTools(visibleTools(services.settings));

    NotificationCenter &center = services.center;
    m_shortcutObserver = ObserverGuard(center, center.addObserver(broadcast::shortcutSettingsChanged,
        [this](const Notification &) { m_actions->applyBindings(resolveShortcutBindings(m_services.settings)); },
        nullptr, this));
    m_toolsObserver = ObserverGuard(center, center.addObserver(broadcast::toolSettingsChanged,
        [this](const Notification &) {
            m_sidebar->setTools(visibleTools(m_services.settings));
            scheduleRefresh();
        }, nullptr, this));
    m_sessionObserver = broadcast::observe<broadcast::ChatSessionChanged>(center, this, [this](const broadcast::ChatSessionChanged &c) {
        // Sessions may post from their own threads; the window is the main thread's.
        runOnMainThread(this, [this, c] {
            m_navigator->sessionChanged(c.chatId, c.hasSession);
            refresh();
        });
    });

    connect(m_state, &WindowStateModel::changed, this, &MainWindow::scheduleRefresh);
    connect(m_sidebarModel, &SidebarViewModel::projectsChanged, this, [this] {
        m_navigator->reconcile();
        scheduleRefresh();
    });
    connect(m_sidebarModel, &SidebarViewModel::activityStatesChanged, this, [this](const QUuid &chatId) {
        m_content->tabBar()->setActivity(chatId, m_sidebarModel->activityStates().value(chatId));
        m_actions->update(commandContext(), isFullScreen());
    });
    connect(&services.context, &StoreContext::saved, this, &MainWindow::storeChanged);
    connect(&services.context, &StoreContext::merged, this, &MainWindow::storeChanged);
    // Records that other contexts add or delete (sessions, background work) are not merged into
    // ours, which only refreshes what it holds: their lists change all the same.
    connect(&services.context.store(), &Store::didSave, this, [this, own = &services.context](const StoreChanges &changes) {
        if (changes.origin == own)
            return;
        for (const QString &entity : {QStringLiteral("Project"), QStringLiteral("Workspace"), QStringLiteral("Chat")})
            if (!changes.inserted.value(entity).isEmpty() || !changes.deleted.value(entity).isEmpty()) {
                StoreChanges shape;
                shape.entities = {entity};
                storeChanged(shape);
                return;
            }
    });
    // corvane-cli and other windows' processes write the same file; their chats appear here too.
    connect(&services.context.store(), &Store::changedElsewhere, this, [this] {
        StoreChanges elsewhere;
        elsewhere.entities = {QStringLiteral("Project"), QStringLiteral("Workspace"), QStringLiteral("Chat")};
        storeChanged(elsewhere);
    });
    m_sidebarModel->loadProjects();

    // Quitting closes no window, so the layout is kept on the way out as well.
    connect(qApp, &QCoreApplication::aboutToQuit, this, &MainWindow::saveLayout);

    restoreLayout();
    m_navigator->restore();
    refresh();
}

MainWindow::~MainWindow() = default;

void MainWindow::buildColumns()
{
    m_splitter = new QSplitter(Qt::Horizontal);
    m_splitter->setObjectName(QStringLiteral("columns"));
    m_splitter->setChildrenCollapsible(false);
    m_splitter->setHandleWidth(1);
    m_sidebar = new SidebarView(*m_sidebarModel);
    setUpProfiles();
    m_sidebar->setMinimumWidth(200);
    m_sidebar->setMaximumWidth(350);
    m_content = new ContentArea;
    m_overview = new ProjectOverviewViewModel(m_services.context, m_services.lifecycle, m_services.center, this);
    auto *projectPage = new ProjectPage(*m_overview, m_content);
    m_content->setProjectPage(projectPage);
    connect(projectPage, &ProjectPage::workspaceActivated, this, [this](const QUuid &id) { m_navigator->showWorkspace(id); });
    if (m_services.automation) {
        m_runBanner = new AutomationRunBanner(*m_services.automation, m_services.center);
        m_content->setWorkspaceBanner(m_runBanner);
        m_runObserver = broadcast::observe<broadcast::AutomationRunUpdated>(
            m_services.center, this, [this](const broadcast::AutomationRunUpdated &update) {
                const ContentState content = m_state->content();
                if (content.kind == ContentState::Kind::workspace && content.id == update.workspaceId)
                    showRunGates(update.workspaceId);
            });
    }
    if (ToolServices *definitions = m_services.definitions) {
        StoreContext *context = &m_services.context;
        m_content->setToolPageFactory([this, definitions, context](const QString &toolId) {
            QWidget *page = makeToolPage(toolId, *definitions, *context, m_content);
            if (auto *pulse = qobject_cast<PulseToolPage *>(page))
                connect(pulse, &PulseToolPage::chatActivated, this, &MainWindow::openChatFromPulse);
            if (auto *terminals = qobject_cast<TerminalsToolPage *>(page))
                connect(terminals, &TerminalsToolPage::workspaceActivated, this, &MainWindow::showWorkspace);
            if (auto *board = qobject_cast<PlannerToolPage *>(page)) {
                connect(board, &PlannerToolPage::runAgentRequested, this, &MainWindow::openRunAgentPanel);
                connect(board, &PlannerToolPage::newIssueRequested, this, &MainWindow::openNewIssue);
                board->detail()->model().setLifecycle(&m_services.lifecycle);
                connect(board->detail(), &IssueDetailView::workspaceActivated, this, &MainWindow::showWorkspace);
                connect(board->detail(), &IssueDetailView::noticeRaised, this, [this](const QString &text) {
                    QMessageBox::information(this, tr("Restore Workspace"), text);
                });
            }
            return page;
        });
    }
    m_inspector = new InspectorView;
    if (m_services.definitions && m_services.definitions->planner) {
        m_issuePanel = new IssueDetailView(*m_services.definitions->planner, IssueDetailView::Mode::workspacePanel);
        m_issuePanel->setObjectName(QStringLiteral("workspaceIssuePanel"));
        m_issuePanel->model().setLifecycle(&m_services.lifecycle);
        m_issuePanel->hide();
        m_inspector->setIssuePanel(m_issuePanel);
        connect(m_issuePanel, &IssueDetailView::disconnected, m_issuePanel, &QWidget::hide);
        // A card changed on the board (or by a script) is drawn again, unless it is being typed in.
        m_issueObserver = ObserverGuard(m_services.center, m_services.center.addObserver(broadcast::issueDidChange, [this](const Notification &) {
            if (!m_issuePanel->isAncestorOf(QApplication::focusWidget()))
                showLinkedIssue(m_state->content().kind == ContentState::Kind::workspace ? std::optional(m_state->content().id) : std::nullopt);
        }, nullptr, this));
    }
    AppSettings *settings = &m_services.settings;
    m_inspectorModel->setAutoRefreshSetting([settings] { return settings->refreshLocalStatusAuto(); });
    m_inspector->setModel(m_inspectorModel);
    m_fileTreeModel = new FileTreeViewModel(m_services.center, this);
    m_fileTreeModel->setShowHiddenSetting([settings] { return settings->showHiddenFilesInInspector(); });
    m_inspector->setFileTreeModel(m_fileTreeModel);
    setUpGitActions();
    setUpTerminals();
    setUpProjectActions();
    setUpFiles();
    setUpRecordActions();
    connect(m_inspector, &InspectorView::diffRequested, this, [this](const QString &directory, const QString &path) {
        (new DiffWindow(directory, path, this))->show(); // closes itself; several may be open
    });
    m_splitter->addWidget(m_sidebar);
    m_splitter->addWidget(m_content);
    m_splitter->addWidget(m_inspector);
    m_splitter->setStretchFactor(0, 0);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setStretchFactor(2, 0);
    setCentralWidget(m_splitter);

    connect(m_sidebar, &SidebarView::projectActivated, this, [this](const QUuid &id) {
        m_navigator->showProject(id);
        refresh();
    });
    connect(m_sidebar, &SidebarView::workspaceActivated, this, &MainWindow::showWorkspace);
    connect(m_sidebar, &SidebarView::chatActivated, this, [this](const QUuid &id) {
        m_navigator->showChat(id);
        refresh();
    });
    connect(m_sidebar, &SidebarView::toolActivated, this, [this](const QString &id) {
        m_navigator->showTool(id);
        refresh();
    });
    connect(m_sidebar, &SidebarView::profileActivated, this, [this](const QUuid &id) {
        m_navigator->selectProfile(id);
        refresh();
    });
    connect(m_sidebar, &SidebarView::addProjectRequested, this, &MainWindow::addProject);
    connect(m_sidebar, &SidebarView::newWorkspaceRequested, this, [this](const QUuid &id) { newWorkspaceIn(id); });
    connect(m_sidebar, &SidebarView::qualityGatesRequested, this, &MainWindow::editQualityGates);
    connect(m_sidebar, &SidebarView::importSessionsRequested, this, &MainWindow::importSessions);
    connect(m_sidebar, &SidebarView::archiveWorkspaceRequested, this,
            [this](const QUuid &id) { archiveWorkspace(id, false); });
    connect(m_sidebar, &SidebarView::archiveChatRequested, this, [this](const QUuid &id) { archiveChat(id, false); });
    connect(m_sidebar, &SidebarView::closeWorkspaceSessionsRequested, this, &MainWindow::closeWorkspaceSessions);
    connect(m_content, &ContentArea::addProjectRequested, this, &MainWindow::addProject);
    connect(m_content->tabBar(), &WorkspaceTabBar::chatSelected, this, [this](const QUuid &id) {
        m_navigator->showChat(id);
        refresh();
    });
    connect(m_content->tabBar(), &WorkspaceTabBar::addChatRequested, this, &MainWindow::newChatInWorkspace);

    // Widths are kept a moment after the user stops dragging, not at every pixel.
    m_saveColumnsTimer->setSingleShot(true);
    m_saveColumnsTimer->setInterval(400);
    connect(m_splitter, &QSplitter::splitterMoved, m_saveColumnsTimer, qOverload<>(&QTimer::start));
    connect(m_saveColumnsTimer, &QTimer::timeout, this, &MainWindow::saveLayout);
}

void MainWindow::restoreLayout()
{
    const QByteArray geometry = m_state->geometry();
    m_hasSavedGeometry = !geometry.isEmpty() && restoreGeometry(geometry);
    if (!m_hasSavedGeometry)
        resize(1200, 780);
    m_columnWidths = m_state->columnWidths();
    if (m_columnWidths.isEmpty())
        m_columnWidths = defaultColumnWidths;
    m_splitter->setSizes(m_columnWidths);
}

void MainWindow::saveLayout()
{
    // A hidden column reports no width; it keeps the one it had when it was last shown.
    const QList<int> sizes = m_splitter->sizes();
    for (int i = 0; i < sizes.size() && i < m_columnWidths.size(); ++i)
        if (sizes[i] > 0 && m_splitter->widget(i)->isVisibleTo(this))
            m_columnWidths[i] = sizes[i];
    m_state->setColumnWidths(m_columnWidths);
    m_state->setGeometry(saveGeometry());
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    // Open files outlive a window but not the program: the last window asks about unsaved ones.
    const auto windows = QApplication::topLevelWidgets();
    const bool last = std::none_of(windows.cbegin(), windows.cend(), [this](QWidget *widget) {
        return widget != this && qobject_cast<MainWindow *>(widget) && widget->isVisible();
    });
    for (FileEditorView *editor : std::as_const(m_fileEditors))
        if (editor)
            editor->flush();
    if (last && !m_services.openFiles->closeAllAsking())
        return event->ignore();
    saveLayout();
    QMainWindow::closeEvent(event);
}

void MainWindow::setChatViewFactory(ChatViewFactory factory)
{
    m_content->setChatViewFactory(std::move(factory));
    refresh();
}

void MainWindow::setPendingPermissionProbe(std::function<bool(const QUuid &)> probe)
{
    m_pendingPermission = std::move(probe);
    refresh();
}

void MainWindow::setFolderPicker(std::function<QString(QWidget *)> picker)
{
    m_folderPicker = std::move(picker);
}

std::optional<QUuid> MainWindow::currentChatId() const
{
    return m_navigator->currentChatId();
}

CommandContext MainWindow::commandContext() const
{
    CommandContext context;
    context.content = m_state->content();
    context.hasProjects = !m_sidebarModel->projects().isEmpty();
    const auto chat = currentChatId();
    context.hasPendingPermission = chat && m_pendingPermission && m_pendingPermission(*chat);
    context.isSidebarOpen = !m_state->isSidebarCollapsed();
    context.isInspectorOpen = !m_state->isInspectorCollapsed();
    context.isTerminalVisible = m_state->isTerminalVisible();
    return context;
}

void MainWindow::scheduleRefresh()
{
    if (m_refreshQueued)
        return;
    m_refreshQueued = true;
    QTimer::singleShot(0, this, [this] {
        if (m_refreshQueued)
            refresh();
    });
}

void MainWindow::storeChanged(const StoreChanges &changes)
{
    // Saves made elsewhere (sessions, other windows) change what the sidebar lists. A streaming
    // chat saves its record with every new row: such saves touch only rows already listed, which
    // are updated in place. Anything that changes the lists' shape is one reload for a burst.
    const QString chatEntity = QStringLiteral("Chat");
    const bool listsTouched = changes.touches(QStringLiteral("Project")) || changes.touches(QStringLiteral("Workspace"));
    if (m_reloadQueued || !(listsTouched || changes.touches(chatEntity)))
        return;
    const QSet<QUuid> updatedChats = changes.updated.value(chatEntity);
    const bool onlyChatUpdates = !listsTouched && changes.inserted.value(chatEntity).isEmpty()
        && changes.deleted.value(chatEntity).isEmpty() && !updatedChats.isEmpty();
    if (onlyChatUpdates && updateChatRows(updatedChats))
        return;
    m_reloadQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_reloadQueued = false;
        m_sidebarModel->loadProjects();
    });
}

bool MainWindow::updateChatRows(const QSet<QUuid> &chatIds)
{
    bool renamed = false;
    for (const QUuid &id : chatIds) {
        const auto chat = m_services.context.get<Chat>(id);
        const QTreeWidgetItem *row = m_sidebar->item(id);
        renamed = renamed || (chat && row && row->text(0) != chat->name);
        if (!chat || !m_sidebar->updateChatRow(id, chat->name, chat->isArchived(), chat->workspaceId, chat->sortOrder))
            return false;
    }
    // The tab bar and the content title show chat names too.
    if (renamed)
        scheduleRefresh();
    return true;
}

void MainWindow::selectInSidebar()
{
    // The sidebar's selection follows the content: a project stays selected while one of its
    // workspaces or chats is shown, and so picks where "New Workspace" goes.
    const ContentState content = m_state->content();
    if (const auto project = m_navigator->projectOfContent(); project && project != m_sidebarModel->selectedProjectId())
        m_sidebarModel->selectProject(project);
    if (m_sidebarModel->selectedWorkspaceId() != m_state->selectedWorkspaceId())
        m_sidebarModel->selectWorkspace(m_state->selectedWorkspaceId());
    const auto chat = currentChatId();
    if (content.showsChat() && m_sidebarModel->selectedChatId() != chat)
        m_sidebarModel->selectChat(chat);
}

void MainWindow::refresh()
{
    if (m_state->content().kind != ContentState::Kind::tool)
        m_shownTool.clear();
    m_refreshQueued = false;
    selectInSidebar();
    m_sidebar->setActiveProfile(m_state->activeProfileId());
    drawContent();
    if (m_projectActions)
        m_projectActions->showWorkspace(m_state->content().kind == ContentState::Kind::workspace
                                            ? std::optional<QUuid>(m_state->content().id) : std::nullopt);
    m_sidebar->setSelection(m_state->content(), m_state->selectedChatIdInWorkspace());
    showBranchSwitch(currentChatId());
    m_sidebar->setVisible(!m_state->isSidebarCollapsed());
    m_inspector->setVisible(!m_state->isInspectorCollapsed());
    m_actions->update(commandContext(), isFullScreen());
}

void MainWindow::drawContent()
{
    StoreContext &context = m_services.context;
    const ContentState content = m_state->content();
    if (content.kind != ContentState::Kind::workspace) {
        m_inspector->showGateResults({});
        showLinkedIssue(std::nullopt);
    }
    switch (content.kind) {
    case ContentState::Kind::empty:
        inspectDirectory(std::nullopt);
        m_content->showEmpty();
        m_inspector->clear();
        return;
    case ContentState::Kind::projectInfo:
        if (const auto project = context.get<Project>(content.id)) {
            inspectDirectory(std::nullopt);
            // A refresh while the page is up (a store save, say) only re-reads the workspaces;
            // showing the project again starts its git reads and, when stale, its measurements.
            if (m_content->isShowingProject() && m_overview->project() && m_overview->project()->id == project->id)
                m_overview->loadWorkspaces();
            else
                m_overview->setProject(project);
            m_content->showProject(project->name, project->path);
            m_inspector->showSubject(project->name, project->path);
        }
        return;
    case ContentState::Kind::tool:
        if (const PinnedTool *tool = pinnedTool(content.toolId)) {
            inspectDirectory(std::nullopt);
            QWidget *page = m_content->showTool(*tool);
            if (std::exchange(m_shownTool, tool->id) != tool->id)
                refreshToolPage(page);
            m_inspector->showSubject(tool->name, tool->description);
        }
        return;
    case ContentState::Kind::chat:
        if (const auto chat = context.get<Chat>(content.id)) {
            const auto workspace = chat->workspaceId ? context.get<Workspace>(*chat->workspaceId) : nullptr;
            const auto project = chat->projectId ? context.get<Project>(*chat->projectId) : nullptr;
            inspectDirectory(chat->workingDirectory(workspace.get(), project.get()), chat->workspaceId);
            m_content->showChat(chat->id, chat->name);
            m_inspector->showSubject(chat->name, chat->gitBranch.value_or(QString()));
        }
        return;
    case ContentState::Kind::workspace:
        break;
    }
    const auto workspace = context.get<Workspace>(content.id);
    if (!workspace)
        return;
    QList<WorkspaceTabBar::Tab> tabs;
    QString chatTitle;
    const auto selected = m_state->selectedChatIdInWorkspace();
    for (const auto &chat : m_navigator->openChats(workspace->id)) {
        tabs.append({chat->id, chat->name, m_sidebarModel->activityStates().value(chat->id)});
        if (chat->id == selected)
            chatTitle = chat->name;
    }
    m_content->showWorkspace(workspace->name, tabs, selected, chatTitle);
    drawOpenFiles(workspace->id);
    if (m_runBanner)
        m_runBanner->setWorkspace(workspace->id);
    showRunGates(workspace->id);
    const auto project = workspace->projectId ? context.get<Project>(*workspace->projectId) : nullptr;
    const QString branch = workspace->gitBranch ? tr("Branch %1").arg(*workspace->gitBranch) : QString();
    const std::optional<QString> folder = workspace->workingDirectory(project.get());
    inspectDirectory(folder, workspace->id);
    showTerminal(*workspace, folder);
    m_inspector->showSubject(workspace->name, QStringList{branch, folder.value_or(QString())}.join(QLatin1Char('\n')).trimmed());
    showLinkedIssue(workspace->id);
}

void MainWindow::setUpGitActions()
{
    m_gitActions = new GitActionsModel(this);
    m_gitActions->setRefresh([this] { m_inspectorModel->refreshStatus(); });
    AppSettings *settings = &m_services.settings;
    m_gitActions->setBackgroundFetch([settings] { return settings->fetchAndRefreshServerStatus(); });
    auto locate = [settings](AgentTool tool) {
        return locateTool(tool, tool == AgentTool::claude ? settings->claudePath() : QString());
    };
    m_titleRunner = new InlineAgentRunner(locate, this);
    m_pullRequestRunner = new InlineAgentRunner(locate, this);
    m_gitActions->setTitleGenerator([this](const QString &directory, const QUuid &workspaceId, auto done) {
        const auto profile = landing::profileFor(m_services.context, m_services.context.get<Workspace>(workspaceId).get());
        landing::commitTitle(this, *m_titleRunner, directory, profile.get(), [profile, done](Result<QString> title) { done(std::move(title)); });
    });
    m_inspector->setGitActions(m_gitActions);
    m_pullRequest = new PullRequestSection(m_services.context, m_services.settings, *m_pullRequestRunner);
    m_inspector->addSection(m_pullRequest);
    connect(m_pullRequest, &PullRequestSection::workspaceChanged, this, [this] { m_sidebar->update(); });
}

void MainWindow::showLinkedIssue(const std::optional<QUuid> &workspaceId)
{
    if (!m_issuePanel)
        return;
    const auto issues = workspaceId ? m_services.context.fetchOrEmpty<Issue>(Query(where::eq("workspaceId", *workspaceId)).limitTo(1))
                                    : QList<std::shared_ptr<Issue>>();
    if (issues.isEmpty()) {
        m_issuePanel->hide();
        return;
    }
    const auto shown = m_issuePanel->model().issue();
    if (!shown || shown->id != issues.first()->id || !m_issuePanel->isVisible())
        m_issuePanel->showIssue(issues.first()->id);
    else
        m_issuePanel->model().load(shown); // the same card: drawn again as the record now stands
    m_issuePanel->show();
}

void MainWindow::showWorkspace(const QUuid &workspaceId)
{
    m_navigator->showWorkspace(workspaceId);
    refresh();
}

void MainWindow::openChatFromPulse(const QUuid &chatId)
{
    const auto chat = m_services.context.get<Chat>(chatId);
    if (!chat)
        return;
    // An archived chat comes back first, as from the sidebar.
    if (chat->isArchived()) {
        const LifecycleOutcome outcome = m_services.lifecycle.restoreChat(chat);
        if (!outcome.message.isEmpty())
            QMessageBox::information(this, tr("Restore Chat"), outcome.message);
    }
    m_navigator->showChat(chatId);
    refresh();
}

void MainWindow::openQuickSearch()
{
    if (!m_quickSearch) {
        m_quickSearch = new QuickSearchPalette(m_services.context.store(), this);
        connect(m_quickSearch, &QuickSearchPalette::workspaceChosen, this, &MainWindow::openSearchedWorkspace);
        connect(m_quickSearch, &QuickSearchPalette::messageChosen, this, &MainWindow::openSearchedMessage);
    }
    m_quickSearch->open();
}

void MainWindow::openSearchedWorkspace(const QUuid &workspaceId)
{
    // The workspace with its first open chat selected.
    m_navigator->showWorkspace(workspaceId);
    const auto chats = m_navigator->openChats(workspaceId);
    if (!chats.isEmpty() && m_state->content().kind == ContentState::Kind::workspace)
        m_navigator->showChat(chats.first()->id);
    refresh();
}

void MainWindow::openSearchedMessage(const QUuid &chatId, const QUuid &messageId)
{
    if (!m_services.context.get<Chat>(chatId))
        return;
    m_navigator->showChat(chatId); // inside its workspace when it has one
    refresh();
    raise();
    activateWindow();
    // The chat view loads its rows as it is shown; the message is looked for once they are there.
    QTimer::singleShot(150, this, [this, chatId, messageId] {
        if (auto *view = qobject_cast<ChatView *>(m_content->chatView()); view && view->chatId() == chatId)
            view->revealMessage(messageId);
    });
}

void MainWindow::showRunGates(const std::optional<QUuid> &workspaceId)
{
    QList<InspectorView::GateLine> lines;
    const auto run = m_services.automation && workspaceId ? m_services.automation->latestRun(*workspaceId) : nullptr;
    if (run) {
        // The gates of the run's last validation, in the order they ran.
        const auto results = m_services.context.fetchOrEmpty<GateResult>(Query(where::eq("runId", run->id)).orderBy("ranAt"));
        qint64 last = 0;
        for (const auto &result : results)
            last = std::max(last, result->iterationNumber);
        for (const auto &result : results) {
            if (result->iterationNumber != last)
                continue;
            const QString text = QStringLiteral("%1 %2 · exit %3 · %4 s")
                                     .arg(result->passed ? QStringLiteral("\u2713") : QStringLiteral("\u2717"), result->gateName)
                                     .arg(result->exitCode)
                                     .arg(result->durationSeconds, 0, 'f', 1);
            lines.append({text, result->outputTail.trimmed().split(QLatin1Char('\n')).mid(-15).join(QLatin1Char('\n'))});
        }
    }
    m_inspector->showGateResults(lines);
}

void MainWindow::inspectDirectory(const std::optional<QString> &directory, const std::optional<QUuid> &workspaceId)
{
    // The window redraws for many reasons; only a new directory costs a status call.
    const std::optional<QString> clean = directory ? std::optional(QDir::cleanPath(*directory)) : std::nullopt;
    if (clean != m_inspectorModel->workingDirectory())
        m_inspectorModel->setWorkingDirectory(clean);
    if (clean != m_fileTreeModel->rootPath())
        m_fileTreeModel->setRoot(clean);
    m_gitActions->show(clean ? workspaceId : std::nullopt, clean);
    m_pullRequest->showWorkspace(clean ? workspaceId : std::nullopt, clean);
}

} // namespace corvane
