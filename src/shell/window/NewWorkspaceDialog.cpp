#include "shell/window/NewWorkspaceDialog.h"

#include "core/records/Project.h"
#include "source_control/workspaces/NewChatSheetModel.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QVBoxLayout>

namespace corvane {

namespace {

using Source = NewChatSheetModel::WorktreeSource;
using Tab = NewChatSheetModel::BranchTab;

QString modeHint(WorkspaceCreationMode mode)
{
    switch (mode) {
    case WorkspaceCreationMode::simple:
        return NewWorkspaceDialog::tr("Works in the project's checkout as it is.");
    case WorkspaceCreationMode::newBranch:
        return NewWorkspaceDialog::tr("Makes a branch from the base and switches the project's checkout to it.");
    case WorkspaceCreationMode::worktree:
        return NewWorkspaceDialog::tr("Makes a separate folder with its own branch, so the checkout isn't disturbed.");
    }
    return {};
}

} // namespace

NewWorkspaceDialog::NewWorkspaceDialog(std::shared_ptr<Project> project, WorkspaceCreationMode mode,
                                       NotificationCenter &center, QWidget *parent)
    : QDialog(parent), m_project(std::move(project)), m_center(center)
{
    setWindowTitle(tr("New Workspace"));
    build();
    setMode(mode);
}

void NewWorkspaceDialog::build()
{
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(tr("New workspace in <b>%1</b>").arg(m_project->name.toHtmlEscaped()), this);
    layout->addWidget(title);

    auto *modeRow = new QHBoxLayout;
    m_modes = new QButtonGroup(this);
    for (auto [mode, text] : {std::pair{WorkspaceCreationMode::simple, tr("Current checkout")},
                              std::pair{WorkspaceCreationMode::newBranch, tr("New branch")},
                              std::pair{WorkspaceCreationMode::worktree, tr("New worktree")}}) {
        auto *button = new QRadioButton(text, this);
        m_modes->addButton(button, int(mode));
        modeRow->addWidget(button);
    }
    modeRow->addStretch();
    layout->addLayout(modeRow);
    connect(m_modes, &QButtonGroup::idClicked, this, [this](int id) { setMode(WorkspaceCreationMode(id)); });

    m_hint = new QLabel(this);
    m_hint->setWordWrap(true);
    m_hint->setEnabled(false); // drawn dimmed: an explanation, not a control
    layout->addWidget(m_hint);

    m_sourceRow = new QWidget(this);
    auto *sourceRow = new QHBoxLayout(m_sourceRow);
    sourceRow->setContentsMargins(0, 0, 0, 0);
    m_newSource = new QRadioButton(NewChatSheetModel::label(Source::newBranch), m_sourceRow);
    m_existingSource = new QRadioButton(NewChatSheetModel::label(Source::existing), m_sourceRow);
    auto *sources = new QButtonGroup(this);
    sources->addButton(m_newSource, int(Source::newBranch));
    sources->addButton(m_existingSource, int(Source::existing));
    // The sources share a word with the modes above; the caption tells the two rows apart.
    sourceRow->addWidget(new QLabel(tr("Worktree on"), m_sourceRow));
    sourceRow->addWidget(m_newSource);
    sourceRow->addWidget(m_existingSource);
    sourceRow->addStretch();
    layout->addWidget(m_sourceRow);
    connect(sources, &QButtonGroup::idClicked, this, [this](int id) { m_model->setWorktreeSource(Source(id)); });

    m_newBranchBox = new QWidget(this);
    auto *form = new QFormLayout(m_newBranchBox);
    form->setContentsMargins(0, 0, 0, 0);
    m_branchName = new QLineEdit(m_newBranchBox);
    m_branchName->setPlaceholderText(tr("feature/my-change"));
    form->addRow(tr("Branch name"), m_branchName);
    m_baseBranch = new QComboBox(m_newBranchBox);
    form->addRow(tr("Base branch"), m_baseBranch);
    layout->addWidget(m_newBranchBox);
    connect(m_branchName, &QLineEdit::textEdited, this, [this](const QString &text) { m_model->setBranchName(text); });
    connect(m_branchName, &QLineEdit::returnPressed, this, &NewWorkspaceDialog::create);
    connect(m_baseBranch, &QComboBox::currentTextChanged, this, [this](const QString &name) {
        if (!m_syncing && !name.isEmpty())
            m_model->setSelectedBaseBranch(name);
    });

    m_existingBox = new QWidget(this);
    auto *existing = new QVBoxLayout(m_existingBox);
    existing->setContentsMargins(0, 0, 0, 0);
    m_tabs = new QTabBar(m_existingBox);
    m_tabs->addTab(tr("Local"));
    m_tabs->addTab(tr("Remote"));
    m_tabs->setDrawBase(false);
    existing->addWidget(m_tabs);
    m_search = new QLineEdit(m_existingBox);
    m_search->setPlaceholderText(tr("Search branches"));
    m_search->setClearButtonEnabled(true);
    existing->addWidget(m_search);
    m_existingList = new QListWidget(m_existingBox);
    existing->addWidget(m_existingList);
    layout->addWidget(m_existingBox);
    connect(m_tabs, &QTabBar::currentChanged, this, [this](int index) {
        if (!m_syncing)
            m_model->selectBranchTab(index == 0 ? Tab::local : Tab::remote);
    });
    connect(m_search, &QLineEdit::textEdited, this, [this](const QString &text) { m_model->setBranchSearchText(text); });
    connect(m_existingList, &QListWidget::currentRowChanged, this, [this](int row) {
        if (m_syncing)
            return;
        const QList<GitBranch> shown = m_model->selectedBranchTab() == Tab::local ? m_model->filteredBranches()
                                                                                   : m_model->filteredRemoteBranches();
        m_model->setSelectedExistingBranch(row >= 0 && row < shown.size() ? std::optional(shown.at(row)) : std::nullopt);
    });

    m_error = new QLabel(this);
    m_error->setWordWrap(true);
    m_error->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_error->setStyleSheet(QStringLiteral("color: #d0352f;"));
    layout->addWidget(m_error);
    layout->addStretch();

    auto *bottom = new QHBoxLayout;
    m_busy = new QLabel(this);
    bottom->addWidget(m_busy);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_create = m_buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    m_create->setDefault(true);
    bottom->addWidget(m_buttons);
    layout->addLayout(bottom);
    connect(m_create, &QPushButton::clicked, this, &NewWorkspaceDialog::create);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &NewWorkspaceDialog::reject);
    resize(520, 420);
}

WorkspaceCreationMode NewWorkspaceDialog::mode() const
{
    return m_model->mode();
}

QRadioButton *NewWorkspaceDialog::modeButton(WorkspaceCreationMode mode) const
{
    return qobject_cast<QRadioButton *>(m_modes->button(int(mode)));
}

void NewWorkspaceDialog::setMode(WorkspaceCreationMode mode)
{
    if (m_model && (m_model->isCreating() || m_model->mode() == mode))
        return;
    // The name typed so far carries over to the new mode.
    const QString typed = m_model ? m_model->branchName() : QString();
    if (m_model)
        m_model->deleteLater();
    m_model = new NewChatSheetModel(m_project, mode, m_center, this);
    m_model->setBranchName(typed);
    connect(m_model, &NewChatSheetModel::changed, this, &NewWorkspaceDialog::sync);
    connect(m_model, &NewChatSheetModel::chatCreated, this, [this](const Chat &chat) {
        emit chatCreated(chat);
        accept();
    });
    if (mode != WorkspaceCreationMode::simple)
        m_model->start();
    sync();
    if (mode != WorkspaceCreationMode::simple)
        m_branchName->setFocus();
}

void NewWorkspaceDialog::create()
{
    if (m_model->mode() == WorkspaceCreationMode::simple) {
        emit simpleWorkspaceChosen();
        accept();
        return;
    }
    if (m_model->canCreate())
        m_model->create();
}

void NewWorkspaceDialog::reject()
{
    // git is at work: leaving now would leave a branch or a worktree without a workspace.
    if (m_model && m_model->isCreating())
        return;
    QDialog::reject();
}

void NewWorkspaceDialog::sync()
{
    m_syncing = true;
    const WorkspaceCreationMode mode = m_model->mode();
    const bool creating = m_model->isCreating();
    const bool worktree = mode == WorkspaceCreationMode::worktree;
    const bool existing = worktree && m_model->worktreeSource() == Source::existing;

    m_modes->button(int(mode))->setChecked(true);
    for (QAbstractButton *button : m_modes->buttons())
        button->setEnabled(!creating);
    m_hint->setText(modeHint(mode));
    m_sourceRow->setVisible(worktree);
    (existing ? m_existingSource : m_newSource)->setChecked(true);
    m_newBranchBox->setVisible(mode != WorkspaceCreationMode::simple && !existing);
    m_existingBox->setVisible(existing);
    if (m_branchName->text() != m_model->branchName())
        m_branchName->setText(m_model->branchName());
    m_tabs->setCurrentIndex(m_model->selectedBranchTab() == Tab::local ? 0 : 1);
    if (m_search->text() != m_model->branchSearchText())
        m_search->setText(m_model->branchSearchText());
    syncBranchLists();

    m_newBranchBox->setEnabled(!creating);
    m_existingBox->setEnabled(!creating);
    m_sourceRow->setEnabled(!creating);
    const std::optional<QString> error = m_model->errorMessage();
    m_error->setText(error.value_or(QString()));
    m_error->setVisible(error.has_value());
    m_busy->setText(creating ? tr("Creating…") : m_model->isFetchingRemote() ? tr("Fetching remote branches…") : QString());
    const bool simple = mode == WorkspaceCreationMode::simple;
    m_create->setEnabled(simple || m_model->canCreate());
    m_buttons->button(QDialogButtonBox::Cancel)->setEnabled(!creating);
    m_syncing = false;
}

void NewWorkspaceDialog::syncBranchLists()
{
    QStringList names;
    for (const GitBranch &branch : m_model->branches())
        names << branch.name;
    QStringList shownNames;
    for (int i = 0; i < m_baseBranch->count(); ++i)
        shownNames << m_baseBranch->itemText(i);
    if (names != shownNames) {
        m_baseBranch->clear();
        m_baseBranch->addItems(names);
    }
    m_baseBranch->setCurrentText(m_model->selectedBaseBranch());
    showExistingBranches();
}

void NewWorkspaceDialog::showExistingBranches()
{
    const QList<GitBranch> shown = m_model->selectedBranchTab() == Tab::local ? m_model->filteredBranches()
                                                                               : m_model->filteredRemoteBranches();
    QStringList names;
    for (const GitBranch &branch : shown)
        names << branch.name;
    QStringList listed;
    for (int i = 0; i < m_existingList->count(); ++i)
        listed << m_existingList->item(i)->text();
    if (names != listed) {
        m_existingList->clear();
        m_existingList->addItems(names);
    }
    const std::optional<GitBranch> selected = m_model->selectedExistingBranch();
    m_existingList->setCurrentRow(selected ? int(shown.indexOf(*selected)) : -1);
}

} // namespace corvane
