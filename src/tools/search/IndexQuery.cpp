#include "tools/search/IndexQuery.h"

#include <QChar>

#include <sqlite3.h>

#include <utility>
#include <vector>

namespace corvane::search {

namespace {

QSet<char32_t> askSqlite()
{
    // Every character whose lower case is another character, paired with that lower case.
    // Case pairs all lie in the first two planes.
    std::vector<std::pair<char32_t, char32_t>> pairs; // (lower, other)
    for (char32_t c = 0; c < 0x20000; ++c) {
        if (c >= 0xD800 && c < 0xE000)
            continue;
        const char32_t lower = fold(c);
        if (lower != c)
            pairs.emplace_back(lower, c);
    }
    QSet<char32_t> mismatches;
    sqlite3 *db = nullptr;
    if (sqlite3_open(":memory:", &db) != SQLITE_OK
        || sqlite3_exec(db, "CREATE VIRTUAL TABLE f USING fts5(x, tokenize='trigram')", nullptr, nullptr, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        return mismatches;
    }
    // One row per pair holds the other character three times (one trigram); the lower case three
    // times must find it if SQLite folds the two alike.
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *insert = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO f(rowid, x) VALUES (?, ?)", -1, &insert, nullptr);
    auto thrice = [](char32_t c) {
        const char32_t text[3] = {c, c, c};
        return QString::fromUcs4(text, 3).toUtf8();
    };
    for (size_t i = 0; i < pairs.size(); ++i) {
        const QByteArray text = thrice(pairs[i].second);
        sqlite3_bind_int64(insert, 1, sqlite3_int64(i + 1));
        sqlite3_bind_text(insert, 2, text.constData(), int(text.size()), SQLITE_TRANSIENT);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_stmt *probe = nullptr;
    sqlite3_prepare_v2(db, "SELECT count(*) FROM f WHERE f MATCH ? AND rowid = ?", -1, &probe, nullptr);
    for (size_t i = 0; i < pairs.size(); ++i) {
        const QByteArray phrase = '"' + thrice(pairs[i].first) + '"';
        sqlite3_bind_text(probe, 1, phrase.constData(), int(phrase.size()), SQLITE_TRANSIENT);
        sqlite3_bind_int64(probe, 2, sqlite3_int64(i + 1));
        if (sqlite3_step(probe) != SQLITE_ROW || sqlite3_column_int64(probe, 0) == 0)
            mismatches.insert(pairs[i].first);
        sqlite3_reset(probe);
    }
    sqlite3_finalize(probe);
    sqlite3_close(db);
    return mismatches;
}

QString quoted(const CodePoints &run)
{
    QString text = QString::fromUcs4(run.data(), qsizetype(run.size()));
    text.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

const QSet<char32_t> &foldMismatches()
{
    static const QSet<char32_t> mismatches = askSqlite();
    return mismatches;
}

QString indexQuery(const CodePoints &foldedQuery)
{
    const QSet<char32_t> &unsafe = foldMismatches();
    QStringList phrases;
    CodePoints run;
    auto close = [&] {
        if (run.size() >= 3)
            phrases.append(quoted(run));
        run.clear();
    };
    for (char32_t c : foldedQuery) {
        // NUL ends a string for the tokenizer: never part of a phrase.
        if (c == 0 || unsafe.contains(c))
            close();
        else
            run.push_back(c);
    }
    close();
    return phrases.join(QStringLiteral(" AND "));
}

} // namespace corvane::search
