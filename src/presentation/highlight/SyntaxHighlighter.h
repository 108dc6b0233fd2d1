#pragma once

#include "presentation/markdown/StyledText.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <deque>
#include <optional>

class QThread;

namespace corvane {

// One highlighting job: a block of code in a language, in a theme (highlight.js names).
struct HighlightKey
{
    QString theme;
    QString language;
    QString code;
    bool operator==(const HighlightKey &) const = default;
};

inline size_t qHash(const HighlightKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.theme, key.language, key.code);
}

class HighlightWorker;

// Highlights code blocks off the main thread: each worker thread holds its own highlight.js
// engine; results land in a process-wide cache of the last 512 blocks and `highlighted` is
// emitted on the thread that owns this object. A block already cached or already queued is not
// queued again. Jobs run newest first, so while a reply streams the latest text of a growing
// block wins over its older versions, which are dropped once more than 64 wait.
//
// An unknown language, an empty one or a missing library caches an empty result: callers then
// show the code plain and do not ask again.
class SyntaxHighlighter : public QObject
{
    Q_OBJECT
public:
    explicit SyntaxHighlighter(int workerCount = 1, QObject *parent = nullptr);
    ~SyntaxHighlighter() override;

    // The finished highlight of a block, if any; empty runs mean "show it plain". Any thread.
    static std::optional<StyledText> cached(const HighlightKey &key);
    static void clearCache();

    // Queues a block; on the thread that owns this object. False when there is nothing to
    // wait for (cached already).
    bool request(const HighlightKey &key);
    qsizetype pendingCount() const { return qsizetype(m_queue.size()) + m_inFlight.size(); }

signals:
    // The block's result is in the cache now: re-render what shows it.
    void highlighted(const corvane::HighlightKey &key);

private:
    void dispatch();
    void finished(int worker, const HighlightKey &key);

    struct Worker
    {
        QThread *thread = nullptr;
        HighlightWorker *object = nullptr;
        bool busy = false;
    };
    QList<Worker> m_workers;
    std::deque<HighlightKey> m_queue;
    QSet<HighlightKey> m_queued;
    QSet<HighlightKey> m_inFlight;
};

} // namespace corvane
