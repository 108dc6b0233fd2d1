#include "core/store/Query.h"

namespace corvane {

namespace {

QString quoted(const char *column)
{
    return QLatin1Char('"') + QLatin1String(column) + QLatin1Char('"');
}

} // namespace

Predicate Predicate::combine(const Predicate &a, const Predicate &b, const char *op)
{
    if (a.isEmpty())
        return b;
    if (b.isEmpty())
        return a;
    return Predicate("(" + a.m_sql + ") " + op + " (" + b.m_sql + ")", a.m_args + b.m_args, a.m_columns + b.m_columns);
}

namespace where {

Predicate compare(const char *column, const char *op, const QVariant &stored)
{
    if (stored.isNull() && QByteArray(op) == "=")
        return isNull(column);
    return Predicate(quoted(column) + " " + op + " ?", {stored}, {QLatin1String(column)});
}

Predicate isNull(const char *column)
{
    return Predicate(quoted(column) + " IS NULL", {}, {QLatin1String(column)});
}

Predicate notNull(const char *column)
{
    return Predicate(quoted(column) + " IS NOT NULL", {}, {QLatin1String(column)});
}

Predicate inStored(const char *column, const QVariantList &stored)
{
    if (stored.isEmpty())
        return Predicate(QStringLiteral("0"), {}, {QLatin1String(column)});
    QStringList marks;
    marks.reserve(stored.size());
    for (qsizetype i = 0; i < stored.size(); ++i)
        marks.append(QStringLiteral("?"));
    return Predicate(quoted(column) + " IN (" + marks.join(',') + ")", stored, {QLatin1String(column)});
}

} // namespace where

} // namespace corvane
