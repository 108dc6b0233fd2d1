#pragma once

#include <QString>
#include <QStringView>

#include <optional>
#include <string>

namespace corvane::search {

// Text as Unicode code points. Quick search counts every position and length in code points, so
// that an emoji or any other character outside the Basic Multilingual Plane is one character and
// is never cut in half.
using CodePoints = std::u32string;

// The lower-casing of quick search, the same everywhere: each code point by its simple lower-case
// mapping, one code point for one, so positions in the lower-cased text are positions in the
// text. (Full mappings such as "İ" to "i̇" would change lengths and misplace matches.)
char32_t fold(char32_t c);
CodePoints foldedCodePoints(QStringView text);
// Appends the lower-cased code points of UTF-8 text to `out` (cleared first); invalid bytes read
// as U+FFFD, as QString::fromUtf8 reads them.
void foldUtf8(const char *data, int size, CodePoints &out);

// Where `query` (already lower-cased) first occurs in lower-cased `folded`, or -1.
qsizetype find(const CodePoints &folded, const CodePoints &query);

struct MatchRange
{
    int start = 0;
    int length = 0;
    friend bool operator==(const MatchRange &, const MatchRange &) = default;
};

struct Snippet
{
    QString text;
    std::optional<MatchRange> match; // in code points of `text`
};

// The part of `text` around the first occurrence of `query` (both lower-cased for the search),
// at most `maxLength` characters plus "..." where text was left out at either end; line ends read
// as spaces. Without an occurrence: the first `maxLength` characters and no match.
Snippet snippet(QStringView text, QStringView query, int maxLength);

inline constexpr int snippetLength = 120;

} // namespace corvane::search
