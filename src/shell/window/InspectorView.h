#pragma once

#include <QWidget>

class QLabel;
class QListWidget;
class QTabWidget;

namespace corvane {

class CommitSyncPanel;
class FileTreeView;
class FileTreeViewModel;
class GitActionsModel;
class InspectorViewModel;

// The inspector column. It names what the content shows and, for a workspace or chat, lists the
// changed files of its working directory as `InspectorViewModel` keeps them (the "Changes" tab)
// and shows the directory's files as a tree (the "Files" tab).
class InspectorView : public QWidget
{
    Q_OBJECT

public:
    explicit InspectorView(QWidget *parent = nullptr);

    void showSubject(const QString &title, const QString &detail);
    // A panel shown under the subject while it is visible (the workspace's linked card).
    void setIssuePanel(QWidget *panel);
    void clear();
    // Follows the model's status from now on; not owned.
    void setModel(InspectorViewModel *model);
    // The git actions under the changed files (needs the model first); not owned.
    void setGitActions(GitActionsModel *actions);
    CommitSyncPanel *commitSyncPanel() const { return m_panel; }
    // A section under the git panel (the pull request's).
    void addSection(QWidget *section);

    QLabel *changesTitle() const { return m_changesTitle; }
    QListWidget *changes() const { return m_changes; }
    // The quality gates of the shown workspace's latest automation run, one line each ("✓ tests
    // exit 0 · 2.1 s", the output's last line in the tooltip); nothing hides the section.
    struct GateLine
    {
        QString text;
        QString output;
    };
    void showGateResults(const QList<GateLine> &lines);
    QListWidget *gateResults() const { return m_gates; }

    // The Files tab follows `tree` from now on; not owned.
    void setFileTreeModel(FileTreeViewModel *tree);
    FileTreeView *fileTree() const { return m_fileTree; }
    QTabWidget *tabs() const { return m_tabs; }

signals:
    // A file of the Files tab was selected, or "Open in Editor" chosen.
    void fileOpenRequested(const QString &path);
    // "Preview" on a file of the Files tab.
    void filePreviewRequested(const QString &path);
    // "Open Diff" on a changed file (or a double click): its path in the working directory.
    void diffRequested(const QString &directory, const QString &path);

private:
    void showStatus();

    QLabel *m_title;
    QLabel *m_detail;
    QLabel *m_changesTitle;
    QListWidget *m_changes;
    QLabel *m_gatesTitle;
    QListWidget *m_gates;
    QTabWidget *m_tabs;
    QWidget *m_changesPage;
    FileTreeView *m_fileTree;
    InspectorViewModel *m_model = nullptr;
    GitActionsModel *m_actions = nullptr;
    CommitSyncPanel *m_panel = nullptr;
};

} // namespace corvane
