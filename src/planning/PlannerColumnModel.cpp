#include "planning/PlannerColumnModel.h"

#include <QMimeData>

namespace corvane {

PlannerColumnModel::PlannerColumnModel(PlannerService &planner, IssueStatus status, QObject *parent)
    : QAbstractListModel(parent), m_planner(planner), m_status(status)
{
    connect(&m_planner, &PlannerService::issuesReloaded, this, &PlannerColumnModel::follow);
    m_cards = planner::columnCards(m_planner.issues(), m_status, m_filter);
}

QString PlannerColumnModel::mimeType()
{
    return QStringLiteral("application/x-corvane-issue");
}

void PlannerColumnModel::setFilter(const BoardFilter &filter)
{
    m_filter = filter;
    follow();
}

int PlannerColumnModel::rowOf(const QUuid &issueId) const
{
    for (int row = 0; row < m_cards.size(); ++row)
        if (m_cards[row]->id == issueId)
            return row;
    return -1;
}

void PlannerColumnModel::follow()
{
    const QList<std::shared_ptr<Issue>> wanted = planner::columnCards(m_planner.issues(), m_status, m_filter);
    // Walk the wanted order: each card is either in place, somewhere further down (moved up to
    // here), or new (inserted here). What is left after the walk was removed.
    for (int row = 0; row < wanted.size(); ++row) {
        const QUuid id = wanted[row]->id;
        if (row < m_cards.size() && m_cards[row]->id == id) {
            m_cards[row] = wanted[row];
            continue;
        }
        int from = -1;
        for (int i = row + 1; i < m_cards.size(); ++i)
            if (m_cards[i]->id == id) {
                from = i;
                break;
            }
        ++m_structuralChanges;
        if (from >= 0) {
            beginMoveRows({}, from, from, {}, row);
            m_cards.move(from, row);
            endMoveRows();
        } else {
            beginInsertRows({}, row, row);
            m_cards.insert(row, wanted[row]);
            endInsertRows();
        }
    }
    if (m_cards.size() > wanted.size()) {
        ++m_structuralChanges;
        beginRemoveRows({}, int(wanted.size()), int(m_cards.size()) - 1);
        m_cards.resize(wanted.size());
        endRemoveRows();
    }
    if (!m_cards.isEmpty())
        emit dataChanged(index(0), index(int(m_cards.size()) - 1));
}

int PlannerColumnModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_cards.size());
}

QVariant PlannerColumnModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_cards.size())
        return {};
    const Issue &issue = *m_cards[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return issue.title;
    case IdRole:
        return issue.id;
    case TypeRole:
        return int(issue.type());
    case PriorityRole:
        return int(issue.priority());
    case DueDateRole:
        return issue.dueDate ? QVariant(issue.dueDate->date()) : QVariant();
    case ChecklistDoneRole:
        return m_planner.extras(issue.id).checklistDone;
    case ChecklistTotalRole:
        return m_planner.extras(issue.id).checklistTotal;
    case LabelsRole:
        return m_planner.extras(issue.id).labels;
    case LinkedRole:
        return issue.workspaceId.has_value();
    default:
        return {};
    }
}

Qt::ItemFlags PlannerColumnModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags base = QAbstractListModel::flags(index) | Qt::ItemIsDropEnabled;
    return index.isValid() ? base | Qt::ItemIsDragEnabled : base;
}

QStringList PlannerColumnModel::mimeTypes() const
{
    return {mimeType()};
}

QMimeData *PlannerColumnModel::mimeData(const QModelIndexList &indexes) const
{
    if (indexes.isEmpty())
        return nullptr;
    auto *data = new QMimeData;
    data->setData(mimeType(), issueAt(indexes.first().row())->id.toString(QUuid::WithoutBraces).toUtf8());
    return data;
}

} // namespace corvane
