#include "shell/tools/PlannerToolPage.h"

#include "core/records/Project.h"
#include "core/store/StoreContext.h"
#include "planning/PlannerColumnModel.h"
#include "shell/tools/IssueDetailView.h"

#include <QApplication>
#include <QComboBox>
#include <QDrag>
#include <QDragMoveEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QSplitter>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

QUuid g_dragged; // one drag at a time in the whole application

QUuid cardOf(const QMimeData *data)
{
    if (!data || !data->hasFormat(PlannerColumnModel::mimeType()))
        return {};
    return QUuid::fromString(QString::fromUtf8(data->data(PlannerColumnModel::mimeType())));
}

QString typeGlyph(IssueType type)
{
    switch (type) {
    case IssueType::feature:
        return QStringLiteral("\u2726"); // a star
    case IssueType::bug:
        return QStringLiteral("\u2716"); // a cross
    case IssueType::task:
        return QStringLiteral("\u2610"); // a box
    }
    return {};
}

// A card: label chips, the type glyph and title, then a line of priority, due date, checklist
// progress and the link mark. The dragged card is drawn dimmed and a little smaller.
class CardDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QFontMetrics metrics(option.font);
        const bool labels = !index.data(PlannerColumnModel::LabelsRole).toStringList().isEmpty();
        return {120, metrics.height() * (labels ? 4 : 3) + 2 * Margin}; // as wide as the column
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QPalette &palette = option.palette;
        const bool dragged = index.data(PlannerColumnModel::IdRole).toUuid() == BoardColumnView::draggedIssue();
        QRectF card = QRectF(option.rect).adjusted(4, 3, -4, -3);
        if (dragged) {
            painter->setOpacity(0.45);
            card.adjust(card.width() * 0.03, card.height() * 0.05, -card.width() * 0.03, -card.height() * 0.05);
        }
        QPainterPath shape;
        shape.addRoundedRect(card, 6, 6);
        painter->fillPath(shape, palette.base());
        painter->setPen(QPen(option.state & QStyle::State_Selected ? palette.highlight().color() : palette.mid().color(),
                             option.state & QStyle::State_Selected ? 2 : 1));
        painter->drawPath(shape);

        const QFontMetrics metrics(option.font);
        QRectF line(card.left() + Margin, card.top() + Margin / 2.0, card.width() - 2 * Margin, metrics.height());
        const QStringList labels = index.data(PlannerColumnModel::LabelsRole).toStringList();
        if (!labels.isEmpty()) {
            qreal x = line.left();
            for (const QString &label : labels) {
                const QString name = label.section(QLatin1Char('\t'), 0, 0);
                const QColor colour(label.section(QLatin1Char('\t'), 1));
                const qreal width = metrics.horizontalAdvance(name) + 10;
                if (x + width > line.right())
                    break;
                QPainterPath chip;
                chip.addRoundedRect(QRectF(x, line.top() + 1, width, line.height() - 2), 4, 4);
                painter->fillPath(chip, colour.isValid() ? colour : palette.midlight().color());
                painter->setPen(colour.isValid() && colour.lightness() < 140 ? Qt::white : palette.text().color());
                painter->drawText(QRectF(x, line.top(), width, line.height()), Qt::AlignCenter, name);
                x += width + 4;
            }
            line.translate(0, metrics.height());
        }
        painter->setPen(palette.text().color());
        const auto type = IssueType(index.data(PlannerColumnModel::TypeRole).toInt());
        const QString title = typeGlyph(type) + QLatin1Char(' ') + index.data().toString();
        painter->drawText(QRectF(line.left(), line.top(), line.width(), metrics.height() * 2),
                          Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop,
                          metrics.elidedText(title, Qt::ElideRight, int(line.width() * 2 - 8)));
        line.translate(0, metrics.height() * 2);

        QStringList details;
        const auto priority = IssuePriority(index.data(PlannerColumnModel::PriorityRole).toInt());
        if (priority != IssuePriority::none)
            details << displayName(priority);
        if (const QDate due = index.data(PlannerColumnModel::DueDateRole).toDate(); due.isValid())
            details << QLocale().toString(due, QLocale::ShortFormat);
        if (const int total = index.data(PlannerColumnModel::ChecklistTotalRole).toInt(); total > 0)
            details << QStringLiteral("\u2611 %1/%2").arg(index.data(PlannerColumnModel::ChecklistDoneRole).toInt()).arg(total);
        if (index.data(PlannerColumnModel::LinkedRole).toBool())
            details << QStringLiteral("\u21C4");
        painter->setPen(palette.placeholderText().color());
        painter->drawText(line, Qt::AlignLeft | Qt::AlignVCenter, details.join(QStringLiteral("  \u00B7  ")));
        painter->restore();
    }

private:
    static constexpr int Margin = 8;
};

} // namespace

BoardColumnView::BoardColumnView(PlannerService &planner, PlannerColumnModel &model, QWidget *parent)
    : QListView(parent), m_planner(planner), m_model(model)
{
    setModel(&model);
    setItemDelegate(new CardDelegate(this));
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(false);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    viewport()->setBackgroundRole(QPalette::Window);
}

QUuid BoardColumnView::draggedIssue()
{
    return g_dragged;
}

void BoardColumnView::startDrag(Qt::DropActions actions)
{
    const QModelIndex current = currentIndex();
    if (!current.isValid())
        return;
    g_dragged = current.data(PlannerColumnModel::IdRole).toUuid();
    auto *drag = new QDrag(this);
    drag->setMimeData(m_model.mimeData({current}));
    drag->exec(actions, Qt::MoveAction);
    g_dragged = QUuid();
    viewport()->update();
}

bool BoardColumnView::follow(const QMimeData *data, const QPoint &pos)
{
    const QUuid dragged = cardOf(data);
    const auto issue = dragged.isNull() ? nullptr : m_planner.context().get<Issue>(dragged);
    if (!issue)
        return false;
    const QModelIndex target = indexAt(pos);
    if (target.isValid()) {
        const QUuid over = target.data(PlannerColumnModel::IdRole).toUuid();
        // Entering another card: the dragged one takes its place in the whole column.
        if (over != dragged && over != m_enteredCard) {
            m_enteredCard = over;
            const auto column = planner::columnCards(m_planner.issues(), m_model.status());
            for (qsizetype i = 0; i < column.size(); ++i)
                if (column[i]->id == over) {
                    m_planner.moveIssue(issue, m_model.status(), i);
                    break;
                }
        }
    } else {
        m_enteredCard = QUuid();
        if (issue->status() != m_model.status())
            m_planner.moveIssue(issue, m_model.status(), planner::columnCards(m_planner.issues(), m_model.status()).size());
    }
    return true;
}

void BoardColumnView::dragEnterEvent(QDragEnterEvent *event)
{
    m_enteredCard = QUuid();
    if (cardOf(event->mimeData()).isNull())
        return event->ignore();
    event->acceptProposedAction();
}

void BoardColumnView::dragMoveEvent(QDragMoveEvent *event)
{
    if (!follow(event->mimeData(), event->position().toPoint()))
        return event->ignore();
    event->setDropAction(Qt::MoveAction);
    event->accept();
}

void BoardColumnView::dragLeaveEvent(QDragLeaveEvent *event)
{
    m_enteredCard = QUuid();
    QListView::dragLeaveEvent(event);
}

void BoardColumnView::dropEvent(QDropEvent *event)
{
    const QUuid dragged = cardOf(event->mimeData());
    const auto issue = dragged.isNull() ? nullptr : m_planner.context().get<Issue>(dragged);
    if (!issue)
        return event->ignore();
    // The live moves have put it in place; a drop that came too fast for them still lands.
    if (issue->status() != m_model.status()) {
        const QModelIndex target = indexAt(event->position().toPoint());
        const auto column = planner::columnCards(m_planner.issues(), m_model.status());
        qsizetype at = column.size();
        if (target.isValid())
            for (qsizetype i = 0; i < column.size(); ++i)
                if (column[i]->id == target.data(PlannerColumnModel::IdRole).toUuid())
                    at = i;
        m_planner.moveIssue(issue, m_model.status(), at);
    }
    m_enteredCard = QUuid();
    event->setDropAction(Qt::MoveAction);
    event->accept();
    const int row = m_model.rowOf(dragged);
    if (row >= 0)
        setCurrentIndex(m_model.index(row));
}

PlannerToolPage::PlannerToolPage(PlannerService &planner, QWidget *parent)
    : QWidget(parent), m_planner(planner)
{
    auto *layout = new QVBoxLayout(this);
    auto *bar = new QHBoxLayout;
    auto *title = new QLabel(tr("<b>Planner</b>"), this);
    bar->addWidget(title);
    bar->addStretch(1);
    m_projects = new QComboBox(this);
    m_projects->setObjectName(QStringLiteral("plannerProjectFilter"));
    m_types = new QComboBox(this);
    m_types->setObjectName(QStringLiteral("plannerTypeFilter"));
    m_types->addItem(tr("All Types"), -1);
    for (IssueType type : {IssueType::feature, IssueType::bug, IssueType::task})
        m_types->addItem(displayName(type), int(type));
    m_search = new QLineEdit(this);
    m_search->setObjectName(QStringLiteral("plannerSearch"));
    m_search->setPlaceholderText(tr("Search titles"));
    m_search->setClearButtonEnabled(true);
    bar->addWidget(m_projects);
    bar->addWidget(m_types);
    bar->addWidget(m_search);
    layout->addLayout(bar);

    auto *board = new QHBoxLayout;
    for (IssueStatus status : planner::columns()) {
        auto *column = new QVBoxLayout;
        auto *head = new QHBoxLayout;
        auto *name = new QLabel(QStringLiteral("<b>%1</b>").arg(displayName(status)), this);
        auto *count = new QLabel(this);
        count->setForegroundRole(QPalette::PlaceholderText);
        auto *add = new QToolButton(this);
        add->setText(QStringLiteral("+"));
        add->setToolTip(tr("New issue in %1").arg(displayName(status)));
        add->setAutoRaise(true);
        add->setObjectName(QStringLiteral("newIssue:") + toRaw(status));
        head->addWidget(name);
        head->addWidget(count);
        head->addStretch(1);
        head->addWidget(add);
        column->addLayout(head);
        auto *model = new PlannerColumnModel(m_planner, status, this);
        auto *view = new BoardColumnView(m_planner, *model, this);
        view->setObjectName(QStringLiteral("plannerColumn:") + toRaw(status));
        column->addWidget(view, 1);
        board->addLayout(column, 1);
        m_columns.insert(status, view);
        m_counts.insert(status, count);
        connect(add, &QToolButton::clicked, this, [this, status] { emit newIssueRequested(status); });
        connect(view, &QListView::clicked, this, [this](const QModelIndex &index) {
            emit issueSelected(index.data(PlannerColumnModel::IdRole).toUuid());
        });
        view->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(view, &QWidget::customContextMenuRequested, this, [this, view](const QPoint &at) { showCardMenu(view, at); });
        connect(model, &QAbstractItemModel::rowsInserted, this, &PlannerToolPage::updateCounts);
        connect(model, &QAbstractItemModel::rowsRemoved, this, &PlannerToolPage::updateCounts);
    }
    auto *split = new QSplitter(this);
    auto *boardArea = new QWidget(split);
    boardArea->setLayout(board);
    board->setContentsMargins(0, 0, 0, 0);
    m_detail = new IssueDetailView(m_planner, IssueDetailView::Mode::board, split);
    m_detail->setObjectName(QStringLiteral("issueDetail"));
    m_detail->setMinimumWidth(300);
    m_detail->hide();
    split->addWidget(boardArea);
    split->addWidget(m_detail);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 0);
    layout->addWidget(split, 1);
    connect(this, &PlannerToolPage::issueSelected, this, [this](const QUuid &id) {
        m_detail->showIssue(id);
        m_detail->show();
    });
    connect(m_detail, &IssueDetailView::closeRequested, m_detail, &QWidget::hide);
    connect(m_detail, &IssueDetailView::runAgentRequested, this, &PlannerToolPage::runAgentRequested);
    // A card deleted while shown takes its detail with it.
    connect(&m_planner, &PlannerService::issuesReloaded, this, [this] {
        const auto shown = m_detail->model().issue();
        if (shown && !m_planner.context().get<Issue>(shown->id)) {
            m_detail->model().load(nullptr);
            m_detail->hide();
        }
    });

    connect(m_projects, &QComboBox::currentIndexChanged, this, &PlannerToolPage::applyFilter);
    connect(m_types, &QComboBox::currentIndexChanged, this, &PlannerToolPage::applyFilter);
    connect(m_search, &QLineEdit::textChanged, this, &PlannerToolPage::applyFilter);
    refresh();
}

void PlannerToolPage::showCardMenu(BoardColumnView *view, const QPoint &at)
{
    const QModelIndex index = view->indexAt(at);
    const auto issue = index.isValid() ? view->columnModel().issueAt(index.row()) : nullptr;
    if (!issue)
        return;
    QMenu menu(this);
    const QUuid id = issue->id;
    menu.addAction(tr("Open"), this, [this, id] { emit issueSelected(id); });
    QMenu *moveTo = menu.addMenu(tr("Move to"));
    for (IssueStatus status : planner::columns())
        if (status != issue->status())
            moveTo->addAction(displayName(status), this, [this, issue, status] { m_planner.changeStatus(issue, status); });
    if (!issue->workspaceId && issue->projectId)
        menu.addAction(tr("Create Workspace"), this, [this, id] {
            emit issueSelected(id);
            m_detail->createWorkspace();
        });
    if (issue->projectId)
        menu.addAction(tr("Run Agent\u2026"), this, [this, id] { emit runAgentRequested(id); });
    menu.addSeparator();
    menu.addAction(tr("Delete"), this, [this, issue] {
        const auto answer = QMessageBox::question(this, tr("Delete Issue"),
                                                  tr("Delete \u201C%1\u201D with its checklist and plan file?").arg(issue->title),
                                                  QMessageBox::Cancel | QMessageBox::Yes, QMessageBox::Cancel);
        if (answer == QMessageBox::Yes)
            m_planner.deleteIssue(issue);
    });
    menu.exec(view->viewport()->mapToGlobal(at));
}

void PlannerToolPage::fillProjects()
{
    const QVariant chosen = m_projects->currentData();
    const QSignalBlocker quiet(m_projects);
    m_projects->clear();
    m_projects->addItem(tr("All Projects"));
    for (const auto &project : m_planner.projectsByName())
        m_projects->addItem(project->name, project->id);
    m_projects->addItem(tr("No Project"), QUuid());
    const int again = chosen.isValid() ? m_projects->findData(chosen) : 0;
    m_projects->setCurrentIndex(again >= 0 ? again : 0);
}

BoardFilter PlannerToolPage::filter() const
{
    BoardFilter filter;
    const QVariant project = m_projects->currentData();
    if (project.isValid()) {
        filter.projectId = project.toUuid();
        filter.projects = filter.projectId.isNull() ? BoardFilter::Projects::none : BoardFilter::Projects::one;
    }
    if (const int type = m_types->currentData().toInt(); type >= 0)
        filter.type = IssueType(type);
    filter.search = m_search->text().trimmed();
    return filter;
}

void PlannerToolPage::applyFilter()
{
    const BoardFilter current = filter();
    for (BoardColumnView *view : std::as_const(m_columns))
        view->columnModel().setFilter(current);
    updateCounts();
}

void PlannerToolPage::updateCounts()
{
    for (auto it = m_columns.cbegin(); it != m_columns.cend(); ++it)
        m_counts.value(it.key())->setText(QString::number(it.value()->model()->rowCount()));
}

void PlannerToolPage::refresh()
{
    fillProjects();
    m_planner.loadIssues();
    applyFilter();
}

} // namespace corvane
