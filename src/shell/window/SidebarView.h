#pragma once

#include "core/window/ContentState.h"
#include "core/window/PinnedTool.h"
#include "core/records/Enums.h"
#include "shell/window/SidebarTreeWidget.h"

#include <QHash>
#include <QSet>
#include <QUuid>
#include <QWidget>

#include <optional>

class QAction;
class QGridLayout;
class QLabel;
class QMenu;
class QTreeWidgetItem;

namespace corvane {

class ProfileActions;
class ProfileDotsView;
struct Project;
class SidebarViewModel;

// The sidebar column: the pinned tools, then projects with their live workspaces and open chats,
// each chat marked with its activity, and a button to add a project. It draws the
// SidebarViewModel and reports what the user picked.
class SidebarView : public QWidget
{
    Q_OBJECT

public:
    enum class ItemKind { project = 1, workspace, chat };
    static constexpr int kindRole = Qt::UserRole;
    static constexpr int idRole = Qt::UserRole + 1;
    static constexpr int sortRole = Qt::UserRole + 2; // a chat's sortOrder
    static constexpr int nameRole = Qt::UserRole + 3; // a workspace's label (name and run status), kept while its row says it is archiving
    static constexpr int plainNameRole = Qt::UserRole + 4; // the record's name, where a rename starts

    explicit SidebarView(SidebarViewModel &model, QWidget *parent = nullptr);

    void setTools(const QList<PinnedTool> &tools);
    // Highlights what the content column shows.
    void setSelection(const ContentState &content, std::optional<QUuid> chatInWorkspace);
    // Lists the projects of this profile's page.
    void setActiveProfile(std::optional<QUuid> profileId);
    void rebuild();
    // How often the whole tree was rebuilt (rows updated in place do not count).
    int rebuildCount() const { return m_rebuildCount; }
    // Updates a chat's row in place after a save: false when it cannot be done there (the chat is
    // new, archived, moved or reordered) and the tree must be rebuilt.
    bool updateChatRow(const QUuid &chatId, const QString &name, bool archived, std::optional<QUuid> workspaceId,
                       qint64 sortOrder);

    // The actions of a row's context menu; owned by the caller.
    QList<QAction *> rowActions(const QUuid &id, QObject *owner);

    SidebarTreeWidget *tree() const { return m_tree; }
    // Starts renaming a workspace's or chat's row in place, as F2 does.
    void editName(const QUuid &id);
    ProfileDotsView *profileDots() const { return m_profiles; }
    // The notes under the strip about the active profile's page; hidden when there are none.
    QLabel *profileNotes() const { return m_profileNotes; }
    // Turns on the strip's menu, "+", drops and sign-in marks.
    void setProfileActions(ProfileActions *actions);
    QTreeWidgetItem *item(const QUuid &id) const { return m_items.value(id); }

signals:
    void profileActivated(const QUuid &profileId);
    void projectActivated(const QUuid &projectId);
    void workspaceActivated(const QUuid &workspaceId);
    void chatActivated(const QUuid &chatId);
    void toolActivated(const QString &toolId);
    void addProjectRequested();
    void archiveWorkspaceRequested(const QUuid &workspaceId);
    void closeWorkspaceSessionsRequested(const QUuid &workspaceId);
    void archiveChatRequested(const QUuid &chatId);
    void newWorkspaceRequested(const QUuid &projectId);
    void qualityGatesRequested(const QUuid &projectId);
    void projectActionsRequested(const QUuid &projectId);
    void importSessionsRequested(const QUuid &projectId);
    // A workspace's or chat's name as typed over its row.
    void renameRequested(const QUuid &id, const QString &name);
    void removeProjectRequested(const QUuid &projectId);
    // A workspace or chat to delete for good.
    void deleteRequested(const QUuid &id);
    void forkRequested(const QUuid &chatId, corvane::WorkspaceCreationMode mode);
    void moveProjectRequested(const QUuid &projectId, const QUuid &profileId);
    // The user opened or closed a project's row.
    void projectExpansionChanged(const QUuid &projectId, bool expanded);
    // A drag ended with a new order.
    void projectsReordered(const QList<QUuid> &orderedIds);
    void workspacesReordered(const QUuid &projectId, const QList<QUuid> &orderedIds);
    // A suggested command to run in the workspace's terminal.
    void runCommandRequested(const QUuid &workspaceId, const QString &command, const QString &name);

private:
    // The other profiles a project can move to; null when there are none.
    QMenu *moveToProfileMenu(const Project &project);
    void updateActivity(const QUuid &chatId);
    void rebuildProfiles();
    void updateProfileNotes();
    // Workspaces whose archive is under way say so on their row and take no clicks.
    void showArchiving();
    void itemClicked(QTreeWidgetItem *item);

    SidebarViewModel &m_model;
    ProfileDotsView *m_profiles;
    QLabel *m_profileNotes;
    ProfileActions *m_profileActions = nullptr;
    int m_projectsOnPage = 0;
    QGridLayout *m_toolsLayout;
    SidebarTreeWidget *m_tree;
    QHash<QUuid, QTreeWidgetItem *> m_items;
    int m_rebuildCount = 0;
    bool m_rebuildAfterEdit = false;
    ContentState m_content;
    std::optional<QUuid> m_chatInWorkspace;
    std::optional<QUuid> m_activeProfile;
};

} // namespace corvane
