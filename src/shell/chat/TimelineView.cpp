#include "shell/chat/TimelineView.h"

#include "presentation/highlight/SyntaxHighlighter.h"
#include "presentation/timeline/TimelineRowHeights.h"
#include "shell/chat/TimestampOverlay.h"

#include <QFrame>
#include <QPointer>
#include <QResizeEvent>
#include <QTimer>
#include <QScrollBar>
#include <QSet>
#include <QToolButton>
#include <QWheelEvent>

#include <algorithm>

namespace corvane {

TimelineView::TimelineView(ChatTimelineModel &model, QWidget *parent) : QAbstractScrollArea(parent), m_model(model)
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setSingleStep(40);
    viewport()->setAutoFillBackground(false);
    m_context.heightChanged = [this](TimelineRow *row) { rowHeightChanged(row); };
    connect(&m_model, &QAbstractItemModel::modelReset, this, &TimelineView::modelReset);
    connect(&m_model, &ChatTimelineModel::timelineUpdated, this, &TimelineView::timelineUpdated);
    if (SyntaxHighlighter *highlighter = sharedHighlighter())
        connect(highlighter, &SyntaxHighlighter::highlighted, this, &TimelineView::highlightArrived);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        const QScrollBar *bar = verticalScrollBar();
        m_follow.viewScrolled(bar->value() >= bar->maximum());
        setFollowing(m_follow.isUserFollowing());
    });
    m_jump = new QToolButton(this);
    m_jump->setText(QStringLiteral("↓ Jump to recent"));
    m_jump->setObjectName(QStringLiteral("jumpToRecent"));
    m_jump->hide();
    connect(m_jump, &QToolButton::clicked, this, &TimelineView::scrollToEnd);
    m_timestamps = new TimestampOverlay(viewport());
    m_timestamps->stamps = [this] {
        QList<TimestampOverlay::Stamp> out;
        for (TimelineRow *row : visibleRows()) {
            const QList<MessagePtr> messages = row->item().messages();
            if (!messages.isEmpty())
                out.append({row->itemId(), row->geometry().translated(-row->x(), 0), messages.first()->timestamp});
        }
        return out;
    };
    m_swipe.onChange = [this](double offset) { revealOffsetChanged(offset); };
    m_spring = new QTimer(this);
    m_spring->setInterval(int(SwipeRevealTracker::kSpringStep * 1000));
    connect(m_spring, &QTimer::timeout, this, [this] {
        m_swipe.spring();
        if (!m_swipe.isSpringRunning())
            m_spring->stop();
    });
    m_gestureQuiet = new QTimer(this);
    m_gestureQuiet->setSingleShot(true);
    m_gestureQuiet->setInterval(150);
    connect(m_gestureQuiet, &QTimer::timeout, this, &TimelineView::endSwipe);
    modelReset();
}

void TimelineView::wheelEvent(QWheelEvent *event)
{
    // Pixel deltas come from touchpads; a mouse wheel only has angles and never swipes.
    const bool precise = !event->pixelDelta().isNull();
    const QPointF delta = precise ? QPointF(event->pixelDelta()) : QPointF(event->angleDelta()) / 8.0;
    switch (event->phase()) {
    case Qt::ScrollBegin:
        m_gestureQuiet->stop();
        m_swipe.gestureBegan();
        break;
    case Qt::ScrollEnd:
        endSwipe();
        event->accept();
        return;
    case Qt::NoScrollPhase:
        if (!precise)
            break;
        if (m_swipe.phase() == SwipeRevealTracker::Phase::idle)
            m_swipe.gestureBegan();
        m_gestureQuiet->start();
        break;
    default:
        break;
    }
    if (m_swipe.phase() != SwipeRevealTracker::Phase::idle) {
        // A gesture's begin may carry no movement: nothing to judge the device or direction by.
        if (delta.isNull()) {
            event->accept();
            return;
        }
        // Content moving left (a negative x delta) uncovers the times at the right.
        const bool momentum = event->phase() == Qt::ScrollMomentum;
        if (m_swipe.scrolled(-delta.x(), -delta.y(), precise, momentum)) {
            event->accept();
            return;
        }
    }
    QAbstractScrollArea::wheelEvent(event);
}

void TimelineView::endSwipe()
{
    m_gestureQuiet->stop();
    m_swipe.gestureEnded();
    if (m_swipe.isSpringRunning())
        m_spring->start();
}

void TimelineView::revealOffsetChanged(double offset)
{
    // Only the rows on screen move, and nothing is measured again.
    const int x = -qRound(offset);
    for (TimelineRow *row : std::as_const(m_widgets))
        row->move(x, row->y());
    m_timestamps->setRevealOffset(offset);
    if (offset >= 0.5)
        m_timestamps->setHoveredRow({});
}

bool TimelineView::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Enter || event->type() == QEvent::Leave) {
        auto *row = static_cast<TimelineRow *>(watched);
        if (event->type() == QEvent::Enter && m_swipe.offset() < 0.5)
            m_timestamps->setHoveredRow(row->itemId());
        else if (event->type() == QEvent::Leave && m_timestamps->hoveredRow() == row->itemId())
            m_timestamps->setHoveredRow({});
    }
    return QAbstractScrollArea::eventFilter(watched, event);
}

TimelineRow *TimelineView::rowWidget(int row) const
{
    if (row < 0 || row >= m_model.rowCount())
        return nullptr;
    return m_widgets.value(m_model.itemAt(row).id());
}

QList<TimelineRow *> TimelineView::visibleRows() const
{
    QList<TimelineRow *> rows = m_widgets.values();
    std::sort(rows.begin(), rows.end(), [](TimelineRow *a, TimelineRow *b) { return a->y() < b->y(); });
    return rows;
}

void TimelineView::scrollToEnd()
{
    m_follow.reset();
    setFollowing(true);
    layoutRows();
}

void TimelineView::revealRow(int row)
{
    if (row < 0 || row >= m_model.rowCount())
        return;
    m_follow.viewScrolled(false); // the user asked to look back: do not jump to the end
    setFollowing(false);
    ensureOffsets();
    QScrollBar *bar = verticalScrollBar();
    // The range may be short of the row's offset until the rows around it are measured: widen
    // it first, then let the layout settle the row at the top (it keeps the row at the top put).
    m_follow.scrollProgrammatically([&] {
        bar->setRange(0, qMax(bar->maximum(), m_offsets[row]));
        bar->setValue(m_offsets[row]);
    });
    layoutRows();
    TimelineRow *widget = rowWidget(row);
    if (!widget)
        return;
    auto *mark = new QFrame(widget);
    mark->setObjectName(QStringLiteral("revealMark"));
    mark->setAttribute(Qt::WA_TransparentForMouseEvents);
    QColor tint = palette().highlight().color();
    tint.setAlpha(60);
    mark->setStyleSheet(QStringLiteral("background: %1;").arg(tint.name(QColor::HexArgb)));
    mark->setGeometry(widget->rect());
    mark->show();
    QTimer::singleShot(1500, mark, [mark = QPointer<QWidget>(mark)] { delete mark.data(); });
}

void TimelineView::restyle()
{
    qDeleteAll(m_widgets);
    m_widgets.clear();
    m_measured.fill(false);
    layoutRows();
}

void TimelineView::setFollowing(bool following)
{
    const bool showJump = !following && m_model.rowCount() > 0;
    if (m_jump->isVisible() != showJump) {
        m_jump->setVisible(showJump);
        m_jump->adjustSize();
        m_jump->move(width() - m_jump->width() - 24, height() - m_jump->height() - 12);
        m_jump->raise();
        emit followingChanged(following);
    }
}

void TimelineView::modelReset()
{
    qDeleteAll(m_widgets);
    m_widgets.clear();
    const int count = m_model.rowCount();
    const int width = qMax(kMinimumMeasureWidth, viewport()->width());
    m_heights.resize(count);
    m_measured.fill(false, count);
    for (int row = 0; row < count; ++row)
        m_heights[row] = estimate(row, width);
    m_offsetsDirty = true;
    m_follow.reset();
    setFollowing(true);
    layoutRows();
}

void TimelineView::timelineUpdated(const TimelineChange &change)
{
    const int width = qMax(kMinimumMeasureWidth, viewport()->width());
    if (change.removedCount > 0) {
        m_heights.remove(change.removedFirst, change.removedCount);
        m_measured.remove(change.removedFirst, change.removedCount);
    }
    QSet<QUuid> touched;
    if (change.insertedCount > 0) {
        m_heights.insert(change.insertedFirst, change.insertedCount, 0);
        m_measured.insert(change.insertedFirst, change.insertedCount, false);
        for (int row = change.insertedFirst; row < change.insertedFirst + change.insertedCount; ++row) {
            m_heights[row] = estimate(row, width);
            touched.insert(m_model.itemAt(row).id());
        }
    }
    for (int row : change.updatedRows) {
        if (row < 0 || row >= m_heights.size())
            continue;
        m_measured[row] = false;
        const ChatDisplayItem &item = m_model.itemAt(row);
        for (const MessagePtr &m : item.messages())
            MessageHeightCache::removeMessage(m->id);
        touched.insert(item.id());
    }
    // Rows on screen whose item changed: refilled in place when they draw the same kind, made
    // again otherwise (a request that became an answered card keeps its id, not its look).
    const int count = m_model.rowCount();
    for (auto it = m_widgets.begin(); it != m_widgets.end();) {
        if (!touched.contains(it.key())) {
            ++it;
            continue;
        }
        const int row = m_model.rowOfMessage(it.key());
        if (row < 0 || row >= count || m_model.itemAt(row).id() != it.key()
            || rowKind(m_model.itemAt(row)) != it.value()->kind()) {
            delete it.value();
            it = m_widgets.erase(it);
            continue;
        }
        it.value()->setItem(m_model.itemAt(row));
        ++it;
    }
    m_offsetsDirty = true;
    layoutRows();
}

void TimelineView::rowHeightChanged(TimelineRow *row)
{
    const int index = m_model.rowOfMessage(row->itemId());
    if (index >= 0 && index < m_measured.size())
        m_measured[index] = false;
    for (const MessagePtr &m : row->item().messages())
        MessageHeightCache::removeMessage(m->id);
    layoutRows();
}

void TimelineView::highlightArrived()
{
    bool any = false;
    for (TimelineRow *row : std::as_const(m_widgets)) {
        if (rowWaitsForHighlight(row)) {
            rerenderRow(row);
            const int index = m_model.rowOfMessage(row->itemId());
            if (index >= 0 && index < m_measured.size())
                m_measured[index] = false;
            for (const MessagePtr &m : row->item().messages())
                MessageHeightCache::removeMessage(m->id);
            any = true;
        }
    }
    if (any)
        layoutRows();
}

int TimelineView::estimate(int row, int width) const
{
    const ChatDisplayItem &item = m_model.itemAt(row);
    if (item.kind == ChatDisplayItem::Kind::toolGroup)
        return ToolGroupExpansion::isExpanded(item.group.id) ? kExpandedGroupHeaderHeight + 40 * int(item.group.messages.size())
                                                             : kCollapsedGroupHeight;
    const Message &m = *item.message;
    if (const auto cached = MessageHeightCache::find(m.id, MessageHeightCache::contentHash(m), width))
        return *cached;
    const int lineHeight = int(20 * m_context.style.textScale);
    const int perLine = qMax(20, width / 8);
    switch (rowKind(item)) {
    case RowKind::assistantText:
    case RowKind::userBubble: {
        const int lines = int(m.content.count(QLatin1Char('\n'))) + int(m.content.size() / perLine) + 1;
        return qMax(kMinimumRowHeight, 24 + lines * lineHeight);
    }
    case RowKind::permissionCard: return 110;
    case RowKind::subagentCard: return 88;
    case RowKind::planCard: return 160;
    default: return kMinimumRowHeight;
    }
}

int TimelineView::measured(int row, TimelineRow *widget, int width)
{
    RowMeasures measures;
    measures.message = [widget](const Message &, int w) { return widget->measure(w); };
    measures.permissionCard = measures.message;
    measures.toolRow = [widget](const Message &message, int w) { return toolRowHeightIn(widget, message, w); };
    return timelineRowHeight(m_model.displayItems(), row, width, measures);
}

void TimelineView::ensureOffsets()
{
    if (!m_offsetsDirty && m_offsets.size() == m_heights.size() + 1)
        return;
    m_offsets.resize(m_heights.size() + 1);
    int y = 0;
    for (int i = 0; i < m_heights.size(); ++i) {
        m_offsets[i] = y;
        y += m_heights[i];
    }
    m_offsets[m_heights.size()] = y;
    m_offsetsDirty = false;
}

int TimelineView::rowAt(int y)
{
    ensureOffsets();
    // The last row whose top is at or above y.
    const auto it = std::upper_bound(m_offsets.cbegin(), m_offsets.cend() - 1, y);
    return qMax(0, int(it - m_offsets.cbegin()) - 1);
}

void TimelineView::layoutRows()
{
    if (m_inLayout)
        return;
    m_inLayout = true;
    ++m_layoutPasses;
    const int count = m_model.rowCount();
    const int width = viewport()->width();
    const int height = viewport()->height();
    if (width != m_width) {
        m_width = width;
        m_measured.fill(false);
    }
    const int measureWidth = qMax(kMinimumMeasureWidth, width);
    QScrollBar *bar = verticalScrollBar();
    ensureOffsets();
    const bool following = m_follow.shouldScrollToEnd();
    int anchorRow = count > 0 ? rowAt(bar->value()) : 0;
    int anchorDelta = count > 0 ? m_offsets[anchorRow] - bar->value() : 0;
    int top = 0;
    QSet<QUuid> shown;
    // Measuring rows can move the rows below them: repeat until what is on screen is measured.
    for (int pass = 0; pass < 4; ++pass) {
        ensureOffsets();
        const int total = m_offsets.value(count, 0);
        top = following ? qMax(0, total - height) : qBound(0, m_offsets.value(anchorRow, 0) - anchorDelta, qMax(0, total - height));
        bool changed = false;
        shown.clear();
        for (int row = count > 0 ? rowAt(top) : 0; row < count && m_offsets[row] < top + height; ++row) {
            const ChatDisplayItem &item = m_model.itemAt(row);
            TimelineRow *&widget = m_widgets[item.id()];
            if (!widget) {
                widget = TimelineRow::create(item, m_context, viewport());
                widget->installEventFilter(this); // hovering shows the row's time
                ++m_rowsCreated;
                m_measured[row] = false;
            }
            shown.insert(item.id());
            if (!m_measured[row]) {
                const int h = measured(row, widget, measureWidth);
                m_measured[row] = true;
                if (h != m_heights[row]) {
                    m_heights[row] = h;
                    m_offsetsDirty = true;
                    changed = true;
                    ensureOffsets();
                }
            }
        }
        if (!changed)
            break;
    }
    for (auto it = m_widgets.begin(); it != m_widgets.end();) {
        if (shown.contains(it.key())) {
            ++it;
        } else {
            delete it.value();
            it = m_widgets.erase(it);
        }
    }
    ensureOffsets();
    const int total = m_offsets.value(count, 0);
    m_follow.scrollProgrammatically([&] {
        bar->setPageStep(height);
        bar->setRange(0, qMax(0, total - height));
        bar->setValue(top);
    });
    for (int row = count > 0 ? rowAt(top) : 0; row < count && m_offsets[row] < top + height; ++row) {
        TimelineRow *widget = m_widgets.value(m_model.itemAt(row).id());
        if (!widget)
            continue;
        widget->setGeometry(-qRound(m_swipe.offset()), m_offsets[row] - top, width, m_heights[row]);
        widget->show();
    }
    if (m_timestamps->isVisible()) {
        m_timestamps->setGeometry(viewport()->rect());
        m_timestamps->raise();
        m_timestamps->update();
    }
    m_inLayout = false;
}

void TimelineView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    if (m_jump->isVisible())
        m_jump->move(width() - m_jump->width() - 24, height() - m_jump->height() - 12);
    layoutRows();
}

void TimelineView::scrollContentsBy(int, int)
{
    if (m_inLayout)
        return;
    // The user's scroll reaches here before the scroll bar's other listeners: whether the view
    // still follows the newest row must be known before the rows are placed, or a scroll away
    // from the bottom would be undone at once.
    const QScrollBar *bar = verticalScrollBar();
    m_follow.viewScrolled(bar->value() >= bar->maximum());
    layoutRows();
}

} // namespace corvane
