#include "core/window/ShortcutRecording.h"

#include "core/settings/AppSettings.h"
#include "core/window/ShortcutBindings.h"

#include <QHash>

namespace corvane {

namespace {

QString specialKeyText(int key)
{
    static const QHash<int, QString> names{
        {Qt::Key_Return, QStringLiteral("\r")}, {Qt::Key_Enter, QStringLiteral("\r")},
        {Qt::Key_Tab, QStringLiteral("\t")}, {Qt::Key_Backtab, QStringLiteral("\t")},
        {Qt::Key_Space, QStringLiteral(" ")}, {Qt::Key_Escape, QStringLiteral("\x1b")},
        {Qt::Key_Backspace, QStringLiteral("\x7f")}, {Qt::Key_Delete, QStringLiteral("Del")},
        {Qt::Key_Insert, QStringLiteral("Ins")}, {Qt::Key_Home, QStringLiteral("Home")},
        {Qt::Key_End, QStringLiteral("End")}, {Qt::Key_PageUp, QStringLiteral("PgUp")},
        {Qt::Key_PageDown, QStringLiteral("PgDown")}, {Qt::Key_Left, QStringLiteral("Left")},
        {Qt::Key_Right, QStringLiteral("Right")}, {Qt::Key_Up, QStringLiteral("Up")},
        {Qt::Key_Down, QStringLiteral("Down")},
        // Shifted punctuation arrives as its own key on a US layout; the combination keeps the
        // unshifted character with Shift, as it does for letters.
        {Qt::Key_Less, QStringLiteral(",")}, {Qt::Key_Greater, QStringLiteral(".")},
        {Qt::Key_Underscore, QStringLiteral("-")}, {Qt::Key_Plus, QStringLiteral("=")},
        {Qt::Key_BraceLeft, QStringLiteral("[")}, {Qt::Key_BraceRight, QStringLiteral("]")},
        {Qt::Key_AsciiTilde, QStringLiteral("`")}, {Qt::Key_Colon, QStringLiteral(";")},
        {Qt::Key_QuoteDbl, QStringLiteral("'")}, {Qt::Key_Bar, QStringLiteral("\\")},
    };
    return names.value(key);
}

bool isFunctionKey(int key)
{
    return key >= Qt::Key_F1 && key <= Qt::Key_F35;
}

// Keys of the application that are not among the eighteen actions.
struct FixedKey
{
    KeyCombo combo;
    const char *name;
};

const QList<FixedKey> &fixedKeys()
{
    static const QList<FixedKey> keys{{quitCombo(), "Quit"},
                                      {KeyCombo{QStringLiteral(","), KeyCombo::Command}, "Preferences…"}};
    return keys;
}

Error usedBy(const KeyCombo &combo, const QString &name)
{
    return Error(combo.displayString() + QStringLiteral(" is already used by \"") + name + QLatin1Char('"'));
}

} // namespace

bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift: case Qt::Key_Control: case Qt::Key_Meta: case Qt::Key_Alt: case Qt::Key_AltGr:
    case Qt::Key_Super_L: case Qt::Key_Super_R: case Qt::Key_Hyper_L: case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock: case Qt::Key_NumLock: case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

Result<KeyCombo> comboForKeyPress(int key, Qt::KeyboardModifiers modifiers)
{
    KeyCombo combo;
    if (modifiers & Qt::ControlModifier)
        combo.modifiers |= KeyCombo::Command;
    if (modifiers & Qt::AltModifier)
        combo.modifiers |= KeyCombo::Option;
    if (modifiers & Qt::ShiftModifier)
        combo.modifiers |= KeyCombo::Shift;
    if (modifiers & Qt::MetaModifier)
        combo.modifiers |= KeyCombo::Control;

    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        combo.key = QChar(u'a' + (key - Qt::Key_A));
    else if (isFunctionKey(key))
        combo.key = QStringLiteral("F%1").arg(key - Qt::Key_F1 + 1);
    else if (const QString special = specialKeyText(key); !special.isEmpty())
        combo.key = special;
    else if (key > 0x20 && key < 0x7f) // the printable ASCII keys are their own characters
        combo.key = QChar(key).toLower();
    if (isModifierKey(key) || combo.key.isEmpty())
        return Error(QStringLiteral("That key cannot be used in a shortcut."));

    const quint64 commanding = KeyCombo::Command | KeyCombo::Option | KeyCombo::Control;
    if (!(combo.modifiers & commanding) && !isFunctionKey(key))
        return Error(QStringLiteral("A shortcut needs Ctrl, Alt or Meta, unless it is a function key."));
    return combo;
}

Status recordShortcut(AppSettings &settings, KeyboardShortcutAction action, const KeyCombo &combo)
{
    if (const auto other = settings.conflictingAction(combo, action))
        return usedBy(combo, displayName(*other));
    for (const FixedKey &fixed : fixedKeys())
        if (fixed.combo == combo)
            return usedBy(combo, QString::fromUtf8(fixed.name));

    // The menus bind what resolveShortcutBindings gives; the choice must survive it and must not
    // take the key of an action that has one now.
    const QHash<QString, KeyCombo> current = settings.customShortcuts();
    QHash<QString, KeyCombo> proposed = current;
    proposed.insert(rawName(action), combo);
    const QList<ShortcutBinding> before = resolveShortcutBindings(current);
    const QList<ShortcutBinding> after = resolveShortcutBindings(proposed);
    for (int i = 0; i < after.size(); ++i) {
        if (after[i].combo)
            continue;
        if (after[i].action == action)
            return Error(after[i].note);
        if (before[i].combo)
            return usedBy(combo, displayName(after[i].action));
    }
    return settings.setShortcut(combo, action);
}

} // namespace corvane
