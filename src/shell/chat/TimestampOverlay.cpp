#include "shell/chat/TimestampOverlay.h"

#include <QPainter>
#include <QPainterPath>

namespace corvane {

TimestampOverlay::TimestampOverlay(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("timestampOverlay"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    hide();
}

void TimestampOverlay::setRevealOffset(double offset)
{
    if (offset == m_offset)
        return;
    m_offset = offset;
    refreshVisibility();
    update();
}

void TimestampOverlay::setHoveredRow(const QUuid &id)
{
    if (id == m_hovered)
        return;
    m_hovered = id;
    refreshVisibility();
    update();
}

void TimestampOverlay::refreshVisibility()
{
    const bool show = revealing() || !m_hovered.isNull();
    if (show == isVisible())
        return;
    if (show) {
        setGeometry(parentWidget()->rect());
        raise();
    }
    setVisible(show);
}

const TimestampBadgeText &TimestampOverlay::badge(const Stamp &stamp)
{
    TimestampBadgeText &text = m_badges[stamp.id];
    text.setDate(stamp.time);
    return text;
}

QList<TimestampOverlay::Stamp> TimestampOverlay::shownStamps() const
{
    QList<Stamp> out;
    if (!stamps || (!revealing() && m_hovered.isNull()))
        return out;
    for (const Stamp &stamp : stamps())
        if (stamp.time.isValid() && (revealing() || stamp.id == m_hovered))
            out.append(stamp);
    return out;
}

QStringList TimestampOverlay::shownTimes()
{
    QStringList out;
    for (const Stamp &stamp : shownStamps()) {
        const TimestampBadgeText &text = badge(stamp);
        out << text.dayLine() + QLatin1Char(' ') + text.timeLine();
    }
    return out;
}

void TimestampOverlay::paintEvent(QPaintEvent *)
{
    const QList<Stamp> shown = shownStamps();
    if (shown.isEmpty())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    const QColor dim = palette().color(QPalette::PlaceholderText);
    const QColor strong = palette().color(QPalette::WindowText);
    if (revealing()) {
        // Right-aligned in the strip the rows left, the day above the time, fading in as it opens.
        const int strip = int(m_offset);
        painter.setOpacity(qBound(0.0, m_offset / 40.0, 1.0));
        const QFontMetrics metrics(small);
        const int line = metrics.height();
        for (const Stamp &stamp : shown) {
            const TimestampBadgeText &text = badge(stamp);
            painter.setFont(small);
            // A short row has room for the time alone, level with its first line of text.
            if (stamp.row.height() >= 2 * line + 16) {
                const QRect area(width() - strip, stamp.row.top() + 8, strip - 8, 2 * line);
                painter.setPen(dim);
                painter.drawText(area, Qt::AlignRight | Qt::AlignTop, text.dayLine());
                painter.setPen(strong);
                painter.drawText(area, Qt::AlignRight | Qt::AlignBottom, text.timeLine());
            } else {
                const QRect area(width() - strip, stamp.row.top(), strip - 8, qMin(stamp.row.height(), 40));
                painter.setPen(strong);
                painter.drawText(area, Qt::AlignRight | Qt::AlignVCenter, text.timeLine());
            }
        }
        return;
    }
    // Hover: one label at the row's top right, on a pill so it reads over the row's content.
    painter.setFont(small);
    const QFontMetrics metrics(small);
    for (const Stamp &stamp : shown) {
        const TimestampBadgeText &text = badge(stamp);
        const QString label = text.dayLine() + QStringLiteral(" · ") + text.timeLine();
        const QSize size(metrics.horizontalAdvance(label) + 14, metrics.height() + 6);
        const QRect pill(QPoint(stamp.row.right() - size.width() - 10, stamp.row.top() + 4), size);
        QColor back = palette().color(QPalette::ToolTipBase);
        back.setAlpha(230);
        QPainterPath path;
        path.addRoundedRect(pill, size.height() / 2.0, size.height() / 2.0);
        painter.fillPath(path, back);
        painter.setPen(palette().color(QPalette::ToolTipText));
        painter.drawText(pill, Qt::AlignCenter, label);
    }
}

} // namespace corvane
