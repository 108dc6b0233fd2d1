#pragma once

#include "presentation/timeline/ChatTimelineModel.h"
#include "presentation/timeline/SwipeRevealTracker.h"
#include "presentation/timeline/TimelineFollowState.h"
#include "shell/chat/TimelineRow.h"

#include <QAbstractScrollArea>
#include <QHash>
#include <QVector>

class QTimer;
class QToolButton;

namespace corvane {

class TimestampOverlay;

// The chat's rows in a scrolling list that makes widgets only for the rows on screen. Heights
// of rows never shown are estimates until a row is shown and measured; the row at the top of
// the screen stays put while estimates above it are corrected. A streamed delta reaches one
// row: that row refills its last block and is measured again, nothing else is touched.
//
// Times are shown on demand: a horizontal two-finger swipe slides the rows aside and shows every
// row's time in the strip it uncovers, springing back when the fingers lift; a mouse shows the
// time of the row it hovers.
class TimelineView : public QAbstractScrollArea
{
    Q_OBJECT
public:
    TimelineView(ChatTimelineModel &model, QWidget *parent = nullptr);

    RowContext &context() { return m_context; }
    TimelineFollowState &follow() { return m_follow; }
    // The widget of a row when it is on screen.
    TimelineRow *rowWidget(int row) const;
    QList<TimelineRow *> visibleRows() const;
    void scrollToEnd();
    // Scrolls a row to the top of the view, stops following the newest row, and marks the row
    // for a moment.
    void revealRow(int row);
    // After the context's style changed: every row is made again.
    void restyle();
    // Rows made since the view was created, and layout passes: what benchmarks watch.
    int rowsCreated() const { return m_rowsCreated; }
    int layoutPasses() const { return m_layoutPasses; }
    TimestampOverlay *timestamps() const { return m_timestamps; }
    double revealOffset() const { return m_swipe.offset(); }

signals:
    void followingChanged(bool following);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void wheelEvent(QWheelEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void modelReset();
    void timelineUpdated(const TimelineChange &change);
    void rowHeightChanged(TimelineRow *row);
    void highlightArrived();
    int estimate(int row, int width) const;
    int measured(int row, TimelineRow *widget, int width);
    void ensureOffsets();
    int rowAt(int y);
    void layoutRows();
    void setFollowing(bool following);
    void revealOffsetChanged(double offset);
    void endSwipe();

    ChatTimelineModel &m_model;
    RowContext m_context;
    TimelineFollowState m_follow;
    QVector<int> m_heights;
    QVector<bool> m_measured;
    QVector<int> m_offsets; // row tops, plus the total at the end
    bool m_offsetsDirty = true;
    QHash<QUuid, TimelineRow *> m_widgets;
    int m_width = 0;
    bool m_inLayout = false;
    int m_rowsCreated = 0;
    int m_layoutPasses = 0;
    QToolButton *m_jump;
    SwipeRevealTracker m_swipe;
    QTimer *m_spring;
    // Touchpads that report no gesture phases: a pause in the deltas ends the gesture.
    QTimer *m_gestureQuiet;
    TimestampOverlay *m_timestamps;
};

} // namespace corvane
