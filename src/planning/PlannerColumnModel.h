#pragma once

#include "planning/PlannerService.h"

#include <QAbstractListModel>

namespace corvane {

// One column of the board: the cards of a status that pass the filter, in their order. It follows
// the planner's reloads with the smallest change that gets there (a card moved, inserted or
// removed; the rest told their data may have changed), so a view keeps its scroll position and
// selection, and a drag in progress is not cut off by a reset.
class PlannerColumnModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        TypeRole,         // IssueType as int
        PriorityRole,     // IssuePriority as int
        DueDateRole,      // QDate or invalid
        ChecklistDoneRole,
        ChecklistTotalRole,
        LabelsRole,       // QStringList of "name\tcolour"
        LinkedRole,       // bool: a workspace is linked
    };

    PlannerColumnModel(PlannerService &planner, IssueStatus status, QObject *parent = nullptr);

    IssueStatus status() const { return m_status; }
    void setFilter(const BoardFilter &filter);
    std::shared_ptr<Issue> issueAt(int row) const { return m_cards.value(row); }
    int rowOf(const QUuid &issueId) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }

    // The drag payload of a card: its id as text.
    static QString mimeType();

    // How often rows were moved, inserted or removed, and reset (for tests and the benchmark).
    int structuralChanges() const { return m_structuralChanges; }

private:
    void follow();

    PlannerService &m_planner;
    IssueStatus m_status;
    BoardFilter m_filter;
    QList<std::shared_ptr<Issue>> m_cards;
    int m_structuralChanges = 0;
};

} // namespace corvane
