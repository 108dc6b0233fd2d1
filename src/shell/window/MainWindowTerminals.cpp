// The main window's terminal panel: one per workspace, under its chats, shown while the
// workspace says so, its height remembered on the workspace.
#include "shell/window/MainWindow.h"

#include "core/Broadcasts.h"
#include "core/records/Project.h"
#include "core/records/ProjectActions.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowStateModel.h"
#include "shell/terminal/TerminalPanel.h"
#include "shell/terminal/TerminalView.h"
#include "shell/window/ProjectActionsBar.h"
#include "shell/window/ProjectActionsDialog.h"
#include "shell/window/SidebarView.h"
#include "tools/terminal/TerminalPanelModel.h"
#include "tools/terminal/TerminalService.h"

namespace corvane {

namespace {

constexpr int defaultTerminalHeight = 200;

} // namespace

void MainWindow::setUpTerminals()
{
    if (!m_services.terminals)
        return;
    for (const QString &name : {broadcast::terminalAppearanceModeChanged, broadcast::textSizeScaleChanged})
        m_terminalObservers.push_back(ObserverGuard(m_services.center, m_services.center.addObserver(name,
            [this](const Notification &) { scheduleRefresh(); })));
    // The last tab closed (here or in another window): the panel goes and the workspace forgets it.
    connect(m_services.terminals, &TerminalService::panelRemoved, this, [this](const QUuid &workspaceId) {
        if (QPointer<TerminalPanel> panel = m_terminalPanels.take(workspaceId))
            panel->deleteLater();
        if (const auto workspace = m_services.context.get<Workspace>(workspaceId); workspace && workspace->isTerminalVisible) {
            workspace->isTerminalVisible = false;
            (void)m_services.context.save();
        }
        scheduleRefresh();
    });
    connect(m_sidebar, &SidebarView::runCommandRequested, this,
            [this](const QUuid &workspaceId, const QString &command, const QString &name) {
        runInTerminal(workspaceId, command, name);
    });
    connect(m_content, &ContentArea::terminalHeightChanged, this, [this](int height) {
        const ContentState content = m_state->content();
        if (content.kind != ContentState::Kind::workspace)
            return;
        if (const auto workspace = m_services.context.get<Workspace>(content.id)) {
            workspace->terminalHeightStorage = height;
            (void)m_services.context.save();
        }
    });
}

TerminalPanel *MainWindow::terminalPanel() const
{
    return qobject_cast<TerminalPanel *>(m_content->terminalPanel());
}

void MainWindow::showTerminal(const Workspace &workspace, const std::optional<QString> &folder)
{
    m_state->setTerminalVisible(workspace.isTerminalVisible);
    if (!m_services.terminals || !workspace.isTerminalVisible || !folder) {
        m_content->setTerminalPanel(nullptr, 0);
        return;
    }
    TerminalPanelModel *model = m_services.terminals->ensurePanel(workspace.id, *folder);
    QPointer<TerminalPanel> &panel = m_terminalPanels[workspace.id];
    if (!panel)
        panel = new TerminalPanel(*model);
    // The terminal's own light or dark, or the window's; the user's text size. Read at every
    // refresh, so a change in Preferences shows the next time the window draws.
    const TerminalAppearanceMode mode = m_services.settings.terminalAppearanceMode();
    panel->setDark(mode == TerminalAppearanceMode::dark
                   || (mode == TerminalAppearanceMode::automatic && palette().color(QPalette::Window).lightness() < 128));
    panel->setTextScale(m_services.settings.textSizeScale());
    m_content->setTerminalPanel(panel, int(workspace.terminalHeightStorage.value_or(defaultTerminalHeight)));
}

void MainWindow::runInTerminal(const QUuid &workspaceId, const QString &command, const QString &name)
{
    const auto workspace = m_services.context.get<Workspace>(workspaceId);
    if (!workspace || !m_services.terminals)
        return;
    const auto project = workspace->projectId ? m_services.context.get<Project>(*workspace->projectId) : nullptr;
    const std::optional<QString> folder = workspace->workingDirectory(project.get());
    if (!folder)
        return;
    // A panel made now starts with its own first shell; the command gets a tab of its own.
    m_services.terminals->ensurePanel(workspaceId, *folder)->runCommand(command, name);
    if (!workspace->isTerminalVisible) {
        workspace->isTerminalVisible = true;
        (void)m_services.context.save();
    }
    showWorkspace(workspaceId);
    refresh();
}

void MainWindow::setUpProjectActions()
{
    // The buttons run in the workspace's terminal panel: without terminals there is no bar.
    if (!m_services.terminals)
        return;
    m_projectActions = new ProjectActionsBar(m_services.context, this);
    addToolBar(Qt::TopToolBarArea, m_projectActions);
    connect(m_projectActions, &ProjectActionsBar::runRequested, this, &MainWindow::runInTerminal);
    connect(m_projectActions, &ProjectActionsBar::manageRequested, this, &MainWindow::editProjectActions);
    connect(m_sidebar, &SidebarView::projectActionsRequested, this, &MainWindow::editProjectActions);
}

void MainWindow::editProjectActions(const QUuid &projectId)
{
    const auto project = m_services.context.get<Project>(projectId);
    if (!project)
        return;
    auto *dialog = new ProjectActionsDialog(m_services.context, *project, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    // A save put off by another writer reaches the bar only when it lands; draw what the dialog did now.
    connect(dialog, &QDialog::finished, m_projectActions, &ProjectActionsBar::reload);
    dialog->open();
}

void MainWindow::toggleTerminal()
{
    const ContentState content = m_state->content();
    if (content.kind != ContentState::Kind::workspace) {
        m_state->setTerminalVisible(!m_state->isTerminalVisible());
        return refresh();
    }
    const auto workspace = m_services.context.get<Workspace>(content.id);
    if (!workspace)
        return;
    workspace->isTerminalVisible = !workspace->isTerminalVisible;
    (void)m_services.context.save();
    refresh();
    if (TerminalPanel *panel = terminalPanel(); panel && panel->activeView())
        panel->activeView()->setFocus();
}

} // namespace corvane
