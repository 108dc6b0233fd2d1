#include "shell/window/InspectorView.h"

#include "shell/files/FileTreeView.h"
#include "shell/window/CommitSyncPanel.h"
#include "source_control/inspector/GitActionsModel.h"
#include "source_control/inspector/InspectorViewModel.h"

#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace corvane {

InspectorView::InspectorView(QWidget *parent)
    : QWidget(parent), m_title(new QLabel), m_detail(new QLabel), m_changesTitle(new QLabel), m_changes(new QListWidget),
      m_gatesTitle(new QLabel(tr("Quality gates"))), m_gates(new QListWidget), m_tabs(new QTabWidget),
      m_changesPage(new QWidget), m_fileTree(new FileTreeView)
{
    setObjectName(QStringLiteral("inspector"));
    setMinimumWidth(350);
    setMaximumWidth(400);
    auto *layout = new QVBoxLayout(this);
    auto *heading = new QLabel(tr("Inspector"));
    QFont font = heading->font();
    font.setBold(true);
    heading->setFont(font);
    layout->addWidget(heading);
    m_title->setWordWrap(true);
    m_detail->setWordWrap(true);
    m_detail->setEnabled(false);
    m_detail->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_title);
    layout->addWidget(m_detail);
    m_changesTitle->setObjectName(QStringLiteral("inspectorChangesTitle"));
    m_changes->setObjectName(QStringLiteral("inspectorChanges"));
    m_changes->setFrameShape(QFrame::NoFrame);
    m_changes->setSelectionMode(QAbstractItemView::NoSelection);
    m_changes->setFocusPolicy(Qt::NoFocus);
    m_changes->setContextMenuPolicy(Qt::CustomContextMenu);
    auto openDiff = [this](QListWidgetItem *item) {
        if (item && m_model && m_model->workingDirectory())
            emit diffRequested(*m_model->workingDirectory(), item->data(Qt::UserRole).toString());
    };
    connect(m_changes, &QListWidget::itemDoubleClicked, this, openDiff);
    connect(m_changes, &QListWidget::customContextMenuRequested, this, [this, openDiff](const QPoint &at) {
        QListWidgetItem *item = m_changes->itemAt(at);
        if (!item)
            return;
        QMenu menu(this);
        menu.addAction(tr("Open Diff"), this, [item, openDiff] { openDiff(item); });
        const QString path = item->data(Qt::UserRole).toString();
        const auto file = std::find_if(m_model->modifiedFiles().cbegin(), m_model->modifiedFiles().cend(),
                                       [&path](const GitFileStatus &f) { return f.path == path; });
        if (m_actions && file != m_model->modifiedFiles().cend()) {
            const GitFileStatus status = *file;
            menu.addSeparator();
            menu.addAction(tr("Stage"), this, [this, path] { m_actions->stage({path}); });
            menu.addAction(tr("Unstage"), this, [this, path] { m_actions->unstage({path}); });
            menu.addAction(tr("Discard Changes..."), this, [this, status] {
                const bool removes = status.status == GitStatus::untracked || status.status == GitStatus::added;
                QMessageBox box(QMessageBox::Warning, tr("Discard changes to %1?").arg(status.path),
                                removes ? tr("The new file will be deleted. This action cannot be undone.")
                                        : tr("Its uncommitted changes will be lost. This action cannot be undone."),
                                QMessageBox::Cancel, this);
                QPushButton *discard = box.addButton(tr("Discard"), QMessageBox::DestructiveRole);
                box.exec();
                if (box.clickedButton() == discard)
                    m_actions->discardFile(status);
            });
        }
        menu.exec(m_changes->viewport()->mapToGlobal(at));
    });
    auto *changes = new QVBoxLayout(m_changesPage);
    changes->setContentsMargins(0, 0, 0, 0);
    changes->addWidget(m_changesTitle);
    changes->addWidget(m_changes, 1);
    m_gates->setObjectName(QStringLiteral("inspectorGateResults"));
    m_gates->setFrameShape(QFrame::NoFrame);
    m_gates->setSelectionMode(QAbstractItemView::NoSelection);
    m_gates->setMaximumHeight(140);
    changes->addWidget(m_gatesTitle);
    changes->addWidget(m_gates);
    m_tabs->setObjectName(QStringLiteral("inspectorTabs"));
    m_tabs->setDocumentMode(true);
    m_tabs->addTab(m_changesPage, tr("Changes"));
    m_tabs->addTab(m_fileTree, tr("Files"));
    connect(m_fileTree, &FileTreeView::fileOpenRequested, this, &InspectorView::fileOpenRequested);
    connect(m_fileTree, &FileTreeView::filePreviewRequested, this, &InspectorView::filePreviewRequested);
    layout->addWidget(m_tabs, 1);
    showGateResults({});
    clear();
}

void InspectorView::setIssuePanel(QWidget *panel)
{
    auto *column = static_cast<QVBoxLayout *>(layout());
    column->insertWidget(column->indexOf(m_detail) + 1, panel, 2);
}

void InspectorView::showSubject(const QString &title, const QString &detail)
{
    m_title->setText(title);
    m_detail->setText(detail);
}

void InspectorView::showGateResults(const QList<GateLine> &lines)
{
    m_gates->clear();
    for (const GateLine &line : lines) {
        auto *item = new QListWidgetItem(line.text, m_gates);
        item->setToolTip(line.output);
    }
    m_gatesTitle->setVisible(!lines.isEmpty());
    m_gates->setVisible(!lines.isEmpty());
}

void InspectorView::clear()
{
    showSubject(tr("Nothing selected"), {});
}

void InspectorView::setModel(InspectorViewModel *model)
{
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model)
        connect(m_model, &InspectorViewModel::changed, this, &InspectorView::showStatus);
    showStatus();
}

void InspectorView::setGitActions(GitActionsModel *actions)
{
    m_actions = actions;
    if (m_panel || !actions || !m_model)
        return;
    m_panel = new CommitSyncPanel(*actions, *m_model, this);
    auto *column = static_cast<QVBoxLayout *>(m_changesPage->layout());
    column->insertWidget(column->indexOf(m_changes) + 1, m_panel);
}

void InspectorView::addSection(QWidget *section)
{
    auto *column = static_cast<QVBoxLayout *>(m_changesPage->layout());
    column->insertWidget(column->indexOf(m_gatesTitle), section);
}

void InspectorView::setFileTreeModel(FileTreeViewModel *tree)
{
    m_fileTree->setTreeModel(tree);
}

void InspectorView::showStatus()
{
    m_changes->clear();
    const bool shown = m_model && m_model->workingDirectory() && m_model->isGitInitialized();
    m_changesTitle->setVisible(shown);
    m_changes->setVisible(shown);
    if (!shown)
        return;
    const int count = int(m_model->modifiedFiles().size());
    QString title = count == 0 ? tr("No changes") : count == 1 ? tr("1 changed file") : tr("%1 changed files").arg(count);
    if (const int ahead = m_model->aheadCount(); ahead > 0)
        title += ahead == 1 ? tr(" \u00B7 1 commit ahead") : tr(" \u00B7 %1 commits ahead").arg(ahead);
    if (const int behind = m_model->behindCount(); behind > 0)
        title += tr(" \u00B7 %1 behind").arg(behind);
    m_changesTitle->setText(title);
    for (const GitFileStatus &file : m_model->modifiedFiles()) {
        QString line = QStringLiteral("%1  %2").arg(gitStatusLetter(file.status), file.path);
        if (const auto stat = m_model->diffStats().find(file.path); stat != m_model->diffStats().end())
            line += QStringLiteral("  +%1 \u2212%2").arg(stat->additions).arg(stat->deletions);
        auto *item = new QListWidgetItem(line, m_changes);
        item->setData(Qt::UserRole, file.path);
        item->setToolTip(tr("Double-click to open the diff"));
    }
}

} // namespace corvane
