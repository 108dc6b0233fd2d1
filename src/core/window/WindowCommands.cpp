#include "core/window/WindowCommands.h"

namespace corvane {

bool isCommandEnabled(KeyboardShortcutAction action, const CommandContext &context)
{
    using A = KeyboardShortcutAction;
    const ContentState &content = context.content;
    switch (action) {
    case A::newChat:
        return context.hasProjects;
    case A::closeChat:
    case A::focusChatInput:
    case A::toggleDictation:
    case A::stopAgent:
    case A::toggleTerminal:
        return content.showsChat();
    case A::allowOnce:
    case A::allowForSession:
    case A::deny:
        return context.hasPendingPermission;
    case A::toggleInspector:
        return content.showsChat()
            || (content.kind == ContentState::Kind::tool
                && (content.toolId == QLatin1String("skills") || content.toolId == QLatin1String("planner")));
    case A::newWindow:
    case A::newChatInWorkspace:
    case A::newIssue:
    case A::addProject:
    case A::closeWindow:
    case A::toggleSidebar:
    case A::quickOpen:
    case A::toggleFullScreen:
        return true;
    }
    return true;
}

QString menuItemTitle(KeyboardShortcutAction action, const CommandContext &context)
{
    using A = KeyboardShortcutAction;
    switch (action) {
    case A::toggleSidebar:
        return context.isSidebarOpen ? QStringLiteral("Hide Sidebar") : QStringLiteral("Show Sidebar");
    case A::toggleInspector:
        return context.isInspectorOpen ? QStringLiteral("Hide Inspector") : QStringLiteral("Show Inspector");
    case A::toggleTerminal:
        return context.isTerminalVisible ? QStringLiteral("Hide Terminal") : QStringLiteral("Show Terminal");
    case A::toggleFullScreen:
        return QStringLiteral("Enter Full Screen");
    default:
        return displayName(action);
    }
}

QString menuTitle(ShortcutCategory category)
{
    switch (category) {
    case ShortcutCategory::file:
        return QStringLiteral("File");
    case ShortcutCategory::edit:
        return QStringLiteral("Edit");
    case ShortcutCategory::view:
        return QStringLiteral("View");
    }
    return {};
}

} // namespace corvane
