#pragma once

#include <QColor>
#include <QString>

#include <optional>

namespace corvane {

// The dot that marks a chat's activity, by the state's raw name; none for an idle chat.
inline std::optional<QColor> activityColor(const QString &state)
{
    if (state == QLatin1String("processing"))
        return QColor(0x0a, 0x84, 0xff);
    if (state == QLatin1String("waitingForPermission"))
        return QColor(0xff, 0x9f, 0x0a);
    if (state == QLatin1String("completed"))
        return QColor(0x30, 0xd1, 0x58);
    return std::nullopt;
}

} // namespace corvane
