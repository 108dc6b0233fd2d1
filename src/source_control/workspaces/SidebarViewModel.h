#pragma once

#include "core/NotificationCenter.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QUuid>

#include <memory>
#include <optional>
#include <vector>

namespace corvane {

class StoreContext;

// The sidebar's state: the projects and profiles it lists, the selection it mirrors, and the
// live state of each chat's session. Changes to records go through WorkspaceLifecycleService,
// which this model follows.
class SidebarViewModel : public QObject
{
    Q_OBJECT

public:
    SidebarViewModel(StoreContext &context, WorkspaceLifecycleService &lifecycle,
                     NotificationCenter &center = NotificationCenter::instance(), QObject *parent = nullptr);

    StoreContext &modelContext() const { return m_context; }
    WorkspaceLifecycleService &lifecycle() const { return m_lifecycle; }
    const QList<std::shared_ptr<Project>> &projects() const { return m_projects; }
    const QList<std::shared_ptr<Profile>> &profiles() const { return m_profiles; }

    std::optional<QUuid> selectedProjectId() const { return m_selectedProjectId; }
    std::optional<QUuid> selectedWorkspaceId() const { return m_selectedWorkspaceId; }
    std::optional<QUuid> selectedChatId() const { return m_selectedChatId; }
    void selectProject(const std::optional<QUuid> &id);
    void selectWorkspace(const std::optional<QUuid> &id);
    void selectChat(const std::optional<QUuid> &id);

    // Raw names of ChatActivityState ("idle", "processing", "waitingForPermission", "completed").
    const QHash<QUuid, QString> &activityStates() const { return m_activityStates; }
    const QHash<QUuid, bool> &sessionStates() const { return m_sessionStates; }

    void loadProjects();

signals:
    void projectsChanged();
    void profilesChanged();
    void selectionChanged();
    void activityStatesChanged(const QUuid &chatId);
    void sessionStatesChanged(const QUuid &chatId);

private:
    void forgetChatState(const QUuid &chatId);
    void forgetSelectionOf(const QUuid &id);

    StoreContext &m_context;
    WorkspaceLifecycleService &m_lifecycle;
    std::vector<ObserverGuard> m_observers;

    QList<std::shared_ptr<Project>> m_projects;
    QList<std::shared_ptr<Profile>> m_profiles;
    std::optional<QUuid> m_selectedProjectId;
    std::optional<QUuid> m_selectedWorkspaceId;
    std::optional<QUuid> m_selectedChatId;
    QHash<QUuid, QString> m_activityStates;
    QHash<QUuid, bool> m_sessionStates;
};

} // namespace corvane
