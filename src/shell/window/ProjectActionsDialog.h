#pragma once

#include <QDialog>
#include <QUuid>

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace corvane {

class StoreContext;
struct Project;

// A project's toolbar actions: the list in toolbar order with Add, Duplicate, Delete, Up and
// Down, a form for the selected one (name, symbol, script), and the commands the project's build
// files suggest. Every change is written at once; there is nothing to confirm.
class ProjectActionsDialog : public QDialog
{
    Q_OBJECT

public:
    ProjectActionsDialog(StoreContext &context, const Project &project, QWidget *parent = nullptr);
    ~ProjectActionsDialog() override;

    QListWidget *list() const { return m_list; }
    QLineEdit *nameField() const { return m_name; }
    QLineEdit *scriptField() const { return m_script; }
    QComboBox *symbolBox() const { return m_symbol; }
    QComboBox *suggestionBox() const { return m_suggestions; }
    QLabel *messageLabel() const { return m_message; }
    QPushButton *button(const QString &objectName) const;

private:
    void build(const QString &folder);
    void reloadList(const QUuid &select);
    QUuid selectedId() const;
    void showSelected();
    void addAction(const QString &name, const QString &script);
    void formEdited();

    StoreContext &m_context;
    QUuid m_projectId;
    bool m_loading = false;

    QListWidget *m_list = nullptr;
    QLineEdit *m_name = nullptr;
    QComboBox *m_symbol = nullptr;
    QLineEdit *m_script = nullptr;
    QComboBox *m_suggestions = nullptr;
    QLabel *m_message = nullptr;
};

} // namespace corvane
