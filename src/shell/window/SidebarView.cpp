#include "shell/window/SidebarView.h"

#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "core/window/ProfilePage.h"
#include "core/window/SidebarTree.h"
#include "accounts/ProfileTexts.h"
#include "core/records/Profile.h"
#include "shell/profiles/ProfileActions.h"
#include "shell/profiles/ProfileDotsView.h"
#include "shell/terminal/LaunchMenus.h"
#include "shell/window/ActivityColors.h"
#include "shell/window/SidebarTreeWidget.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/SidebarViewModel.h"

#include <QAction>
#include <QMimeData>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace corvane {

namespace {

QIcon dotIcon(std::optional<QColor> colour)
{
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    if (colour) {
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(*colour);
        painter.drawEllipse(QRectF(2, 2, 8, 8));
    }
    return QIcon(pixmap);
}

// One icon per state, made once: a large sidebar sets thousands of them.
QIcon activityIcon(const QString &state)
{
    static QHash<QString, QIcon> icons;
    auto found = icons.constFind(state);
    if (found == icons.constEnd())
        found = icons.insert(state, dotIcon(activityColor(state)));
    return *found;
}

} // namespace

SidebarView::SidebarView(SidebarViewModel &model, QWidget *parent)
    : QWidget(parent), m_model(model), m_profiles(new ProfileDotsView), m_profileNotes(new QLabel),
      m_toolsLayout(new QGridLayout), m_tree(new SidebarTreeWidget)
{
    setObjectName(QStringLiteral("sidebar"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(6);
    layout->addWidget(m_profiles);
    m_profileNotes->setObjectName(QStringLiteral("profileNotes"));
    m_profileNotes->setWordWrap(true);
    m_profileNotes->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    m_profileNotes->setEnabled(false);
    m_profileNotes->hide();
    layout->addWidget(m_profileNotes);
    connect(m_profiles, &ProfileDotsView::profileActivated, this, &SidebarView::profileActivated);
    connect(m_profiles, &ProfileDotsView::projectDropped, this, &SidebarView::moveProjectRequested);
    m_toolsLayout->setSpacing(4);
    layout->addLayout(m_toolsLayout);

    m_tree->setObjectName(QStringLiteral("sidebarTree"));
    m_tree->setHeaderHidden(true);
    m_tree->setRootIsDecorated(true);
    m_tree->setIndentation(14);
    m_tree->setFrameShape(QFrame::NoFrame);
    m_tree->setUniformRowHeights(true);
    // The sidebar reads as one surface with the window, the content column as the page.
    m_tree->viewport()->setBackgroundRole(QPalette::Window);
    layout->addWidget(m_tree, 1);

    auto *add = new QPushButton(tr("Add Project"));
    add->setObjectName(QStringLiteral("addProjectButton"));
    add->setFlat(true);
    layout->addWidget(add);

    connect(add, &QPushButton::clicked, this, &SidebarView::addProjectRequested);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_tree, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint &at) {
        QTreeWidgetItem *item = m_tree->itemAt(at);
        if (!item)
            return;
        QMenu menu;
        const QList<QAction *> actions = rowActions(item->data(0, idRole).toUuid(), &menu);
        menu.addActions(actions);
        menu.exec(m_tree->viewport()->mapToGlobal(at));
    });
    connect(m_tree, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem *item) { itemClicked(item); });
    // Kept on the project, so that a new window opens it the same way.
    connect(m_tree, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem *item) {
        if (ItemKind(item->data(0, kindRole).toInt()) == ItemKind::project)
            emit projectExpansionChanged(item->data(0, idRole).toUuid(), false);
    });
    connect(m_tree, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem *item) {
        if (ItemKind(item->data(0, kindRole).toInt()) == ItemKind::project)
            emit projectExpansionChanged(item->data(0, idRole).toUuid(), true);
    });
    connect(m_tree, &SidebarTreeWidget::renameEdited, this, &SidebarView::renameRequested);
    connect(m_tree->itemDelegate(), &QAbstractItemDelegate::closeEditor, this, [this] {
        if (std::exchange(m_rebuildAfterEdit, false))
            QTimer::singleShot(0, this, &SidebarView::rebuild);
    });
    connect(m_tree, &SidebarTreeWidget::projectsReordered, this, &SidebarView::projectsReordered);
    connect(m_tree, &SidebarTreeWidget::workspacesReordered, this, &SidebarView::workspacesReordered);
    connect(&m_model, &SidebarViewModel::projectsChanged, this, &SidebarView::rebuild);
    connect(&m_model, &SidebarViewModel::activityStatesChanged, this, &SidebarView::updateActivity);
    connect(&m_model.lifecycle(), &WorkspaceLifecycleService::archivingWorkspaceIdsChanged, this, &SidebarView::showArchiving);
    rebuild();
}

void SidebarView::setTools(const QList<PinnedTool> &tools)
{
    while (QLayoutItem *item = m_toolsLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    constexpr int columns = 3;
    for (int i = 0; i < tools.size(); ++i) {
        const PinnedTool &tool = tools[i];
        auto *button = new QToolButton;
        button->setObjectName(QStringLiteral("tool:") + tool.id);
        button->setText(tool.name);
        button->setToolTip(tool.description);
        button->setAutoRaise(true);
        button->setCheckable(true);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        button->setIcon(dotIcon(QColor(tool.color)));
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        connect(button, &QToolButton::clicked, this, [this, id = tool.id] { emit toolActivated(id); });
        m_toolsLayout->addWidget(button, i / columns, i % columns);
    }
    setSelection(m_content, m_chatInWorkspace);
}

void SidebarView::rebuild()
{
    // A name being typed over a row is not thrown away by a reload; the reload waits for it.
    if (m_tree->isEditing()) {
        m_rebuildAfterEdit = true;
        return;
    }
    const QSignalBlocker blocker(m_tree);
    ++m_rebuildCount;
    // A rebuild follows saves that change the lists' shape; the user's place in a long list stays.
    const int scrolled = m_tree->verticalScrollBar()->value();
    m_tree->clear();
    m_items.clear();
    rebuildProfiles();
    QFont bold = m_tree->font();
    bold.setBold(true);
    const auto page = projectsOnProfilePage(m_model.projects(), m_model.profiles(), m_activeProfile);
    m_projectsOnPage = int(page.size());
    updateProfileNotes();
    for (const SidebarProjectRow &project : readSidebarTree(m_model.modelContext(), page)) {
        auto *projectItem = new QTreeWidgetItem(m_tree, {project.name});
        projectItem->setData(0, kindRole, int(ItemKind::project));
        projectItem->setData(0, idRole, project.id);
        projectItem->setToolTip(0, project.path);
        projectItem->setFont(0, bold);
        m_items.insert(project.id, projectItem);
        for (const SidebarWorkspaceRow &workspace : project.workspaces) {
            auto *workspaceItem = new QTreeWidgetItem(projectItem, {workspace.label()});
            workspaceItem->setData(0, kindRole, int(ItemKind::workspace));
            workspaceItem->setData(0, idRole, workspace.id);
            workspaceItem->setData(0, nameRole, workspace.label());
            workspaceItem->setData(0, plainNameRole, workspace.name);
            workspaceItem->setFlags(workspaceItem->flags() | Qt::ItemIsEditable);
            if (workspace.gitBranch)
                workspaceItem->setToolTip(0, *workspace.gitBranch);
            m_items.insert(workspace.id, workspaceItem);
            for (const SidebarChatRow &chat : workspace.chats) {
                auto *chatItem = new QTreeWidgetItem(workspaceItem, {chat.name});
                chatItem->setData(0, kindRole, int(ItemKind::chat));
                chatItem->setData(0, idRole, chat.id);
                chatItem->setData(0, sortRole, chat.sortOrder);
                chatItem->setData(0, plainNameRole, chat.name);
                chatItem->setFlags(chatItem->flags() | Qt::ItemIsEditable);
                chatItem->setIcon(0, activityIcon(m_model.activityStates().value(chat.id)));
                m_items.insert(chat.id, chatItem);
            }
            workspaceItem->setExpanded(true);
        }
        projectItem->setExpanded(project.isExpanded);
    }
    showArchiving();
    m_tree->verticalScrollBar()->setValue(scrolled);
    setSelection(m_content, m_chatInWorkspace);
}

void SidebarView::showArchiving()
{
    const QSet<QUuid> &archiving = m_model.lifecycle().archivingWorkspaceIds();
    for (QTreeWidgetItem *item : std::as_const(m_items)) {
        if (item->data(0, kindRole).toInt() != int(ItemKind::workspace))
            continue;
        const bool busy = archiving.contains(item->data(0, idRole).toUuid());
        const QString text = busy ? lifecycleText::archivingWorkspace : item->data(0, nameRole).toString();
        if (item->text(0) != text)
            item->setText(0, text);
        item->setDisabled(busy);
    }
}

bool SidebarView::updateChatRow(const QUuid &chatId, const QString &name, bool archived,
                                std::optional<QUuid> workspaceId, qint64 sortOrder)
{
    QTreeWidgetItem *item = m_items.value(chatId);
    if (!item || archived || !workspaceId || !item->parent()
        || item->parent()->data(0, idRole).toUuid() != *workspaceId || item->data(0, sortRole).toLongLong() != sortOrder)
        return false;
    if (item->text(0) != name)
        item->setText(0, name);
    item->setData(0, plainNameRole, name);
    return true;
}

void SidebarView::rebuildProfiles()
{
    m_profiles->setProfiles(m_model.profiles());
    // With no page chosen yet the default profile's page is the one shown, so its dot stands out.
    std::optional<QUuid> shown = m_activeProfile;
    for (const auto &profile : m_model.profiles())
        if (!shown && profile->isDefault)
            shown = profile->id;
    m_profiles->setActiveProfile(shown);
    // With one account or none there is nothing to choose, unless a new one can be made here.
    m_profiles->setVisible(m_profileActions || m_model.profiles().size() > 1);
}

void SidebarView::setProfileActions(ProfileActions *actions)
{
    m_profileActions = actions;
    m_profiles->setActions(actions);
    if (actions && actions->monitor())
        connect(actions->monitor(), &ProfileAuthMonitor::stateChanged, this, &SidebarView::updateProfileNotes);
    rebuildProfiles();
    updateProfileNotes();
}

void SidebarView::updateProfileNotes()
{
    ProfileAuthMonitor *monitor = m_profileActions ? m_profileActions->monitor() : nullptr;
    std::optional<QUuid> shown = m_activeProfile;
    if (!shown)
        for (const auto &profile : m_model.profiles())
            if (profile->isDefault)
                shown = profile->id;
    const QStringList notes = monitor && shown ? profileText::pageNotes(monitor->state(*shown), m_projectsOnPage) : QStringList();
    m_profileNotes->setText(notes.join(QLatin1Char('\n')));
    m_profileNotes->setVisible(!notes.isEmpty());
}

void SidebarView::setActiveProfile(std::optional<QUuid> profileId)
{
    if (profileId == m_activeProfile)
        return;
    m_activeProfile = profileId;
    rebuild();
}

void SidebarView::updateActivity(const QUuid &chatId)
{
    if (QTreeWidgetItem *item = m_items.value(chatId))
        item->setIcon(0, activityIcon(m_model.activityStates().value(chatId)));
}

void SidebarView::setSelection(const ContentState &content, std::optional<QUuid> chatInWorkspace)
{
    m_content = content;
    m_chatInWorkspace = chatInWorkspace;
    QUuid selected;
    switch (content.kind) {
    case ContentState::Kind::projectInfo:
    case ContentState::Kind::chat:
        selected = content.id;
        break;
    case ContentState::Kind::workspace:
        selected = chatInWorkspace.value_or(content.id);
        break;
    default:
        break;
    }
    // What sits in a folded project marks its project: the user folded it, and selecting must
    // not open it again.
    QTreeWidgetItem *current = m_items.value(selected);
    for (QTreeWidgetItem *above = current ? current->parent() : nullptr; above; above = above->parent())
        if (!above->isExpanded())
            current = above;
    const QSignalBlocker blocker(m_tree);
    // Moving the current row would end a rename in progress; the selection catches up after it.
    if (!m_tree->isEditing()) {
        m_tree->setCurrentItem(current);
        if (selected.isNull())
            m_tree->clearSelection();
    }
    for (int i = 0; i < m_toolsLayout->count(); ++i)
        if (auto *button = qobject_cast<QToolButton *>(m_toolsLayout->itemAt(i)->widget()))
            button->setChecked(content.kind == ContentState::Kind::tool
                               && button->objectName() == QStringLiteral("tool:") + content.toolId);
}

QList<QAction *> SidebarView::rowActions(const QUuid &id, QObject *owner)
{
    QTreeWidgetItem *item = m_items.value(id);
    if (!item)
        return {};
    QList<QAction *> actions;
    const auto action = [&](const QString &text, auto handler) {
        auto *made = new QAction(text, owner);
        connect(made, &QAction::triggered, this, handler);
        actions.append(made);
        return made;
    };
    const auto add = [&](const QString &text, auto signal) {
        return action(text, [this, id, signal] { emit(this->*signal)(id); });
    };
    // What was archived comes back from the row it belonged to.
    const auto restore = [&](const QString &text, auto record) {
        action(text, [this, record] {
            LifecycleOutcome outcome;
            if constexpr (std::is_same_v<decltype(record), std::shared_ptr<Workspace>>)
                outcome = m_model.lifecycle().restoreWorkspace(record);
            else
                outcome = m_model.lifecycle().restoreChat(record);
            if (!outcome.message.isEmpty())
                QMessageBox::information(this, tr("Restore"), outcome.message);
        });
    };
    // A submenu lives as long as the actions' owner.
    const auto adopt = [owner](QMenu *menu) {
        connect(owner, &QObject::destroyed, menu, &QObject::deleteLater);
        return menu->menuAction();
    };
    const auto separate = [&] {
        auto *line = new QAction(owner);
        line->setSeparator(true);
        actions.append(line);
    };
    switch (ItemKind(item->data(0, kindRole).toInt())) {
    case ItemKind::project: {
        std::shared_ptr<Project> project;
        for (const auto &each : m_model.projects())
            if (each->id == id)
                project = each;
        add(tr("New Workspace"), &SidebarView::newWorkspaceRequested);
        add(tr("Quality Gates…"), &SidebarView::qualityGatesRequested);
        add(tr("Project Actions…"), &SidebarView::projectActionsRequested);
        add(tr("Import Sessions…"), &SidebarView::importSessionsRequested);
        if (!project)
            break;
        actions.append(adopt(openInMenu(project->path, nullptr)));
        if (QMenu *profiles = moveToProfileMenu(*project))
            actions.append(adopt(profiles));
        for (const auto &workspace : m_model.lifecycle().workspaces(*project, true))
            if (workspace->isArchived())
                restore(tr("Restore Workspace \u201C%1\u201D").arg(workspace->name), workspace);
        separate();
        add(tr("Remove Project…"), &SidebarView::removeProjectRequested);
        break;
    }
    case ItemKind::workspace:
        if (const auto workspace = m_model.modelContext().get<Workspace>(id)) {
            const auto project = workspace->projectId ? m_model.modelContext().get<Project>(*workspace->projectId) : nullptr;
            if (const std::optional<QString> folder = workspace->workingDirectory(project.get())) {
                actions.append(adopt(runMenu(*folder, [this, id](const QString &command, const QString &name) {
                    emit runCommandRequested(id, command, name);
                }, nullptr)));
                actions.append(adopt(openInMenu(*folder, nullptr)));
            }
        }
        action(tr("Rename"), [this, id] { editName(id); });
        add(tr("Close all sessions"), &SidebarView::closeWorkspaceSessionsRequested);
        add(tr("Archive Workspace"), &SidebarView::archiveWorkspaceRequested);
        if (const auto workspace = m_model.modelContext().get<Workspace>(id))
            for (const auto &chat : m_model.lifecycle().chats(*workspace, true))
                if (chat->isArchived())
                    restore(tr("Restore Chat \u201C%1\u201D").arg(chat->name), chat);
        separate();
        add(tr("Delete Permanently…"), &SidebarView::deleteRequested);
        // Nothing is done to a workspace while its worktree is being removed.
        if (m_model.lifecycle().archivingWorkspaceIds().contains(id))
            for (QAction *each : std::as_const(actions))
                each->setEnabled(false);
        break;
    case ItemKind::chat:
        action(tr("Rename"), [this, id] { editName(id); });
        action(tr("Fork Into Local"), [this, id] { emit forkRequested(id, WorkspaceCreationMode::newBranch); });
        action(tr("Fork Into New Worktree"), [this, id] { emit forkRequested(id, WorkspaceCreationMode::worktree); });
        add(tr("Archive Chat"), &SidebarView::archiveChatRequested);
        separate();
        add(tr("Delete Permanently…"), &SidebarView::deleteRequested);
        break;
    }
    return actions;
}

QMenu *SidebarView::moveToProfileMenu(const Project &project)
{
    QList<std::shared_ptr<Profile>> others;
    for (const auto &profile : m_model.profiles())
        if (profile->id != project.profileId)
            others.append(profile);
    if (others.isEmpty())
        return nullptr;
    auto *menu = new QMenu(tr("Move to Profile"), this);
    for (const auto &profile : others)
        connect(menu->addAction(profile->name), &QAction::triggered, this,
                [this, projectId = project.id, profileId = profile->id] { emit moveProjectRequested(projectId, profileId); });
    return menu;
}

void SidebarView::editName(const QUuid &id)
{
    QTreeWidgetItem *item = m_items.value(id);
    if (!item || !(item->flags() & Qt::ItemIsEditable) || item->isDisabled())
        return;
    m_tree->setCurrentItem(item);
    m_tree->editItem(item);
}

void SidebarView::itemClicked(QTreeWidgetItem *item)
{
    if (!item)
        return;
    const QUuid id = item->data(0, idRole).toUuid();
    switch (ItemKind(item->data(0, kindRole).toInt())) {
    case ItemKind::project:
        return emit projectActivated(id);
    case ItemKind::workspace:
        return emit workspaceActivated(id);
    case ItemKind::chat:
        return emit chatActivated(id);
    }
}

} // namespace corvane
