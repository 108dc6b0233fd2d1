#include "core/window/WindowNavigator.h"

#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "core/window/PinnedTool.h"
#include "core/window/WindowStateModel.h"

namespace corvane {

namespace {

void saveOrLog(StoreContext &context)
{
    // A failed save keeps the change pending for the next one; navigation goes on.
    if (auto saved = context.save(); !saved)
        logLine("Window", QStringLiteral("save failed: ") + saved.error().message);
}

// The record as saved. A context keeps records that a cascade removed underneath it, so the
// question "is it still there" goes to the store.
template <typename R>
std::shared_ptr<R> stored(StoreContext &context, const QUuid &id)
{
    auto found = context.fetchFirst<R>(Query(where::eq("id", id)));
    if (!found)
        return context.get<R>(id);
    return found.value();
}

} // namespace

WindowNavigator::WindowNavigator(StoreContext &context, WindowStateModel &state, QObject *parent)
    : QObject(parent), m_context(context), m_state(state)
{
}

std::shared_ptr<Workspace> WindowNavigator::liveWorkspace(const QUuid &id) const
{
    auto workspace = stored<Workspace>(m_context, id);
    return workspace && !workspace->isArchived() ? workspace : nullptr;
}

QList<std::shared_ptr<Chat>> WindowNavigator::openChats(const QUuid &workspaceId) const
{
    return m_context.fetchOrEmpty<Chat>(
        Query(where::eq("workspaceId", workspaceId) && where::ne("statusRaw", QStringLiteral("archived")))
            .orderBy(QStringLiteral("sortOrder")));
}

std::shared_ptr<Chat> WindowNavigator::activeChat(const Workspace &workspace) const
{
    const auto chats = openChats(workspace.id);
    if (chats.isEmpty())
        return nullptr;
    if (workspace.activeChatId)
        for (const auto &chat : chats)
            if (chat->id == *workspace.activeChatId)
                return chat;
    return chats.first();
}

void WindowNavigator::showProject(const QUuid &projectId)
{
    if (!stored<Project>(m_context, projectId))
        return showEmpty();
    m_state.setSelectedWorkspaceId(std::nullopt);
    m_state.setSelectedChatIdInWorkspace(std::nullopt);
    m_state.setContent(ContentState::projectInfo(projectId));
}

void WindowNavigator::showWorkspace(const QUuid &workspaceId)
{
    const auto workspace = liveWorkspace(workspaceId);
    if (!workspace)
        return showEmpty();
    const auto chat = activeChat(*workspace);
    m_state.setSelectedWorkspaceId(workspaceId);
    m_state.setSelectedChatIdInWorkspace(chat ? std::optional(chat->id) : std::nullopt);
    m_state.setContent(ContentState::workspace(workspaceId));
    rememberLastWorkspace(workspaceId);
}

void WindowNavigator::showChat(const QUuid &chatId)
{
    const auto chat = stored<Chat>(m_context, chatId);
    if (!chat || chat->isArchived())
        return showEmpty();
    if (!chat->workspaceId) {
        m_state.setSelectedWorkspaceId(std::nullopt);
        m_state.setSelectedChatIdInWorkspace(chatId);
        m_state.setContent(ContentState::chat(chatId));
        return;
    }
    const auto workspace = liveWorkspace(*chat->workspaceId);
    if (!workspace)
        return showEmpty();
    if (workspace->activeChatId != chatId) {
        workspace->activeChatId = chatId;
        saveOrLog(m_context);
    }
    showWorkspace(workspace->id);
}

void WindowNavigator::showTool(const QString &toolId)
{
    if (!pinnedTool(toolId))
        return;
    m_state.setSelectedWorkspaceId(std::nullopt);
    m_state.setSelectedChatIdInWorkspace(std::nullopt);
    m_state.setContent(ContentState::tool(toolId));
}

void WindowNavigator::showEmpty()
{
    m_state.setSelectedWorkspaceId(std::nullopt);
    m_state.setSelectedChatIdInWorkspace(std::nullopt);
    if (m_state.content().isEmpty())
        return;
    m_state.setContent(ContentState::empty());
    m_state.setInspectorCollapsed(true);
}

void WindowNavigator::restore()
{
    const ContentState content = m_state.content();
    switch (content.kind) {
    case ContentState::Kind::projectInfo:
        return showProject(content.id);
    case ContentState::Kind::workspace:
        return showWorkspace(content.id);
    case ContentState::Kind::chat:
        return showChat(content.id);
    case ContentState::Kind::tool:
        return pinnedTool(content.toolId) ? void() : showEmpty();
    case ContentState::Kind::empty:
        return showEmpty();
    }
}

void WindowNavigator::reconcile()
{
    const ContentState content = m_state.content();
    switch (content.kind) {
    case ContentState::Kind::projectInfo:
        if (!stored<Project>(m_context, content.id))
            showEmpty();
        return;
    case ContentState::Kind::chat: {
        const auto chat = stored<Chat>(m_context, content.id);
        if (!chat || chat->isArchived())
            showEmpty();
        return;
    }
    case ContentState::Kind::workspace: {
        const auto workspace = liveWorkspace(content.id);
        if (!workspace)
            return showEmpty();
        const auto chat = activeChat(*workspace);
        m_state.setSelectedChatIdInWorkspace(chat ? std::optional(chat->id) : std::nullopt);
        return;
    }
    case ContentState::Kind::tool:
    case ContentState::Kind::empty:
        return;
    }
}

std::optional<QUuid> WindowNavigator::currentChatId() const
{
    const ContentState content = m_state.content();
    if (content.kind == ContentState::Kind::chat)
        return content.id;
    if (content.kind == ContentState::Kind::workspace)
        return m_state.selectedChatIdInWorkspace();
    return std::nullopt;
}

std::optional<QUuid> WindowNavigator::projectOfContent() const
{
    const ContentState content = m_state.content();
    switch (content.kind) {
    case ContentState::Kind::projectInfo:
        return content.id;
    case ContentState::Kind::workspace:
        if (const auto workspace = m_context.get<Workspace>(content.id))
            return workspace->projectId;
        return std::nullopt;
    case ContentState::Kind::chat:
        if (const auto chat = m_context.get<Chat>(content.id))
            return chat->projectId;
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<QUuid> WindowNavigator::projectForNewWorkspace(std::optional<QUuid> selectedProjectId,
                                                             const QList<QUuid> &projects) const
{
    if (selectedProjectId && projects.contains(*selectedProjectId))
        return selectedProjectId;
    if (const auto ofContent = projectOfContent(); ofContent && projects.contains(*ofContent))
        return ofContent;
    return projects.isEmpty() ? std::nullopt : std::optional(projects.first());
}

std::optional<QUuid> WindowNavigator::closeShownWorkspace()
{
    const ContentState content = m_state.content();
    if (!content.showsChat())
        return std::nullopt;
    showEmpty();
    if (content.kind == ContentState::Kind::workspace)
        return content.id;
    return std::nullopt;
}

void WindowNavigator::sessionChanged(const QUuid &chatId, bool hasSession)
{
    if (!hasSession && currentChatId() == chatId)
        showEmpty();
}

void WindowNavigator::selectProfile(std::optional<QUuid> profileId)
{
    m_state.setActiveProfileId(profileId);
    const auto profile = profileId ? m_context.get<Profile>(*profileId) : nullptr;
    const auto workspace = profile && profile->lastActiveWorkspaceId ? liveWorkspace(*profile->lastActiveWorkspaceId)
                                                                       : nullptr;
    if (!workspace)
        return showEmpty();
    const auto chats = openChats(workspace->id);
    if (!chats.isEmpty() && workspace->activeChatId != chats.first()->id) {
        workspace->activeChatId = chats.first()->id;
        saveOrLog(m_context);
    }
    showWorkspace(workspace->id);
}

void WindowNavigator::rememberLastWorkspace(const QUuid &workspaceId)
{
    const auto profileId = m_state.activeProfileId();
    if (!profileId)
        return;
    const auto profile = m_context.get<Profile>(*profileId);
    if (!profile || profile->lastActiveWorkspaceId == workspaceId)
        return;
    profile->lastActiveWorkspaceId = workspaceId;
    saveOrLog(m_context);
}

} // namespace corvane
