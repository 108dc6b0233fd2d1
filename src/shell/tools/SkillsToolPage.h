#pragma once

#include "planning/SkillsService.h"
#include "shell/tools/DefinitionToolPage.h"

#include <QHash>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;

namespace corvane {

// The Skills tool: the skills and commands of the user and the projects; the editor of one, with
// its pages and its version history.
class SkillsToolPage : public DefinitionToolPage
{
    Q_OBJECT

public:
    SkillsToolPage(SkillsService &skills, QWidget *parent = nullptr);

    // Asks for a file or folder to import; the default is the desktop's file picker.
    void setImportPicker(std::function<QString(QWidget *parent, bool folder)> picker) { m_pickImport = std::move(picker); }

protected:
    QList<Row> rows() const override;
    void open(const QString &filePath) override;
    void clearEditor() override;
    bool hasUnsavedEdits() const override;
    Result<QString> saveEdits() override;
    Result<QString> create(const QString &name, const DefinitionLocation &location) override;
    Result<QString> cloneSelected() override;
    Status deleteSelected() override;
    QString deleteQuestion() const override;
    void extendNewSheet(QFormLayout *form) override;

private:
    struct Fields
    {
        QString name, description, version, argumentHint, allowedTools, body;
        bool operator==(const Fields &) const = default;
    };
    std::shared_ptr<Skill> skillAt(const QString &filePath) const;
    std::shared_ptr<Skill> current() const { return skillAt(selectedFilePath()); }
    Fields form() const;
    void fill(const Fields &fields);
    void fillTokens();
    void fillPages();
    void fillVersions();
    void openFile(int index);
    void addToken();
    void removeToken();
    void showImportSheet();
    void showNewPageSheet();
    void restoreSelectedVersion();
    void previewSelectedVersion();
    std::shared_ptr<SkillVersion> selectedVersion() const;

    SkillsService &m_skills;
    std::function<QString(QWidget *, bool)> m_pickImport;
    // The editor shows one file: the skill's own (0) or a page. What the others hold while it
    // does stays here, so switching files loses nothing.
    QString pathShown() const;
    void stashEditor();
    void showInEditor(const QString &text);
    QStringList changedPages() const;

    Fields m_saved;
    int m_shown = 0;
    QString m_skillBody;
    QHash<QString, QString> m_pageTexts; // by path, as edited
    QHash<QString, QString> m_pageSaved; // by path, as last read or saved
    bool m_filling = false;
    QCheckBox *m_newIsCommand = nullptr;
    QLabel *m_type;
    QLineEdit *m_name;
    QLineEdit *m_description;
    QLineEdit *m_version;
    QLineEdit *m_argumentHint;
    QLineEdit *m_allowedTools; // the tokens' text, as saved
    QListWidget *m_tokens;
    QLineEdit *m_newToken;
    QComboBox *m_files;
    QPushButton *m_newPage;
    QLabel *m_pagesNote;
    QPlainTextEdit *m_body;
    QStackedWidget *m_history;
    QListWidget *m_versions;
    QLineEdit *m_versionLabel;
    QPushButton *m_restoreVersion;
    QPushButton *m_previewVersion;
    QPushButton *m_deleteVersion;
};

} // namespace corvane
