#pragma once

#include <QDateTime>
#include <QString>

namespace corvane {

// The two lines of the badge beside a row while times are revealed: a day ("Today",
// "Yesterday", a weekday within the last week, else a date) and the local time. The day line
// is recomputed only when the date changes, since the badge is redrawn on every swipe step.
class TimestampBadgeText
{
public:
    void setDate(const QDateTime &date, const QDateTime &now = QDateTime::currentDateTime());

    QDateTime date() const { return m_date; }
    QString dayLine() const { return m_dayLine; }
    QString timeLine() const { return m_timeLine; }

    static QString dayLineFor(const QDateTime &date, const QDateTime &now);

private:
    QDateTime m_date;
    QString m_dayLine;
    QString m_timeLine;
};

} // namespace corvane
