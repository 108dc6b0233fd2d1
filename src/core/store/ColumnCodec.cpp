#include "core/store/ColumnCodec.h"

namespace corvane::store {

int bindVariant(sqlite3_stmt *stmt, int index, const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return sqlite3_bind_null(stmt, index);
    switch (value.typeId()) {
    case QMetaType::Bool:
        return sqlite3_bind_int(stmt, index, value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return sqlite3_bind_int64(stmt, index, value.toLongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return sqlite3_bind_double(stmt, index, value.toDouble());
    case QMetaType::QByteArray:
        return ColumnCodec<QByteArray>::bind(stmt, index, value.toByteArray());
    case QMetaType::QUuid:
        return ColumnCodec<QUuid>::bind(stmt, index, value.toUuid());
    case QMetaType::QDateTime:
        return ColumnCodec<QDateTime>::bind(stmt, index, value.toDateTime());
    default:
        return bindText(stmt, index, value.toString());
    }
}

} // namespace corvane::store
