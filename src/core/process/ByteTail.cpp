#include "core/process/ByteTail.h"

namespace corvane {

ByteTail::ByteTail(qsizetype capacity)
    : m_capacity(qMax<qsizetype>(capacity, 0))
{
}

void ByteTail::setCapacity(qsizetype capacity)
{
    m_capacity = qMax<qsizetype>(capacity, 0);
    m_data = bytes();
}

void ByteTail::append(QByteArrayView bytes)
{
    if (bytes.size() >= m_capacity) {
        m_data = bytes.last(m_capacity).toByteArray();
        return;
    }
    m_data.append(bytes);
    // Trim only when twice the capacity has built up, so appending stays cheap on average.
    if (m_data.size() > 2 * m_capacity)
        m_data.remove(0, m_data.size() - m_capacity);
}

QByteArray ByteTail::bytes() const
{
    return m_data.right(m_capacity);
}

QString ByteTail::text() const
{
    const QByteArray tail = bytes();
    qsizetype start = 0;
    // A UTF-8 character is at most four bytes, so at most three orphans can lead the tail.
    while (start < tail.size() && start < 3 && (uchar(tail.at(start)) & 0xC0) == 0x80)
        ++start;
    return QString::fromUtf8(tail.constData() + start, tail.size() - start);
}

} // namespace corvane
