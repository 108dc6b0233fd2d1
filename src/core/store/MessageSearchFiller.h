#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace corvane::store {

// Adds the messages stored before the search index existed to it, on a thread of its own with a
// connection of its own, so that opening an old store never waits for it. Works in short write
// transactions with pauses between them, so the application's own saves get the lock within a
// few milliseconds; the position is kept in the store, so a fill cut short by quitting goes on
// at the next start. Until it completes, search scans the messages instead.
class MessageSearchFiller : public QObject
{
    Q_OBJECT

public:
    struct Pace
    {
        int batchMessages = 400; // at most this many messages per transaction
        int batchBudgetMs = 30;  // ... and no longer than this (a message may be long)
        int pauseMs = 15;        // between transactions: others' saves go first
        int retryMs = 5000;      // after a failure (busy past the timeout, a full disk)
        // The index is built afresh at the start when deleted messages' texts in it number at
        // least this many, and more than the live ones.
        int rebuildAfterLeftovers = 10000;
    };

    explicit MessageSearchFiller(QString storePath, Pace pace, QObject *parent = nullptr);
    explicit MessageSearchFiller(QString storePath, QObject *parent = nullptr)
        : MessageSearchFiller(std::move(storePath), Pace{}, parent) {}
    // Stops the fill and waits for the thread: at most one batch.
    ~MessageSearchFiller() override;

    // Starts the fill unless it runs; nothing happens on a store whose index is complete, unless
    // the texts of deleted messages have come to outnumber the rest: then the index is built
    // afresh (collectMessageSearchLeftovers).
    void start();
    // Asks the fill to stop after its current batch, and waits for it.
    void stop();
    bool isRunning() const { return m_running.load(); }
    // The longest single step so far: how long the fill held the write lock at most.
    double longestStepMs() const { return double(m_longestStepUs.load()) / 1000; }

signals:
    // After each batch, from the fill's thread: how far it has come.
    void progressed(int percent);
    // The index is complete (emitted from the fill's thread).
    void completed();

private:
    void run();
    // Sleeps `ms` unless stopped meanwhile; false when stopped.
    bool pause(int ms);

    QString m_path;
    Pace m_pace;
    std::thread m_thread;
    std::atomic<bool> m_running{false};
    std::atomic<qint64> m_longestStepUs{0};
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stop = false;
};

} // namespace corvane::store
