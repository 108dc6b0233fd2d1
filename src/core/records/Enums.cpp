#include "core/records/Enums.h"

namespace corvane {

QString profileColorHex(ProfileColor color)
{
    static constexpr std::array hex{"#0A84FF", "#BF5AF2", "#FF375F", "#FF453A", "#FF9F0A",
                                    "#FFD60A", "#30D158", "#64D2FF", "#5E5CE6", "#8E8E93"};
    return QString::fromLatin1(hex[std::size_t(color)]);
}

QString displayName(IssueStatus status)
{
    static constexpr std::array names{"Backlog", "Planned", "In Progress", "Done"};
    return QString::fromLatin1(names[std::size_t(status)]);
}

QString displayName(IssueType type)
{
    static constexpr std::array names{"Feature", "Bug", "Task"};
    return QString::fromLatin1(names[std::size_t(type)]);
}

QString displayName(IssuePriority priority)
{
    static constexpr std::array names{"None", "Low", "Medium", "High", "Urgent"};
    return QString::fromLatin1(names[std::size_t(priority)]);
}

} // namespace corvane
