#include "shell/window/CommitSyncPanel.h"

#include "source_control/GitService.h"
#include "source_control/inspector/GitActionsModel.h"
#include "source_control/inspector/InspectorViewModel.h"

#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

using Action = GitActionsModel::Action;

CommitSyncPanel::CommitSyncPanel(GitActionsModel &actions, InspectorViewModel &status, QWidget *parent)
    : QWidget(parent), m_actions(actions), m_status(status), m_fetch(new QPushButton(tr("Fetch"))),
      m_pull(new QPushButton(tr("Pull"))), m_push(new QPushButton(tr("Push"))), m_more(new QToolButton),
      m_message(new QLineEdit), m_generate(new QToolButton), m_commit(new QPushButton(tr("Commit"))),
      m_error(new QLabel), m_dismiss(new QToolButton)
{
    setObjectName(QStringLiteral("commitSyncPanel"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 4, 0, 4);
    auto *sync = new QHBoxLayout;
    m_more->setText(QStringLiteral("\u22EF"));
    m_more->setToolTip(tr("More git actions"));
    m_more->setPopupMode(QToolButton::InstantPopup);
    auto *menu = new QMenu(m_more);
    menu->addAction(tr("Stash Changes"), this, [this] { m_actions.stash(); });
    menu->addAction(tr("Merge Branch..."), this, [this] { chooseBranch(false); });
    menu->addAction(tr("Rebase Branch..."), this, [this] { chooseBranch(true); });
    menu->addSeparator();
    menu->addAction(tr("Discard All Changes..."), this, [this] {
        QMessageBox box(QMessageBox::Warning, tr("Discard all changes?"),
                        tr("This will discard all uncommitted changes. This action cannot be undone."), QMessageBox::Cancel, this);
        QPushButton *discard = box.addButton(tr("Discard All"), QMessageBox::DestructiveRole);
        box.exec();
        if (box.clickedButton() == discard)
            m_actions.discardAll();
    });
    m_more->setMenu(menu);
    for (QWidget *button : {static_cast<QWidget *>(m_fetch), static_cast<QWidget *>(m_pull), static_cast<QWidget *>(m_push)})
        sync->addWidget(button);
    sync->addWidget(m_more);
    layout->addLayout(sync);

    auto *commit = new QHBoxLayout;
    m_message->setObjectName(QStringLiteral("commitMessage"));
    m_message->setPlaceholderText(tr("Commit message..."));
    m_generate->setText(QStringLiteral("\u2726"));
    commit->addWidget(m_message, 1);
    commit->addWidget(m_generate);
    commit->addWidget(m_commit);
    layout->addLayout(commit);

    auto *errorRow = new QHBoxLayout;
    m_error->setObjectName(QStringLiteral("gitError"));
    m_error->setWordWrap(true);
    m_error->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPalette red = m_error->palette();
    red.setColor(QPalette::WindowText, QColor(0xd7, 0x3a, 0x49));
    m_error->setPalette(red);
    m_dismiss->setText(QStringLiteral("\u2715"));
    m_dismiss->setAutoRaise(true);
    errorRow->addWidget(m_error, 1);
    errorRow->addWidget(m_dismiss, 0, Qt::AlignTop);
    layout->addLayout(errorRow);

    connect(m_fetch, &QPushButton::clicked, this, [this] { m_actions.fetch(); });
    connect(m_pull, &QPushButton::clicked, this, [this] { m_actions.pull(); });
    connect(m_push, &QPushButton::clicked, this, [this] { m_actions.push(m_status.hasUpstream()); });
    connect(m_message, &QLineEdit::textEdited, this, [this](const QString &text) {
        m_actions.setCommitMessage(text);
        redraw();
    });
    connect(m_message, &QLineEdit::returnPressed, m_commit, &QPushButton::click);
    connect(m_commit, &QPushButton::clicked, this, [this] { m_actions.commit(unstagedPaths()); });
    connect(m_generate, &QToolButton::clicked, this, [this] { m_actions.generateTitle(); });
    connect(m_dismiss, &QToolButton::clicked, this, [this] { m_actions.clearError(); });
    connect(&m_actions, &GitActionsModel::changed, this, &CommitSyncPanel::redraw);
    connect(&m_status, &InspectorViewModel::changed, this, &CommitSyncPanel::redraw);
    redraw();
}

QStringList CommitSyncPanel::unstagedPaths() const
{
    QStringList paths;
    for (const GitFileStatus &file : m_status.modifiedFiles())
        if (file.hasUnstagedChanges)
            paths.append(file.path);
    return paths;
}

void CommitSyncPanel::chooseBranch(bool rebase)
{
    const auto directory = m_actions.directory();
    if (!directory)
        return;
    GitService(*directory).listBranches().then(this, [this, rebase](const GitResult<QList<GitBranch>> &branches) {
        QStringList names;
        for (const GitBranch &branch : branches.valueOr({}))
            if (!branch.isCurrent)
                names.append(branch.name);
        if (names.isEmpty()) {
            QMessageBox::information(this, rebase ? tr("Rebase Branch") : tr("Merge Branch"), tr("There is no other local branch."));
            return;
        }
        bool chosen = false;
        const QString branch = QInputDialog::getItem(this, rebase ? tr("Rebase Branch") : tr("Merge Branch"),
                                                     rebase ? tr("Rebase the current branch onto:") : tr("Merge into the current branch:"),
                                                     names, 0, false, &chosen);
        if (chosen)
            rebase ? m_actions.rebase(branch) : m_actions.merge(branch);
    });
}

void CommitSyncPanel::redraw()
{
    const bool shown = m_actions.directory().has_value() && m_status.isGitInitialized();
    setVisible(shown);
    if (!shown)
        return;
    const auto succeeded = m_actions.succeeded();
    m_fetch->setText(m_actions.isRunning(Action::fetch) ? tr("Fetching") : tr("Fetch"));
    m_fetch->setEnabled(!m_actions.isRunning(Action::fetch));
    const int behind = m_status.behindCount();
    m_pull->setText(m_actions.isRunning(Action::pull) ? tr("Pulling") : succeeded == Action::pull ? tr("Pulled \u2713")
                    : behind > 0 ? tr("Pull \u2193%1").arg(behind) : tr("Pull"));
    m_pull->setToolTip(tr("Pull %1 commit(s) from remote").arg(behind));
    m_pull->setEnabled(!m_actions.isRunning(Action::pull) && m_status.hasUpstream());
    const int ahead = m_status.aheadCount();
    m_push->setText(m_actions.isRunning(Action::push) ? tr("Pushing") : succeeded == Action::push ? tr("Pushed \u2713")
                    : ahead > 0 ? tr("Push \u2191%1").arg(ahead) : tr("Push"));
    m_push->setToolTip(m_status.hasUpstream() ? tr("Push commits to remote") : tr("Push and set upstream"));
    m_push->setEnabled(!m_actions.isRunning(Action::push) && m_status.hasCommits());
    if (m_message->text() != m_actions.commitMessage())
        m_message->setText(m_actions.commitMessage());
    const bool generating = m_actions.isRunning(Action::generateTitle);
    m_generate->setToolTip(generating ? tr("Generating\u2026") : tr("Generate commit message with AI"));
    m_generate->setEnabled(!generating && !m_status.modifiedFiles().isEmpty());
    m_commit->setText(m_actions.isRunning(Action::commit) ? tr("Committing") : succeeded == Action::commit ? tr("Committed \u2713") : tr("Commit"));
    m_commit->setEnabled(!m_actions.isRunning(Action::commit) && !m_actions.commitMessage().trimmed().isEmpty()
                         && !m_status.modifiedFiles().isEmpty());
    m_error->setText(m_actions.error());
    m_error->setVisible(!m_actions.error().isEmpty());
    m_dismiss->setVisible(!m_actions.error().isEmpty());
}

} // namespace corvane
