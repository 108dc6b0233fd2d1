#include "core/records/ChatActivityDay.h"

namespace corvane {

QDateTime startOfLocalDay(const QDateTime &date)
{
    return date.toLocalTime().date().startOfDay();
}

} // namespace corvane
