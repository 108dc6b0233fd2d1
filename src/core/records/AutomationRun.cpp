#include "core/records/AutomationRun.h"

namespace corvane {

bool AutomationRun::isClosed() const
{
    switch (status()) {
    case AutomationRunStatus::awaitingUserReview:
    case AutomationRunStatus::blocked:
    case AutomationRunStatus::done:
    case AutomationRunStatus::failed:
        return true;
    default:
        return false;
    }
}

} // namespace corvane
