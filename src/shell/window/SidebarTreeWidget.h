#pragma once

#include <QHash>
#include <QList>
#include <QTreeWidget>
#include <QUuid>

#include <optional>

class QMimeData;

namespace corvane {

// The sidebar's tree of projects, workspaces and chats, with what a user does to its rows in
// place: F2 renames a workspace or chat, and dragging a project among projects (or a workspace
// among its project's workspaces) moves it live. The new order is announced once, when the drag
// ends; the rows in between are only moved on screen. A dragged project also carries its id as
// text, so that it can be dropped on a profile's dot.
class SidebarTreeWidget : public QTreeWidget
{
    Q_OBJECT

public:
    explicit SidebarTreeWidget(QWidget *parent = nullptr);

    // What a drag of one row carries; a real drag and a test's events use the same.
    static QMimeData *rowMimeData(int kind, const QUuid &id);
    // A name is being typed over a row.
    bool isEditing() const { return state() == QAbstractItemView::EditingState; }
    // The row a drag is moving, until the drag ends.
    std::optional<QUuid> draggedId() const { return m_dragId; }

signals:
    void projectsReordered(const QList<QUuid> &orderedIds);
    void workspacesReordered(const QUuid &projectId, const QList<QUuid> &orderedIds);
    // The text typed over a row's name (not yet trimmed or checked).
    void renameEdited(const QUuid &id, const QString &text);

protected:
    QMimeData *mimeData(const QList<QTreeWidgetItem *> &items) const override;
    QStringList mimeTypes() const override;
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    static std::optional<std::pair<int, QUuid>> draggedRow(const QMimeData *data);
    QTreeWidgetItem *rowItem(const QUuid &id) const;
    // The rows the dragged one moves among, in their order on screen.
    QList<QTreeWidgetItem *> siblings() const;
    bool beginDrag(const QMimeData *data);
    void moveOver(QTreeWidgetItem *target);
    void endDrag();

    std::optional<QUuid> m_dragId;
    int m_dragKind = 0;
    QList<QUuid> m_orderBefore;
    QHash<QUuid, bool> m_expandedBefore; // projects, collapsed while one of them is dragged
};

} // namespace corvane
