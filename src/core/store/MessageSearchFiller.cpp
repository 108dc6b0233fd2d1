#include "core/store/MessageSearchFiller.h"

#include "core/Log.h"
#include "core/store/Connection.h"
#include "core/store/MessageSearchIndex.h"

#include <QElapsedTimer>

#include <algorithm>
#include <memory>

namespace corvane::store {

MessageSearchFiller::MessageSearchFiller(QString storePath, Pace pace, QObject *parent)
    : QObject(parent), m_path(std::move(storePath)), m_pace(pace)
{
}

MessageSearchFiller::~MessageSearchFiller()
{
    stop();
}

void MessageSearchFiller::start()
{
    if (m_thread.joinable()) {
        if (m_running.load())
            return;
        m_thread.join();
    }
    {
        std::lock_guard lock(m_mutex);
        m_stop = false;
    }
    m_running = true;
    m_thread = std::thread([this] {
        run();
        m_running = false;
    });
}

void MessageSearchFiller::stop()
{
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

bool MessageSearchFiller::pause(int ms)
{
    std::unique_lock lock(m_mutex);
    return !m_wake.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_stop; });
}

void MessageSearchFiller::run()
{
    std::unique_ptr<Connection> connection;
    bool restarted = false;
    int walPages = 0;
    while (pause(0)) {
        if (!connection) {
            auto opened = Connection::open(m_path, false);
            if (!opened) {
                logLine("Search", opened.error().message + QStringLiteral(". Indexing messages will be tried again."));
                if (!pause(m_pace.retryMs))
                    return;
                continue;
            }
            connection.reset(opened.value());
            // SQLite would copy the log back into the file inside a step's commit; the fill does
            // it after the step instead, when the log has grown, so a step is the lock and no more.
            sqlite3_wal_hook(connection->handle(), [](void *pages, sqlite3 *, const char *, int n) {
                *static_cast<int *>(pages) = n;
                return SQLITE_OK;
            }, &walPages);
            // Deleted messages' texts stay in the index until there are too many of them.
            if (auto collected = collectMessageSearchLeftovers(*connection, m_pace.rebuildAfterLeftovers); !collected)
                logLine("Search", QStringLiteral("Looking for deleted messages in the search index: %1").arg(collected.error().message));
            // Nothing to do without an index (this SQLite cannot make one) or when it is complete.
            if (isMessageSearchIndexReady(*connection) || !hasMessageSearchIndex(*connection))
                return;
        }
        QElapsedTimer clock;
        clock.start();
        auto step = fillMessageSearchStep(*connection, m_pace.batchMessages, m_pace.batchBudgetMs);
        m_longestStepUs = std::max(m_longestStepUs.load(), clock.nsecsElapsed() / 1000);
        if (walPages >= 1000) {
            sqlite3_wal_checkpoint_v2(connection->handle(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
            walPages = 0;
        }
        if (!step) {
            // Nothing was written by the failed batch; the next try starts where it would have.
            logLine("Search", QStringLiteral("Indexing messages: %1. Trying again shortly.").arg(step.error().message));
            if (!pause(m_pace.retryMs))
                return;
            continue;
        }
        if (step->walkEnded) {
            auto finished = finishMessageSearchFill(*connection);
            if (!finished) {
                logLine("Search", QStringLiteral("Indexing messages: %1. Trying again shortly.").arg(finished.error().message));
                if (!pause(m_pace.retryMs))
                    return;
                continue;
            }
            if (*finished) {
                logLine("Search", QStringLiteral("Messages indexed for search (longest step %1 ms).")
                                      .arg(longestStepMs(), 0, 'f', 1));
                emit progressed(100);
                emit completed();
                return;
            }
            if (restarted) {
                // Should never happen; the plain scan keeps search right meanwhile.
                logLine("Search", QStringLiteral("Indexing messages missed some twice; search reads every message instead."));
                return;
            }
            logLine("Search", QStringLiteral("Indexing messages missed some (renumbered meanwhile); walking them again."));
            restarted = true;
            continue;
        }
        emit progressed(step->state.percent());
        if (!pause(m_pace.pauseMs))
            return;
    }
}

} // namespace corvane::store
