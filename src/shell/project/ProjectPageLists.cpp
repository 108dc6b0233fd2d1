// The project page's lists: workspaces, branches, worktrees (with the actions of those without
// a workspace) and memory files.
#include "shell/project/ProjectPage.h"

#include "source_control/overview/ProjectOverviewViewModel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace corvane {

namespace {

void placeholder(QListWidget *list, const QString &text)
{
    auto *item = new QListWidgetItem(text, list);
    item->setFlags(Qt::NoItemFlags);
}

// As tall as its rows, up to ten; longer lists scroll inside.
void fitHeight(QListWidget *list)
{
    const int rows = std::clamp(list->count(), 1, 10);
    int height = 0;
    for (int row = 0; row < rows && row < list->count(); ++row)
        height += list->sizeHintForRow(row);
    list->setFixedHeight(std::max(height, list->fontMetrics().height() + 4) + 2 * list->frameWidth() + 4);
}

} // namespace

void ProjectPage::showWorkspaces()
{
    m_workspaces->clear();
    for (const auto &workspace : m_model.recentWorkspaces()) {
        QString text = workspace->name;
        if (workspace->gitBranch)
            text += QStringLiteral("  ·  ") + *workspace->gitBranch;
        if (workspace->usesWorktree)
            text += tr("  ·  worktree");
        auto *item = new QListWidgetItem(text, m_workspaces);
        item->setData(Qt::UserRole, workspace->id);
    }
    if (m_model.recentWorkspaces().isEmpty())
        placeholder(m_workspaces, tr("No workspaces yet"));
    const qsizetype archived = m_model.archivedWorkspaces().size();
    fitHeight(m_workspaces);
    m_archived->setText(archived == 0 ? tr("No Archived Workspaces") : tr("%n archived workspace(s)", nullptr, int(archived)));
}

void ProjectPage::showGitData()
{
    // Thousands of branches: one batch with updates off keeps this to a few milliseconds.
    m_branches->setUpdatesEnabled(false);
    m_branches->clear();
    QStringList names;
    names.reserve(m_model.branches().size());
    for (const GitBranch &branch : m_model.branches())
        names << (branch.isCurrent ? QStringLiteral("● ") : QStringLiteral("  ")) + branch.name;
    m_branches->addItems(names);
    if (names.isEmpty())
        placeholder(m_branches, m_model.isLoadingGit() ? tr("Loading…") : tr("No branches"));
    m_branches->setUpdatesEnabled(true);
    fitHeight(m_branches);

    while (QLayoutItem *item = m_worktrees->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    QSet<QString> orphans;
    for (const GitWorktree &worktree : m_model.orphanWorktrees())
        orphans.insert(worktree.path);
    for (const GitWorktree &worktree : m_model.worktrees()) {
        auto *row = new QWidget(m_worktreeBox);
        row->setObjectName(QStringLiteral("worktreeRow"));
        row->setProperty("path", worktree.path);
        auto *layout = new QHBoxLayout(row);
        layout->setContentsMargins(4, 2, 4, 2);
        QString text = worktree.path;
        if (worktree.branch)
            text += QStringLiteral("  ·  ") + *worktree.branch;
        if (worktree.isLocked)
            text += tr("  ·  locked");
        layout->addWidget(new QLabel(text, row), 1);
        if (orphans.contains(worktree.path)) {
            auto *tag = new QLabel(tr("no workspace"), row);
            tag->setEnabled(false);
            layout->addWidget(tag);
            auto *adopt = new QPushButton(tr("Create Workspace"), row);
            adopt->setObjectName(QStringLiteral("adoptButton"));
            connect(adopt, &QPushButton::clicked, this, [this, worktree] { m_model.adoptWorktree(worktree); });
            layout->addWidget(adopt);
        }
        auto *remove = new QPushButton(tr("Remove…"), row);
        remove->setObjectName(QStringLiteral("removeButton"));
        const QString path = worktree.path;
        connect(remove, &QPushButton::clicked, this, [this, path] { confirmRemoveWorktree(path); });
        layout->addWidget(remove);
        m_worktrees->addWidget(row);
    }
    if (m_model.worktrees().isEmpty()) {
        auto *none = new QLabel(m_model.isLoadingGit() ? tr("Loading…") : tr("No other worktrees"), m_worktreeBox);
        none->setEnabled(false);
        m_worktrees->addWidget(none);
    }
}

QMenu *ProjectPage::branchMenu(const QString &branch)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(tr("Switch to Branch"), this, [this, branch] {
        showMessage({});
        m_model.switchBranch(branch);
    });
    menu->addAction(tr("Merge into Current"), this, [this, branch] {
        showMessage({});
        m_model.mergeBranch(branch);
    });
    menu->addSeparator();
    menu->addAction(tr("Delete Branch…"), this, [this, branch] {
        showMessage({});
        if (m_confirm(tr("Delete Branch?"),
                      tr("This will delete the local branch. This cannot be undone if the branch has not been pushed."),
                      tr("Delete")))
            m_model.deleteBranch(branch);
    });
    return menu;
}

void ProjectPage::fillStashMenu()
{
    m_stashMenu->clear();
    for (const GitStash &stash : m_model.hygieneDetails().stashes) {
        const int index = stash.id;
        QMenu *entry = m_stashMenu->addMenu(QStringLiteral("stash@{%1}: %2").arg(index).arg(stash.message));
        entry->addAction(tr("Apply"), this, [this, index] {
            showMessage({});
            m_model.applyStash(index);
        });
        entry->addAction(tr("Drop…"), this, [this, index] {
            showMessage({});
            if (m_confirm(tr("Drop Stash?"), tr("This will delete stash@{%1} for good.").arg(index), tr("Drop")))
                m_model.dropStash(index);
        });
    }
}

void ProjectPage::showMemoryFiles()
{
    m_memory->clear();
    for (const MemoryFileInfo &file : m_model.memoryFiles()) {
        const QString source = file.source == MemorySource::project ? tr("project")
                             : file.source == MemorySource::global ? tr("global") : tr("auto");
        auto *item = new QListWidgetItem(QStringLiteral("%1  (%2)\n%3").arg(file.name, source, file.preview), m_memory);
        item->setToolTip(file.path);
    }
    if (m_model.memoryFiles().isEmpty())
        placeholder(m_memory, tr("No memory files found"));
    fitHeight(m_memory);
}

void ProjectPage::confirmRemoveWorktree(const QString &path)
{
    if (!m_confirm(tr("Remove worktree?"),
                   tr("This will remove the worktree at %1. Any uncommitted changes will be lost.").arg(path), tr("Remove")))
        return;
    // Asked once already: the lifecycle's own question about lost work is answered by the same yes.
    m_model.removeWorktree(path, true);
}

} // namespace corvane
