#pragma once

#include "core/Result.h"
#include "core/records/Message.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace corvane::sessionlog {

// How much of a log the list reads: enough for the first turns of a session, never the whole
// file, so listing thousands of long histories stays quick and small.
inline constexpr qint64 headerWindowBytes = 50000;

// The head of a file, at most `maxBytes`, and whether the file goes on beyond it.
struct Head
{
    QByteArray bytes;
    bool truncated = false;
};
Result<Head> readHead(const QString &path, qint64 maxBytes);
// The whole file; an unreadable file (missing, a folder, no permission) is an error.
Result<QByteArray> readAll(const QString &path);

// The complete lines of a head as valid UTF-8, or nothing when the bytes are not UTF-8. When
// the head was cut from a longer file, the unfinished last line (and with it a character cut in
// two) is dropped first: it is the window's edge, not bad input.
std::optional<QByteArray> completeText(const Head &head);
// Whether `bytes` decode as UTF-8 without a single error.
bool isStrictUtf8(QByteArrayView bytes);

// Calls `fn(QJsonObject)` for every line that parses as a JSON object; other lines are skipped.
template <typename Fn>
void forEachObject(QByteArrayView text, Fn &&fn);
std::optional<QJsonObject> objectOf(QByteArrayView line);

// A file name stem of the form 8-4-4-4-12 hexadecimal digits, without braces.
bool isStrictUuid(QStringView text);

// The "text" strings of the blocks whose "type" is one of `types`, joined with "\n".
QString joinedBlockText(const QJsonArray &blocks, std::initializer_list<QLatin1StringView> types);

// An ISO 8601 date with or without fractional seconds; nothing when it does not parse.
std::optional<QDateTime> parseTimestamp(const QJsonValue &value);

// The string at `key`, or nothing when it is absent, not a string, or empty.
std::optional<QString> nonEmptyString(const QJsonObject &object, QLatin1StringView key);

// The dates a file gives a session: modified (else now), and created as `started`, else the
// file's birth time, else modified.
struct FileDates
{
    QDateTime created;
    QDateTime modified;
};
FileDates fileDates(const QString &path, const std::optional<QDateTime> &started);

// Gives imported messages the time of the import, one millisecond apart and ending now, so their
// order survives any sort by time and none lies in the future.
void stampInOrder(QList<Message> &messages, const QDateTime &now);

// `fn` over every item on a few threads (the header scans of thousands of logs are independent
// and CPU-bound); the results in the items' order.
template <typename In, typename Fn>
auto mapInParallel(const QList<In> &items, Fn fn) -> QList<decltype(fn(items.first()))>
{
    QList<decltype(fn(items.first()))> results(items.size());
    std::atomic<qsizetype> next{0};
    const auto work = [&] {
        for (qsizetype i = next++; i < items.size(); i = next++)
            results[i] = fn(items[i]);
    };
    const int threads = int(std::min<qsizetype>(std::max(1u, std::thread::hardware_concurrency()), items.size() / 16 + 1));
    std::vector<std::thread> helpers;
    for (int t = 1; t < threads; ++t)
        helpers.emplace_back(work);
    work();
    for (std::thread &helper : helpers)
        helper.join();
    return results;
}

template <typename Fn>
void forEachObject(QByteArrayView text, Fn &&fn)
{
    qsizetype start = 0;
    while (start < text.size()) {
        qsizetype end = text.indexOf('\n', start);
        if (end < 0)
            end = text.size();
        if (end > start)
            if (auto object = objectOf(text.sliced(start, end - start)))
                fn(*object);
        start = end + 1;
    }
}

} // namespace corvane::sessionlog
