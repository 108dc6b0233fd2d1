#pragma once

#include <QDate>
#include <QList>
#include <QLocale>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One row of the timeline: a chat that was active on a day.
struct PulseEntry
{
    QUuid chatId;
    QString chatName;
    QString workspaceName; // the workspace's, else the project's, else "Unknown"
    QDate date;
    bool isArchived = false;
    bool isRunning = false; // a live session with its agent started: shown before archived
    std::optional<QString> profileColorHex;

    bool operator==(const PulseEntry &) const = default;
};

// A row of the list: a section's title, or an entry.
struct PulseItem
{
    std::optional<QString> header;
    std::optional<PulseEntry> entry;
};

namespace pulse {

// "Today", "Yesterday", "This Week", "Last Week", else the month and year ("March 2026"). Weeks
// begin on `firstDayOfWeek`, the locale's; earlier titles win, so today is never "This Week".
QString sectionTitle(const QDate &day, const QDate &today, Qt::DayOfWeek firstDayOfWeek, const QLocale &locale);

// The rows a page adds after those shown: a header whenever the section changes (none when the
// page goes on in the section `lastTitle` names), then the entries in fetched order. `lastTitle`
// becomes the page's last section.
QList<PulseItem> appendPage(const QList<PulseEntry> &page, std::optional<QString> &lastTitle, const QDate &today,
                            Qt::DayOfWeek firstDayOfWeek, const QLocale &locale);

} // namespace pulse
} // namespace corvane
