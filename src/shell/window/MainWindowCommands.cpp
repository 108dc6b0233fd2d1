#include "shell/window/MainWindow.h"
#include "shell/preferences/PreferencesWindow.h"

#include "core/records/AutomationRun.h"
#include "core/records/Chat.h"
#include "core/records/Issue.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowNavigator.h"
#include "core/window/WindowStateModel.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatView.h"
#include "shell/import/ImportWindow.h"
#include "shell/tools/ToolPages.h"
#include "shell/window/NewIssueDialog.h"
#include "shell/window/NewWorkspaceDialog.h"
#include "shell/window/QualityGatesDialog.h"
#include "shell/window/RunAgentPanel.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/SidebarViewModel.h"

#include <QMessageBox>
#include <QPushButton>

// The window's commands: the menu items, and the sidebar's row actions on the workspace
// lifecycle. Each asks the logic layer and shows its answer.

namespace corvane {

namespace {

void showWarning(QWidget *parent, const QString &title, const QString &text)
{
    // Not modal: the window stays usable and nothing waits on the answer.
    auto *box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::Ok, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

} // namespace

void MainWindow::runCommand(KeyboardShortcutAction action)
{
    using A = KeyboardShortcutAction;
    if (!isCommandEnabled(action, commandContext()))
        return;
    switch (action) {
    case A::newWindow:
        return emit newWindowRequested();
    case A::newChat:
        return newWorkspace();
    case A::newChatInWorkspace:
        return newChatInWorkspace();
    case A::addProject:
        return addProject();
    case A::closeWindow:
        close();
        return;
    case A::closeChat:
        if (const ContentState shown = m_state->content();
            shown.kind == ContentState::Kind::workspace && !closeWorkspaceFiles(shown.id))
            return;
        if (const auto workspaceId = m_navigator->closeShownWorkspace()) {
            if (const auto workspace = m_services.context.get<Workspace>(*workspaceId))
                m_services.lifecycle.closeWorkspace(*workspace);
            emit workspaceCloseRequested(*workspaceId);
        }
        return refresh();
    case A::toggleSidebar:
        m_state->setSidebarCollapsed(!m_state->isSidebarCollapsed());
        return refresh();
    case A::toggleInspector:
        m_state->setInspectorCollapsed(!m_state->isInspectorCollapsed());
        return refresh();
    case A::toggleTerminal:
        return toggleTerminal();
    case A::toggleFullScreen:
        isFullScreen() ? showNormal() : showFullScreen();
        return refresh();
    case A::focusChatInput:
        // The chat view hands focus on to its input (a focus proxy); the chat's own controller
        // hears of it too.
        if (QWidget *chat = m_content->chatView())
            chat->setFocus(Qt::ShortcutFocusReason);
        return emit commandRequested(action, currentChatId());
    case A::toggleDictation:
        if (auto *chat = qobject_cast<ChatView *>(m_content->chatView()))
            chat->input()->toggleDictation();
        return;
    case A::newIssue:
        return openNewIssue(IssueStatus::backlog);
    case A::quickOpen:
        return openQuickSearch();
    case A::allowOnce:
    case A::allowForSession:
    case A::deny:
    case A::stopAgent:
        return emit commandRequested(action, currentChatId());
    }
}

void MainWindow::addProject()
{
    const QString folder = m_folderPicker ? m_folderPicker(this) : QString();
    if (folder.isEmpty())
        return;
    if (Status added = addProjectFolder(folder); !added)
        showWarning(this, tr("Cannot add project"), added.error().message);
}

Status MainWindow::addProjectFolder(const QString &folder)
{
    auto workspace = m_services.lifecycle.addProjectFolder(folder, m_state->activeProfileId());
    if (!workspace)
        return workspace.error();
    m_navigator->showWorkspace(workspace.value()->id);
    refresh();
    return {};
}

void MainWindow::newWorkspace()
{
    QList<QUuid> ids;
    for (const auto &project : m_sidebarModel->projects())
        ids.append(project->id);
    if (const auto chosen = m_navigator->projectForNewWorkspace(m_sidebarModel->selectedProjectId(), ids))
        newWorkspaceIn(*chosen);
}

void MainWindow::newWorkspaceIn(const QUuid &projectId, WorkspaceCreationMode mode)
{
    std::shared_ptr<Project> project;
    for (const auto &each : m_sidebarModel->projects())
        if (each->id == projectId)
            project = each;
    if (!project || !passesSignInGate(project->id))
        return;
    auto *dialog = new NewWorkspaceDialog(project, mode, m_services.center, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &NewWorkspaceDialog::simpleWorkspaceChosen, this, [this, project] { createSimpleWorkspaceIn(*project); });
    connect(dialog, &NewWorkspaceDialog::chatCreated, this, [this, project](const Chat &chat) {
        const auto workspace = m_services.lifecycle.receiveSheetChat(chat, *project);
        if (workspace->activeChatId)
            m_navigator->showChat(*workspace->activeChatId);
        else
            m_navigator->showWorkspace(workspace->id);
        refresh();
    });
    dialog->open();
}

void MainWindow::editQualityGates(const QUuid &projectId)
{
    for (const auto &project : m_sidebarModel->projects()) {
        if (project->id != projectId)
            continue;
        auto *dialog = new QualityGatesDialog(m_services.context, *project, this);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->open();
        return;
    }
}

void MainWindow::importSessions(const QUuid &projectId)
{
    const auto project = m_services.context.get<Project>(projectId);
    if (!project || !m_services.definitions || !m_services.definitions->store)
        return;
    const auto profile = project->profileId ? m_services.context.get<Profile>(*project->profileId) : nullptr;
    bool created = false;
    auto *window = ImportWindow::openFor(m_services.definitions->store, projectId, ImportRoots::forProfile(profile.get()),
                                         this, &created);
    if (created)
        connect(window, &ImportWindow::workspacesImported, this, [this](const QList<QUuid> &ids) { showWorkspace(ids.first()); });
}

void MainWindow::openRunAgentPanel(const QUuid &issueId)
{
    const auto issue = m_services.context.get<Issue>(issueId);
    if (!issue || !m_services.automation || !m_services.definitions)
        return;
    auto *panel = new RunAgentPanel(issue, m_services.context, *m_services.automation, m_services.definitions->flows, this);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    connect(panel, &RunAgentPanel::started, this, [this](const QUuid &, const QUuid &runId) {
        if (const auto run = m_services.context.get<AutomationRun>(runId))
            m_navigator->showChat(run->coordinatorChatId);
        refresh();
    });
    panel->open();
}

void MainWindow::openNewIssue(IssueStatus status)
{
    PlannerService *planner = m_services.definitions ? m_services.definitions->planner : nullptr;
    if (!planner)
        return;
    std::optional<QUuid> project;
    const ContentState content = m_state->content();
    if (content.kind == ContentState::Kind::projectInfo)
        project = content.id;
    else if (content.kind == ContentState::Kind::workspace) {
        if (const auto workspace = m_services.context.get<Workspace>(content.id))
            project = workspace->projectId;
    } else if (content.kind == ContentState::Kind::chat) {
        if (const auto chat = m_services.context.get<Chat>(content.id))
            project = chat->projectId;
    }
    auto *sheet = new NewIssueDialog(*planner, status, project, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
}

void MainWindow::createSimpleWorkspaceIn(Project &project)
{
    // The project opens in the sidebar so that the new workspace can be seen.
    project.isExpanded = true;
    const auto workspace = m_services.lifecycle.createSimpleWorkspace(project);
    m_navigator->showWorkspace(workspace->id);
    refresh();
}

void MainWindow::newChatInWorkspace()
{
    const ContentState content = m_state->content();
    if (content.kind != ContentState::Kind::workspace)
        return;
    const auto workspace = m_services.context.get<Workspace>(content.id);
    if (!workspace || !passesSignInGate(workspace->projectId))
        return;
    const auto chat = m_services.lifecycle.createChat(*workspace);
    m_navigator->showChat(chat->id);
    refresh();
}

namespace {

// Asks before a lifecycle operation that would lose work; `confirmed` runs on the button.
void confirm(QWidget *parent, const QString &text, const QString &button, std::function<void()> confirmed)
{
    auto *box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Corvane"), text, QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    QPushButton *go = box->addButton(button, QMessageBox::DestructiveRole);
    box->addButton(QMessageBox::Cancel);
    QObject::connect(go, &QPushButton::clicked, parent, std::move(confirmed));
    box->open();
}

} // namespace

void MainWindow::archiveWorkspace(const QUuid &workspaceId, bool confirmed)
{
    const auto workspace = m_services.context.get<Workspace>(workspaceId);
    if (!workspace || !closeWorkspaceFiles(workspaceId))
        return;
    m_services.lifecycle.archiveWorkspace(workspace, confirmed).then(this, [this, workspaceId](GitResult<LifecycleOutcome> result) {
        const LifecycleOutcome outcome = result ? result.value() : LifecycleOutcome::failed(result.error().description());
        switch (outcome.kind) {
        case LifecycleOutcome::Kind::needsConfirmation:
            emit lifecycleMessageShown(outcome.message);
            return confirm(this, outcome.message, lifecycleText::archiveWorkspaceButton,
                           [this, workspaceId] { archiveWorkspace(workspaceId, true); });
        case LifecycleOutcome::Kind::failed:
            emit lifecycleMessageShown(outcome.message);
            return showWarning(this, tr("Cannot archive workspace"), outcome.message);
        case LifecycleOutcome::Kind::busy:
            return;
        case LifecycleOutcome::Kind::done:
            m_navigator->reconcile();
            return refresh();
        }
    });
}

void MainWindow::archiveChat(const QUuid &chatId, bool confirmed)
{
    const auto chat = m_services.context.get<Chat>(chatId);
    if (!chat)
        return;
    m_services.lifecycle.archiveChat(chat, confirmed).then(this, [this, chatId](GitResult<LifecycleOutcome> result) {
        const LifecycleOutcome outcome = result ? result.value() : LifecycleOutcome::failed(result.error().description());
        switch (outcome.kind) {
        case LifecycleOutcome::Kind::needsConfirmation:
            emit lifecycleMessageShown(outcome.message);
            return confirm(this, outcome.message, lifecycleText::archiveChatButton,
                           [this, chatId] { archiveChat(chatId, true); });
        case LifecycleOutcome::Kind::failed:
            emit lifecycleMessageShown(outcome.message);
            return showWarning(this, tr("Cannot archive chat"), outcome.message);
        case LifecycleOutcome::Kind::busy:
            return;
        case LifecycleOutcome::Kind::done:
            m_navigator->reconcile();
            return refresh();
        }
    });
}

void MainWindow::closeWorkspaceSessions(const QUuid &workspaceId)
{
    const auto workspace = m_services.context.get<Workspace>(workspaceId);
    if (!workspace || !closeWorkspaceFiles(workspaceId))
        return;
    // A workspace whose sessions close is no longer shown.
    if (m_state->content() == ContentState::workspace(workspaceId)) {
        m_navigator->showEmpty();
        refresh();
    }
    m_services.lifecycle.closeWorkspace(*workspace);
    emit workspaceCloseRequested(workspaceId);
}

PreferencesWindow *MainWindow::openPreferences(std::optional<PreferencesTab> tab)
{
    const PreferencesServices services{m_services.settings, &m_services.context, &m_services.center,
                                       &m_services.lifecycle, m_services.profiles, m_services.authMonitor};
    PreferencesWindow *window = PreferencesWindow::open(services, tab);
    connect(window, &PreferencesWindow::setupChecklistRequested, this, &MainWindow::setupChecklistRequested,
            Qt::UniqueConnection);
    return window;
}

void MainWindow::showAbout()
{
    QMessageBox::about(this, tr("About Corvane"),
                       tr("Corvane runs coding agents against your local git repositories."));
}

} // namespace corvane
