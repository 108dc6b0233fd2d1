#pragma once

#include <QHash>
#include <QMutex>
#include <QMutexLocker>

#include <deque>
#include <optional>

namespace corvane {

// A process-wide memo with a fixed number of entries. The oldest insertion goes first, whether
// or not it was read since: lookups stay a plain hash probe with no bookkeeping to write.
// The lock is held only for a lookup or an insertion, never while a value is computed, so two
// threads may compute the same value; the second insertion just replaces the first.
template <typename Key, typename Value>
class BoundedCache
{
public:
    explicit BoundedCache(qsizetype capacity) : m_capacity(capacity) {}

    std::optional<Value> find(const Key &key) const
    {
        QMutexLocker lock(&m_mutex);
        const auto it = m_entries.constFind(key);
        if (it == m_entries.cend())
            return std::nullopt;
        return *it;
    }

    void insert(const Key &key, Value value)
    {
        QMutexLocker lock(&m_mutex);
        if (!m_entries.contains(key))
            m_order.push_back(key);
        m_entries.insert(key, std::move(value));
        while (qsizetype(m_order.size()) > m_capacity) {
            m_entries.remove(m_order.front());
            m_order.pop_front();
        }
    }

    void clear()
    {
        QMutexLocker lock(&m_mutex);
        m_entries.clear();
        m_order.clear();
    }

    qsizetype size() const
    {
        QMutexLocker lock(&m_mutex);
        return m_entries.size();
    }

private:
    mutable QMutex m_mutex;
    QHash<Key, Value> m_entries;
    std::deque<Key> m_order;
    qsizetype m_capacity;
};

} // namespace corvane
