#pragma once

#include "core/window/ContentState.h"

#include <QList>
#include <QObject>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class StoreContext;
class WindowStateModel;
struct Chat;
struct Workspace;

// The navigation decisions of one main window: what showing a project, workspace, chat or tool
// does to the window's state, what each content-dependent command acts on, and how the window
// follows records that are archived or deleted under it. The views call these and draw the
// state; they decide nothing themselves.
class WindowNavigator : public QObject
{
    Q_OBJECT

public:
    WindowNavigator(StoreContext &context, WindowStateModel &state, QObject *parent = nullptr);

    void showProject(const QUuid &projectId);
    // Shows the workspace with its active chat selected. A workspace that is gone or archived
    // shows nothing.
    void showWorkspace(const QUuid &workspaceId);
    // A chat of a workspace is shown inside its workspace and becomes that workspace's active
    // chat; a chat of no workspace is shown alone.
    void showChat(const QUuid &chatId);
    void showTool(const QString &toolId);
    // Clears the selection and closes the inspector; nothing when already empty.
    void showEmpty();

    // Checks the state read from the preferences against the store: what is gone falls back to
    // nothing selected, without a message.
    void restore();
    // After a save: leaves a workspace or chat that was archived or deleted, and moves the
    // selection off a chat of the shown workspace that was.
    void reconcile();

    // The chat the content column shows, if any.
    std::optional<QUuid> currentChatId() const;
    // The project of the content: the project shown, or that of the workspace or chat shown.
    std::optional<QUuid> projectOfContent() const;
    // Where "New Workspace" puts the workspace: the sidebar's selected project, else the project
    // of the content, else the first project.
    std::optional<QUuid> projectForNewWorkspace(std::optional<QUuid> selectedProjectId,
                                                const QList<QUuid> &projects) const;

    // "Close Workspace": a shown workspace or chat goes to empty. Returns the workspace whose
    // sessions the caller closes, when one was shown.
    std::optional<QUuid> closeShownWorkspace();
    // A chat whose session was closed no longer shows.
    void sessionChanged(const QUuid &chatId, bool hasSession);

    // The sidebar moved to a profile's page: its last active workspace, if it still exists, is
    // selected with its first open chat; else nothing is.
    void selectProfile(std::optional<QUuid> profileId);

    // The open chats of a workspace (not archived), in display order.
    QList<std::shared_ptr<Chat>> openChats(const QUuid &workspaceId) const;
    // The open chat named by the workspace's active chat, else its first open chat.
    std::shared_ptr<Chat> activeChat(const Workspace &workspace) const;

private:
    std::shared_ptr<Workspace> liveWorkspace(const QUuid &id) const;
    void rememberLastWorkspace(const QUuid &workspaceId);

    StoreContext &m_context;
    WindowStateModel &m_state;
};

} // namespace corvane
