#pragma once

#include "presentation/timeline/ChatDisplayItem.h"

#include <QUuid>

#include <functional>
#include <optional>

namespace corvane {

// Measured heights of message rows, process-wide, keyed by (message, a hash of what changes
// its drawing, row width). A message's entries go when it changes; all go when a table's
// column widths change (a table row's height then depends on the drag, not the text).
class MessageHeightCache
{
public:
    // A hash of the content, completion, kind and tool of a message: equal hashes draw alike.
    static size_t contentHash(const Message &message);

    static std::optional<int> find(const QUuid &messageId, size_t contentHash, int width);
    static void insert(const QUuid &messageId, size_t contentHash, int width, int height);
    static void removeMessage(const QUuid &messageId);
    static void clear();
    static qsizetype size();
};

// Whether a tool group is open, by group id, for the life of the process (not stored): a group
// that grows keeps its id and so stays open; a new process starts with all closed.
class ToolGroupExpansion
{
public:
    static bool isExpanded(const QUuid &groupId);
    static void setExpanded(const QUuid &groupId, bool expanded);
};

// What only the widgets know, asked for by timelineRowHeight().
struct RowMeasures
{
    // A text row (user bubble, assistant blocks, note, thinking, tool row) at a width; the
    // width is at least 200. Called on a cache miss only.
    std::function<int(const Message &, int width)> message;
    // The permission card's own measure.
    std::function<int(const Message &, int width)> permissionCard;
    // One tool row inside an expanded group.
    std::function<int(const Message &, int width)> toolRow;
    int subagentCardHeight = 88;
};

inline constexpr int kMinimumRowHeight = 40;
inline constexpr int kCollapsedGroupHeight = 48;
inline constexpr int kExpandedGroupHeaderHeight = 56;
inline constexpr int kMinimumMeasureWidth = 200;

// The height of one timeline row: at least 40, and 40 for a row out of range. A group is 48
// closed and 56 plus its tool rows open; a permission card measures itself; a subagent card
// has a fixed height; any other row is measured at a width of at least 200 through the cache.
int timelineRowHeight(const QList<ChatDisplayItem> &items, int row, int width, const RowMeasures &measures);

} // namespace corvane
