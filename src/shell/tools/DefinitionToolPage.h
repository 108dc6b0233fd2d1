#pragma once

#include "automation/DefinitionService.h"

#include <QWidget>

#include <functional>

class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPlainTextEdit;
class QPushButton;
class QVBoxLayout;

namespace corvane {

// A project the tools offer as a place for new definitions.
struct ToolProject
{
    QString name;
    QString folder;
};

// What the Flows, Agents and Skills tools share: a head with the counts, the list of definitions
// beside an editor, and the commands New, Clone, Delete and Show in File Manager. The list is the
// service's, drawn again after every reload (a save, or a change on disk the service noticed);
// the definition being edited stays open, and a file changed outside while it has no unsaved
// edits is read again.
class DefinitionToolPage : public QWidget
{
    Q_OBJECT

public:
    struct Texts
    {
        QString title;
        QString loading;     // "Scanning flows…"
        QString empty;       // with no definitions at all
        QString secondCount; // "User" or "Global"
        QString namePrompt;  // the new-definition sheet's name field
        QString userPlace;   // "User (~/.claude/flows)"
    };
    using Confirm = std::function<bool(QWidget *parent, const QString &question)>;
    using Projects = std::function<QList<ToolProject>()>;

    // Asked before a delete or a restore; a message box unless replaced (tests answer themselves).
    void setConfirm(Confirm confirm) { m_confirm = std::move(confirm); }
    void setProjects(Projects projects) { m_projects = std::move(projects); }

    // Rescans with the projects' folders; the window calls it whenever the tool is shown.
    virtual void refresh();
    // Opens the definition whose file this is, when it is listed.
    bool select(const QString &filePath);
    QString selectedFilePath() const { return m_selected; }

    // Asks the platform's file manager to show the file (its folder when that fails).
    static void revealInFileManager(const QString &path);
    // A Markdown editor with the same live styling as the chat's plan editor.
    static QPlainTextEdit *makeBodyEditor(QWidget *parent, const QString &objectName);

protected:
    DefinitionToolPage(DefinitionService &service, Texts texts, QWidget *parent);

    struct Row
    {
        QString filePath;
        QString title;
        QString detail;
        bool isProject = false;

        bool operator==(const Row &) const = default;
    };
    virtual QList<Row> rows() const = 0;
    // Fills the editor from the definition at this path, dropping any edits.
    virtual void open(const QString &filePath) = 0;
    virtual void clearEditor() = 0;
    virtual bool hasUnsavedEdits() const = 0;
    // Saves the editor; returns the definition's file afterwards (a rename moves it).
    virtual Result<QString> saveEdits() = 0;
    // Both return the new definition's file, which the list selects once a scan has found it.
    virtual Result<QString> create(const QString &name, const DefinitionLocation &location) = 0;
    virtual Result<QString> cloneSelected() = 0;
    virtual Status deleteSelected() = 0;
    virtual QString deleteQuestion() const = 0;

    // The editor's column, under the command buttons; subclasses add their form here.
    QVBoxLayout *editorLayout() const { return m_editorLayout; }
    // Adds a button beside New and Clone.
    QPushButton *addToolButton(const QString &text, const QString &objectName);
    // Subclasses call these as the user types, and to show an error of their own.
    void editsChanged();
    void showError(const QString &message);
    bool confirm(const QString &question) { return m_confirm(this, question); }
    QList<ToolProject> projects() const { return m_projects ? m_projects() : QList<ToolProject>(); }
    QStringList projectFolders() const;
    // The new-definition sheet's location choice: the user's folder, then each project.
    QComboBox *makeLocationChoice(QWidget *parent) const;
    static DefinitionLocation locationOf(const QComboBox *choice);
    // Called before the sheet is shown, to add fields of a subclass's own (skills: the form).
    virtual void extendNewSheet(QFormLayout *) {}
    void redraw();

private:
    // The words under the list: scanning, nothing yet, or why the last scan failed.
    void drawState(qsizetype listed);
    void showNewSheet();
    void saveClicked();
    void restoreClicked();
    void deleteClicked();
    void currentRowChanged();
    void updateButtons();

    DefinitionService &m_service;
    Texts m_texts;
    Confirm m_confirm;
    Projects m_projects;
    QLabel *m_counts;
    QLabel *m_state;
    QListWidget *m_list;
    QWidget *m_editor;
    QVBoxLayout *m_editorLayout;
    QLabel *m_error;
    QPushButton *m_save;
    QPushButton *m_restore;
    QPushButton *m_clone;
    QPushButton *m_delete;
    QPushButton *m_reveal;
    QWidget *m_commandRow;
    QString m_selected;
    QString m_pendingSelection;
    QList<Row> m_drawn;
    bool m_drawing = false;
};

} // namespace corvane
