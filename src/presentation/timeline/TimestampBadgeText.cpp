#include "presentation/timeline/TimestampBadgeText.h"

#include <QLocale>

namespace corvane {

QString TimestampBadgeText::dayLineFor(const QDateTime &date, const QDateTime &now)
{
    const QDate day = date.toLocalTime().date();
    const QDate today = now.toLocalTime().date();
    const qint64 days = day.daysTo(today);
    if (days == 0)
        return QStringLiteral("Today");
    if (days == 1)
        return QStringLiteral("Yesterday");
    const QLocale locale;
    if (days > 1 && days < 7)
        return locale.dayName(day.dayOfWeek(), QLocale::LongFormat);
    if (day.year() == today.year())
        return locale.toString(day, QStringLiteral("d MMM"));
    return locale.toString(day, QStringLiteral("d MMM yyyy"));
}

void TimestampBadgeText::setDate(const QDateTime &date, const QDateTime &now)
{
    if (date == m_date && !m_dayLine.isEmpty())
        return;
    m_date = date;
    m_dayLine = dayLineFor(date, now);
    m_timeLine = QLocale().toString(date.toLocalTime().time(), QLocale::ShortFormat);
}

} // namespace corvane
