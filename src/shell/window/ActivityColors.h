#pragma once

#include "core/window/SidebarModel.h"

#include <QColor>

#include <optional>

namespace corvane {

// The dot that marks a chat's activity; none for an idle chat.
inline std::optional<QColor> activityColor(ChatActivity activity)
{
    switch (activity) {
    case ChatActivity::processing:
        return QColor(0x0a, 0x84, 0xff);
    case ChatActivity::waitingForPermission:
        return QColor(0xff, 0x9f, 0x0a);
    case ChatActivity::completed:
        return QColor(0x30, 0xd1, 0x58);
    case ChatActivity::idle:
        break;
    }
    return std::nullopt;
}

} // namespace corvane
