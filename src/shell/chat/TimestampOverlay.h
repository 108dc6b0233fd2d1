#pragma once

#include "presentation/timeline/TimestampBadgeText.h"

#include <QDateTime>
#include <QHash>
#include <QRect>
#include <QUuid>
#include <QWidget>

#include <functional>

namespace corvane {

// The times of the timeline's rows, drawn over the list: for every row on screen in the strip
// that the rows uncover while they are swiped aside, and for the row under the mouse alone as a
// small label at its top right. One widget that paints, whatever the number of rows, so a swipe
// step costs a repaint and no layout.
class TimestampOverlay : public QWidget
{
    Q_OBJECT
public:
    struct Stamp
    {
        QUuid id;
        QRect row; // where the row sits when not swiped aside
        QDateTime time;
    };

    explicit TimestampOverlay(QWidget *parent);

    // The rows on screen now, asked for at each paint.
    std::function<QList<Stamp>()> stamps;

    // How far the rows are swiped aside; above half a pixel the strip's times show.
    void setRevealOffset(double offset);
    double revealOffset() const { return m_offset; }
    // The row under the mouse; null for none.
    void setHoveredRow(const QUuid &id);
    QUuid hoveredRow() const { return m_hovered; }

    // The texts drawn now, top to bottom, as "day time" (for tests and accessibility).
    QStringList shownTimes();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    bool revealing() const { return m_offset >= 0.5; }
    const TimestampBadgeText &badge(const Stamp &stamp);
    QList<Stamp> shownStamps() const;
    void refreshVisibility();

    double m_offset = 0;
    QUuid m_hovered;
    QHash<QUuid, TimestampBadgeText> m_badges; // the day line is worked out once per date
};

} // namespace corvane
