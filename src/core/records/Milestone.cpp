#include "core/records/Milestone.h"

namespace corvane {

QString milestoneProgressText(int doneCount, int totalCount)
{
    return QString::number(doneCount) + QLatin1Char('/') + QString::number(totalCount);
}

} // namespace corvane
