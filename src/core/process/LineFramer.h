#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <optional>

namespace corvane {

// Cuts a byte stream into lines at '\n' bytes. Nothing is decoded here: a UTF-8 character split
// between two pipe reads is joined again byte for byte when its rest arrives, and only whole lines
// ever reach a decoder. A trailing '\r' is removed so "\r\n" output frames the same way. Empty
// lines are delivered as they are; readers of JSON skip them.
//
// A line longer than the limit is not kept: its bytes are discarded as they come (memory stays
// bounded even for an endless line) and framing starts again after its newline. Each dropped line
// is remembered by size so the owner can log it.
class LineFramer
{
public:
    explicit LineFramer(qsizetype maxLineLength);

    // Takes effect for the line in progress too.
    void setMaxLineLength(qsizetype bytes) { m_maxLineLength = bytes; }
    qsizetype maxLineLength() const { return m_maxLineLength; }

    // The lines completed by `chunk`, in order.
    QList<QByteArray> feed(QByteArrayView chunk);
    // At end of stream: the unterminated last line, if there is one.
    std::optional<QByteArray> flush();

    // Sizes (without the newline) of the lines dropped since the last call.
    QList<qsizetype> takeDroppedLineSizes();

private:
    void finishLine(QByteArrayView rest, QList<QByteArray> &lines);
    void keepPartial(QByteArrayView rest);

    qsizetype m_maxLineLength;
    QByteArray m_partial;
    // Bytes of an over-long line discarded so far; -1 while no line is being discarded.
    qsizetype m_discarded = -1;
    QList<qsizetype> m_dropped;
};

} // namespace corvane
