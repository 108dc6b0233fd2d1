#include "presentation/timeline/TimelineRowHeights.h"

#include <QHash>
#include <QMutex>
#include <QSet>

namespace corvane {

namespace {

struct HeightKey
{
    QUuid messageId;
    size_t contentHash;
    int width;
    bool operator==(const HeightKey &) const = default;
};

size_t qHash(const HeightKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.messageId, key.contentHash, key.width);
}

struct HeightStore
{
    QMutex mutex;
    QHash<HeightKey, int> heights;
    QHash<QUuid, QList<HeightKey>> keysOfMessage;
};

HeightStore &heightStore()
{
    static HeightStore store;
    return store;
}

struct ExpansionStore
{
    QMutex mutex;
    QSet<QUuid> expanded;
};

ExpansionStore &expansionStore()
{
    static ExpansionStore store;
    return store;
}

} // namespace

size_t MessageHeightCache::contentHash(const Message &message)
{
    return qHashMulti(0, message.content, message.isComplete, int(message.role), int(message.contentType),
                      message.toolName.value_or(QString()), message.metadata.value_or(QByteArray()));
}

std::optional<int> MessageHeightCache::find(const QUuid &messageId, size_t contentHash, int width)
{
    HeightStore &store = heightStore();
    QMutexLocker lock(&store.mutex);
    const auto it = store.heights.constFind({messageId, contentHash, width});
    if (it == store.heights.cend())
        return std::nullopt;
    return *it;
}

void MessageHeightCache::insert(const QUuid &messageId, size_t contentHash, int width, int height)
{
    HeightStore &store = heightStore();
    QMutexLocker lock(&store.mutex);
    const HeightKey key{messageId, contentHash, width};
    if (!store.heights.contains(key))
        store.keysOfMessage[messageId].append(key);
    store.heights.insert(key, height);
}

void MessageHeightCache::removeMessage(const QUuid &messageId)
{
    HeightStore &store = heightStore();
    QMutexLocker lock(&store.mutex);
    for (const HeightKey &key : store.keysOfMessage.take(messageId))
        store.heights.remove(key);
}

void MessageHeightCache::clear()
{
    HeightStore &store = heightStore();
    QMutexLocker lock(&store.mutex);
    store.heights.clear();
    store.keysOfMessage.clear();
}

qsizetype MessageHeightCache::size()
{
    HeightStore &store = heightStore();
    QMutexLocker lock(&store.mutex);
    return store.heights.size();
}

bool ToolGroupExpansion::isExpanded(const QUuid &groupId)
{
    ExpansionStore &store = expansionStore();
    QMutexLocker lock(&store.mutex);
    return store.expanded.contains(groupId);
}

void ToolGroupExpansion::setExpanded(const QUuid &groupId, bool expanded)
{
    ExpansionStore &store = expansionStore();
    QMutexLocker lock(&store.mutex);
    if (expanded)
        store.expanded.insert(groupId);
    else
        store.expanded.remove(groupId);
}

int timelineRowHeight(const QList<ChatDisplayItem> &items, int row, int width, const RowMeasures &measures)
{
    if (row < 0 || row >= items.size())
        return kMinimumRowHeight;
    const ChatDisplayItem &item = items[row];
    int height = kMinimumRowHeight;
    if (item.kind == ChatDisplayItem::Kind::toolGroup) {
        height = kCollapsedGroupHeight;
        if (ToolGroupExpansion::isExpanded(item.group.id)) {
            height = kExpandedGroupHeaderHeight;
            for (const MessagePtr &m : item.group.messages)
                height += measures.toolRow ? measures.toolRow(*m, width) : kMinimumRowHeight;
        }
        return qMax(kMinimumRowHeight, height);
    }
    const Message &message = *item.message;
    switch (rowKind(item)) {
    case RowKind::permissionCard:
        height = measures.permissionCard ? measures.permissionCard(message, width) : kMinimumRowHeight;
        break;
    case RowKind::subagentCard:
        height = measures.subagentCardHeight;
        break;
    default: {
        const int measureWidth = qMax(kMinimumMeasureWidth, width);
        const size_t hash = MessageHeightCache::contentHash(message);
        if (const auto cached = MessageHeightCache::find(message.id, hash, measureWidth)) {
            height = *cached;
        } else {
            height = measures.message ? measures.message(message, measureWidth) : kMinimumRowHeight;
            MessageHeightCache::insert(message.id, hash, measureWidth, height);
        }
        break;
    }
    }
    return qMax(kMinimumRowHeight, height);
}

} // namespace corvane
