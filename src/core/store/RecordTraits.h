#pragma once

#include "core/store/ColumnCodec.h"

#include <QByteArrayList>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <cstring>
#include <memory>
#include <optional>
#include <type_traits>
#include <tuple>

namespace corvane::store {

// One stored field: the column name and the member it maps to.
template <typename R, typename T>
struct Column
{
    const char *name;
    T R::*member;
    using Type = T;
};

template <typename R, typename T>
constexpr Column<R, T> column(const char *name, T R::*member)
{
    return {name, member};
}

// Each record type specialises RecordTraits with
//   static constexpr const char *entity;   // table name, the record type's name
//   static const auto &columns();          // a tuple of Column, "id" first
template <typename R>
struct RecordTraits;

using ColumnMask = quint64; // bit i = column i; records have at most 64 columns

// What the store needs to know of an entity without its C++ type.
struct EntityInfo
{
    QString name;
    QStringList columns;
    QHash<QString, int> columnIndex;
    // SQL made once per type: the quoted column list, and the insert and delete statements.
    QByteArray selectList;
    QByteArray insertSql;
    QByteArray deleteSql;

    bool hasColumn(const QString &column) const { return columnIndex.contains(column); }
};

// Type-erased operations on a record, made once per type from its traits.
struct RecordOps
{
    const EntityInfo *entity = nullptr;
    QUuid (*idOf)(const void *record) = nullptr;
    std::shared_ptr<void> (*clone)(const void *record) = nullptr;
    ColumnMask (*diff)(const void *current, const void *snapshot) = nullptr;
    // Binds the columns in `mask`, in column order, from parameter `first` on; returns the next
    // parameter index, or -1 when SQLite refused a value.
    int (*bind)(sqlite3_stmt *stmt, const void *record, ColumnMask mask, int first) = nullptr;
    std::shared_ptr<void> (*read)(sqlite3_stmt *stmt) = nullptr;
    void (*assign)(void *target, const void *source) = nullptr;
};

namespace detail {

// Every save compares each held record with its snapshot, so the common case, an unchanged
// value that still shares its data with the snapshot, must be cheap. Dates compare through time
// zones otherwise, strings by content.
template <typename T>
bool sameValue(const T &a, const T &b)
{
    if constexpr (std::is_same_v<T, QDateTime> || std::is_same_v<T, std::optional<QDateTime>>) {
        if (std::memcmp(static_cast<const void *>(&a), static_cast<const void *>(&b), sizeof(T)) == 0)
            return true;
    } else if constexpr (std::is_same_v<T, QString>) {
        if (a.size() == b.size() && a.constData() == b.constData())
            return true;
    }
    return a == b;
}

template <typename Tuple, typename Fn, std::size_t... I>
void forEachColumn(const Tuple &tuple, Fn &&fn, std::index_sequence<I...>)
{
    (fn(std::get<I>(tuple), I), ...);
}

template <typename R, typename Fn>
void forEachColumn(Fn &&fn)
{
    const auto &columns = RecordTraits<R>::columns();
    constexpr auto count = std::tuple_size_v<std::decay_t<decltype(columns)>>;
    static_assert(count <= 64, "a record has at most 64 columns");
    forEachColumn(columns, std::forward<Fn>(fn), std::make_index_sequence<count>{});
}

} // namespace detail

template <typename R>
const EntityInfo &entityInfo()
{
    static const EntityInfo info = [] {
        EntityInfo e;
        e.name = QString::fromLatin1(RecordTraits<R>::entity);
        detail::forEachColumn<R>([&](const auto &column, std::size_t index) {
            e.columns.append(QString::fromLatin1(column.name));
            e.columnIndex.insert(e.columns.last(), int(index));
        });
        QByteArrayList quotedColumns, marks;
        for (const QString &c : std::as_const(e.columns)) {
            quotedColumns.append('"' + c.toUtf8() + '"');
            marks.append("?");
        }
        const QByteArray table = '"' + e.name.toUtf8() + '"';
        e.selectList = quotedColumns.join(',');
        // A type whose rows are unique beyond their id (RecordTraits::ignoresDuplicates) drops an
        // insert that repeats a stored row: another context may have saved the same one first, and
        // refusing the whole save would keep it failing at every later save too.
        const QByteArray verb = [] {
            if constexpr (requires { RecordTraits<R>::ignoresDuplicates; })
                return QByteArray("INSERT OR IGNORE INTO ");
            else
                return QByteArray("INSERT INTO ");
        }();
        e.insertSql = verb + table + " (" + e.selectList + ") VALUES (" + marks.join(',') + ")";
        e.deleteSql = "DELETE FROM " + table + " WHERE \"id\" = ?";
        return e;
    }();
    return info;
}

template <typename R>
const RecordOps &recordOps()
{
    static const RecordOps ops = [] {
        RecordOps o;
        o.entity = &entityInfo<R>();
        o.idOf = [](const void *r) { return static_cast<const R *>(r)->id; };
        o.clone = [](const void *r) -> std::shared_ptr<void> {
            return std::make_shared<R>(*static_cast<const R *>(r));
        };
        o.diff = [](const void *a, const void *b) {
            const R &current = *static_cast<const R *>(a);
            const R &snapshot = *static_cast<const R *>(b);
            ColumnMask mask = 0;
            detail::forEachColumn<R>([&](const auto &column, std::size_t index) {
                if (!detail::sameValue(current.*column.member, snapshot.*column.member))
                    mask |= ColumnMask(1) << index;
            });
            return mask;
        };
        o.bind = [](sqlite3_stmt *stmt, const void *r, ColumnMask mask, int first) {
            const R &record = *static_cast<const R *>(r);
            int param = first;
            detail::forEachColumn<R>([&](const auto &column, std::size_t index) {
                if (param < 0 || !(mask & (ColumnMask(1) << index)))
                    return;
                using T = typename std::decay_t<decltype(column)>::Type;
                if (ColumnCodec<T>::bind(stmt, param, record.*column.member) != SQLITE_OK)
                    param = -1;
                else
                    ++param;
            });
            return param;
        };
        o.read = [](sqlite3_stmt *stmt) -> std::shared_ptr<void> {
            auto record = std::make_shared<R>();
            detail::forEachColumn<R>([&](const auto &column, std::size_t index) {
                using T = typename std::decay_t<decltype(column)>::Type;
                (*record).*column.member = ColumnCodec<T>::read(stmt, int(index));
            });
            return record;
        };
        o.assign = [](void *target, const void *source) {
            *static_cast<R *>(target) = *static_cast<const R *>(source);
        };
        return o;
    }();
    return ops;
}

inline ColumnMask allColumns(const EntityInfo &entity)
{
    const int n = int(entity.columns.size());
    return n >= 64 ? ~ColumnMask(0) : (ColumnMask(1) << n) - 1;
}

} // namespace corvane::store
