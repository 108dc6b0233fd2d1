#include "presentation/timeline/ChatTimelineModel.h"

#include <QDateTime>

namespace corvane {

ChatTimelineModel::ChatTimelineModel(QObject *parent) : QAbstractListModel(parent)
{
    qRegisterMetaType<corvane::TimelineChange>();
    m_coalesce.setSingleShot(true);
    connect(&m_coalesce, &QTimer::timeout, this, &ChatTimelineModel::reload);
}

void ChatTimelineModel::resetMessages(QList<MessagePtr> messages)
{
    m_coalesce.stop();
    beginResetModel();
    m_messages = std::move(messages);
    m_items = buildDisplayItems(m_messages);
    m_fingerprint = displayItemsFingerprint(m_messages);
    m_states.clear();
    for (const ChatDisplayItem &item : std::as_const(m_items))
        m_states.append(rowState(item));
    indexRows();
    m_changedMessages.clear();
    m_checkAllRows = false;
    ++m_rebuildCount;
    endResetModel();
}

void ChatTimelineModel::setMessages(QList<MessagePtr> messages)
{
    m_messages = std::move(messages);
    m_checkAllRows = true;
    scheduleUpdate();
}

void ChatTimelineModel::messageChanged(const QUuid &messageId)
{
    m_changedMessages.insert(messageId);
    scheduleUpdate();
}

void ChatTimelineModel::scheduleUpdate()
{
    m_coalesce.stop();
    const qint64 since = m_sinceReload.isValid() ? m_sinceReload.nsecsElapsed() : kReloadIntervalNs;
    if (since >= kReloadIntervalNs) {
        reload();
        return;
    }
    const qint64 restNs = kReloadIntervalNs - since;
    m_coalesce.start(int((restNs + 999'999) / 1'000'000));
}

void ChatTimelineModel::flush()
{
    if (m_coalesce.isActive()) {
        m_coalesce.stop();
        reload();
    }
}

ChatTimelineModel::RowState ChatTimelineModel::rowState(const ChatDisplayItem &item)
{
    RowState state;
    state.id = item.id();
    size_t shape = qHash(int(item.kind));
    size_t look = 0;
    auto add = [&](const Message &m) {
        shape = qHashMulti(shape, m.id, int(m.role), int(m.contentType));
        look = qHashMulti(look, m.content.size(), m.isComplete, m.toolName.has_value());
    };
    if (item.kind == ChatDisplayItem::Kind::single)
        add(*item.message);
    else
        for (const MessagePtr &m : item.group.messages)
            add(*m);
    state.shape = shape;
    state.look = look;
    return state;
}

void ChatTimelineModel::indexRows()
{
    m_rowOfMessage.clear();
    m_rowOfMessage.reserve(m_messages.size());
    for (int row = 0; row < m_items.size(); ++row) {
        const ChatDisplayItem &item = m_items[row];
        if (item.kind == ChatDisplayItem::Kind::single)
            m_rowOfMessage.insert(item.message->id, row);
        else
            for (const MessagePtr &m : item.group.messages)
                m_rowOfMessage.insert(m->id, row);
    }
}

bool ChatTimelineModel::refreshDisplayItems(TimelineChange &change)
{
    const DisplayItemsFingerprint fingerprint = displayItemsFingerprint(m_messages);
    if (m_fingerprint && *m_fingerprint == fingerprint)
        return false;
    m_fingerprint = fingerprint;
    ++m_rebuildCount;
    change.rebuilt = true;

    QList<ChatDisplayItem> items = buildDisplayItems(m_messages);
    QList<RowState> states;
    states.reserve(items.size());
    for (const ChatDisplayItem &item : std::as_const(items))
        states.append(rowState(item));

    // Same rows at both ends; the middle is removed and inserted.
    const int oldCount = int(m_states.size());
    const int newCount = int(states.size());
    int prefix = 0;
    while (prefix < oldCount && prefix < newCount && m_states[prefix].id == states[prefix].id)
        ++prefix;
    int suffix = 0;
    while (suffix < oldCount - prefix && suffix < newCount - prefix
           && m_states[oldCount - 1 - suffix].id == states[newCount - 1 - suffix].id)
        ++suffix;
    auto kept = [&](int oldRow, int newRow) {
        if (m_states[oldRow].shape != states[newRow].shape || m_states[oldRow].look != states[newRow].look)
            change.updatedRows.append(newRow);
    };
    for (int row = 0; row < prefix; ++row)
        kept(row, row);
    for (int i = 0; i < suffix; ++i)
        kept(oldCount - 1 - i, newCount - 1 - i);

    const int removed = oldCount - prefix - suffix;
    const int inserted = newCount - prefix - suffix;
    if (removed > 0) {
        change.removedFirst = prefix;
        change.removedCount = removed;
        beginRemoveRows({}, prefix, prefix + removed - 1);
        m_items.remove(prefix, removed);
        m_states.remove(prefix, removed);
        endRemoveRows();
    }
    if (inserted > 0) {
        change.insertedFirst = prefix;
        change.insertedCount = inserted;
        beginInsertRows({}, prefix, prefix + inserted - 1);
        m_items = items;
        m_states = states;
        endInsertRows();
    }
    m_items = std::move(items);
    m_states = std::move(states);
    indexRows();
    return true;
}

void ChatTimelineModel::reload()
{
    m_sinceReload.restart();
    m_isReloading = true;
    ++m_reloadCount;
    TimelineChange change;
    const bool rebuilt = refreshDisplayItems(change);

    QSet<int> updated(change.updatedRows.cbegin(), change.updatedRows.cend());
    // A rebuild compared the kept rows already; otherwise a new message list may still have
    // changed rows in place (a turn's end completes several at once).
    if (!rebuilt && m_checkAllRows) {
        for (int row = 0; row < m_items.size(); ++row) {
            const RowState state = rowState(m_items[row]);
            if (state.look != m_states[row].look || state.shape != m_states[row].shape) {
                m_states[row] = state;
                updated.insert(row);
            }
        }
    }
    m_checkAllRows = false;
    for (const QUuid &id : std::as_const(m_changedMessages)) {
        const int row = rowOfMessage(id);
        const bool isNew = change.insertedCount > 0 && row >= change.insertedFirst
            && row < change.insertedFirst + change.insertedCount;
        if (row < 0 || isNew)
            continue;
        m_states[row] = rowState(m_items[row]);
        updated.insert(row);
    }
    m_changedMessages.clear();
    change.updatedRows = QList<int>(updated.cbegin(), updated.cend());
    std::sort(change.updatedRows.begin(), change.updatedRows.end());
    for (int row : std::as_const(change.updatedRows))
        emit dataChanged(index(row), index(row));
    m_isReloading = false;
    if (!change.isEmpty())
        emit timelineUpdated(change);
}

int ChatTimelineModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant ChatTimelineModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() < 0 || index.row() >= m_items.size())
        return {};
    const ChatDisplayItem &item = m_items[index.row()];
    const Message &first = item.kind == ChatDisplayItem::Kind::single ? *item.message : *item.group.messages.first();
    switch (role) {
    case Qt::DisplayRole:
        return item.kind == ChatDisplayItem::Kind::toolGroup ? item.group.uniqueToolNames().join(QStringLiteral(", "))
                                                            : first.content;
    case RowKindRole: return int(rowKind(item));
    case ItemIdRole: return item.id();
    case ContentRole: return first.content;
    case IsCompleteRole: {
        for (const MessagePtr &m : item.messages())
            if (!m->isComplete)
                return false;
        return true;
    }
    case IsStreamingRole: return item.kind == ChatDisplayItem::Kind::single && first.role == MessageRole::assistant
            && !first.isComplete;
    case ToolNameRole: return first.toolName.value_or(QString());
    case ToolNamesRole:
        return item.kind == ChatDisplayItem::Kind::toolGroup ? item.group.uniqueToolNames()
                                                            : QStringList{first.toolName.value_or(QString())};
    case GroupSizeRole: return item.kind == ChatDisplayItem::Kind::toolGroup ? int(item.group.messages.size()) : 1;
    case TimestampRole: return first.timestamp;
    case ContentTypeRole: return toRaw(first.contentType);
    default: return {};
    }
}

QHash<int, QByteArray> ChatTimelineModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(RowKindRole, "rowKind");
    names.insert(ItemIdRole, "itemId");
    names.insert(ContentRole, "content");
    names.insert(IsCompleteRole, "isComplete");
    names.insert(IsStreamingRole, "isStreaming");
    names.insert(ToolNameRole, "toolName");
    names.insert(ToolNamesRole, "toolNames");
    names.insert(GroupSizeRole, "groupSize");
    names.insert(TimestampRole, "timestamp");
    names.insert(ContentTypeRole, "contentType");
    return names;
}

} // namespace corvane
