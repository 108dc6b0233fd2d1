#include "agent/claude/CodePoints.h"

namespace corvane::codepoints {

namespace {

// The UTF-16 index where code point `n` starts (the size when the text is shorter).
qsizetype offsetOf(QStringView text, qsizetype n)
{
    qsizetype i = 0;
    const qsizetype size = text.size();
    for (qsizetype seen = 0; seen < n && i < size; ++seen)
        i += (text[i].isHighSurrogate() && i + 1 < size && text[i + 1].isLowSurrogate()) ? 2 : 1;
    return i;
}

} // namespace

qsizetype count(QStringView text)
{
    qsizetype n = 0;
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++n)
        i += (text[i].isHighSurrogate() && i + 1 < size && text[i + 1].isLowSurrogate()) ? 2 : 1;
    return n;
}

QString left(const QString &text, qsizetype n)
{
    return n <= 0 ? QString() : text.left(offsetOf(text, n));
}

QString mid(const QString &text, qsizetype n)
{
    return n <= 0 ? text : text.mid(offsetOf(text, n));
}

} // namespace corvane::codepoints
