#include "accounts/import/ImportFilters.h"

#include <QCoreApplication>
#include <QLocale>
#include <QSet>

#include <algorithm>

namespace corvane {

QString dateFilterLabel(DateFilter filter)
{
    switch (filter) {
    case DateFilter::all: return QCoreApplication::translate("Import", "All");
    case DateFilter::today: return QCoreApplication::translate("Import", "Today");
    case DateFilter::thisWeek: return QCoreApplication::translate("Import", "This Week");
    case DateFilter::thisMonth: return QCoreApplication::translate("Import", "This Month");
    }
    return {};
}

QString dateGroupLabel(DateGroup group)
{
    switch (group) {
    case DateGroup::today: return QCoreApplication::translate("Import", "Today");
    case DateGroup::yesterday: return QCoreApplication::translate("Import", "Yesterday");
    case DateGroup::thisWeek: return QCoreApplication::translate("Import", "This Week");
    case DateGroup::thisMonth: return QCoreApplication::translate("Import", "This Month");
    case DateGroup::older: return QCoreApplication::translate("Import", "Older");
    }
    return {};
}

namespace {

bool isSameLocalDay(const QDateTime &a, const QDate &day)
{
    return a.toLocalTime().date() == day;
}

} // namespace

QList<ImportableSession> filterSessions(const QList<ImportableSession> &sessions, const QString &searchText,
                                        DateFilter dateFilter, const std::optional<QString> &modelFilter,
                                        const QDateTime &now)
{
    const QString needle = QLocale().toLower(searchText);
    const QDate today = now.toLocalTime().date();
    const QDateTime weekAgo = now.addDays(-7);
    const QDateTime monthAgo = now.addMonths(-1);
    QList<ImportableSession> out;
    for (const ImportableSession &session : sessions) {
        if (!needle.isEmpty() && !QLocale().toLower(session.firstPrompt).contains(needle))
            continue;
        bool inDate = true;
        switch (dateFilter) {
        case DateFilter::all: break;
        case DateFilter::today: inDate = isSameLocalDay(session.modified, today); break;
        case DateFilter::thisWeek: inDate = session.modified >= weekAgo; break;
        case DateFilter::thisMonth: inDate = session.modified >= monthAgo; break;
        }
        if (!inDate)
            continue;
        if (modelFilter && session.model != modelFilter)
            continue;
        out.append(session);
    }
    return out;
}

DateGroup dateGroupOf(const QDateTime &modified, const QDateTime &now)
{
    const QDate today = now.toLocalTime().date();
    if (isSameLocalDay(modified, today))
        return DateGroup::today;
    if (isSameLocalDay(modified, today.addDays(-1)))
        return DateGroup::yesterday;
    if (modified >= now.addDays(-7))
        return DateGroup::thisWeek;
    if (modified >= now.addMonths(-1))
        return DateGroup::thisMonth;
    return DateGroup::older;
}

QList<SessionGroup> groupSessions(const QList<ImportableSession> &sessions, const QDateTime &now)
{
    QList<SessionGroup> groups;
    for (DateGroup group : {DateGroup::today, DateGroup::yesterday, DateGroup::thisWeek, DateGroup::thisMonth, DateGroup::older}) {
        SessionGroup entry{group, {}};
        for (const ImportableSession &session : sessions)
            if (dateGroupOf(session.modified, now) == group)
                entry.sessions.append(session);
        if (!entry.sessions.isEmpty())
            groups.append(std::move(entry));
    }
    return groups;
}

QStringList availableModels(const QList<ImportableSession> &sessions)
{
    QSet<QString> models;
    for (const ImportableSession &session : sessions)
        if (session.model)
            models.insert(*session.model);
    QStringList sorted(models.begin(), models.end());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

} // namespace corvane
