#pragma once

#include "core/Result.h"
#include "core/settings/KeyCombo.h"
#include "core/settings/KeyboardShortcutAction.h"

#include <Qt>

namespace corvane {

class AppSettings;

// Shift, Ctrl, Alt, Meta and the like: pressed alone they are part of a combination still being
// typed, not a combination.
bool isModifierKey(int key);

// The combination of one key press (a Qt::Key with its modifiers), in the form the settings
// store: Ctrl is Command, Alt is Option, Meta is Control, and the key is the unshifted
// character, so Ctrl+Shift+T is {"t", Command|Shift}. A plain key without Ctrl, Alt or Meta is
// refused unless it is a function key: it would take the letter from every text field.
Result<KeyCombo> comboForKeyPress(int key, Qt::KeyboardModifiers modifiers);

// Gives `action` the combination the user pressed. Refused, storing nothing, with a message that
// says why: when another action already has it (the settings' own rule), or when this desktop
// could not bind it (a key kept for the terminal or for Quit and Preferences), or when it would
// take the key another action is bound to here.
Status recordShortcut(AppSettings &settings, KeyboardShortcutAction action, const KeyCombo &combo);

} // namespace corvane
