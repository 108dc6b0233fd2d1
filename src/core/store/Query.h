#pragma once

#include "core/store/ColumnCodec.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

namespace corvane {

// A filter over one record type's columns, built from the functions in `where`. Values are
// given as the fields' own types and bound in their stored form.
class Predicate
{
public:
    Predicate() = default;
    Predicate(QString sql, QVariantList args, QStringList columns)
        : m_sql(std::move(sql)), m_args(std::move(args)), m_columns(std::move(columns)) {}

    bool isEmpty() const { return m_sql.isEmpty(); }
    const QString &sql() const { return m_sql; }
    const QVariantList &args() const { return m_args; }
    const QStringList &columns() const { return m_columns; }

    friend Predicate operator&&(const Predicate &a, const Predicate &b) { return combine(a, b, "AND"); }
    friend Predicate operator||(const Predicate &a, const Predicate &b) { return combine(a, b, "OR"); }
    friend Predicate operator!(const Predicate &p)
    {
        return p.isEmpty() ? p : Predicate("NOT (" + p.m_sql + ")", p.m_args, p.m_columns);
    }

private:
    static Predicate combine(const Predicate &a, const Predicate &b, const char *op);

    QString m_sql;
    QVariantList m_args;
    QStringList m_columns;
};

namespace where {

Predicate compare(const char *column, const char *op, const QVariant &stored);
Predicate isNull(const char *column);
Predicate notNull(const char *column);

// Equality; an absent optional compares with IS NULL.
template <typename T>
Predicate eq(const char *column, const T &value) { return compare(column, "=", store::toStorage(value)); }
template <typename T>
Predicate eq(const char *column, const std::optional<T> &value)
{
    return value ? eq(column, *value) : isNull(column);
}
// Inequality that keeps NULL rows: "status is not archived" includes a status never set.
template <typename T>
Predicate ne(const char *column, const T &value) { return compare(column, "IS NOT", store::toStorage(value)); }
template <typename T>
Predicate lt(const char *column, const T &value) { return compare(column, "<", store::toStorage(value)); }
template <typename T>
Predicate le(const char *column, const T &value) { return compare(column, "<=", store::toStorage(value)); }
template <typename T>
Predicate gt(const char *column, const T &value) { return compare(column, ">", store::toStorage(value)); }
template <typename T>
Predicate ge(const char *column, const T &value) { return compare(column, ">=", store::toStorage(value)); }

Predicate inStored(const char *column, const QVariantList &stored);
template <typename Container>
Predicate in(const char *column, const Container &values)
{
    QVariantList stored;
    for (const auto &value : values)
        stored.append(store::toStorage(value));
    return inStored(column, stored);
}

} // namespace where

struct SortKey
{
    QString column;
    bool ascending = true;
};

// What to fetch: a filter, an order (ties keep insertion order), a limit and an offset.
struct Query
{
    Predicate filter;
    QList<SortKey> sort;
    int limit = -1;
    int offset = 0;

    Query() = default;
    Query(Predicate p) : filter(std::move(p)) {}

    Query &orderBy(const QString &column, bool ascending = true)
    {
        sort.append({column, ascending});
        return *this;
    }
    Query &limitTo(int count) { limit = count; return *this; }
    Query &skip(int count) { offset = count; return *this; }
};

} // namespace corvane
