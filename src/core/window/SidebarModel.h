#pragma once

#include "core/NotificationCenter.h"
#include "core/Result.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class StoreContext;
struct Chat;
struct Workspace;
struct StoreChanges;

// The live activity of a chat as the sidebar marks it.
enum class ChatActivity { idle, processing, waitingForPermission, completed };

// The "state" of a "chatActivityStateDidChange" payload: the state's name or its ordinal.
std::optional<ChatActivity> chatActivityFromPayload(const QVariant &state);

inline const QString chatActivityStateDidChange = QStringLiteral("chatActivityStateDidChange");
inline const QString chatArchiveStateDidChange = QStringLiteral("chatArchiveStateDidChange");

struct SidebarChat
{
    QUuid id;
    QString name;
};

struct SidebarWorkspace
{
    QUuid id;
    QString name;
    std::optional<QString> gitBranch;
    bool usesWorktree = false;
    QList<SidebarChat> chats; // open chats, in display order
};

struct SidebarProject
{
    QUuid id;
    QString name;
    QString path;
    bool isExpanded = true;
    QList<SidebarWorkspace> workspaces; // live workspaces, in display order
};

// What the sidebar lists: projects, their live workspaces and those workspaces' open chats, as
// value snapshots rebuilt from the store whenever a save touches them, plus the live activity of
// each chat. It also makes the records the window's commands create, in the orders the rest of
// the application expects: each new record goes after its siblings.
class SidebarModel : public QObject
{
    Q_OBJECT

public:
    SidebarModel(StoreContext &context, NotificationCenter &center, QObject *parent = nullptr);

    const QList<SidebarProject> &projects() const { return m_projects; }
    const SidebarProject *project(const QUuid &id) const;
    ChatActivity activity(const QUuid &chatId) const { return m_activity.value(chatId, ChatActivity::idle); }

    void reload();

    // A project for `folder`, named after its last path component, with its first workspace and
    // that workspace's first chat. Refuses a folder that does not exist or is already a project.
    // Returns the new workspace.
    Result<std::shared_ptr<Workspace>> addProject(const QString &folder, std::optional<QUuid> profileId);
    // A workspace named `name` on the project's default or current branch, with its chat "Chat 1".
    Result<std::shared_ptr<Workspace>> createWorkspace(const QUuid &projectId, const QString &name);
    // A chat in the workspace; without a name it is "Chat " and the count of the workspace's chats,
    // archived ones included, plus one. Not selected here.
    Result<std::shared_ptr<Chat>> createChat(const QUuid &workspaceId, std::optional<QString> name = {});

signals:
    void changed();
    void activityChanged(const QUuid &chatId, corvane::ChatActivity activity);

private:
    void storeChanged(const StoreChanges &changes);
    Status save();

    StoreContext &m_context;
    QList<SidebarProject> m_projects;
    QHash<QUuid, ChatActivity> m_activity;
    ObserverGuard m_activityObserver;
    ObserverGuard m_archiveObserver;
    bool m_reloadQueued = false;
};

} // namespace corvane
