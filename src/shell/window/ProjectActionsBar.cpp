#include "shell/window/ProjectActionsBar.h"

#include "core/records/ProjectActions.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QAction>
#include <QStyle>
#include <QToolButton>

namespace corvane {

namespace {

// The few symbol names the actions carry that have a look-alike among the desktop's own icons;
// any other shows its name only.
QIcon iconFor(const QString &symbolName, const QStyle *style)
{
    if (symbolName.startsWith(QLatin1String("play")))
        return style->standardIcon(QStyle::SP_MediaPlay);
    if (symbolName.startsWith(QLatin1String("stop")))
        return style->standardIcon(QStyle::SP_MediaStop);
    if (symbolName.startsWith(QLatin1String("arrow.clockwise")))
        return style->standardIcon(QStyle::SP_BrowserReload);
    if (symbolName.startsWith(QLatin1String("trash")))
        return style->standardIcon(QStyle::SP_TrashIcon);
    return {};
}

} // namespace

ProjectActionsBar::ProjectActionsBar(StoreContext &context, QWidget *parent) : QToolBar(parent), m_context(context)
{
    setObjectName(QStringLiteral("projectActionsBar"));
    setWindowTitle(tr("Project Actions"));
    setMovable(false);
    setFloatable(false);
    setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    setIconSize(QSize(14, 14));
    toggleViewAction()->setVisible(false);
    hide();
    // What another context or corvane-cli changes shows here too.
    connect(&context.store(), &Store::didSave, this, &ProjectActionsBar::storeChanged);
    connect(&context.store(), &Store::changedElsewhere, this, &ProjectActionsBar::reload);
}

void ProjectActionsBar::showWorkspace(const std::optional<QUuid> &workspaceId)
{
    std::optional<QUuid> projectId;
    if (workspaceId)
        if (const auto workspace = m_context.get<Workspace>(*workspaceId))
            projectId = workspace->projectId;
    if (workspaceId == m_workspaceId && projectId == m_projectId)
        return;
    m_workspaceId = projectId ? workspaceId : std::nullopt;
    m_projectId = projectId;
    reload();
}

void ProjectActionsBar::reload()
{
    const auto actions = m_projectId ? projectactions::sorted(m_context, *m_projectId) : projectactions::ActionList();
    // Another program's commits arrive every second while it writes: the buttons are made again
    // only when what they show changed, so they never flicker under the pointer.
    QStringList drawn{m_projectId ? m_projectId->toString() : QString()};
    for (const auto &action : actions)
        drawn << action->id.toString() << action->name << action->symbolName << action->script;
    if (drawn == m_drawn)
        return;
    m_drawn = drawn;
    clear();
    if (!m_projectId) {
        hide();
        return;
    }
    for (const auto &action : actions) {
        QAction *button = addAction(iconFor(action->symbolName, style()), action->name);
        button->setObjectName(QStringLiteral("projectAction:") + action->name);
        button->setToolTip(action->script);
        // The button keeps the action's id and looks the action up when pressed, so an edit made
        // since the bar was drawn is what runs.
        connect(button, &QAction::triggered, this, [this, id = action->id] { press(id); });
    }
    addSeparator();
    QAction *manage = addAction(tr("Actions…"));
    manage->setObjectName(QStringLiteral("manageProjectActions"));
    manage->setToolTip(tr("Add, edit and order this project's actions"));
    connect(manage, &QAction::triggered, this, [this] {
        if (m_projectId)
            emit manageRequested(*m_projectId);
    });
    show();
}

QToolButton *ProjectActionsBar::button(const QString &name) const
{
    for (QAction *action : actions())
        if (action->objectName() == QStringLiteral("projectAction:") + name)
            return qobject_cast<QToolButton *>(widgetForAction(action));
    return nullptr;
}

void ProjectActionsBar::storeChanged(const StoreChanges &changes)
{
    if (changes.touches(QStringLiteral("ProjectAction")))
        reload();
}

void ProjectActionsBar::press(const QUuid &actionId)
{
    const auto action = m_context.get<ProjectAction>(actionId);
    if (action && m_workspaceId && !action->script.trimmed().isEmpty())
        emit runRequested(*m_workspaceId, action->script, action->name);
}

} // namespace corvane
