#include "tools/search/SearchText.h"

#include <QChar>
#include <QList>

#include <algorithm>

namespace corvane::search {

char32_t fold(char32_t c)
{
    if (c < 0x80)
        return c >= 'A' && c <= 'Z' ? c + 32 : c;
    return QChar::toLower(c);
}

CodePoints foldedCodePoints(QStringView text)
{
    CodePoints out;
    out.reserve(size_t(text.size()));
    for (char32_t c : text.toUcs4())
        out.push_back(fold(c));
    return out;
}

void foldUtf8(const char *data, int size, CodePoints &out)
{
    out.clear();
    const auto *bytes = reinterpret_cast<const unsigned char *>(data);
    int i = 0;
    while (i < size) {
        const unsigned char b = bytes[i];
        if (b < 0x80) {
            out.push_back(b >= 'A' && b <= 'Z' ? char32_t(b + 32) : char32_t(b));
            ++i;
            continue;
        }
        // Everything else goes through Qt's decoder, so that a malformed sequence reads exactly
        // as it does in the snippet, which is made from a QString. Runs of non-ASCII are short.
        int end = i + 1;
        while (end < size && bytes[end] >= 0x80)
            ++end;
        const QString chunk = QString::fromUtf8(data + i, end - i);
        for (char32_t c : chunk.toUcs4())
            out.push_back(fold(c));
        i = end;
    }
}

qsizetype find(const CodePoints &folded, const CodePoints &query)
{
    const size_t at = folded.find(query);
    return at == CodePoints::npos ? -1 : qsizetype(at);
}

namespace {

QString joined(const CodePoints &text, qsizetype from, qsizetype to)
{
    CodePoints part = text.substr(size_t(from), size_t(to - from));
    std::replace(part.begin(), part.end(), U'\n', U' ');
    return QString::fromUcs4(part.data(), qsizetype(part.size()));
}

} // namespace

Snippet snippet(QStringView text, QStringView query, int maxLength)
{
    const QList<uint> ucs4 = text.toUcs4();
    const CodePoints original(ucs4.cbegin(), ucs4.cend());
    CodePoints folded(original.size(), U'\0');
    std::transform(original.cbegin(), original.cend(), folded.begin(), [](char32_t c) { return fold(c); });
    const CodePoints needle = foldedCodePoints(query);
    const qsizetype length = qsizetype(original.size());
    const qsizetype p = find(folded, needle);
    if (p < 0)
        return {joined(original, 0, std::min<qsizetype>(length, std::max(0, maxLength))), std::nullopt};

    const qsizetype queryLength = qsizetype(needle.size());
    const qsizetype context = (maxLength - queryLength) / 2; // C++ division rounds toward zero
    const qsizetype start = std::max<qsizetype>(0, p - context);
    const qsizetype end = std::min<qsizetype>(start + maxLength, length);
    const bool leading = start > 0;
    const bool trailing = end < length;
    QString out;
    if (leading)
        out += QStringLiteral("...");
    out += joined(original, start, std::max(start, end));
    if (trailing)
        out += QStringLiteral("...");

    const qsizetype snippetLength = qsizetype(out.toUcs4().size());
    const qsizetype matchStart = p - start + (leading ? 3 : 0);
    const qsizetype matchEnd = std::min(matchStart + queryLength, snippetLength);
    const qsizetype clampedStart = std::min(matchStart, matchEnd);
    return {out, MatchRange{int(clampedStart), int(matchEnd - clampedStart)}};
}

} // namespace corvane::search
