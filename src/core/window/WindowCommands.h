#pragma once

#include "core/settings/KeyboardShortcutAction.h"
#include "core/window/ContentState.h"

#include <QString>

namespace corvane {

// What the window's commands depend on at one moment.
struct CommandContext
{
    ContentState content;
    bool hasProjects = false;
    // The current chat has a live session with at least one permission request waiting.
    bool hasPendingPermission = false;
    bool isSidebarOpen = true;
    bool isInspectorOpen = false;
    bool isTerminalVisible = false;
};

// Whether the menu item of `action` can be chosen now.
bool isCommandEnabled(KeyboardShortcutAction action, const CommandContext &context);

// The title of the action's menu item; the three toggles say what choosing them will do.
QString menuItemTitle(KeyboardShortcutAction action, const CommandContext &context);

// "File", "Edit" or "View": the menu that holds the action's item.
QString menuTitle(ShortcutCategory category);

} // namespace corvane
