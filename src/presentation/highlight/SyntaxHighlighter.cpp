#include "presentation/highlight/SyntaxHighlighter.h"

#include "presentation/BoundedCache.h"
#include "presentation/highlight/HighlightEngine.h"
#include "presentation/highlight/HighlightTheme.h"

#include <QThread>

namespace corvane {

namespace {

constexpr qsizetype kMaxQueued = 64;

BoundedCache<HighlightKey, StyledText> &highlightCache()
{
    static BoundedCache<HighlightKey, StyledText> cache(512);
    return cache;
}

} // namespace

// Lives on its worker thread; the engine is made there on the first job and dies there.
class HighlightWorker : public QObject
{
public:
    void run(const HighlightKey &key)
    {
        if (!m_engine)
            m_engine = std::make_unique<HighlightEngine>();
        std::optional<StyledText> result;
        if (const auto theme = HighlightTheme::named(key.theme))
            result = m_engine->highlight(key.code, key.language, *theme);
        highlightCache().insert(key, result.value_or(StyledText()));
    }

private:
    std::unique_ptr<HighlightEngine> m_engine;
};

SyntaxHighlighter::SyntaxHighlighter(int workerCount, QObject *parent) : QObject(parent)
{
    for (int i = 0; i < qMax(1, workerCount); ++i) {
        Worker worker;
        worker.thread = new QThread(this);
        worker.thread->setObjectName(QStringLiteral("Highlight%1").arg(i));
        worker.object = new HighlightWorker;
        worker.object->moveToThread(worker.thread);
        // The worker and its script engine go on their own thread as it ends: a deleteLater
        // posted then would never run, and the engine's heap would leak at every quit.
        connect(worker.thread, &QThread::finished, [object = worker.object] { delete object; });
        worker.thread->start(QThread::LowPriority);
        m_workers.append(worker);
    }
}

SyntaxHighlighter::~SyntaxHighlighter()
{
    // A job in progress finishes (tens of milliseconds at most); queued ones are dropped.
    for (const Worker &worker : std::as_const(m_workers)) {
        worker.thread->quit();
        worker.thread->wait();
    }
}

std::optional<StyledText> SyntaxHighlighter::cached(const HighlightKey &key)
{
    return highlightCache().find(key);
}

void SyntaxHighlighter::clearCache()
{
    highlightCache().clear();
}

bool SyntaxHighlighter::request(const HighlightKey &key)
{
    if (cached(key))
        return false;
    if (m_queued.contains(key) || m_inFlight.contains(key))
        return true;
    m_queue.push_back(key);
    m_queued.insert(key);
    while (qsizetype(m_queue.size()) > kMaxQueued) {
        m_queued.remove(m_queue.front());
        m_queue.pop_front();
    }
    dispatch();
    return true;
}

void SyntaxHighlighter::dispatch()
{
    for (int i = 0; i < m_workers.size() && !m_queue.empty(); ++i) {
        Worker &worker = m_workers[i];
        if (worker.busy)
            continue;
        HighlightKey key = std::move(m_queue.back());
        m_queue.pop_back();
        m_queued.remove(key);
        m_inFlight.insert(key);
        worker.busy = true;
        // The destructor joins the workers, so `self` outlives every job; a reply still queued
        // when it goes is dropped with it.
        SyntaxHighlighter *self = this;
        HighlightWorker *object = worker.object;
        QMetaObject::invokeMethod(object, [self, object, key, i] {
            object->run(key);
            QMetaObject::invokeMethod(self, [self, key, i] { self->finished(i, key); }, Qt::QueuedConnection);
        }, Qt::QueuedConnection);
    }
}

void SyntaxHighlighter::finished(int worker, const HighlightKey &key)
{
    m_workers[worker].busy = false;
    m_inFlight.remove(key);
    emit highlighted(key);
    dispatch();
}

} // namespace corvane
