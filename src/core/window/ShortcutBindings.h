#pragma once

#include "core/settings/KeyCombo.h"
#include "core/settings/KeyboardShortcutAction.h"

#include <QHash>
#include <QList>
#include <QString>

#include <optional>

namespace corvane {

class AppSettings;

// The key each menu action is bound to on this desktop.
//
// The stored defaults read Command as Ctrl, which on Linux lands several actions on keys that a
// terminal needs (Ctrl+D ends input, Ctrl+L clears, Ctrl+W deletes a word, Ctrl+S stops output)
// and leaves two actions on Ctrl+Shift+T. Qt fires neither of two actions that share a key, so
// the bindings are resolved here once: an action still on its default gets this desktop's own
// default, a key kept for the terminal is never bound, and of two actions on one key the earlier
// one keeps it. A user's own choice is bound as chosen unless one of those two rules refuses it.
struct ShortcutBinding
{
    KeyboardShortcutAction action;
    std::optional<KeyCombo> combo; // none: the item shows no key
    QString note;                  // why the action has no key, for the preferences
};

// The default of `action` on this desktop: the stored default unless that one clashes here.
KeyCombo desktopDefaultCombo(KeyboardShortcutAction action);

// Quit's own key, which no action may take.
KeyCombo quitCombo();

// Command (Ctrl) with one of the letters a shell's line editor and job control use.
bool isKeptForTerminal(const KeyCombo &combo);

// Every action in enumeration order. `custom` is the user's map, by raw action name.
QList<ShortcutBinding> resolveShortcutBindings(const QHash<QString, KeyCombo> &custom);
QList<ShortcutBinding> resolveShortcutBindings(const AppSettings &settings);

} // namespace corvane
