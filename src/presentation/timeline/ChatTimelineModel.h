#pragma once

#include "presentation/timeline/ChatDisplayItem.h"

#include <QAbstractListModel>
#include <QElapsedTimer>
#include <QHash>
#include <QSet>
#include <QTimer>

#include <optional>

namespace corvane {

// What one reload changed, in the terms a hand-written list view needs: at most one removed
// range (rows of the list before), then at most one inserted range and the rows (of the list
// after) whose message changed in place. A view redraws those and keeps the rest.
struct TimelineChange
{
    bool rebuilt = false; // the display items were rebuilt (a new message or a change of kind)
    int removedFirst = -1;
    int removedCount = 0;
    int insertedFirst = -1;
    int insertedCount = 0;
    QList<int> updatedRows;

    bool isEmpty() const { return removedCount == 0 && insertedCount == 0 && updatedRows.isEmpty(); }
};

// The rows of one chat's timeline as a list model (Qt Core only, so it works for a QListView
// and for a custom scrolling widget alike).
//
// Feed it the session's messages: setMessages() when the list changed (a new row, a removal,
// a change of kind), messageChanged() when one row's text grew. Both only schedule: all events
// pass one gate that reloads at most 30 times a second. A reload rebuilds the display items
// only when the fingerprint (ids, roles and content types) changed, so a streaming reply costs
// one dataChanged of its row per reload, never a rebuild. Structural changes are reported as
// row removals and insertions of the smallest middle range, not as a model reset, so a view
// keeps its scroll position and its measured heights.
//
// Wiring in a chat view: ChatSession::messagesChanged() -> setMessages(
// session.messages()); ChatSession::messageChanged(id) -> messageChanged(id); another chat ->
// resetMessages(). On timelineUpdated: drop the total-height cache, remove the updated rows'
// entries from MessageHeightCache, redraw those rows (an assistant row through its
// MarkdownBlockList), and scroll to the end when TimelineFollowState says so. Row heights come
// from timelineRowHeight().
class ChatTimelineModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role {
        RowKindRole = Qt::UserRole + 1, // int of RowKind
        ItemIdRole,                     // QUuid: the message's or the group's id
        ContentRole,                    // QString: the message's text (a group: its first row's)
        IsCompleteRole,                 // bool
        IsStreamingRole,                // bool: assistant text still arriving
        ToolNameRole,                   // QString, empty when absent
        ToolNamesRole,                  // QStringList: a group's unique tool names
        GroupSizeRole,                  // int: messages in the row
        TimestampRole,                  // QDateTime
        ContentTypeRole,                // QString: the stored content type name
    };

    // 1/30 s: the shortest time between two reloads.
    static constexpr qint64 kReloadIntervalNs = 1'000'000'000 / 30;

    explicit ChatTimelineModel(QObject *parent = nullptr);

    // Another chat: rows replaced at once (a model reset), no gate.
    void resetMessages(QList<MessagePtr> messages);
    // The chat's message list changed; the reload follows through the gate.
    void setMessages(QList<MessagePtr> messages);
    // One message's content changed in place (a streamed delta, a tool result).
    void messageChanged(const QUuid &messageId);
    // The 30 Hz gate every event goes through.
    void scheduleUpdate();
    // Runs a scheduled reload now, if one waits (a view about to be shown, tests).
    void flush();

    // Valid until the next reload; copy an item to keep it (it holds shared pointers only).
    const QList<ChatDisplayItem> &displayItems() const { return m_items; }
    const ChatDisplayItem &itemAt(int row) const { return m_items.at(row); }
    // The row that shows a message (a group's row for its members), or -1.
    int rowOfMessage(const QUuid &messageId) const { return m_rowOfMessage.value(messageId, -1); }

    int rebuildCount() const { return m_rebuildCount; }
    int reloadCount() const { return m_reloadCount; }
    bool isReloading() const { return m_isReloading; }
    bool hasScheduledUpdate() const { return m_coalesce.isActive(); }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    // After each reload that changed anything; the model's own row signals came first.
    void timelineUpdated(const corvane::TimelineChange &change);

private:
    struct RowState
    {
        QUuid id;
        size_t shape = 0; // kind, members, their roles and content types
        size_t look = 0;  // content length and completion of the members
    };
    static RowState rowState(const ChatDisplayItem &item);

    void reload();
    bool refreshDisplayItems(TimelineChange &change);
    void indexRows();

    QList<MessagePtr> m_messages;
    QList<ChatDisplayItem> m_items;
    QList<RowState> m_states;
    QHash<QUuid, int> m_rowOfMessage;
    QSet<QUuid> m_changedMessages;
    bool m_checkAllRows = false;
    std::optional<DisplayItemsFingerprint> m_fingerprint;

    QTimer m_coalesce;
    QElapsedTimer m_sinceReload;
    bool m_isReloading = false;
    int m_rebuildCount = 0;
    int m_reloadCount = 0;
};

} // namespace corvane
