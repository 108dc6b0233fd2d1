#pragma once

#include "planning/PlannerService.h"

#include <QDialog>
#include <QTimer>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QWidget;

namespace corvane {

// A new planner card from the keyboard: type the title, then Ctrl+P cycles the project,
// Ctrl+Shift+P the priority, Ctrl+T the type, Ctrl+D the due date, and Ctrl+Return creates.
// Each key flashes the field it changed.
class NewIssueDialog : public QDialog
{
    Q_OBJECT

public:
    NewIssueDialog(PlannerService &planner, IssueStatus status, std::optional<QUuid> projectId, QWidget *parent = nullptr);

    QLineEdit *titleField() const { return m_title; }
    QPlainTextEdit *descriptionField() const { return m_description; }
    QComboBox *projectPicker() const { return m_project; }
    QComboBox *typePicker() const { return m_type; }
    QComboBox *priorityPicker() const { return m_priority; }
    QCheckBox *dueDateBox() const { return m_hasDueDate; }
    QPushButton *createButton() const { return m_create; }
    // The field flashing now, or null.
    QWidget *flashing() const { return m_flashing; }

    void accept() override;

signals:
    void created(const QUuid &issueId);

private:
    void flash(QWidget *field);
    void cycleProject();

    PlannerService &m_planner;
    IssueStatus m_status;
    QList<QUuid> m_projectsByName;
    QLineEdit *m_title = nullptr;
    QPlainTextEdit *m_description = nullptr;
    QComboBox *m_project = nullptr;
    QComboBox *m_type = nullptr;
    QComboBox *m_priority = nullptr;
    QCheckBox *m_hasDueDate = nullptr;
    QDateEdit *m_dueDate = nullptr;
    QPushButton *m_create = nullptr;
    QWidget *m_flashing = nullptr;
    QTimer m_flashEnd;
};

} // namespace corvane
