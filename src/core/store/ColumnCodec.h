#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QVariant>

#include <sqlite3.h>

#include <optional>
#include <type_traits>

namespace corvane::store {

// How each field type is kept in an SQLite column. Dates are milliseconds since the epoch (UTC),
// UUIDs their text without braces, booleans 0/1, lists and maps JSON text. An optional field is
// NULL when absent. Enumerations declare an EnumCodec and are stored as their raw text.
template <typename T, typename = void>
struct ColumnCodec;

// Enumerations opt in by specialising EnumCodec with toRaw/fromRaw (fromRaw maps an unknown raw
// value to the default, so rows written by a later version still load).
template <typename E>
struct EnumCodec;

template <typename E, typename = void>
struct HasEnumCodec : std::false_type {};
template <typename E>
struct HasEnumCodec<E, std::void_t<decltype(EnumCodec<E>::toRaw(std::declval<E>()))>> : std::true_type {};

inline QString textAt(sqlite3_stmt *stmt, int index)
{
    const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(stmt, index));
    return QString::fromUtf8(data, sqlite3_column_bytes(stmt, index));
}

inline int bindText(sqlite3_stmt *stmt, int index, const QString &value)
{
    const QByteArray utf8 = value.toUtf8();
    return sqlite3_bind_text(stmt, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
}

template <>
struct ColumnCodec<QString>
{
    static int bind(sqlite3_stmt *s, int i, const QString &v) { return bindText(s, i, v); }
    static QString read(sqlite3_stmt *s, int i) { return textAt(s, i); }
    static QVariant toVariant(const QString &v) { return v; }
};

template <>
struct ColumnCodec<QUuid>
{
    static QString text(const QUuid &v) { return v.toString(QUuid::WithoutBraces); }
    static int bind(sqlite3_stmt *s, int i, const QUuid &v) { return bindText(s, i, text(v)); }
    static QUuid read(sqlite3_stmt *s, int i) { return QUuid::fromString(textAt(s, i)); }
    static QVariant toVariant(const QUuid &v) { return text(v); }
};

template <>
struct ColumnCodec<QDateTime>
{
    static int bind(sqlite3_stmt *s, int i, const QDateTime &v) { return sqlite3_bind_int64(s, i, v.toMSecsSinceEpoch()); }
    static QDateTime read(sqlite3_stmt *s, int i)
    {
        return QDateTime::fromMSecsSinceEpoch(sqlite3_column_int64(s, i), Qt::UTC).toLocalTime();
    }
    static QVariant toVariant(const QDateTime &v) { return v.toMSecsSinceEpoch(); }
};

template <>
struct ColumnCodec<bool>
{
    static int bind(sqlite3_stmt *s, int i, bool v) { return sqlite3_bind_int(s, i, v ? 1 : 0); }
    static bool read(sqlite3_stmt *s, int i) { return sqlite3_column_int64(s, i) != 0; }
    static QVariant toVariant(bool v) { return qint64(v ? 1 : 0); }
};

template <>
struct ColumnCodec<qint64>
{
    static int bind(sqlite3_stmt *s, int i, qint64 v) { return sqlite3_bind_int64(s, i, v); }
    static qint64 read(sqlite3_stmt *s, int i) { return sqlite3_column_int64(s, i); }
    static QVariant toVariant(qint64 v) { return v; }
};

template <>
struct ColumnCodec<int>
{
    static int bind(sqlite3_stmt *s, int i, int v) { return sqlite3_bind_int64(s, i, v); }
    static int read(sqlite3_stmt *s, int i) { return int(sqlite3_column_int64(s, i)); }
    static QVariant toVariant(int v) { return qint64(v); }
};

template <>
struct ColumnCodec<double>
{
    static int bind(sqlite3_stmt *s, int i, double v) { return sqlite3_bind_double(s, i, v); }
    static double read(sqlite3_stmt *s, int i) { return sqlite3_column_double(s, i); }
    static QVariant toVariant(double v) { return v; }
};

template <>
struct ColumnCodec<QByteArray>
{
    static int bind(sqlite3_stmt *s, int i, const QByteArray &v)
    {
        return sqlite3_bind_blob(s, i, v.constData(), int(v.size()), SQLITE_TRANSIENT);
    }
    static QByteArray read(sqlite3_stmt *s, int i)
    {
        return QByteArray(static_cast<const char *>(sqlite3_column_blob(s, i)), sqlite3_column_bytes(s, i));
    }
    static QVariant toVariant(const QByteArray &v) { return v; }
};

template <>
struct ColumnCodec<QStringList>
{
    static QString text(const QStringList &v)
    {
        return QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(v)).toJson(QJsonDocument::Compact));
    }
    static int bind(sqlite3_stmt *s, int i, const QStringList &v) { return bindText(s, i, text(v)); }
    static QStringList read(sqlite3_stmt *s, int i)
    {
        QStringList out;
        const QJsonArray array = QJsonDocument::fromJson(textAt(s, i).toUtf8()).array();
        for (const QJsonValue &value : array)
            out.append(value.toString());
        return out;
    }
    static QVariant toVariant(const QStringList &v) { return text(v); }
};

using StringMap = QMap<QString, QString>;

template <>
struct ColumnCodec<StringMap>
{
    static QString text(const StringMap &v)
    {
        QJsonObject object;
        for (auto it = v.cbegin(); it != v.cend(); ++it)
            object.insert(it.key(), it.value());
        return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    }
    static int bind(sqlite3_stmt *s, int i, const StringMap &v) { return bindText(s, i, text(v)); }
    static StringMap read(sqlite3_stmt *s, int i)
    {
        StringMap out;
        const QJsonObject object = QJsonDocument::fromJson(textAt(s, i).toUtf8()).object();
        for (auto it = object.begin(); it != object.end(); ++it)
            out.insert(it.key(), it.value().toString());
        return out;
    }
    static QVariant toVariant(const StringMap &v) { return text(v); }
};

template <typename E>
struct ColumnCodec<E, std::enable_if_t<HasEnumCodec<E>::value>>
{
    static int bind(sqlite3_stmt *s, int i, E v) { return bindText(s, i, EnumCodec<E>::toRaw(v)); }
    static E read(sqlite3_stmt *s, int i) { return EnumCodec<E>::fromRaw(textAt(s, i)); }
    static QVariant toVariant(E v) { return EnumCodec<E>::toRaw(v); }
};

template <typename T>
struct ColumnCodec<std::optional<T>>
{
    static int bind(sqlite3_stmt *s, int i, const std::optional<T> &v)
    {
        return v ? ColumnCodec<T>::bind(s, i, *v) : sqlite3_bind_null(s, i);
    }
    static std::optional<T> read(sqlite3_stmt *s, int i)
    {
        if (sqlite3_column_type(s, i) == SQLITE_NULL)
            return std::nullopt;
        return ColumnCodec<T>::read(s, i);
    }
    static QVariant toVariant(const std::optional<T> &v) { return v ? ColumnCodec<T>::toVariant(*v) : QVariant(); }
};

// The stored form of a value, for predicates: toStorage(QUuid) is its text, and so on.
template <typename T>
QVariant toStorage(const T &value)
{
    return ColumnCodec<std::decay_t<T>>::toVariant(value);
}
inline QVariant toStorage(const char *value) { return QString::fromUtf8(value); }
inline QVariant toStorage(std::nullptr_t) { return QVariant(); }

// Binds a stored-form QVariant (as made by toStorage) to a statement parameter.
int bindVariant(sqlite3_stmt *stmt, int index, const QVariant &value);

} // namespace corvane::store
