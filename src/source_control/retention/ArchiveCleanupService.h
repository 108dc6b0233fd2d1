#pragma once

#include "core/NotificationCenter.h"
#include "source_control/retention/ArchiveSweepPlan.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <functional>

class QThread;
class QTimer;

namespace corvane {

class WorkspaceLifecycleService;

// What one sweep did.
struct SweepReport
{
    QList<SweepCandidate> deleted;
    // Kept, with the reason: a worktree with uncommitted work waits for the user's consent.
    QList<std::pair<SweepCandidate, QString>> skipped;
    int backfilled = 0;

    int deletedCount(SweepCandidate::Kind kind) const;
};

// Deletes archived workspaces and chats for good once they have been archived for longer than
// their retention setting: shortly after start, then daily, and at once when a retention setting
// changes. Deletion is the lifecycle service's permanent delete, so sessions, terminals and
// worktrees go with the records; a worktree that would lose work is never removed here.
//
// Finding the candidates and deleting plain chats happen on a thread of its own, in batches, so
// a sweep of thousands of chats never stalls the window; the rest (workspaces, chats with a
// worktree) goes through the lifecycle service one at a time on the main thread.
class ArchiveCleanupService : public QObject
{
    Q_OBJECT

public:
    struct Retentions
    {
        ArchiveRetention chats = ArchiveRetention::thirtyDays;
        ArchiveRetention workspaces = ArchiveRetention::thirtyDays;
    };
    using RetentionSource = std::function<Retentions()>;
    using Clock = std::function<QDateTime()>;

    static constexpr std::chrono::milliseconds kInitialDelay = std::chrono::seconds(30);
    static constexpr std::chrono::milliseconds kInterval = std::chrono::hours(24);
    // Chats deleted per transaction: about 90 ms of write lock for 1,000 chats of 10 messages.
    // Their random ids spread each batch over most pages of the message indexes, and every
    // commit writes those pages again, so smaller batches cost much more in all (200 took twice
    // as long); larger ones gain little and keep a saving chat session waiting longer.
    static constexpr int kBatchSize = 1000;

    ArchiveCleanupService(WorkspaceLifecycleService &lifecycle, RetentionSource retentions,
                          Clock clock = &QDateTime::currentDateTimeUtc, QObject *parent = nullptr);
    ~ArchiveCleanupService() override;

    // Takes effect at the next start().
    void setDelays(std::chrono::milliseconds initialDelay, std::chrono::milliseconds interval);

    // Starts the timer (the first sweep after the initial delay, then one per interval) and
    // listens for changed retention settings on `center`. A second start replaces the first.
    void start(NotificationCenter &center);
    // Stops the timer and the listening; a sweep under way finishes.
    void stop();

    bool isRunning() const { return m_running; }
    // Starts a sweep now. False, and nothing starts, while one runs.
    bool sweep();
    // What a sweep now would delete, without deleting or dating anything.
    SweepPlan plan() const;

signals:
    void sweepFinished(const corvane::SweepReport &report);

private:
    struct Sweep;

    void planned(const std::shared_ptr<Sweep> &sweep);
    void deleteNextWorkspace(const std::shared_ptr<Sweep> &sweep);
    void deleteNextWorktreeChat(const std::shared_ptr<Sweep> &sweep);
    void eraseNextBatch(const std::shared_ptr<Sweep> &sweep);
    void finish(const std::shared_ptr<Sweep> &sweep);
    // Runs `work` on the sweep's thread, then `done` back here (unless this object is gone).
    void inBackground(std::function<void()> work, std::function<void()> done);

    WorkspaceLifecycleService &m_lifecycle;
    RetentionSource m_retentions;
    Clock m_clock;
    std::chrono::milliseconds m_initialDelay = kInitialDelay;
    std::chrono::milliseconds m_interval = kInterval;
    QTimer *m_timer;
    NotificationCenter *m_center = nullptr;
    NotificationCenter::Token m_observer{};
    bool m_observing = false;
    bool m_running = false;
    QThread *m_thread;
    QObject *m_worker; // lives on m_thread
};

} // namespace corvane

Q_DECLARE_METATYPE(corvane::SweepReport)
