#include "presentation/pulse/PulseSections.h"

namespace corvane::pulse {

QString sectionTitle(const QDate &day, const QDate &today, Qt::DayOfWeek firstDayOfWeek, const QLocale &locale)
{
    const QDate yesterday = today.addDays(-1);
    const QDate thisWeek = today.addDays(-((today.dayOfWeek() - int(firstDayOfWeek) + 7) % 7));
    const QDate lastWeek = thisWeek.addDays(-7);
    if (day >= today)
        return QStringLiteral("Today");
    if (day >= yesterday)
        return QStringLiteral("Yesterday");
    if (day >= thisWeek)
        return QStringLiteral("This Week");
    if (day >= lastWeek)
        return QStringLiteral("Last Week");
    return locale.toString(day, QStringLiteral("MMMM yyyy"));
}

QList<PulseItem> appendPage(const QList<PulseEntry> &page, std::optional<QString> &lastTitle, const QDate &today,
                            Qt::DayOfWeek firstDayOfWeek, const QLocale &locale)
{
    QList<PulseItem> items;
    for (const PulseEntry &entry : page) {
        const QString title = sectionTitle(entry.date, today, firstDayOfWeek, locale);
        if (title != lastTitle) {
            items.append(PulseItem{title, std::nullopt});
            lastTitle = title;
        }
        items.append(PulseItem{std::nullopt, entry});
    }
    return items;
}

} // namespace corvane::pulse
