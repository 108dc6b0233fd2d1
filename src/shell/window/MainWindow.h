#pragma once

#include "core/NotificationCenter.h"
#include "core/Result.h"
#include "core/records/Enums.h"
#include "core/settings/KeyboardShortcutAction.h"
#include "core/window/PreferencesTab.h"
#include "core/window/WindowCommands.h"
#include "shell/window/ContentArea.h"
#include "source_control/GitFuture.h"
#include "source_control/GitTypes.h"
#include "source_control/workspaces/WorkspaceTypes.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QSet>
#include <QUuid>

#include <functional>
#include <vector>
#include <optional>

class QSplitter;
class QTimer;

namespace corvane {

class AppSettings;
class GitActionsModel;
class InlineAgentRunner;
class InspectorView;
class PullRequestSection;
class QuickSearchPalette;
class IssueDetailView;
class InspectorViewModel;
class FileTreeViewModel;
class PreferencesStore;
class PreferencesWindow;
class ProfileActions;
struct Project;
class ProjectActionsBar;
class SidebarView;
class SidebarViewModel;
class WorkspaceLifecycleService;
class StoreContext;
class ProjectOverviewViewModel;
struct StoreChanges;
class WindowActions;
struct ToolServices;
class AutomatedAgentOrchestrator;
class AutomationRunBanner;
class BranchSwitchButton;
class WindowNavigator;
class WindowStateModel;
class TerminalPanel;
class TerminalService;
class OpenFileService;
class ProfileAuthMonitor;
class ProfileService;
class FileEditorView;
struct Workspace;

// What a main window is given by the application.
struct WindowServices
{
    StoreContext &context;
    PreferencesStore &preferences;
    AppSettings &settings;
    NotificationCenter &center;
    WorkspaceLifecycleService &lifecycle;
    // The Flows, Agents and Skills tools' services; without them those tools show only their names.
    ToolServices *definitions = nullptr;
    // Automation runs; without it no run banner is shown.
    AutomatedAgentOrchestrator *automation = nullptr;
    // The application's terminals; without it the terminal panel does not show.
    TerminalService *terminals = nullptr;
    // The open files of every workspace; without it the window keeps its own.
    OpenFileService *openFiles = nullptr;
    // The agent accounts and their live sign-in state; without them the profile screens are bare.
    ProfileService *profiles = nullptr;
    ProfileAuthMonitor *authMonitor = nullptr;
};

// A main window: the sidebar, the content column and the inspector side by side, with the menus
// of the window's commands. It draws the window state and forwards input to WindowNavigator and
// SidebarViewModel, which decide.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow(const WindowServices &services, int number, QWidget *parent = nullptr);
    ~MainWindow() override;

    // The widget for a chat; until one is set, a placeholder names the chat.
    void setChatViewFactory(ChatViewFactory factory);
    // Whether a chat's session has a permission request waiting (enables Allow and Deny).
    void setPendingPermissionProbe(std::function<bool(const QUuid &chatId)> probe);
    // Asks for a project folder; empty means cancelled. The default is the desktop's folder picker.
    void setFolderPicker(std::function<QString(QWidget *parent)> picker);

    // Adds a project for the folder with its first workspace, and shows that workspace.
    Status addProjectFolder(const QString &folder);
    void runCommand(KeyboardShortcutAction action);

    bool hasSavedGeometry() const { return m_hasSavedGeometry; }
    std::optional<QUuid> currentChatId() const;

    WindowStateModel &state() const { return *m_state; }
    WindowNavigator &navigator() const { return *m_navigator; }
    SidebarViewModel &sidebarModel() const { return *m_sidebarModel; }
    SidebarView *sidebar() const { return m_sidebar; }
    ContentArea *content() const { return m_content; }
    InspectorView *inspector() const { return m_inspector; }
    // The shown workspace's terminal panel, or null.
    TerminalPanel *terminalPanel() const;
    // The shown workspace's project actions, over the columns.
    ProjectActionsBar *projectActionsBar() const { return m_projectActions; }
    InspectorViewModel &inspectorModel() const { return *m_inspectorModel; }
    FileTreeViewModel &fileTreeModel() const { return *m_fileTreeModel; }
    QSplitter *splitter() const { return m_splitter; }
    WindowActions &actions() const { return *m_actions; }
    OpenFileService &openFiles() const;
    // Opens a file beside the shown workspace's chats, in front of them; with no workspace in
    // front, in a preview window.
    void openFile(const QString &path);
    void previewFile(const QString &path);
    // The quick search palette, once "Quick Open" has been used.
    QuickSearchPalette *quickSearch() const { return m_quickSearch; }
    // The profile sheets of this window; null without profile services.
    ProfileActions *profileActions() const { return m_profileActions; }
    PreferencesWindow *openPreferences(std::optional<PreferencesTab> tab = std::nullopt);
    // The menu of a chat's pill in the tab bar: Rename…, Archive, Close. Owned by `owner`.
    QList<QAction *> chatPillActions(const QUuid &chatId, QObject *owner);
    // The chat header's branch switch.
    BranchSwitchButton *branchSwitch() const { return m_branchSwitch; }

signals:
    void newWindowRequested();
    // Commands that belong to other parts of the application (sessions, issues, quick open),
    // with the chat the window shows.
    void commandRequested(corvane::KeyboardShortcutAction action, std::optional<QUuid> chatId);
    // "Close Workspace" on a shown workspace: its sessions are to be closed.
    void workspaceCloseRequested(const QUuid &workspaceId);
    // A lifecycle operation asked the user to confirm, or failed: the text shown.
    void lifecycleMessageShown(const QString &text);
    // Preferences' "Show Setup Checklist…".
    void setupChecklistRequested();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void buildColumns();
    void restoreLayout();
    void saveLayout();
    void refresh();
    void scheduleRefresh();
    void storeChanged(const StoreChanges &changes);
    bool updateChatRows(const QSet<QUuid> &chatIds);
    void selectInSidebar();
    void drawContent();
    // The inspector follows the working directory of what the content shows, or none.
    // The inspector's list of the workspace's last gate results.
    void showRunGates(const std::optional<QUuid> &workspaceId);
    // The inspector's directory, and the workspace whose commit message and git actions go with it.
    void inspectDirectory(const std::optional<QString> &directory, const std::optional<QUuid> &workspaceId = {});
    CommandContext commandContext() const;
    void addProject();
    void newWorkspace();
    void newChatInWorkspace();
    // Opens the dialog that makes a workspace on the checkout, a new branch or a new worktree.
    void newWorkspaceIn(const QUuid &projectId, WorkspaceCreationMode mode = WorkspaceCreationMode::simple);
    void editQualityGates(const QUuid &projectId);
    void editProjectActions(const QUuid &projectId);
    // The Run Agent panel for an issue; a started run's workspace is shown with its coordinator.
    void openRunAgentPanel(const QUuid &issueId);
    // The project's session import window; after an import the first new workspace shows.
    void importSessions(const QUuid &projectId);
    // The new-issue sheet for a column, on the project the window shows (if any).
    void openNewIssue(IssueStatus status);
    void createSimpleWorkspaceIn(Project &project);
    void showWorkspace(const QUuid &workspaceId);
    void openChatFromPulse(const QUuid &chatId);
    void openQuickSearch();
    void openSearchedWorkspace(const QUuid &workspaceId);
    void openSearchedMessage(const QUuid &chatId, const QUuid &messageId);
    // The card linked to the shown workspace in the inspector, or no panel.
    void showLinkedIssue(const std::optional<QUuid> &workspaceId);
    void setUpGitActions();
    void archiveWorkspace(const QUuid &workspaceId, bool confirmed);
    void archiveChat(const QUuid &chatId, bool confirmed);
    void closeWorkspaceSessions(const QUuid &workspaceId);
    void showAbout();
    // The record actions of the sidebar's rows, the chat pills and the chat header.
    void setUpRecordActions();
    void renameRecord(const QUuid &id, const QString &name);
    void deletePermanently(const QUuid &id);
    // Runs a lifecycle operation; when it asks first, the user's answer runs it again confirmed.
    void runLifecycle(std::function<GitFuture<LifecycleOutcome>(bool confirmed)> operation, const QString &button,
                      const QString &failureTitle, bool confirmed = false);
    void showBranchSwitch(const std::optional<QUuid> &chatId, bool reload = false);
    void switchBranch(const QUuid &chatId, const GitBranch &branch);
    void setUpProfiles();
    // Before a new workspace or chat on a project whose profile was never signed in: false, with
    // an alert that leads to the profile in Preferences. Always true without profile services.
    bool passesSignInGate(const std::optional<QUuid> &projectId);
    // The shown workspace's terminal panel, made with its first shell when first shown.
    void setUpTerminals();
    void setUpProjectActions();
    void showTerminal(const Workspace &workspace, const std::optional<QString> &folder);
    void toggleTerminal();
    void runInTerminal(const QUuid &workspaceId, const QString &command, const QString &name);
    void setUpFiles();
    void drawOpenFiles(const QUuid &workspaceId);
    FileEditorView *fileEditor(const QUuid &workspaceId);
    // Asks about the workspace's unsaved files and closes them all; false when cancelled.
    bool closeWorkspaceFiles(const QUuid &workspaceId);

    WindowServices m_services;
    WindowStateModel *m_state;
    SidebarViewModel *m_sidebarModel;
    WindowNavigator *m_navigator;
    SidebarView *m_sidebar = nullptr;
    ProjectActionsBar *m_projectActions = nullptr;
    ContentArea *m_content = nullptr;
    ProjectOverviewViewModel *m_overview = nullptr;
    InspectorView *m_inspector = nullptr;
    InspectorViewModel *m_inspectorModel;
    FileTreeViewModel *m_fileTreeModel = nullptr;
    QSplitter *m_splitter = nullptr;
    WindowActions *m_actions = nullptr;
    QTimer *m_saveColumnsTimer;
    std::function<bool(const QUuid &)> m_pendingPermission;
    std::function<QString(QWidget *)> m_folderPicker;
    QList<int> m_columnWidths;
    ObserverGuard m_sessionObserver;
    ObserverGuard m_shortcutObserver;
    ObserverGuard m_toolsObserver;
    bool m_hasSavedGeometry = false;
    QString m_shownTool;
    AutomationRunBanner *m_runBanner = nullptr;
    ObserverGuard m_runObserver; // the tool page on show, rescanned only when it comes into view
    IssueDetailView *m_issuePanel = nullptr;
    GitActionsModel *m_gitActions = nullptr;
    InlineAgentRunner *m_titleRunner = nullptr;
    InlineAgentRunner *m_pullRequestRunner = nullptr;
    PullRequestSection *m_pullRequest = nullptr;
    ObserverGuard m_issueObserver;
    QHash<QUuid, QPointer<TerminalPanel>> m_terminalPanels;
    std::vector<ObserverGuard> m_terminalObservers;
    QHash<QUuid, QPointer<FileEditorView>> m_fileEditors;
    QSet<QUuid> m_fileInFront; // workspaces whose active file's editor is in front of the chats
    ObserverGuard m_filesObserver;
    QuickSearchPalette *m_quickSearch = nullptr;
    ProfileActions *m_profileActions = nullptr;
    BranchSwitchButton *m_branchSwitch = nullptr;
    bool m_refreshQueued = false;
    bool m_reloadQueued = false;
};

} // namespace corvane
