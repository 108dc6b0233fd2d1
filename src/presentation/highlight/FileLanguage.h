#pragma once

#include <QString>

#include <optional>

namespace corvane {

// The highlight.js language of a file, by its lower-cased extension (a name without a dot, such
// as "Dockerfile", counts as its own extension); none when the table has no match.
std::optional<QString> languageForFile(const QString &fileName);

// Code editors and the diff view highlight text up to this many UTF-8 bytes.
inline constexpr qsizetype largestHighlightedText = 200000;

} // namespace corvane
