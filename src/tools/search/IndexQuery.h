#pragma once

#include "tools/search/SearchText.h"

#include <QSet>
#include <QString>

namespace corvane::search {

// The full-text query that picks the candidates for a lower-cased query, or an empty string when
// the index cannot help and the messages are to be scanned instead.
//
// The trigram index folds case with SQLite's own table, which is not ours in every detail ("İ"
// lower-cases to "i" here but is left alone there; scripts given case after SQLite's table was
// made are not folded at all). A candidate set must never miss a message the scan would find, so
// only runs of the query made of characters on which both foldings agree are asked for: each run
// of at least three such characters becomes one quoted FTS string (never read as FTS syntax), and
// the runs are joined with AND. With no such run the index is not used.
QString indexQuery(const CodePoints &foldedQuery);

// The lower-cased characters for which some character that lower-cases to them is folded
// differently by SQLite's trigram tokenizer; found once, by asking SQLite. Empty when this
// SQLite has no trigram tokenizer (there is no index to ask then).
const QSet<char32_t> &foldMismatches();

} // namespace corvane::search
