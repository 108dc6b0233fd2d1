#include "core/settings/KeyCombo.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace corvane {

namespace {

QString keyText(const QString &key)
{
    if (key == QLatin1String("\r") || key == QLatin1String("\n"))
        return QStringLiteral("Return");
    if (key == QLatin1String("\t"))
        return QStringLiteral("Tab");
    if (key == QLatin1String(" "))
        return QStringLiteral("Space");
    if (key == QLatin1String("\x1b"))
        return QStringLiteral("Esc");
    if (key == QLatin1String("\x7f") || key == QLatin1String("\b"))
        return QStringLiteral("Backspace");
    static const QString punctuation = QStringLiteral(",./?-=[]");
    if (key.size() == 1 && punctuation.contains(key))
        return key;
    return key.toUpper();
}

} // namespace

QString KeyCombo::displayString() const
{
    // The order people read on Linux: Ctrl, Alt, Shift, then Meta.
    QString text;
    if (modifiers & Command)
        text += QStringLiteral("Ctrl+");
    if (modifiers & Option)
        text += QStringLiteral("Alt+");
    if (modifiers & Shift)
        text += QStringLiteral("Shift+");
    if (modifiers & Control)
        text += QStringLiteral("Meta+");
    return text + keyText(key);
}

QByteArray KeyCombo::toJson() const
{
    const QJsonObject object{{QStringLiteral("key"), key},
                             {QStringLiteral("modifierRawValue"), qint64(modifiers)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<KeyCombo> KeyCombo::fromJson(const QByteArray &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const QJsonValue key = object.value(QStringLiteral("key"));
    const QJsonValue raw = object.value(QStringLiteral("modifierRawValue"));
    if (!key.isString() || key.toString().isEmpty() || !raw.isDouble())
        return std::nullopt;
    const double number = raw.toDouble();
    // Flags are whole and far below 2^53, where a JSON number stops being exact.
    if (number < 0 || number > 9007199254740992.0 || std::trunc(number) != number)
        return std::nullopt;
    return KeyCombo{key.toString(), quint64(number)};
}

} // namespace corvane
