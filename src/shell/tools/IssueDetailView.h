#pragma once

#include "planning/IssueDetailViewModel.h"

#include <QLineEdit>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
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

// The selected card beside the board: its fields, its checklist, its plan, and the way to an
// automation run. Each discrete change is saved at once.
class IssueDetailView : public QWidget
{
    Q_OBJECT

public:
    IssueDetailView(PlannerService &planner, QWidget *parent = nullptr);

    IssueDetailViewModel &model() { return m_model; }
    void showIssue(const QUuid &issueId);

    QLineEdit *titleField() const { return m_title; }
    QCheckBox *completionBox() const { return m_done; }
    QComboBox *projectPicker() const { return m_project; }
    QComboBox *milestonePicker() const { return m_milestone; }
    QPushButton *addItemButton() const { return m_addItem; }
    QPushButton *runAgentButton() const { return m_runAgent; }
    // The checklist's fields, in order.
    QList<ChecklistTitleField *> checklistFields() const;

signals:
    void runAgentRequested(const QUuid &issueId);
    void closeRequested();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void build();
    void fill();
    void fillChecklist();
    void apply(const std::optional<ChecklistFocus> &focus);
    void fieldsEdited();

    IssueDetailViewModel m_model;
    PlannerService &m_planner;
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
    QLabel *m_workspace = nullptr;
    QPushButton *m_runAgent = nullptr;
    QLabel *m_plan = nullptr;
};

} // namespace corvane
