#include "source_control/workspaces/SidebarViewModel.h"

#include "core/Broadcasts.h"
#include "core/MainThread.h"
#include "core/store/StoreContext.h"

namespace corvane {

namespace {

// Posts may come from any thread; the model's state is the main thread's.
template <typename Fn>
void onMain(QObject *context, Fn fn)
{
    if (isMainThread())
        fn();
    else
        runOnMainThread(context, std::move(fn));
}

} // namespace

SidebarViewModel::SidebarViewModel(StoreContext &context, WorkspaceLifecycleService &lifecycle,
                                   NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_lifecycle(lifecycle)
{
    m_observers.push_back(broadcast::observe<broadcast::ChatActivityChanged>(center, this, [this](const broadcast::ChatActivityChanged &c) {
        onMain(this, [this, c] {
            if (c.chatId.isNull())
                return;
            m_activityStates.insert(c.chatId, c.state);
            emit activityStatesChanged(c.chatId);
        });
    }));
    m_observers.push_back(broadcast::observe<broadcast::ChatSessionChanged>(center, this, [this](const broadcast::ChatSessionChanged &c) {
        onMain(this, [this, c] {
            if (c.chatId.isNull())
                return;
            m_sessionStates.insert(c.chatId, c.hasSession);
            emit sessionStatesChanged(c.chatId);
        });
    }));
    auto reload = [this](const Notification &) { onMain(this, [this] { loadProjects(); }); };
    for (const QString &name : {broadcast::chatArchiveStateDidChange, broadcast::profilesDidChange})
        m_observers.push_back(ObserverGuard(center, center.addObserver(name, reload, nullptr, this)));

    connect(&lifecycle, &WorkspaceLifecycleService::recordsChanged, this, &SidebarViewModel::loadProjects);
    connect(&lifecycle, &WorkspaceLifecycleService::sessionEnded, this, &SidebarViewModel::forgetChatState);
    connect(&lifecycle, &WorkspaceLifecycleService::recordRemoved, this, &SidebarViewModel::forgetSelectionOf);
}

void SidebarViewModel::loadProjects()
{
    m_projects = m_context.fetchOrEmpty<Project>(Query().orderBy("sortOrder"));
    m_profiles = m_context.fetchOrEmpty<Profile>(Query().orderBy("sortOrder").orderBy("createdAt"));
    emit projectsChanged();
    emit profilesChanged();
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

void SidebarViewModel::forgetChatState(const QUuid &chatId)
{
    const bool had = m_activityStates.remove(chatId) + m_sessionStates.remove(chatId) > 0;
    if (had) {
        emit activityStatesChanged(chatId);
        emit sessionStatesChanged(chatId);
    }
}

void SidebarViewModel::forgetSelectionOf(const QUuid &id)
{
    // What is selected below a deleted record goes with it.
    if (m_selectedProjectId == id) {
        m_selectedProjectId.reset();
        m_selectedWorkspaceId.reset();
        m_selectedChatId.reset();
    } else if (m_selectedWorkspaceId == id) {
        m_selectedWorkspaceId.reset();
        m_selectedChatId.reset();
    } else if (m_selectedChatId == id) {
        m_selectedChatId.reset();
    } else {
        return;
    }
    emit selectionChanged();
}

} // namespace corvane
