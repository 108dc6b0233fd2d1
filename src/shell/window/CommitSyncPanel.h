#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;

namespace corvane {

class GitActionsModel;
class InspectorViewModel;

// Under the changed files of the inspector: fetch, pull, push and the rest of the git menu, the
// commit message with its generate button, and the last error, which stays until dismissed.
class CommitSyncPanel : public QWidget
{
    Q_OBJECT

public:
    CommitSyncPanel(GitActionsModel &actions, InspectorViewModel &status, QWidget *parent = nullptr);

    QPushButton *fetchButton() const { return m_fetch; }
    QPushButton *pullButton() const { return m_pull; }
    QPushButton *pushButton() const { return m_push; }
    QPushButton *commitButton() const { return m_commit; }
    QToolButton *generateButton() const { return m_generate; }
    QToolButton *moreButton() const { return m_more; }
    QLineEdit *messageField() const { return m_message; }
    QLabel *errorLine() const { return m_error; }

private:
    void redraw();
    void chooseBranch(bool rebase);
    QStringList unstagedPaths() const;

    GitActionsModel &m_actions;
    InspectorViewModel &m_status;
    QPushButton *m_fetch;
    QPushButton *m_pull;
    QPushButton *m_push;
    QToolButton *m_more;
    QLineEdit *m_message;
    QToolButton *m_generate;
    QPushButton *m_commit;
    QLabel *m_error;
    QToolButton *m_dismiss;
};

} // namespace corvane
