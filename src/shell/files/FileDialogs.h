#pragma once

#include <QDialog>

#include <optional>

class QLineEdit;
class QMessageBox;
class QPushButton;

namespace corvane {

struct FileConflict;

// Asks the name of a new folder: "untitled folder" preset and selected; "Create" stays off
// while the trimmed name is empty.
class NewFolderDialog : public QDialog
{
    Q_OBJECT

public:
    explicit NewFolderDialog(QWidget *parent = nullptr);

    QString name() const;
    QLineEdit *field() const { return m_field; }
    QPushButton *createButton() const { return m_create; }

    // Runs the dialog; none when cancelled.
    static std::optional<QString> ask(QWidget *parent);

private:
    QLineEdit *m_field;
    QPushButton *m_create;
};

// The question a move or copy onto an existing item asks, with the buttons "Replace",
// "Keep Both" and "Cancel" (the escape button). Not shown yet; deletes itself once closed.
QMessageBox *makeConflictBox(const FileConflict &conflict, QWidget *parent);

// Shows the item selected in the desktop's file manager (org.freedesktop.FileManager1), or
// opens its folder when no file manager answers.
void showInFileManager(const QString &path);

} // namespace corvane
