#include "shell/window/MainWindow.h"

#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "core/window/WindowNavigator.h"
#include "shell/window/BranchSwitchButton.h"
#include "shell/window/RenameDialog.h"
#include "shell/window/SidebarView.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/SidebarViewModel.h"

#include <QAction>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

// What the user does to projects, workspaces and chats from their rows in the sidebar, from a
// chat's pill in the tab bar, and from the chat header's branch button: a handler per action,
// each handing the decision to WorkspaceLifecycleService and showing its answer.

namespace corvane {

namespace {

QMessageBox *ask(QWidget *parent, const QString &title, const QString &text, const QString &button,
                 std::function<void()> confirmed)
{
    auto *box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::NoButton, parent);
    box->setObjectName(QStringLiteral("lifecycleConfirmation"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    QPushButton *go = box->addButton(button, QMessageBox::DestructiveRole);
    box->addButton(QMessageBox::Cancel);
    QObject::connect(go, &QPushButton::clicked, parent, std::move(confirmed));
    box->open();
    return box;
}

} // namespace

void MainWindow::setUpRecordActions()
{
    m_branchSwitch = new BranchSwitchButton(m_content);
    m_content->setChatHeaderWidget(m_branchSwitch);
    connect(m_branchSwitch, &BranchSwitchButton::branchChosen, this, &MainWindow::switchBranch);

    connect(m_sidebar, &SidebarView::renameRequested, this, &MainWindow::renameRecord);
    connect(m_sidebar, &SidebarView::removeProjectRequested, this, [this](const QUuid &id) {
        ask(this, tr("Remove Project"), lifecycleText::removeProjectText, tr("Remove"), [this, id] {
            runLifecycle([this, id](bool confirmed) {
                const auto project = m_services.context.get<Project>(id);
                return project ? m_services.lifecycle.deleteProject(project, confirmed)
                               : GitFuture<LifecycleOutcome>::ready(LifecycleOutcome::done());
            }, tr("Remove"), tr("Cannot remove project"));
        });
    });
    connect(m_sidebar, &SidebarView::deleteRequested, this, &MainWindow::deletePermanently);
    connect(m_sidebar, &SidebarView::forkRequested, this, [this](const QUuid &chatId, WorkspaceCreationMode mode) {
        const auto chat = m_services.context.get<Chat>(chatId);
        if (const auto request = chat ? m_services.lifecycle.forkRequest(*chat, mode) : std::nullopt)
            newWorkspaceIn(request->projectId, request->mode);
    });
    connect(m_sidebar, &SidebarView::moveProjectRequested, this, [this](const QUuid &projectId, const QUuid &profileId) {
        const auto project = m_services.context.get<Project>(projectId);
        const auto profile = m_services.context.get<Profile>(profileId);
        if (project && profile)
            m_services.lifecycle.setProfile(*project, *profile);
    });
    connect(m_sidebar, &SidebarView::projectExpansionChanged, this, [this](const QUuid &id, bool expanded) {
        if (const auto project = m_services.context.get<Project>(id))
            m_services.lifecycle.setProjectExpanded(*project, expanded);
    });
    connect(m_sidebar, &SidebarView::projectsReordered, &m_services.lifecycle, &WorkspaceLifecycleService::reorderProjects);
    connect(m_sidebar, &SidebarView::workspacesReordered, this, [this](const QUuid &projectId, const QList<QUuid> &ids) {
        if (const auto project = m_services.context.get<Project>(projectId))
            m_services.lifecycle.reorderWorkspaces(*project, ids);
    });
    connect(m_content->tabBar(), &WorkspaceTabBar::chatMenuRequested, this, [this](const QUuid &chatId, const QPoint &at) {
        auto *menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->addActions(chatPillActions(chatId, menu));
        menu->popup(at);
    });
}

QList<QAction *> MainWindow::chatPillActions(const QUuid &chatId, QObject *owner)
{
    QList<QAction *> actions;
    const auto add = [&](const QString &text, std::function<void()> handler) {
        auto *action = new QAction(text, owner);
        connect(action, &QAction::triggered, this, std::move(handler));
        actions.append(action);
    };
    add(tr("Rename…"), [this, chatId] {
        const auto chat = m_services.context.get<Chat>(chatId);
        if (!chat)
            return;
        auto *sheet = new RenameDialog(tr("Rename Chat"), chat->name, this);
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        connect(sheet, &RenameDialog::renamed, this, [this, chatId](const QString &name) { renameRecord(chatId, name); });
        sheet->open();
    });
    add(tr("Archive"), [this, chatId] { archiveChat(chatId, false); });
    add(tr("Close"), [this, chatId] {
        if (const auto chat = m_services.context.get<Chat>(chatId))
            m_services.lifecycle.closeChat(*chat);
    });
    return actions;
}

void MainWindow::renameRecord(const QUuid &id, const QString &name)
{
    bool renamed = false;
    if (const auto workspace = m_services.context.get<Workspace>(id))
        renamed = m_services.lifecycle.renameWorkspace(*workspace, name);
    else if (const auto chat = m_services.context.get<Chat>(id))
        renamed = m_services.lifecycle.renameChat(*chat, name);
    if (renamed)
        scheduleRefresh();
}

void MainWindow::deletePermanently(const QUuid &id)
{
    const auto workspace = m_services.context.get<Workspace>(id);
    const auto chat = workspace ? nullptr : m_services.context.get<Chat>(id);
    if (!workspace && !chat)
        return;
    const QString name = workspace ? workspace->name : chat->name;
    const QString text = workspace ? lifecycleText::deleteWorkspaceText : lifecycleText::deleteChatText;
    ask(this, lifecycleText::deleteWorkspaceTitle(name), text, tr("Delete Permanently"), [this, id, isWorkspace = bool(workspace)] {
        // Unsaved files of the workspace are asked about before its folder can go.
        if (isWorkspace && !closeWorkspaceFiles(id))
            return;
        runLifecycle([this, id, isWorkspace](bool confirmed) {
            return isWorkspace ? m_services.lifecycle.deleteWorkspace(id, confirmed)
                               : m_services.lifecycle.deleteChat(id, confirmed);
        }, tr("Delete Permanently"), tr("Cannot delete"));
    });
}

void MainWindow::runLifecycle(std::function<GitFuture<LifecycleOutcome>(bool)> operation, const QString &button,
                              const QString &failureTitle, bool confirmed)
{
    operation(confirmed).then(this, [=, this](const GitResult<LifecycleOutcome> &result) {
        const LifecycleOutcome outcome = result ? result.value() : LifecycleOutcome::failed(result.error().description());
        switch (outcome.kind) {
        case LifecycleOutcome::Kind::needsConfirmation:
            // The worktree holds work that would be lost: asked again, naming it.
            emit lifecycleMessageShown(outcome.message);
            ask(this, QStringLiteral("Corvane"), outcome.message, button,
                [=, this] { runLifecycle(operation, button, failureTitle, true); });
            return;
        case LifecycleOutcome::Kind::failed: {
            emit lifecycleMessageShown(outcome.message);
            auto *box = new QMessageBox(QMessageBox::Warning, failureTitle, outcome.message, QMessageBox::Ok, this);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->open();
            return;
        }
        case LifecycleOutcome::Kind::busy:
            return;
        case LifecycleOutcome::Kind::done:
            m_navigator->reconcile();
            return refresh();
        }
    });
}

void MainWindow::showBranchSwitch(const std::optional<QUuid> &chatId, bool reload)
{
    StoreContext &context = m_services.context;
    const auto chat = chatId ? context.get<Chat>(*chatId) : nullptr;
    if (!chat)
        return m_branchSwitch->showChat({}, {}, false, {});
    const auto workspace = chat->workspaceId ? context.get<Workspace>(*chat->workspaceId) : nullptr;
    const auto project = chat->projectId ? context.get<Project>(*chat->projectId) : nullptr;
    m_branchSwitch->showChat(chat->id, chat->workingDirectory(workspace.get(), project.get()).value_or(QString()),
                             WorkspaceLifecycleService::canSwitchBranch(*chat),
                             WorkspaceLifecycleService::switchBranchToolTip(*chat), reload);
}

void MainWindow::switchBranch(const QUuid &chatId, const GitBranch &branch)
{
    const auto chat = m_services.context.get<Chat>(chatId);
    if (!chat)
        return;
    m_services.lifecycle.switchCheckoutBranch(chat, branch).then(this, [this, chatId](const GitResult<LifecycleOutcome> &result) {
        const LifecycleOutcome outcome = result ? result.value() : LifecycleOutcome::failed(result.error().description());
        if (outcome.kind == LifecycleOutcome::Kind::failed) {
            emit lifecycleMessageShown(outcome.message);
            auto *box = new QMessageBox(QMessageBox::Warning, tr("Switch Branch"), outcome.message, QMessageBox::Ok, this);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->open();
        }
        showBranchSwitch(chatId, true);
    });
}

} // namespace corvane
