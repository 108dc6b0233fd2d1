#include "core/process/LineFramer.h"

namespace corvane {

namespace {

QByteArray withoutCarriageReturn(QByteArray line)
{
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

} // namespace

LineFramer::LineFramer(qsizetype maxLineLength)
    : m_maxLineLength(maxLineLength)
{
}

QList<QByteArray> LineFramer::feed(QByteArrayView chunk)
{
    QList<QByteArray> lines;
    qsizetype from = 0;
    // Only the new chunk is searched for newlines, never the kept partial line again: a 1 MB line
    // arriving in 64 KB reads costs one pass, not sixteen.
    for (;;) {
        const qsizetype newline = chunk.indexOf('\n', from);
        if (newline < 0)
            break;
        finishLine(chunk.sliced(from, newline - from), lines);
        from = newline + 1;
    }
    keepPartial(chunk.sliced(from));
    return lines;
}

void LineFramer::finishLine(QByteArrayView rest, QList<QByteArray> &lines)
{
    if (m_discarded >= 0) {
        m_dropped.append(m_discarded + rest.size());
        m_discarded = -1;
        return;
    }
    if (m_partial.size() + rest.size() > m_maxLineLength) {
        m_dropped.append(m_partial.size() + rest.size());
        m_partial = QByteArray();
        return;
    }
    m_partial.append(rest);
    lines.append(withoutCarriageReturn(std::exchange(m_partial, QByteArray())));
}

void LineFramer::keepPartial(QByteArrayView rest)
{
    if (m_discarded >= 0) {
        m_discarded += rest.size();
    } else if (m_partial.size() + rest.size() > m_maxLineLength) {
        m_discarded = m_partial.size() + rest.size();
        m_partial = QByteArray(); // give the memory back now, not at the next newline
    } else {
        m_partial.append(rest);
    }
}

std::optional<QByteArray> LineFramer::flush()
{
    if (m_discarded >= 0) {
        m_dropped.append(m_discarded);
        m_discarded = -1;
        return std::nullopt;
    }
    if (m_partial.isEmpty())
        return std::nullopt;
    return withoutCarriageReturn(std::exchange(m_partial, QByteArray()));
}

QList<qsizetype> LineFramer::takeDroppedLineSizes()
{
    return std::exchange(m_dropped, {});
}

} // namespace corvane
