#pragma once

#include "accounts/import/ImportableSession.h"

#include <QList>
#include <QStringList>

#include <optional>

namespace corvane {

enum class DateFilter { all, today, thisWeek, thisMonth };
enum class DateGroup { today, yesterday, thisWeek, thisMonth, older };

QString dateFilterLabel(DateFilter filter);
QString dateGroupLabel(DateGroup group);
inline constexpr DateFilter allDateFilters[] = {DateFilter::all, DateFilter::today, DateFilter::thisWeek, DateFilter::thisMonth};

struct SessionGroup
{
    DateGroup group = DateGroup::today;
    QList<ImportableSession> sessions;
};

// The list's filters, in this order: search in the first prompt (any case), the date, the model.
// "This week" is the last seven days and "this month" the last calendar month, counted from `now`.
QList<ImportableSession> filterSessions(const QList<ImportableSession> &sessions, const QString &searchText,
                                        DateFilter dateFilter, const std::optional<QString> &modelFilter,
                                        const QDateTime &now);
// Which group a modification date falls in, tested from today backwards.
DateGroup dateGroupOf(const QDateTime &modified, const QDateTime &now);
// The groups in their fixed order, empty ones left out; sessions keep their order.
QList<SessionGroup> groupSessions(const QList<ImportableSession> &sessions, const QDateTime &now);
// The distinct models the sessions name, sorted.
QStringList availableModels(const QList<ImportableSession> &sessions);

} // namespace corvane
