#pragma once

#include <QByteArray>
#include <QHashFunctions>
#include <QString>

#include <optional>

namespace corvane {

// One keyboard combination: a key and a set of modifier flags. The flag values are the ones
// saved in the preferences, so they never change; on Linux Command is Ctrl, Option is Alt and
// Control is the Meta (Super) key.
struct KeyCombo
{
    enum Modifier : quint64 {
        Shift = 0x20000,
        Control = 0x40000,
        Option = 0x80000,
        Command = 0x100000,
    };

    // One lower-case character, or the text a special key produces ("\r", "\t", "\x1b", ...).
    QString key;
    quint64 modifiers = 0;

    // How the combination is shown to the user, e.g. "Ctrl+Shift+T".
    QString displayString() const;

    // One JSON object: {"key": ..., "modifierRawValue": ...}.
    QByteArray toJson() const;
    // Nothing when the bytes are not such an object.
    static std::optional<KeyCombo> fromJson(const QByteArray &json);

    friend bool operator==(const KeyCombo &, const KeyCombo &) = default;
};

inline size_t qHash(const KeyCombo &combo, size_t seed = 0)
{
    return qHashMulti(seed, combo.key, combo.modifiers);
}

} // namespace corvane
