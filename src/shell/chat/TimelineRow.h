#pragma once

#include "agent/session/ChatSession.h"
#include "presentation/timeline/ChatDisplayItem.h"
#include "shell/chat/ChatStyle.h"

#include <QWidget>

#include <functional>

namespace corvane {

class TimelineRow;

// What the rows of one timeline share: the look, and the ways back to the chat session.
struct RowContext
{
    ChatStyle style;
    std::function<bool(const QString &requestId)> isLiveRequest;
    std::function<bool()> hasLiveQuestion;
    std::function<void(const QString &requestId, PermissionScope scope)> approve;
    std::function<void(const QString &requestId)> deny;
    std::function<void()> signIn;
    // A row changed its own height (a tool row opened or closed, a highlight arrived).
    std::function<void(TimelineRow *row)> heightChanged;
};

// One row of the timeline as a real widget. The timeline creates rows only for what is on
// screen, asks them for their height at a width, and positions them.
class TimelineRow : public QWidget
{
    Q_OBJECT
public:
    TimelineRow(RowKind kind, RowContext &context, QWidget *parent);

    RowKind kind() const { return m_kind; }
    QUuid itemId() const { return m_item.id(); }
    const ChatDisplayItem &item() const { return m_item; }

    // New or changed content of the row's item.
    void setItem(const ChatDisplayItem &item);
    // The row's height at `width`.
    virtual int measure(int width) = 0;
    // The text a user would read in the row (tests and accessibility).
    virtual QString visibleText() const = 0;

    // The row for an item, by what it draws.
    static TimelineRow *create(const ChatDisplayItem &item, RowContext &context, QWidget *parent);

protected:
    virtual void refresh() = 0;

    RowKind m_kind;
    RowContext &m_context;
    ChatDisplayItem m_item;
};

class PermissionCard;

// What the timeline asks of rows without knowing their classes.
int toolRowHeightIn(TimelineRow *row, const Message &message, int width);
bool rowWaitsForHighlight(TimelineRow *row);
void rerenderRow(TimelineRow *row);
PermissionCard *permissionCardOf(TimelineRow *row);

} // namespace corvane
