#pragma once

#include "core/settings/KeyCombo.h"

#include <QString>

#include <array>
#include <optional>

namespace corvane {

enum class ShortcutCategory { file, edit, view };

// The actions a user can bind to keys. The order is the order of display and the order in
// which a conflict is searched, so the earlier of two actions sharing a combination wins.
// `newChat` and `closeChat` make and close a workspace; their raw names are what the
// preferences already hold.
enum class KeyboardShortcutAction {
    newWindow,
    newChat,
    newChatInWorkspace,
    newIssue,
    addProject,
    closeWindow,
    closeChat,
    allowOnce,
    allowForSession,
    deny,
    toggleSidebar,
    toggleInspector,
    quickOpen,
    focusChatInput,
    toggleDictation,
    stopAgent,
    toggleTerminal,
    toggleFullScreen,
};

inline constexpr int keyboardShortcutActionCount = 18;

// Every action, in enumeration order.
const std::array<KeyboardShortcutAction, keyboardShortcutActionCount> &allKeyboardShortcutActions();

// The case name, as saved in the preferences: "newWindow".
QString rawName(KeyboardShortcutAction action);
std::optional<KeyboardShortcutAction> keyboardShortcutActionFromRaw(const QString &raw);

QString displayName(KeyboardShortcutAction action);
KeyCombo defaultCombo(KeyboardShortcutAction action);
ShortcutCategory category(KeyboardShortcutAction action);

} // namespace corvane
