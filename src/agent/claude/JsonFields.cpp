#include "agent/claude/JsonFields.h"

#include <cmath>

namespace corvane::jsonfields {

namespace {

QJsonValue field(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key));
}

} // namespace

std::optional<QString> optionalString(const QJsonObject &object, const char *key)
{
    const QJsonValue v = field(object, key);
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}

QString stringOr(const QJsonObject &object, const char *key, const QString &fallback)
{
    return optionalString(object, key).value_or(fallback);
}

std::optional<QJsonObject> optionalObject(const QJsonObject &object, const char *key)
{
    const QJsonValue v = field(object, key);
    return v.isObject() ? std::optional<QJsonObject>(v.toObject()) : std::nullopt;
}

QJsonObject objectOr(const QJsonObject &object, const char *key)
{
    return optionalObject(object, key).value_or(QJsonObject());
}

std::optional<QJsonArray> optionalArray(const QJsonObject &object, const char *key)
{
    const QJsonValue v = field(object, key);
    return v.isArray() ? std::optional<QJsonArray>(v.toArray()) : std::nullopt;
}

QJsonArray arrayOr(const QJsonObject &object, const char *key)
{
    return optionalArray(object, key).value_or(QJsonArray());
}

double numberOr(const QJsonObject &object, const char *key, double fallback)
{
    const QJsonValue v = field(object, key);
    return v.isDouble() ? v.toDouble() : fallback;
}

std::optional<qint64> optionalInteger(const QJsonObject &object, const char *key)
{
    const QJsonValue v = field(object, key);
    if (!v.isDouble())
        return std::nullopt;
    const double d = v.toDouble();
    // 2^53: beyond it a double no longer holds every whole number.
    constexpr double limit = 9007199254740992.0;
    if (!std::isfinite(d) || d != std::floor(d) || std::fabs(d) > limit)
        return std::nullopt;
    return qint64(d);
}

bool boolOr(const QJsonObject &object, const char *key, bool fallback)
{
    const QJsonValue v = field(object, key);
    return v.isBool() ? v.toBool() : fallback;
}

QStringList strings(const QJsonArray &array)
{
    QStringList out;
    for (const QJsonValue &v : array)
        if (v.isString())
            out.append(v.toString());
    return out;
}

QList<QVariantMap> maps(const QJsonArray &array)
{
    QList<QVariantMap> out;
    for (const QJsonValue &v : array)
        if (v.isObject())
            out.append(v.toObject().toVariantMap());
    return out;
}

} // namespace corvane::jsonfields
