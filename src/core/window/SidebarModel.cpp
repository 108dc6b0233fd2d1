#include "core/window/SidebarModel.h"

#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <array>

namespace corvane {

namespace {

constexpr std::array<const char *, 4> activityNames{"idle", "processing", "waitingForPermission", "completed"};

template <typename R>
qint64 nextSortOrder(StoreContext &context, const Predicate &siblings)
{
    const auto last = context.fetchFirst<R>(Query(siblings).orderBy(QStringLiteral("sortOrder"), false));
    return last.ok() && last.value() ? last.value()->sortOrder + 1 : 0;
}

QString cleanFolder(const QString &folder)
{
    QString path = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}

} // namespace

std::optional<ChatActivity> chatActivityFromPayload(const QVariant &state)
{
    if (state.typeId() == QMetaType::QString) {
        for (std::size_t i = 0; i < activityNames.size(); ++i)
            if (state.toString() == QLatin1String(activityNames[i]))
                return ChatActivity(i);
        return std::nullopt;
    }
    bool ok = false;
    const int ordinal = state.toInt(&ok);
    if (!ok || ordinal < 0 || ordinal >= int(activityNames.size()))
        return std::nullopt;
    return ChatActivity(ordinal);
}

SidebarModel::SidebarModel(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context)
{
    m_activityObserver = ObserverGuard(center, center.addObserver(chatActivityStateDidChange, [this](const Notification &n) {
        const QUuid chatId = n.payload.value(QStringLiteral("chatId")).toUuid();
        const auto activity = chatActivityFromPayload(n.payload.value(QStringLiteral("state")));
        if (chatId.isNull() || !activity || m_activity.value(chatId, ChatActivity::idle) == *activity)
            return;
        m_activity.insert(chatId, *activity);
        emit activityChanged(chatId, *activity);
    }, nullptr, this));
    m_archiveObserver = ObserverGuard(center, center.addObserver(chatArchiveStateDidChange,
                                                                 [this](const Notification &) { reload(); }, nullptr, this));
    connect(&context, &StoreContext::saved, this, &SidebarModel::storeChanged);
    connect(&context, &StoreContext::merged, this, &SidebarModel::storeChanged);
    reload();
}

const SidebarProject *SidebarModel::project(const QUuid &id) const
{
    for (const SidebarProject &project : m_projects)
        if (project.id == id)
            return &project;
    return nullptr;
}

void SidebarModel::storeChanged(const StoreChanges &changes)
{
    if (!changes.touches(QStringLiteral("Project")) && !changes.touches(QStringLiteral("Workspace"))
        && !changes.touches(QStringLiteral("Chat")))
        return;
    // One reload for a burst of saves.
    if (m_reloadQueued)
        return;
    m_reloadQueued = true;
    QTimer::singleShot(0, this, [this] {
        if (m_reloadQueued)
            reload();
    });
}

void SidebarModel::reload()
{
    m_reloadQueued = false;
    const auto projects = m_context.fetchOrEmpty<Project>(Query().orderBy(QStringLiteral("sortOrder")));
    const auto workspaces = m_context.fetchOrEmpty<Workspace>(
        Query(where::ne("statusRaw", QStringLiteral("archived"))).orderBy(QStringLiteral("sortOrder")));
    const auto chats = m_context.fetchOrEmpty<Chat>(
        Query(where::ne("statusRaw", QStringLiteral("archived")) && where::notNull("workspaceId"))
            .orderBy(QStringLiteral("sortOrder")));

    QHash<QUuid, QList<SidebarChat>> chatsByWorkspace;
    for (const auto &chat : chats)
        chatsByWorkspace[*chat->workspaceId].append({chat->id, chat->name});
    QHash<QUuid, QList<SidebarWorkspace>> workspacesByProject;
    for (const auto &workspace : workspaces) {
        if (!workspace->projectId)
            continue;
        workspacesByProject[*workspace->projectId].append({workspace->id, workspace->name, workspace->gitBranch,
                                                           workspace->usesWorktree,
                                                           chatsByWorkspace.value(workspace->id)});
    }
    m_projects.clear();
    for (const auto &project : projects)
        m_projects.append({project->id, project->name, project->path, project->isExpanded,
                           workspacesByProject.value(project->id)});
    emit changed();
}

Status SidebarModel::save()
{
    Status saved = m_context.save();
    if (!saved)
        logLine("SidebarVM", QStringLiteral("save failed: ") + saved.error().message);
    return saved;
}

Result<std::shared_ptr<Workspace>> SidebarModel::addProject(const QString &folder, std::optional<QUuid> profileId)
{
    const QString path = cleanFolder(folder);
    if (folder.trimmed().isEmpty() || !QFileInfo(path).isDir())
        return Error(QStringLiteral("The folder \"%1\" does not exist.").arg(folder));
    for (const SidebarProject &existing : m_projects)
        if (existing.path == path)
            return Error(QStringLiteral("The folder \"%1\" is already the project \"%2\".").arg(path, existing.name));

    Project project;
    project.name = path == QLatin1String("/") ? path : QFileInfo(path).fileName();
    project.path = path;
    project.sortOrder = nextSortOrder<Project>(m_context, {});
    project.isExpanded = true;
    project.profileId = profileId;
    const auto inserted = m_context.insert(std::move(project));
    // A failed save keeps the project pending; the next save writes it.
    (void)save();
    return createWorkspace(inserted->id, QStringLiteral("New Workspace"));
}

Result<std::shared_ptr<Workspace>> SidebarModel::createWorkspace(const QUuid &projectId, const QString &name)
{
    const auto project = m_context.get<Project>(projectId);
    if (!project)
        return Error(QStringLiteral("The project no longer exists."));
    if (!project->isExpanded)
        project->isExpanded = true;

    Workspace workspace;
    workspace.name = name;
    workspace.gitBranch = project->defaultNewBranch ? project->defaultNewBranch : project->currentBranch;
    workspace.sortOrder = nextSortOrder<Workspace>(m_context, where::eq("projectId", projectId));
    workspace.projectId = projectId;
    const auto inserted = m_context.insert(std::move(workspace));

    Chat chat;
    chat.name = QStringLiteral("Chat 1");
    chat.sortOrder = 0;
    chat.gitBranch = inserted->gitBranch;
    chat.workspaceId = inserted->id;
    chat.projectId = projectId;
    m_context.insert(std::move(chat));
    (void)save();
    reload();
    return inserted;
}

Result<std::shared_ptr<Chat>> SidebarModel::createChat(const QUuid &workspaceId, std::optional<QString> name)
{
    const auto workspace = m_context.get<Workspace>(workspaceId);
    if (!workspace)
        return Error(QStringLiteral("The workspace no longer exists."));
    const Predicate siblings = where::eq("workspaceId", workspaceId);
    Chat chat;
    chat.name = name.value_or(QStringLiteral("Chat %1").arg(m_context.count<Chat>(siblings).valueOr(0) + 1));
    chat.gitBranch = workspace->gitBranch;
    chat.sortOrder = nextSortOrder<Chat>(m_context, siblings);
    chat.workspaceId = workspaceId;
    chat.projectId = workspace->projectId;
    const auto inserted = m_context.insert(std::move(chat));
    (void)save();
    reload();
    return inserted;
}

} // namespace corvane
