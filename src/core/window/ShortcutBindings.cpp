#include "core/window/ShortcutBindings.h"

#include "core/settings/AppSettings.h"

namespace corvane {

namespace {

constexpr quint64 Cmd = KeyCombo::Command;
constexpr quint64 Shift = KeyCombo::Shift;
constexpr quint64 Opt = KeyCombo::Option;

} // namespace

KeyCombo desktopDefaultCombo(KeyboardShortcutAction action)
{
    using A = KeyboardShortcutAction;
    switch (action) {
    case A::closeWindow:
        return {QStringLiteral("w"), Cmd | Opt};
    case A::deny:
        return {QStringLiteral("d"), Cmd | Shift};
    case A::toggleSidebar:
        return {QStringLiteral("s"), Cmd | Shift};
    case A::quickOpen:
        return {QStringLiteral("k"), Cmd | Shift};
    case A::focusChatInput:
        return {QStringLiteral("l"), Cmd | Shift};
    case A::toggleTerminal:
        // Where other Linux editors toggle their terminal; the stored default is taken by
        // "New Chat in Workspace".
        return {QStringLiteral("`"), Cmd};
    case A::toggleFullScreen:
        // The window manager usually owns Super combinations; F11 is this desktop's full screen.
        return {QStringLiteral("F11"), 0};
    default:
        return defaultCombo(action);
    }
}

bool isKeptForTerminal(const KeyCombo &combo)
{
    // Interrupt, end of input, suspend, quit; clear and history search; the line editor's
    // start, end, kill and delete-word; stop output.
    static const QString letters = QStringLiteral("cdzlraekuws\\");
    return combo.modifiers == Cmd && combo.key.size() == 1 && letters.contains(combo.key.toLower());
}

KeyCombo quitCombo()
{
    return {QStringLiteral("q"), Cmd};
}

QList<ShortcutBinding> resolveShortcutBindings(const QHash<QString, KeyCombo> &custom)
{
    QList<ShortcutBinding> bindings;
    QHash<KeyCombo, QString> taken{{quitCombo(), QStringLiteral("Quit")}};
    for (KeyboardShortcutAction action : allKeyboardShortcutActions()) {
        const auto chosen = custom.constFind(rawName(action));
        KeyCombo combo = chosen != custom.constEnd() ? *chosen : desktopDefaultCombo(action);
        if (combo.key.size() == 1)
            combo.key = combo.key.toLower();
        ShortcutBinding binding{action, std::nullopt, {}};
        if (isKeptForTerminal(combo)) {
            binding.note = combo.displayString() + QStringLiteral(" is kept for the terminal");
        } else if (const auto other = taken.constFind(combo); other != taken.constEnd()) {
            binding.note = combo.displayString() + QStringLiteral(" is already used by \"")
                + *other + QLatin1Char('"');
        } else {
            binding.combo = combo;
            taken.insert(combo, displayName(action));
        }
        bindings.append(binding);
    }
    return bindings;
}

QList<ShortcutBinding> resolveShortcutBindings(const AppSettings &settings)
{
    return resolveShortcutBindings(settings.customShortcuts());
}

} // namespace corvane
