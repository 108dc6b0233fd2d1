#include "shell/tools/SkillsToolPage.h"

#include "automation/DefinitionFiles.h"
#include "automation/FrontMatter.h"
#include "shell/chat/ChatStyle.h"
#include "shell/chat/MarkdownTextView.h"
#include "shell/tools/ToolForm.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace corvane {

namespace {

QString pickWithDialog(QWidget *parent, bool folder)
{
    const QString title = QObject::tr("Select file or folder...");
    return folder ? QFileDialog::getExistingDirectory(parent, title)
                  : QFileDialog::getOpenFileName(parent, title, {}, QObject::tr("Markdown (*.md);;All files (*)"));
}

QString versionTitle(const SkillVersion &version)
{
    QString title = QStringLiteral("v%1 · %2").arg(version.versionNumber)
                        .arg(QLocale().toString(version.createdAt, QLocale::ShortFormat));
    if (version.label)
        title += QStringLiteral(" · ") + *version.label;
    const qsizetype files = version.files.size();
    return title + (files == 1 ? QObject::tr(" · 1 file") : QObject::tr(" · %1 files").arg(files));
}

} // namespace

SkillsToolPage::SkillsToolPage(SkillsService &skills, QWidget *parent)
    : DefinitionToolPage(skills,
                         {tr("Skills"), tr("Scanning skills..."), tr("Create a skill to extend Claude's capabilities."),
                          tr("Global"), tr("Name"), tr("Global (~/.claude)")},
                         parent),
      m_skills(skills), m_pickImport(pickWithDialog), m_type(new QLabel), m_name(toolform::line("nameField", tr("Name"))),
      m_description(toolform::line("descriptionField", tr("Description"))),
      m_version(toolform::line("versionField", tr("Version"))),
      m_argumentHint(toolform::line("argumentHintField", tr("Argument hint"))),
      m_allowedTools(toolform::line("allowedToolsField", {})), m_tokens(new QListWidget),
      m_newToken(toolform::line("newToolField", tr("Add a tool"))), m_files(new QComboBox),
      m_newPage(new QPushButton(tr("New Page…"))),
      m_pagesNote(toolform::note(tr("Commands are single files.\nConvert to a skill to add pages."))),
      m_body(makeBodyEditor(this, QStringLiteral("bodyEditor"))), m_history(new QStackedWidget),
      m_versions(new QListWidget), m_versionLabel(toolform::line("versionLabelField", tr("Label (e.g. before refactor)"))),
      m_restoreVersion(new QPushButton(tr("Restore This Version"))), m_previewVersion(new QPushButton(tr("Preview…"))),
      m_deleteVersion(new QPushButton(tr("Delete Version")))
{
    m_type->setObjectName(QStringLiteral("skillType"));
    // The tokens below are what the user edits; this hidden field holds their joined text so the
    // save and the dirty check treat it like the other front-matter fields.
    m_allowedTools->setParent(this);
    m_allowedTools->hide();
    m_tokens->setObjectName(QStringLiteral("toolTokens"));
    m_tokens->setFlow(QListView::LeftToRight);
    m_tokens->setWrapping(true);
    m_tokens->setSpacing(3);
    m_tokens->setMaximumHeight(64);
    m_files->setObjectName(QStringLiteral("fileChoice"));
    m_newPage->setObjectName(QStringLiteral("newPageButton"));
    m_versions->setObjectName(QStringLiteral("versionList"));
    m_restoreVersion->setObjectName(QStringLiteral("restoreVersionButton"));
    m_previewVersion->setObjectName(QStringLiteral("previewVersionButton"));
    m_deleteVersion->setObjectName(QStringLiteral("deleteVersionButton"));

    auto *tokenRow = new QHBoxLayout;
    auto *addToken = new QPushButton(tr("Add"));
    addToken->setObjectName(QStringLiteral("addToolButton"));
    tokenRow->addWidget(m_newToken, 1);
    tokenRow->addWidget(addToken);
    auto *tokens = new QVBoxLayout;
    tokens->addWidget(m_tokens);
    tokens->addLayout(tokenRow);

    auto *form = new QFormLayout;
    form->addRow(tr("Type"), m_type);
    form->addRow(tr("Name"), m_name);
    form->addRow(tr("Description"), m_description);
    form->addRow(tr("Version"), m_version);
    form->addRow(tr("Argument hint"), m_argumentHint);
    form->addRow(tr("Allowed Tools"), tokens);
    auto *fileRow = new QHBoxLayout;
    fileRow->addWidget(m_files, 1);
    fileRow->addWidget(m_newPage);
    form->addRow(tr("File"), fileRow);
    form->addRow(m_pagesNote);
    m_body->setMinimumHeight(280);
    form->addRow(m_body);

    // The history: the list of versions, or the words for none.
    auto *none = new QWidget;
    auto *noneLayout = new QVBoxLayout(none);
    auto *noneTitle = new QLabel(tr("No Version History"));
    QFont bold = noneTitle->font();
    bold.setBold(true);
    noneTitle->setFont(bold);
    noneLayout->addWidget(noneTitle);
    noneLayout->addWidget(toolform::note(tr("Versions are saved automatically\nwhen you edit and save a skill.")));
    noneLayout->addStretch();
    auto *list = new QWidget;
    auto *listLayout = new QVBoxLayout(list);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->addWidget(m_versions, 1);
    listLayout->addWidget(m_versionLabel);
    auto *versionButtons = new QHBoxLayout;
    versionButtons->addWidget(m_restoreVersion);
    versionButtons->addWidget(m_previewVersion);
    versionButtons->addWidget(m_deleteVersion);
    listLayout->addLayout(versionButtons);
    m_history->addWidget(none);
    m_history->addWidget(list);
    auto *historyBox = new QGroupBox(tr("Version History"));
    auto *historyLayout = new QVBoxLayout(historyBox);
    historyLayout->addWidget(m_history);

    auto *split = new QSplitter(Qt::Vertical);
    split->addWidget(toolform::scrolling(form));
    split->addWidget(historyBox);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    editorLayout()->addWidget(split, 1);

    QPushButton *import = addToolButton(tr("Import…"), QStringLiteral("importButton"));
    connect(import, &QPushButton::clicked, this, &SkillsToolPage::showImportSheet);
    connect(m_newPage, &QPushButton::clicked, this, &SkillsToolPage::showNewPageSheet);
    connect(addToken, &QPushButton::clicked, this, &SkillsToolPage::addToken);
    connect(m_newToken, &QLineEdit::returnPressed, this, &SkillsToolPage::addToken);
    connect(m_tokens, &QListWidget::itemActivated, this, &SkillsToolPage::removeToken);
    auto *removeKey = new QShortcut(QKeySequence::Delete, m_tokens, nullptr, nullptr, Qt::WidgetShortcut);
    connect(removeKey, &QShortcut::activated, this, &SkillsToolPage::removeToken);
    for (QLineEdit *field : {m_name, m_description, m_version, m_argumentHint, m_allowedTools})
        connect(field, &QLineEdit::textChanged, this, [this] {
            if (!m_filling)
                editsChanged();
        });
    connect(m_body, &QPlainTextEdit::textChanged, this, [this] {
        if (!m_filling)
            editsChanged();
    });
    connect(m_files, &QComboBox::currentIndexChanged, this, &SkillsToolPage::openFile);
    connect(m_versions, &QListWidget::currentRowChanged, this, [this] {
        const auto version = selectedVersion();
        m_versionLabel->setText(version ? version->label.value_or(QString()) : QString());
        for (QWidget *w : {static_cast<QWidget *>(m_versionLabel), static_cast<QWidget *>(m_restoreVersion),
                           static_cast<QWidget *>(m_previewVersion), static_cast<QWidget *>(m_deleteVersion)})
            w->setEnabled(bool(version));
    });
    connect(m_versionLabel, &QLineEdit::editingFinished, this, [this] {
        const auto version = selectedVersion();
        if (!version || version->label.value_or(QString()) == m_versionLabel->text().trimmed())
            return;
        if (Status labelled = m_skills.setVersionLabel(version, m_versionLabel->text()); !labelled)
            showError(labelled.error().message);
        fillVersions();
    });
    connect(m_restoreVersion, &QPushButton::clicked, this, &SkillsToolPage::restoreSelectedVersion);
    connect(m_previewVersion, &QPushButton::clicked, this, &SkillsToolPage::previewSelectedVersion);
    connect(m_versions, &QListWidget::itemDoubleClicked, this, &SkillsToolPage::previewSelectedVersion);
    connect(m_deleteVersion, &QPushButton::clicked, this, [this] {
        const auto version = selectedVersion();
        if (!version || !confirm(tr("Delete v%1 from the history? The files on disk stay as they are.").arg(version->versionNumber)))
            return;
        if (Status removed = m_skills.deleteVersion(version); !removed)
            showError(removed.error().message);
        fillVersions();
    });
    connect(&m_skills, &SkillsService::skillContentDidChange, this, [this](const QUuid &id) {
        if (const auto skill = current(); skill && skill->id == id) {
            m_saved = {};
            open(skill->filePath);
        }
    });
    clearEditor();
}

std::shared_ptr<Skill> SkillsToolPage::skillAt(const QString &filePath) const
{
    for (const auto &skill : m_skills.skills())
        if (skill->filePath == filePath)
            return skill;
    return nullptr;
}

QList<DefinitionToolPage::Row> SkillsToolPage::rows() const
{
    QList<Row> rows;
    for (const auto &skill : m_skills.skills()) {
        const int files = m_skills.fileCount(*skill);
        QStringList detail{skill->isUserInvoked() ? tr("Command") : tr("Skill"), m_skills.scopeLabel(*skill),
                           files == 1 ? tr("1 file") : tr("%1 files").arg(files)};
        if (skill->skillDescription && !skill->skillDescription->isEmpty())
            detail << *skill->skillDescription;
        rows.append({skill->filePath, skill->name, detail.join(QStringLiteral(" · ")), skill->isProjectSkill()});
    }
    return rows;
}

SkillsToolPage::Fields SkillsToolPage::form() const
{
    const QString body = m_shown == 0 ? m_body->toPlainText() : m_skillBody;
    return {m_name->text(), m_description->text(), m_version->text(), m_argumentHint->text(), m_allowedTools->text(), body};
}

QString SkillsToolPage::pathShown() const
{
    return m_files->itemData(m_shown).toString();
}

void SkillsToolPage::stashEditor()
{
    if (m_shown == 0)
        m_skillBody = m_body->toPlainText();
    else
        m_pageTexts.insert(pathShown(), m_body->toPlainText());
}

void SkillsToolPage::showInEditor(const QString &text)
{
    m_filling = true;
    if (m_body->toPlainText() != text)
        m_body->setPlainText(text);
    m_filling = false;
}

QStringList SkillsToolPage::changedPages() const
{
    QStringList changed;
    for (auto it = m_pageTexts.cbegin(); it != m_pageTexts.cend(); ++it) {
        const QString text = m_shown > 0 && it.key() == pathShown() ? m_body->toPlainText() : it.value();
        if (text != m_pageSaved.value(it.key()))
            changed.append(it.key());
    }
    return changed;
}

void SkillsToolPage::fill(const Fields &fields)
{
    m_filling = true;
    m_name->setText(fields.name);
    m_description->setText(fields.description);
    m_version->setText(fields.version);
    m_argumentHint->setText(fields.argumentHint);
    m_allowedTools->setText(fields.allowedTools);
    m_filling = false;
    m_skillBody = fields.body;
    if (m_shown == 0)
        showInEditor(fields.body);
    fillTokens();
}

void SkillsToolPage::open(const QString &filePath)
{
    const auto skill = skillAt(filePath);
    if (!skill) {
        clearEditor();
        return;
    }
    // The file as it is now: the record may be a scan behind an edit made outside.
    const auto content = m_skills.readSkillContent(skill);
    Fields opened{skill->name, skill->skillDescription.value_or(QString()), skill->version.value_or(QString()),
                  skill->argumentHint.value_or(QString()), skill->allowedTools.join(QStringLiteral(", ")), QString()};
    if (content) {
        const ScannedSkill read = skillfile::parse(*content, skill->filePath);
        opened = {read.name, read.description.value_or(QString()), read.version.value_or(QString()),
                  read.argumentHint.value_or(QString()), read.allowedTools.join(QStringLiteral(", ")),
                  frontmatter::parse(*content).body};
    }
    m_type->setText(skill->isUserInvoked() ? tr("User Command") : tr("Model Skill"));
    if (!content)
        showError(tr("%1 cannot be read as UTF-8 text; saving would replace it.").arg(skill->filePath));
    fillPages();
    fillVersions();
    if (opened == m_saved && form() == m_saved && changedPages().isEmpty())
        return;
    // Opened afresh (or put back by Restore original): the skill's own file, pages as on disk.
    m_saved = opened;
    m_pageTexts.clear();
    m_pageSaved.clear();
    m_filling = true;
    m_files->setCurrentIndex(0);
    m_filling = false;
    m_shown = 0;
    fill(opened);
    editsChanged();
}

void SkillsToolPage::clearEditor()
{
    m_saved = {};
    m_pageTexts.clear();
    m_pageSaved.clear();
    m_type->clear();
    m_files->clear();
    m_shown = 0;
    fill(m_saved);
    m_versions->clear();
    m_history->setCurrentIndex(0);
}

bool SkillsToolPage::hasUnsavedEdits() const
{
    return form() != m_saved || !changedPages().isEmpty();
}

void SkillsToolPage::fillTokens()
{
    // Split as the file is read, so "Bash(git add:*, git status:*)" stays one tool.
    m_tokens->clear();
    m_tokens->addItems(frontmatter::allowedTools(m_allowedTools->text()));
    m_tokens->setToolTip(tr("Double-click a tool, or press Delete, to take it away"));
}

void SkillsToolPage::addToken()
{
    const QString name = m_newToken->text().trimmed();
    if (name.isEmpty())
        return;
    QStringList tokens;
    for (int i = 0; i < m_tokens->count(); ++i)
        tokens << m_tokens->item(i)->text();
    if (!tokens.contains(name))
        tokens << name;
    m_allowedTools->setText(tokens.join(QStringLiteral(", ")));
    m_newToken->clear();
    fillTokens();
}

void SkillsToolPage::removeToken()
{
    const int row = m_tokens->currentRow();
    if (row < 0)
        return;
    QStringList tokens;
    for (int i = 0; i < m_tokens->count(); ++i)
        if (i != row)
            tokens << m_tokens->item(i)->text();
    m_allowedTools->setText(tokens.join(QStringLiteral(", ")));
    fillTokens();
}

void SkillsToolPage::fillPages()
{
    const auto skill = current();
    m_filling = true;
    const QString shown = m_files->currentData().toString();
    m_files->clear();
    if (skill) {
        m_files->addItem(QFileInfo(skill->filePath).fileName(), skill->filePath);
        for (const SkillPage &page : m_skills.listPages(skill))
            m_files->addItem(page.name, page.filePath);
        m_files->setCurrentIndex(std::max(0, m_files->findData(shown)));
    }
    // A page that went away takes the editor back to the skill's own file.
    if (m_files->currentIndex() != m_shown) {
        m_shown = std::max(0, int(m_files->currentIndex()));
        showInEditor(m_shown == 0 ? m_skillBody : m_pageTexts.value(pathShown()));
    }
    const bool folder = skill && skill->isDirectoryBased();
    m_newPage->setVisible(folder);
    m_pagesNote->setVisible(skill && !folder);
    m_filling = false;
}

void SkillsToolPage::openFile(int index)
{
    if (m_filling || index < 0)
        return;
    // Edits of the file left stay, and are saved with the rest.
    stashEditor();
    m_shown = index;
    if (index == 0) {
        showInEditor(m_skillBody);
    } else {
        const QString path = pathShown();
        if (!m_pageSaved.contains(path)) {
            const QString text = definitionfiles::readUtf8(path).value_or(QString());
            m_pageSaved.insert(path, text);
            m_pageTexts.insert(path, text);
        }
        showInEditor(m_pageTexts.value(path));
    }
    editsChanged();
}

void SkillsToolPage::fillVersions()
{
    const auto skill = current();
    const int previous = m_versions->currentRow();
    m_versions->clear();
    const auto versions = skill ? m_skills.versions(skill) : QList<std::shared_ptr<SkillVersion>>();
    for (const auto &version : versions) {
        auto *item = new QListWidgetItem(versionTitle(*version));
        item->setData(Qt::UserRole, version->id);
        m_versions->addItem(item);
    }
    m_history->setCurrentIndex(versions.isEmpty() ? 0 : 1);
    m_versions->setCurrentRow(std::min(previous, int(m_versions->count()) - 1));
    emit m_versions->currentRowChanged(m_versions->currentRow());
}

std::shared_ptr<SkillVersion> SkillsToolPage::selectedVersion() const
{
    const auto skill = current();
    const QListWidgetItem *item = m_versions->currentItem();
    if (!skill || !item)
        return nullptr;
    for (const auto &version : m_skills.versions(skill))
        if (version->id == item->data(Qt::UserRole).toUuid())
            return version;
    return nullptr;
}

Result<QString> SkillsToolPage::saveEdits()
{
    const auto skill = current();
    if (!skill)
        return Error(tr("The skill is no longer there; it may have been deleted outside."));
    stashEditor();
    for (const QString &path : changedPages()) {
        const QString text = m_pageTexts.value(path);
        if (Status written = m_skills.savePage({path, QFileInfo(path).fileName(), path}, text); !written)
            return written.error();
        m_pageSaved.insert(path, text);
    }
    const Fields edited = form();
    if (edited != m_saved) {
        if (Status saved = m_skills.saveSkill(skill, {edited.name, edited.description, edited.version,
                                                      edited.argumentHint, edited.allowedTools, edited.body}); !saved)
            return saved.error();
        m_saved = edited;
        m_saved.name = skill->name;
        fill(m_saved);
        m_type->setText(skill->isUserInvoked() ? tr("User Command") : tr("Model Skill"));
        fillVersions();
    }
    editsChanged();
    return skill->filePath;
}

void SkillsToolPage::restoreSelectedVersion()
{
    const auto skill = current();
    const auto version = selectedVersion();
    if (!skill || !version)
        return;
    if (!confirm(tr("Restore to v%1? The current state will be saved as a new version first.").arg(version->versionNumber)))
        return;
    if (Status restored = m_skills.restoreVersion(skill, version); !restored) {
        showError(restored.error().message);
        return;
    }
    showError({});
    m_versions->setCurrentRow(0);
    fillVersions();
}

void SkillsToolPage::previewSelectedVersion()
{
    const auto version = selectedVersion();
    if (!version)
        return;
    auto *preview = new QDialog(this);
    preview->setObjectName(QStringLiteral("versionPreview"));
    preview->setAttribute(Qt::WA_DeleteOnClose);
    preview->setWindowTitle(tr("v%1").arg(version->versionNumber));
    preview->resize(760, 520);
    auto *head = new QLabel(versionTitle(*version));
    head->setObjectName(QStringLiteral("previewHead"));
    auto *files = new QListWidget;
    files->setObjectName(QStringLiteral("previewFiles"));
    files->addItems(version->files.keys());
    files->setMaximumWidth(220);
    auto *content = new QStackedWidget;
    auto *empty = toolform::note(tr("Select a file to preview"));
    empty->setAlignment(Qt::AlignCenter);
    auto *text = new MarkdownTextView;
    text->setObjectName(QStringLiteral("previewText"));
    auto *scroll = new QPlainTextEdit; // plain files show as they are
    scroll->setReadOnly(true);
    content->addWidget(empty);
    content->addWidget(text);
    content->addWidget(scroll);
    auto *body = new QHBoxLayout;
    body->addWidget(files);
    body->addWidget(content, 1);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, preview, &QDialog::reject);
    auto *layout = new QVBoxLayout(preview);
    layout->addWidget(head);
    layout->addLayout(body, 1);
    layout->addWidget(buttons);
    const store::StringMap snapshot = version->files;
    connect(files, &QListWidget::currentTextChanged, preview, [=](const QString &name) {
        if (name.isEmpty()) {
            content->setCurrentWidget(empty);
        } else if (name.endsWith(QLatin1String(".md"))) {
            text->setMarkdown(snapshot.value(name), ChatStyle::from(text->palette(), 1.0));
            content->setCurrentWidget(text);
        } else {
            scroll->setPlainText(snapshot.value(name));
            content->setCurrentWidget(scroll);
        }
    });
    preview->open();
}

Result<QString> SkillsToolPage::create(const QString &name, const DefinitionLocation &location)
{
    const bool command = m_newIsCommand && m_newIsCommand->isChecked();
    if (Status made = m_skills.createSkill(name, command, location); !made)
        return made.error();
    const QString base = SkillsService::baseFolder(location);
    return command ? base + QStringLiteral("/commands/") + name + QStringLiteral(".md")
                   : base + QStringLiteral("/skills/") + name + QStringLiteral("/SKILL.md");
}

void SkillsToolPage::extendNewSheet(QFormLayout *form)
{
    m_newIsCommand = new QCheckBox(tr("A command (one file, run as /name)"));
    m_newIsCommand->setObjectName(QStringLiteral("newIsCommand"));
    form->addRow(m_newIsCommand);
}

Result<QString> SkillsToolPage::cloneSelected()
{
    const auto skill = current();
    return skill ? m_skills.cloneSkill(skill, DefinitionLocation::user()) : Error(tr("Nothing is selected"));
}

Status SkillsToolPage::deleteSelected()
{
    const auto skill = current();
    return skill ? m_skills.deleteSkill(skill) : Status();
}

QString SkillsToolPage::deleteQuestion() const
{
    const auto skill = current();
    if (skill && skill->isDirectoryBased())
        return tr("Delete the skill \"%1\"? Its folder %2 and every file in it are removed, with its version history.")
            .arg(m_saved.name, skill->directoryPath().value_or(QString()));
    return tr("Delete the command \"%1\"? Its file %2 is removed, with its version history.")
        .arg(m_saved.name, selectedFilePath());
}

void SkillsToolPage::showImportSheet()
{
    auto *sheet = new QDialog(this);
    sheet->setObjectName(QStringLiteral("importSheet"));
    sheet->setWindowTitle(tr("Import"));
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    auto *path = toolform::line("importPath", tr("Select a skill file (.md) or folder to import"));
    auto *pickFile = new QPushButton(tr("Select file or folder..."));
    auto *pickFolder = new QPushButton(tr("Folder…"));
    auto *pickRow = new QHBoxLayout;
    pickRow->addWidget(path, 1);
    pickRow->addWidget(pickFile);
    pickRow->addWidget(pickFolder);
    QComboBox *location = makeLocationChoice(sheet);
    QLabel *error = toolform::errorLine("importError");
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    QPushButton *import = buttons->addButton(tr("Import"), QDialogButtonBox::AcceptRole);
    import->setObjectName(QStringLiteral("importConfirmButton"));
    auto *form = new QFormLayout(sheet);
    form->addRow(new QLabel(tr("Select a skill file (.md) or folder to import")));
    form->addRow(pickRow);
    form->addRow(tr("Location"), location);
    form->addRow(error);
    form->addRow(buttons);
    connect(pickFile, &QPushButton::clicked, sheet, [this, sheet, path] {
        if (const QString chosen = m_pickImport(sheet, false); !chosen.isEmpty())
            path->setText(chosen);
    });
    connect(pickFolder, &QPushButton::clicked, sheet, [this, sheet, path] {
        if (const QString chosen = m_pickImport(sheet, true); !chosen.isEmpty())
            path->setText(chosen);
    });
    connect(buttons, &QDialogButtonBox::rejected, sheet, &QDialog::reject);
    connect(import, &QPushButton::clicked, sheet, [this, sheet, path, location, error] {
        if (path->text().trimmed().isEmpty())
            return;
        if (Status imported = m_skills.importSkill(path->text().trimmed(), locationOf(location)); !imported) {
            error->setText(imported.error().message);
            error->show();
            return;
        }
        sheet->accept();
    });
    sheet->open();
}

void SkillsToolPage::showNewPageSheet()
{
    const auto skill = current();
    if (!skill)
        return;
    auto *sheet = new QDialog(this);
    sheet->setObjectName(QStringLiteral("newPageSheet"));
    sheet->setWindowTitle(tr("New Page"));
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    auto *name = toolform::line("pageName", tr("Filename (e.g. reference.md)"));
    QLabel *error = toolform::errorLine("pageError");
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    QPushButton *create = buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    create->setObjectName(QStringLiteral("createPageButton"));
    auto *form = new QFormLayout(sheet);
    form->addRow(tr("File name"), name);
    form->addRow(error);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::rejected, sheet, &QDialog::reject);
    connect(create, &QPushButton::clicked, sheet, [this, sheet, skill, name, error] {
        const QString fileName = name->text().trimmed();
        if (fileName.isEmpty()) {
            sheet->reject();
            return;
        }
        const auto page = m_skills.createPage(skill, fileName);
        if (!page) {
            error->setText(page.error().message);
            error->show();
            return;
        }
        fillPages();
        m_files->setCurrentIndex(m_files->findData(page->filePath));
        sheet->accept();
    });
    sheet->open();
}

} // namespace corvane
