#pragma once

#include "source_control/accounts/GitSettingsModel.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QListWidget;
class QToolButton;

namespace corvane {

// "Git Settings": the global author and the patterns of the global ignore file.
class GitSettingsDialog : public QDialog
{
    Q_OBJECT

public:
    explicit GitSettingsDialog(QWidget *parent = nullptr, const QString &gitProgram = {});
    ~GitSettingsDialog() override;

    GitSettingsModel &model() { return m_model; }
    QLineEdit *nameField() const { return m_name; }
    QLineEdit *emailField() const { return m_email; }
    QListWidget *patternList() const { return m_patterns; }
    QToolButton *addButton() const { return m_add; }
    QToolButton *removeButton() const { return m_remove; }

    void done(int result) override;

private:
    void redraw();
    void askForPattern();

    GitSettingsModel m_model;
    QLineEdit *m_name;
    QLineEdit *m_email;
    QListWidget *m_patterns;
    QToolButton *m_add;
    QToolButton *m_remove;
    QLabel *m_readOnly;
};

} // namespace corvane
