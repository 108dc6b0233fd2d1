#include "core/settings/KeyboardShortcutAction.h"

namespace corvane {

namespace {

struct ActionInfo
{
    const char *raw;
    const char *display;
    const char *key;
    quint64 modifiers;
    ShortcutCategory category;
};

constexpr quint64 Cmd = KeyCombo::Command;
constexpr quint64 Shift = KeyCombo::Shift;
constexpr quint64 Opt = KeyCombo::Option;
constexpr quint64 Ctl = KeyCombo::Control;

// In enumeration order. newChatInWorkspace and toggleTerminal share Command Shift T on purpose:
// the conflict search finds the earlier one.
constexpr std::array<ActionInfo, keyboardShortcutActionCount> table{{
    {"newWindow", "New Window", "n", Cmd, ShortcutCategory::file},
    {"newChat", "New Workspace", "t", Cmd, ShortcutCategory::file},
    {"newChatInWorkspace", "New Chat in Workspace", "t", Cmd | Shift, ShortcutCategory::file},
    {"newIssue", "New Issue", "i", Cmd, ShortcutCategory::file},
    {"addProject", "Add Project", "n", Cmd | Shift, ShortcutCategory::file},
    {"closeWindow", "Close Window", "w", Cmd, ShortcutCategory::file},
    {"closeChat", "Close Workspace", "w", Cmd | Shift, ShortcutCategory::file},
    {"allowOnce", "Allow Once", "y", Cmd, ShortcutCategory::edit},
    {"allowForSession", "Allow for Session", "y", Cmd | Shift, ShortcutCategory::edit},
    {"deny", "Deny", "d", Cmd, ShortcutCategory::edit},
    {"toggleSidebar", "Toggle Sidebar", "s", Cmd, ShortcutCategory::view},
    {"toggleInspector", "Toggle Inspector", "i", Cmd | Opt, ShortcutCategory::view},
    {"quickOpen", "Quick Open", "k", Cmd, ShortcutCategory::view},
    {"focusChatInput", "Focus Chat Input", "l", Cmd, ShortcutCategory::view},
    {"toggleDictation", "Toggle Dictation", "j", Cmd, ShortcutCategory::view},
    {"stopAgent", "Stop Agent", ".", Cmd, ShortcutCategory::view},
    {"toggleTerminal", "Toggle Terminal", "t", Cmd | Shift, ShortcutCategory::view},
    {"toggleFullScreen", "Full Screen", "f", Cmd | Ctl, ShortcutCategory::view},
}};

const ActionInfo &info(KeyboardShortcutAction action)
{
    return table[std::size_t(action)];
}

} // namespace

const std::array<KeyboardShortcutAction, keyboardShortcutActionCount> &allKeyboardShortcutActions()
{
    static const auto all = [] {
        std::array<KeyboardShortcutAction, keyboardShortcutActionCount> actions{};
        for (int i = 0; i < keyboardShortcutActionCount; ++i)
            actions[std::size_t(i)] = KeyboardShortcutAction(i);
        return actions;
    }();
    return all;
}

QString rawName(KeyboardShortcutAction action)
{
    return QString::fromLatin1(info(action).raw);
}

std::optional<KeyboardShortcutAction> keyboardShortcutActionFromRaw(const QString &raw)
{
    for (KeyboardShortcutAction action : allKeyboardShortcutActions())
        if (raw == QLatin1String(info(action).raw))
            return action;
    return std::nullopt;
}

QString displayName(KeyboardShortcutAction action)
{
    return QString::fromLatin1(info(action).display);
}

KeyCombo defaultCombo(KeyboardShortcutAction action)
{
    return KeyCombo{QString::fromLatin1(info(action).key), info(action).modifiers};
}

ShortcutCategory category(KeyboardShortcutAction action)
{
    return info(action).category;
}

} // namespace corvane
