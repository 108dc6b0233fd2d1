#pragma once

#include <QDialog>

class QLineEdit;
class QPushButton;

namespace corvane {

// A sheet with one "Name" field, for a workspace or a chat. "Rename" stays off while the name is
// blank; what it does with the text is the caller's, on `renamed`.
class RenameDialog : public QDialog
{
    Q_OBJECT

public:
    RenameDialog(const QString &title, const QString &name, QWidget *parent);

    QLineEdit *nameField() const { return m_name; }
    QPushButton *renameButton() const { return m_rename; }

signals:
    void renamed(const QString &name);

private:
    QLineEdit *m_name;
    QPushButton *m_rename;
};

} // namespace corvane
