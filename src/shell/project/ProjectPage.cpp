#include "shell/project/ProjectPage.h"

#include "source_control/overview/HygieneRules.h"
#include "source_control/overview/ProjectOverviewViewModel.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>

namespace corvane {

namespace {

QLabel *label(const QString &text, const QString &objectName = {}, int pointDelta = 0, bool bold = false)
{
    auto *shown = new QLabel(text);
    shown->setObjectName(objectName);
    QFont font = shown->font();
    font.setPointSize(std::max(6, font.pointSize() + pointDelta));
    font.setBold(bold);
    shown->setFont(font);
    return shown;
}

// The traffic light's three colours, readable on light and dark backgrounds alike.
QString colorHex(std::optional<HygieneColor> color)
{
    if (!color)
        return QStringLiteral("#8E8E93");
    switch (*color) {
    case HygieneColor::green: return QStringLiteral("#30B352");
    case HygieneColor::yellow: return QStringLiteral("#E6A700");
    case HygieneColor::red: return QStringLiteral("#E5484D");
    }
    return {};
}

void paintDot(QLabel *dot, std::optional<HygieneColor> color)
{
    dot->setStyleSheet(QStringLiteral("background: %1; border-radius: 6px;").arg(colorHex(color)));
    dot->setProperty("hygieneColor", color ? hygiene::colorName(*color) : QString());
}

QString kindName(HygieneFigureKind kind)
{
    switch (kind) {
    case HygieneFigureKind::diskUsage: return QStringLiteral("diskUsage");
    case HygieneFigureKind::stashes: return QStringLiteral("stashes");
    case HygieneFigureKind::uncommitted: return QStringLiteral("uncommitted");
    case HygieneFigureKind::staleBranches: return QStringLiteral("staleBranches");
    case HygieneFigureKind::lingering: return QStringLiteral("lingering");
    case HygieneFigureKind::outdated: return QStringLiteral("outdated");
    case HygieneFigureKind::orphanWorktrees: return QStringLiteral("orphanWorktrees");
    }
    return {};
}

QListWidget *list(const QString &objectName)
{
    auto *shown = new QListWidget;
    shown->setObjectName(objectName);
    shown->setFrameShape(QFrame::NoFrame);
    shown->setSelectionMode(QAbstractItemView::SingleSelection);
    return shown;
}

} // namespace

ProjectPage::ProjectPage(ProjectOverviewViewModel &model, QWidget *parent)
    : QWidget(parent), m_model(model), m_title(label({}, QStringLiteral("projectTitle"), 6, true)),
      m_path(label({}, QStringLiteral("projectPath"))), m_branch(label({}, QStringLiteral("projectBranch"))),
      m_health(label({}, QStringLiteral("projectHealth"), 2, true)), m_healthDot(new QLabel),
      m_workspaces(list(QStringLiteral("workspaceList"))), m_archived(label({}, QStringLiteral("archivedCount"))),
      m_branches(list(QStringLiteral("branchList"))), m_worktrees(new QVBoxLayout), m_worktreeBox(new QWidget),
      m_memory(list(QStringLiteral("memoryList"))), m_message(label({}, QStringLiteral("actionMessage"))),
      m_stashMenu(new QMenu(this))
{
    m_stashMenu->setObjectName(QStringLiteral("stashMenu"));
    connect(m_stashMenu, &QMenu::aboutToShow, this, &ProjectPage::fillStashMenu);
    m_message->setWordWrap(true);
    m_message->setStyleSheet(QStringLiteral("color: #E5484D;"));
    m_message->hide();
    connect(&m_model, &ProjectOverviewViewModel::actionFailed, this, &ProjectPage::showMessage);
    m_confirm = [this](const QString &title, const QString &text, const QString &button) {
        QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Cancel, this);
        QPushButton *go = box.addButton(button, QMessageBox::DestructiveRole);
        box.setDefaultButton(QMessageBox::Cancel);
        box.exec();
        return box.clickedButton() == go;
    };
    m_path->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_healthDot->setFixedSize(12, 12);

    auto *content = new QWidget;
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(10);

    auto *header = new QHBoxLayout;
    auto *names = new QVBoxLayout;
    names->addWidget(m_title);
    names->addWidget(m_path);
    names->addWidget(m_branch);
    header->addLayout(names, 1);
    auto *healthBox = new QHBoxLayout;
    healthBox->addWidget(m_healthDot);
    healthBox->addWidget(m_health);
    header->addLayout(healthBox);
    auto *refresh = new QPushButton(tr("Refresh"));
    refresh->setObjectName(QStringLiteral("refreshButton"));
    connect(refresh, &QPushButton::clicked, &m_model, &ProjectOverviewViewModel::refreshAll);
    header->addWidget(refresh);
    column->addLayout(header);
    column->addWidget(m_message);

    column->addWidget(label(tr("Hygiene"), {}, 2, true));
    auto *grid = new QGridLayout;
    grid->setSpacing(8);
    int index = 0;
    for (HygieneFigureKind kind : {HygieneFigureKind::diskUsage, HygieneFigureKind::stashes, HygieneFigureKind::uncommitted,
                                   HygieneFigureKind::staleBranches, HygieneFigureKind::lingering,
                                   HygieneFigureKind::outdated, HygieneFigureKind::orphanWorktrees}) {
        grid->addWidget(makeTile(kind), index / 4, index % 4);
        ++index;
    }
    for (int c = 0; c < 4; ++c)
        grid->setColumnStretch(c, 1);
    column->addLayout(grid);

    const auto section = [&](const QString &title, QWidget *body) {
        column->addWidget(label(title, {}, 2, true));
        column->addWidget(body);
    };
    section(tr("Workspaces"), m_workspaces);
    column->addWidget(m_archived);
    section(tr("Branches"), m_branches);
    m_worktreeBox->setObjectName(QStringLiteral("worktreeList"));
    m_worktreeBox->setLayout(m_worktrees);
    m_worktrees->setContentsMargins(0, 0, 0, 0);
    section(tr("Worktrees"), m_worktreeBox);
    section(tr("Memory Files"), m_memory);
    column->addStretch();

    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);

    m_branches->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_branches, &QListWidget::customContextMenuRequested, this, [this](const QPoint &at) {
        const QListWidgetItem *item = m_branches->itemAt(at);
        if (item && (item->flags() & Qt::ItemIsEnabled))
            branchMenu(item->text().mid(2))->popup(m_branches->viewport()->mapToGlobal(at));
    });
    connect(m_workspaces, &QListWidget::itemActivated, this, [this](QListWidgetItem *item) {
        emit workspaceActivated(item->data(Qt::UserRole).toUuid());
    });
    connect(&m_model, &ProjectOverviewViewModel::workspacesChanged, this, [this] {
        showWorkspaces();
        showGitData(); // which worktrees have a workspace
        showFigures();
    });
    connect(&m_model, &ProjectOverviewViewModel::gitDataChanged, this, [this] {
        showHeader();
        showGitData();
    });
    connect(&m_model, &ProjectOverviewViewModel::memoryFilesChanged, this, &ProjectPage::showMemoryFiles);
    connect(&m_model, &ProjectOverviewViewModel::hygieneChanged, this, [this] {
        showHeader();
        showFigures();
    });
    showHeader();
    showFigures();
    showWorkspaces();
    showGitData();
    showMemoryFiles();
}

QWidget *ProjectPage::makeTile(HygieneFigureKind kind)
{
    auto *frame = new QFrame;
    frame->setObjectName(QStringLiteral("figure-") + kindName(kind));
    frame->setFrameShape(QFrame::StyledPanel);
    frame->setMinimumWidth(150);
    auto *layout = new QVBoxLayout(frame);
    Tile tile;
    tile.frame = frame;
    tile.dot = new QLabel;
    tile.dot->setObjectName(QStringLiteral("dot"));
    tile.dot->setFixedSize(12, 12);
    tile.value = label({}, QStringLiteral("value"), 4, true);
    tile.value->setWordWrap(true);
    tile.detail = label({}, QStringLiteral("detail"), -1);
    tile.detail->setWordWrap(true);
    tile.detail->setEnabled(false); // the palette's quiet text
    auto *top = new QHBoxLayout;
    top->addWidget(tile.dot);
    top->addWidget(label(m_model.figure(kind).title, QStringLiteral("title")), 1);
    layout->addLayout(top);
    layout->addWidget(tile.value);
    layout->addWidget(tile.detail);
    QString action;
    switch (kind) {
    case HygieneFigureKind::diskUsage: action = tr("Measure"); break;
    case HygieneFigureKind::outdated: action = tr("Check"); break;
    case HygieneFigureKind::staleBranches: action = tr("Delete…"); break;
    case HygieneFigureKind::lingering: action = tr("Stop…"); break;
    case HygieneFigureKind::orphanWorktrees: action = tr("Prune"); break;
    case HygieneFigureKind::stashes: action = tr("Apply or Drop"); break;
    default: break;
    }
    if (!action.isEmpty()) {
        tile.action = new QPushButton(action);
        tile.action->setObjectName(QStringLiteral("action"));
        if (kind == HygieneFigureKind::stashes)
            tile.action->setMenu(m_stashMenu);
        else
            connect(tile.action, &QPushButton::clicked, this, [this, kind] { runAction(kind); });
        layout->addWidget(tile.action, 0, Qt::AlignLeft);
    }
    layout->addStretch();
    m_tiles.insert(kind, frame);
    m_tileParts.insert(kind, tile);
    return frame;
}

void ProjectPage::showHeader()
{
    const auto &project = m_model.project();
    m_title->setText(project ? project->name : QString());
    m_path->setText(project ? project->path : QString());
    m_branch->setText(m_model.currentBranch().isEmpty() ? QString() : tr("On branch %1").arg(m_model.currentBranch()));
    const bool measuring = m_model.isLoadingHygiene() && !m_model.summaryColor();
    m_health->setText(measuring ? tr("Checking project health...") : tr("Health: %1").arg(m_model.healthWord()));
    paintDot(m_healthDot, m_model.summaryColor());
}

void ProjectPage::showFigures()
{
    const HygieneDetails &details = m_model.hygieneDetails();
    for (const HygieneFigure &figure : m_model.figures()) {
        const Tile &tile = m_tileParts[figure.kind];
        QString value;
        QStringList lines;
        if (figure.error) {
            value = *figure.error;
        } else if (figure.value) {
            value = *figure.value;
        } else if (figure.busy) {
            value = figure.kind == HygieneFigureKind::outdated ? tr("Checking dependencies…") : tr("Measuring…");
        } else if (figure.kind == HygieneFigureKind::diskUsage) {
            value = tr("Not measured");
        } else if (figure.kind == HygieneFigureKind::outdated) {
            value = tr("Dependencies haven't been checked");
        } else {
            value = QStringLiteral("—");
        }
        QFont font = tile.value->font();
        font.setPointSize(this->font().pointSize() + (figure.error || !figure.value ? 0 : 4));
        tile.value->setFont(font);
        tile.value->setText(value);
        tile.value->setProperty("isError", bool(figure.error));
        paintDot(tile.dot, figure.value && !figure.error ? std::optional(figure.color) : std::nullopt);
        bool actionable = !figure.busy;
        switch (figure.kind) {
        case HygieneFigureKind::stashes:
            for (const GitStash &stash : details.stashes.mid(0, 3))
                lines << stash.message;
            actionable = actionable && !details.stashes.isEmpty();
            fillStashMenu();
            break;
        case HygieneFigureKind::uncommitted:
            for (const GitFileStatus &file : details.uncommittedFiles.mid(0, 3))
                lines << file.path;
            if (figure.value == QStringLiteral("0"))
                lines << tr("Working Tree Clean");
            break;
        case HygieneFigureKind::staleBranches:
            for (const StaleBranch &branch : details.staleBranches.mid(0, 3))
                lines << tr("%1 (%2 days)").arg(branch.name).arg(branch.daysSinceLastCommit);
            if (figure.value == QStringLiteral("0"))
                lines << tr("No Stale Branches");
            actionable = actionable && !details.staleBranches.isEmpty();
            break;
        case HygieneFigureKind::lingering:
            for (const ZombieProcess &process : details.zombieProcesses.mid(0, 3))
                lines << tr("%1 (pid %2)").arg(process.name).arg(process.id);
            if (figure.value == QStringLiteral("0"))
                lines << tr("No Lingering Processes");
            actionable = actionable && !details.zombieProcesses.isEmpty() && !m_model.isStoppingProcesses();
            break;
        case HygieneFigureKind::outdated:
            if (details.dependencyReport) {
                for (const OutdatedDependency &dependency : details.dependencyReport->details.mid(0, 3))
                    lines << tr("%1 %2 → %3").arg(dependency.name, dependency.current, dependency.latest);
                if (details.dependencyReport->details.isEmpty())
                    lines << tr("All Dependencies Up to Date");
            }
            break;
        case HygieneFigureKind::orphanWorktrees:
            for (const GitWorktree &worktree : m_model.orphanWorktrees().mid(0, 3))
                lines << worktree.path.section(QLatin1Char('/'), -1);
            break;
        case HygieneFigureKind::diskUsage:
            break;
        }
        tile.detail->setText(lines.join(QLatin1Char('\n')));
        tile.detail->setVisible(!lines.isEmpty());
        if (tile.action)
            tile.action->setEnabled(actionable);
    }
}

void ProjectPage::showMessage(const QString &text)
{
    m_message->setText(text);
    m_message->setVisible(!text.isEmpty());
}

void ProjectPage::runAction(HygieneFigureKind kind)
{
    showMessage({});
    const HygieneDetails &details = m_model.hygieneDetails();
    switch (kind) {
    case HygieneFigureKind::diskUsage:
        m_model.loadDiskUsage();
        break;
    case HygieneFigureKind::outdated:
        m_model.checkDependencies();
        break;
    case HygieneFigureKind::staleBranches: {
        QStringList names;
        for (const StaleBranch &branch : details.staleBranches)
            names << branch.name;
        if (names.isEmpty())
            return;
        const QString text = tr("This will delete %n local branch(es) whose last commit is more than %1 days old:\n\n", nullptr,
                                int(names.size())).arg(hygiene::staleAfterDays)
            + names.join(QLatin1Char('\n')) + tr("\n\nThis cannot be undone if a branch has not been pushed.");
        if (m_confirm(tr("Delete Stale Branches?"), text, tr("Delete")))
            m_model.deleteBranches(names);
        break;
    }
    case HygieneFigureKind::lingering: {
        const QList<ZombieProcess> processes = details.zombieProcesses;
        if (processes.isEmpty())
            return;
        QStringList rows;
        for (const ZombieProcess &process : processes)
            rows << tr("%1 (pid %2): %3").arg(process.name).arg(process.id).arg(process.command.left(120));
        const QString text = tr("These processes still work in the project's folders:\n\n") + rows.join(QLatin1Char('\n'))
            + tr("\n\nThey are asked to stop, and ended after a few seconds if they don't.");
        if (m_confirm(tr("Stop Lingering Processes?"), text, tr("Stop")))
            m_model.stopProcesses(processes);
        break;
    }
    case HygieneFigureKind::orphanWorktrees:
        m_model.pruneWorktrees();
        break;
    default:
        break;
    }
}

} // namespace corvane
