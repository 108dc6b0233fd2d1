#pragma once

#include "core/store/StoreChanges.h"

#include <QStringList>
#include <QToolBar>
#include <QUuid>

#include <optional>

class QToolButton;

namespace corvane {

class StoreContext;

// The shown workspace's toolbar: one button per action of its project, in the project's order,
// and a last button to manage them. Pressing an action's button asks for its script to run in a
// new terminal tab of the workspace, named after the action. Hidden when no workspace is shown.
class ProjectActionsBar : public QToolBar
{
    Q_OBJECT

public:
    explicit ProjectActionsBar(StoreContext &context, QWidget *parent = nullptr);

    // The workspace whose project's actions to show; none hides the bar.
    void showWorkspace(const std::optional<QUuid> &workspaceId);
    void reload();

    // The button of the action named `name`, or null (for tests).
    QToolButton *button(const QString &name) const;

signals:
    void runRequested(const QUuid &workspaceId, const QString &script, const QString &name);
    void manageRequested(const QUuid &projectId);

private:
    void storeChanged(const corvane::StoreChanges &changes);
    void press(const QUuid &actionId);

    StoreContext &m_context;
    std::optional<QUuid> m_workspaceId;
    std::optional<QUuid> m_projectId;
    QStringList m_drawn; // what the buttons show now
};

} // namespace corvane
