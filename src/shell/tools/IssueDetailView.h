#pragma once

#include "planning/IssueDetailViewModel.h"

#include <QLineEdit>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QVBoxLayout;

namespace corvane {

// One line of a checklist as an outline editor: Return opens a line below, the arrows walk
// between lines (left and right only at the text's ends, with nothing selected), Backspace on
// an empty line removes it. Every key it takes is reported, not handled here.
class ChecklistTitleField : public QLineEdit
{
    Q_OBJECT

public:
    using QLineEdit::QLineEdit;

signals:
    void submitted();
    void movedUp();
    void movedDown();
    void movedLeftAtStart();
    void movedRightAtEnd();
    void deletedEmpty();

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

// The selected card beside the board: its fields, labels, checklist, plan and workspace, and
// the way to an automation run. Each discrete change is saved at once. In a workspace's
// inspector the same editor shows the workspace's card, with a way to disconnect it instead of
// the workspace and run sections.
class IssueDetailView : public QWidget
{
    Q_OBJECT

public:
    enum class Mode { board, workspacePanel };
    IssueDetailView(PlannerService &planner, Mode mode = Mode::board, QWidget *parent = nullptr);

    IssueDetailViewModel &model() { return m_model; }
    void showIssue(const QUuid &issueId);
    // Makes the shown card's workspace and goes to it (the button, and the card's menu).
    void createWorkspace();

    QLineEdit *titleField() const { return m_title; }
    QCheckBox *completionBox() const { return m_done; }
    QComboBox *projectPicker() const { return m_project; }
    QComboBox *milestonePicker() const { return m_milestone; }
    QPushButton *addItemButton() const { return m_addItem; }
    QPushButton *runAgentButton() const { return m_runAgent; }
    QListWidget *labelList() const { return m_labels; }
    QLineEdit *newLabelField() const { return m_newLabel; }
    QComboBox *newLabelColor() const { return m_newLabelColor; }
    QLabel *workspaceLine() const { return m_workspace; }
    QPushButton *createWorkspaceButton() const { return m_createWorkspace; }
    QPushButton *openWorkspaceButton() const { return m_openWorkspace; }
    QPushButton *disconnectButton() const { return m_disconnect; }
    QPushButton *restoreWorkspaceButton() const { return m_restoreWorkspace; }
    // The checklist's fields, in order.
    QList<ChecklistTitleField *> checklistFields() const;

signals:
    void runAgentRequested(const QUuid &issueId);
    void closeRequested();
    // Go to the workspace: the linked one, or the one just made.
    void workspaceActivated(const QUuid &workspaceId);
    // The lifecycle refused a restore, or had something to say.
    void noticeRaised(const QString &text);
    // In a workspace's inspector: the card was disconnected from it.
    void disconnected();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void build();
    QWidget *buildLabels(QWidget *body);
    QWidget *buildWorkspaceSection(QWidget *body);
    void fill();
    void fillLabels();
    void fitLabels();
    void fillWorkspace();
    void fillChecklist();
    void addLabel();
    void apply(const std::optional<ChecklistFocus> &focus);
    void fieldsEdited();

    IssueDetailViewModel m_model;
    PlannerService &m_planner;
    const Mode m_mode;
    bool m_filling = false;
    QList<QUuid> m_rowIds; // the checklist rows drawn, in order
    QCheckBox *m_done = nullptr;
    QLineEdit *m_title = nullptr;
    QPlainTextEdit *m_description = nullptr;
    QComboBox *m_status = nullptr;
    QComboBox *m_type = nullptr;
    QComboBox *m_priority = nullptr;
    QComboBox *m_project = nullptr;
    QComboBox *m_milestone = nullptr;
    QCheckBox *m_hasDue = nullptr;
    QDateEdit *m_due = nullptr;
    QLabel *m_progress = nullptr;
    QVBoxLayout *m_checklist = nullptr;
    QPushButton *m_addItem = nullptr;
    QListWidget *m_labels = nullptr;
    QLineEdit *m_newLabel = nullptr;
    QComboBox *m_newLabelColor = nullptr;
    QLabel *m_workspace = nullptr;
    QPushButton *m_createWorkspace = nullptr;
    QPushButton *m_openWorkspace = nullptr;
    QPushButton *m_disconnect = nullptr;
    QPushButton *m_restoreWorkspace = nullptr;
    QPushButton *m_runAgent = nullptr;
    QLabel *m_plan = nullptr;
};

} // namespace corvane
