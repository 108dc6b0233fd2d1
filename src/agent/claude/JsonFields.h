#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane::jsonfields {

// Lenient reads of one field of a JSON object: a field of the wrong JSON type counts as missing,
// so a line from a newer or damaged tool degrades to defaults instead of failing.

std::optional<QString> optionalString(const QJsonObject &object, const char *key);
QString stringOr(const QJsonObject &object, const char *key, const QString &fallback = {});
std::optional<QJsonObject> optionalObject(const QJsonObject &object, const char *key);
QJsonObject objectOr(const QJsonObject &object, const char *key);
std::optional<QJsonArray> optionalArray(const QJsonObject &object, const char *key);
QJsonArray arrayOr(const QJsonObject &object, const char *key);
double numberOr(const QJsonObject &object, const char *key, double fallback = 0);
// A whole number within range; a fraction or a number too large counts as missing.
std::optional<qint64> optionalInteger(const QJsonObject &object, const char *key);
bool boolOr(const QJsonObject &object, const char *key, bool fallback = false);

// The text entries of an array, other entries left out.
QStringList strings(const QJsonArray &array);
// The object entries of an array as maps, other entries left out.
QList<QVariantMap> maps(const QJsonArray &array);

} // namespace corvane::jsonfields
