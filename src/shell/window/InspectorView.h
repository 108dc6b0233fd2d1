#pragma once

#include <QWidget>

class QLabel;
class QListWidget;

namespace corvane {

class CommitSyncPanel;
class GitActionsModel;
class InspectorViewModel;

// The inspector column. It names what the content shows and, for a workspace or chat, lists the
// changed files of its working directory as `InspectorViewModel` keeps them.
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

signals:
    // "Open Diff" on a changed file (or a double click): its path in the working directory.
    void diffRequested(const QString &directory, const QString &path);
    // A file of the tree to open in the editor, or to show read-only in a window of its own.
    void fileOpenRequested(const QString &path);
    void filePreviewRequested(const QString &path);

private:
    void showStatus();

    QLabel *m_title;
    QLabel *m_detail;
    QLabel *m_changesTitle;
    QListWidget *m_changes;
    QLabel *m_gatesTitle;
    QListWidget *m_gates;
    InspectorViewModel *m_model = nullptr;
    GitActionsModel *m_actions = nullptr;
    CommitSyncPanel *m_panel = nullptr;
};

} // namespace corvane
