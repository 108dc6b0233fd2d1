#pragma once

#include "core/records/QualityGate.h"

#include <QDialog>
#include <QList>
#include <QUuid>

class QCheckBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QWidget;

namespace corvane {

class StoreContext;
struct Project;

// A project's quality gates: the list in the order they run, and a form for the selected one.
// Edits stay in the dialog until Save, which writes the whole list at once (or says what is
// wrong and keeps the dialog open).
class QualityGatesDialog : public QDialog
{
    Q_OBJECT

public:
    QualityGatesDialog(StoreContext &context, const Project &project, QWidget *parent = nullptr);

    QListWidget *list() const { return m_list; }
    QLineEdit *nameField() const { return m_name; }
    QLineEdit *commandField() const { return m_command; }
    QSpinBox *timeoutField() const { return m_timeout; }
    QCheckBox *requiredBox() const { return m_required; }
    QPlainTextEdit *feedbackField() const { return m_feedback; }
    QLabel *errorLabel() const { return m_error; }
    QPushButton *addButton() const { return m_add; }
    QPushButton *removeButton() const { return m_remove; }
    QPushButton *saveButton() const;

    void accept() override;

private:
    void build();
    void addGate();
    void removeGate();
    void move(int by);
    void showGate(int row);
    void formEdited();
    void refreshRow(int row);

    StoreContext &m_context;
    QUuid m_projectId;
    QList<QualityGate> m_gates;
    int m_shown = -1;
    bool m_loading = false;

    QListWidget *m_list = nullptr;
    QPushButton *m_add = nullptr;
    QPushButton *m_remove = nullptr;
    QPushButton *m_up = nullptr;
    QPushButton *m_down = nullptr;
    QWidget *m_form = nullptr;
    QLineEdit *m_name = nullptr;
    QLineEdit *m_command = nullptr;
    QLineEdit *m_folder = nullptr;
    QSpinBox *m_timeout = nullptr;
    QSpinBox *m_successCode = nullptr;
    QCheckBox *m_required = nullptr;
    QCheckBox *m_enabled = nullptr;
    QPlainTextEdit *m_feedback = nullptr;
    QLabel *m_error = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
};

} // namespace corvane
