#include "source_control/workspaces/SidebarViewModel.h"

#include "core/Log.h"
#include "core/MainThread.h"
#include "core/store/StoreContext.h"
#include "source_control/workspaces/WorkspaceNotifications.h"


namespace corvane {

namespace {

const char *const kTag = "SidebarVM";
const char *const kActivityNames[] = {"idle", "processing", "waitingForPermission", "completed"};

// Payloads may carry an id as a QUuid or as its text.
QUuid uuidOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QUuid)
        return value.toUuid();
    return QUuid::fromString(value.toString());
}

// The state travels as its raw name, or as the enumeration itself.
QString activityNameOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return value.toString();
    bool isNumber = false;
    const int index = value.toInt(&isNumber);
    if (isNumber && index >= 0 && index < int(std::size(kActivityNames)))
        return QString::fromLatin1(kActivityNames[index]);
    return value.toString();
}

} // namespace

SidebarViewModel::SidebarViewModel(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_center(center)
{
    observe();
}

void SidebarViewModel::observe()
{
    using namespace workspaceNotification;
    // Posts may come from any thread; the state is the main thread's.
    auto onMain = [this](void (SidebarViewModel::*handler)(const Notification &)) {
        return [this, handler](const Notification &n) {
            if (isMainThread())
                (this->*handler)(n);
            else
                runOnMainThread(this, [this, handler, n] { (this->*handler)(n); });
        };
    };
    auto reload = [this](const Notification &) {
        if (isMainThread())
            loadProjects();
        else
            runOnMainThread(this, [this] { loadProjects(); });
    };
    m_observers.push_back(ObserverGuard(m_center, m_center.addObserver(chatActivityStateDidChange,
                                                                    onMain(&SidebarViewModel::onActivityState), nullptr, this)));
    m_observers.push_back(ObserverGuard(m_center, m_center.addObserver(chatSessionDidChange,
                                                                    onMain(&SidebarViewModel::onSessionState), nullptr, this)));
    m_observers.push_back(ObserverGuard(m_center, m_center.addObserver(chatArchiveStateDidChange, reload, nullptr, this)));
    m_observers.push_back(ObserverGuard(m_center, m_center.addObserver(profilesDidChange, reload, nullptr, this)));
}

void SidebarViewModel::onActivityState(const Notification &notification)
{
    const QUuid chatId = uuidOf(notification.payload.value(workspaceNotification::chatIdKey));
    if (chatId.isNull())
        return;
    m_activityStates.insert(chatId, activityNameOf(notification.payload.value(workspaceNotification::stateKey)));
    emit activityStatesChanged(chatId);
}

void SidebarViewModel::onSessionState(const Notification &notification)
{
    const QUuid chatId = uuidOf(notification.payload.value(workspaceNotification::chatIdKey));
    if (chatId.isNull())
        return;
    m_sessionStates.insert(chatId, notification.payload.value(workspaceNotification::hasSessionKey).toBool());
    emit sessionStatesChanged(chatId);
}

// -- Lists and selection -----------------------------------------------------------------------

void SidebarViewModel::loadProjects()
{
    m_projects = m_context.fetchOrEmpty<Project>(Query().orderBy("sortOrder"));
    m_profiles = m_context.fetchOrEmpty<Profile>(Query().orderBy("sortOrder").orderBy("createdAt"));
    emit projectsChanged();
    emit profilesChanged();
}

QList<std::shared_ptr<Project>> SidebarViewModel::projects(const Profile &profile) const
{
    QList<std::shared_ptr<Project>> out;
    for (const auto &project : m_projects)
        if (project->profileId == profile.id)
            out.append(project);
    std::stable_sort(out.begin(), out.end(), [](const auto &a, const auto &b) { return a->sortOrder < b->sortOrder; });
    return out;
}

QList<std::shared_ptr<Workspace>> SidebarViewModel::workspaces(const Project &project, bool includeArchived) const
{
    Predicate filter = where::eq("projectId", project.id);
    if (!includeArchived)
        filter = filter && where::ne("statusRaw", QStringLiteral("archived"));
    return m_context.fetchOrEmpty<Workspace>(Query(filter).orderBy("sortOrder"));
}

QList<std::shared_ptr<Chat>> SidebarViewModel::chats(const Workspace &workspace, bool includeArchived) const
{
    Predicate filter = where::eq("workspaceId", workspace.id);
    if (!includeArchived)
        filter = filter && where::ne("statusRaw", QStringLiteral("archived"));
    return m_context.fetchOrEmpty<Chat>(Query(filter).orderBy("sortOrder"));
}

QList<std::shared_ptr<Chat>> SidebarViewModel::projectChats(const Project &project) const
{
    return m_context.fetchOrEmpty<Chat>(Query(where::eq("projectId", project.id)).orderBy("sortOrder"));
}

void SidebarViewModel::selectProject(const std::optional<QUuid> &id)
{
    m_selectedProjectId = id;
    emit selectionChanged();
}

void SidebarViewModel::selectWorkspace(const std::optional<QUuid> &id)
{
    m_selectedWorkspaceId = id;
    emit selectionChanged();
}

void SidebarViewModel::selectChat(const std::optional<QUuid> &id)
{
    m_selectedChatId = id;
    emit selectionChanged();
}

// -- Sort orders: the greatest among the siblings plus one, so the first gets 0 -----------------

qint64 SidebarViewModel::nextProjectSortOrder() const
{
    auto last = m_context.fetchOrEmpty<Project>(Query().orderBy("sortOrder", false).limitTo(1));
    return last.isEmpty() ? 0 : last.first()->sortOrder + 1;
}

qint64 SidebarViewModel::nextWorkspaceSortOrder(const Project &project) const
{
    auto last = m_context.fetchOrEmpty<Workspace>(
        Query(where::eq("projectId", project.id)).orderBy("sortOrder", false).limitTo(1));
    return last.isEmpty() ? 0 : last.first()->sortOrder + 1;
}

qint64 SidebarViewModel::nextChatSortOrder(const QList<std::shared_ptr<Chat>> &siblings) const
{
    qint64 greatest = -1;
    for (const auto &chat : siblings)
        greatest = std::max(greatest, chat->sortOrder);
    return greatest + 1;
}

void SidebarViewModel::saveQuietly()
{
    // A failed save keeps its changes pending; the next one writes them.
    if (Status saved = m_context.save(); !saved)
        logLine(kTag, QStringLiteral("save failed: ") + saved.error().message);
}

// -- Changing -------------------------------------------------------------------------------------

bool SidebarViewModel::renameWorkspace(Workspace &workspace, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed == workspace.name)
        return false;
    workspace.name = trimmed;
    workspace.setUpdatedAt(QDateTime::currentDateTime());
    saveQuietly();
    m_center.post(workspaceNotification::workspaceDidRename, this, {{workspaceNotification::workspaceIdKey, workspace.id}});
    emit projectsChanged();
    return true;
}

void SidebarViewModel::forgetChatState(const QUuid &chatId)
{
    const bool had = m_activityStates.remove(chatId) + m_sessionStates.remove(chatId) > 0;
    if (had) {
        emit activityStatesChanged(chatId);
        emit sessionStatesChanged(chatId);
    }
}

void SidebarViewModel::closeSession(const QUuid &chatId)
{
    if (m_sessionCloser)
        m_sessionCloser(chatId);
}

void SidebarViewModel::closeWorkspace(const Workspace &workspace)
{
    const auto workspaceChats = chats(workspace, true);
    logLine(kTag, QStringLiteral("closeWorkspace: %1, chats=%2").arg(workspace.name).arg(workspaceChats.size()));
    for (const auto &chat : workspaceChats) {
        logLine(kTag, QStringLiteral("closing session for chat: ") + chat->name);
        closeSession(chat->id);
        forgetChatState(chat->id);
    }
    if (m_workspaceCloser)
        m_workspaceCloser(workspace.id);
}

void SidebarViewModel::postArchiveStateChanged()
{
    m_center.post(workspaceNotification::chatArchiveStateDidChange, this);
}

} // namespace corvane
