#include "shell/window/SidebarTreeWidget.h"

#include "shell/window/SidebarView.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QSignalBlocker>
#include <QStyledItemDelegate>

namespace corvane {

namespace {

const QString rowFormat = QStringLiteral("application/x-corvane-sidebar-row");
constexpr int projectKind = int(SidebarView::ItemKind::project);
constexpr int workspaceKind = int(SidebarView::ItemKind::workspace);

QUuid idOf(const QTreeWidgetItem *item)
{
    return item ? item->data(0, SidebarView::idRole).toUuid() : QUuid();
}

int kindOf(const QTreeWidgetItem *item)
{
    return item ? item->data(0, SidebarView::kindRole).toInt() : 0;
}

// The editor starts from the record's own name (a workspace's row may also say how its run
// stands), and what is typed goes to the caller rather than into the row: the row changes when
// the record does.
class RenameDelegate : public QStyledItemDelegate
{
public:
    explicit RenameDelegate(SidebarTreeWidget *tree) : QStyledItemDelegate(tree), m_tree(tree) {}

    void setEditorData(QWidget *editor, const QModelIndex &index) const override
    {
        if (auto *line = qobject_cast<QLineEdit *>(editor))
            line->setText(index.data(SidebarView::plainNameRole).toString());
    }

    void setModelData(QWidget *editor, QAbstractItemModel *, const QModelIndex &index) const override
    {
        if (auto *line = qobject_cast<QLineEdit *>(editor))
            emit m_tree->renameEdited(index.data(SidebarView::idRole).toUuid(), line->text());
    }

private:
    SidebarTreeWidget *m_tree;
};

} // namespace

SidebarTreeWidget::SidebarTreeWidget(QWidget *parent) : QTreeWidget(parent)
{
    setItemDelegate(new RenameDelegate(this));
    setEditTriggers(QAbstractItemView::EditKeyPressed);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDropIndicatorShown(false); // the row itself moves
}

QMimeData *SidebarTreeWidget::rowMimeData(int kind, const QUuid &id)
{
    auto *data = new QMimeData;
    data->setData(rowFormat, QByteArray::number(kind) + ':' + id.toByteArray(QUuid::WithoutBraces));
    if (kind == projectKind) // what a profile's dot takes
        data->setText(id.toString(QUuid::WithoutBraces).toUpper());
    return data;
}

std::optional<std::pair<int, QUuid>> SidebarTreeWidget::draggedRow(const QMimeData *data)
{
    if (!data || !data->hasFormat(rowFormat))
        return std::nullopt;
    const QString raw = QString::fromLatin1(data->data(rowFormat));
    const int kind = raw.section(u':', 0, 0).toInt();
    const QUuid id = QUuid::fromString(raw.section(u':', 1));
    if (id.isNull() || (kind != projectKind && kind != workspaceKind))
        return std::nullopt;
    return std::pair{kind, id};
}

QMimeData *SidebarTreeWidget::mimeData(const QList<QTreeWidgetItem *> &items) const
{
    if (items.size() != 1 || (kindOf(items.first()) != projectKind && kindOf(items.first()) != workspaceKind))
        return nullptr;
    return rowMimeData(kindOf(items.first()), idOf(items.first()));
}

QStringList SidebarTreeWidget::mimeTypes() const
{
    return {rowFormat};
}

void SidebarTreeWidget::startDrag(Qt::DropActions)
{
    // Not the item view's own drag: after a move it would delete the row that was dragged.
    QTreeWidgetItem *item = currentItem();
    QMimeData *data = item ? mimeData({item}) : nullptr;
    if (!data)
        return;
    auto *drag = new QDrag(this);
    drag->setMimeData(data);
    drag->exec(Qt::MoveAction);
    // A drop outside the list announces nothing here; the drag has ended all the same.
    if (m_dragId)
        endDrag();
}

QTreeWidgetItem *SidebarTreeWidget::rowItem(const QUuid &id) const
{
    for (QTreeWidgetItemIterator it(const_cast<SidebarTreeWidget *>(this)); *it; ++it)
        if (idOf(*it) == id)
            return *it;
    return nullptr;
}

QList<QTreeWidgetItem *> SidebarTreeWidget::siblings() const
{
    QList<QTreeWidgetItem *> rows;
    QTreeWidgetItem *dragged = m_dragId ? rowItem(*m_dragId) : nullptr;
    if (!dragged)
        return rows;
    QTreeWidgetItem *parent = dragged->parent() ? dragged->parent() : invisibleRootItem();
    for (int i = 0; i < parent->childCount(); ++i)
        rows.append(parent->child(i));
    return rows;
}

bool SidebarTreeWidget::beginDrag(const QMimeData *data)
{
    const auto row = draggedRow(data);
    if (!row || !rowItem(row->second))
        return false;
    if (m_dragId == row->second)
        return true;
    m_dragKind = row->first;
    m_dragId = row->second;
    m_orderBefore.clear();
    for (QTreeWidgetItem *item : siblings())
        m_orderBefore.append(idOf(item));
    if (m_dragKind == projectKind) {
        // Short rows while projects move; how each was open comes back at the end. The user did
        // not collapse them, so nothing about it is kept.
        const QSignalBlocker blocker(this);
        for (int i = 0; i < topLevelItemCount(); ++i) {
            QTreeWidgetItem *project = topLevelItem(i);
            m_expandedBefore.insert(idOf(project), project->isExpanded());
            project->setExpanded(false);
        }
    }
    return true;
}

void SidebarTreeWidget::moveOver(QTreeWidgetItem *target)
{
    QTreeWidgetItem *dragged = m_dragId ? rowItem(*m_dragId) : nullptr;
    // A row over one of its own children, or over a workspace of another project, stays.
    while (target && kindOf(target) != m_dragKind)
        target = target->parent();
    if (!dragged || !target || target == dragged || target->parent() != dragged->parent())
        return;
    QTreeWidgetItem *parent = dragged->parent() ? dragged->parent() : invisibleRootItem();
    const int to = parent->indexOfChild(target);
    const QSignalBlocker blocker(this);
    const bool expanded = dragged->isExpanded();
    parent->takeChild(parent->indexOfChild(dragged));
    parent->insertChild(to, dragged);
    dragged->setExpanded(expanded);
    for (int i = 0; i < dragged->childCount(); ++i)
        dragged->child(i)->setExpanded(true);
}

void SidebarTreeWidget::endDrag()
{
    QList<QUuid> order;
    QTreeWidgetItem *dragged = rowItem(*m_dragId);
    for (QTreeWidgetItem *item : siblings())
        order.append(idOf(item));
    const QUuid projectId = dragged && dragged->parent() ? idOf(dragged->parent()) : QUuid();
    const int kind = m_dragKind;
    m_dragId.reset();
    if (kind == projectKind) {
        const QSignalBlocker blocker(this);
        for (int i = 0; i < topLevelItemCount(); ++i)
            topLevelItem(i)->setExpanded(m_expandedBefore.value(idOf(topLevelItem(i)), true));
        m_expandedBefore.clear();
    }
    if (order == m_orderBefore || order.isEmpty())
        return;
    if (kind == projectKind)
        emit projectsReordered(order);
    else
        emit workspacesReordered(projectId, order);
}

void SidebarTreeWidget::dragEnterEvent(QDragEnterEvent *event)
{
    // Rows move within their own window's list only (events made without a drag have no source).
    if ((event->source() && event->source() != this) || !beginDrag(event->mimeData()))
        return event->ignore();
    event->acceptProposedAction();
}

void SidebarTreeWidget::dragMoveEvent(QDragMoveEvent *event)
{
    if (!beginDrag(event->mimeData()))
        return event->ignore();
    moveOver(itemAt(event->position().toPoint()));
    event->acceptProposedAction();
}

void SidebarTreeWidget::dragLeaveEvent(QDragLeaveEvent *event)
{
    // The drag may still end on a profile's dot; the order is settled when it ends.
    event->accept();
}

void SidebarTreeWidget::dropEvent(QDropEvent *event)
{
    if (!beginDrag(event->mimeData()))
        return event->ignore();
    moveOver(itemAt(event->position().toPoint()));
    endDrag();
    event->acceptProposedAction();
}

} // namespace corvane
