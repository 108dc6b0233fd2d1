#include "source_control/retention/ArchiveCleanupService.h"

#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QThread>
#include <QTimer>

namespace corvane {

namespace {

constexpr const char *kTag = "ArchiveCleanup";

QString describeKept(const LifecycleOutcome &outcome)
{
    if (outcome.kind == LifecycleOutcome::Kind::needsConfirmation)
        return QStringLiteral("its worktree holds work that would be lost; kept until you delete it yourself");
    if (outcome.kind == LifecycleOutcome::Kind::busy)
        return QStringLiteral("busy; left for the next sweep");
    return outcome.message.isEmpty() ? QStringLiteral("deletion failed; left for the next sweep")
                                     : QStringLiteral("deletion failed (%1); left for the next sweep").arg(outcome.message);
}

} // namespace

int SweepReport::deletedCount(SweepCandidate::Kind kind) const
{
    return int(std::count_if(deleted.cbegin(), deleted.cend(), [kind](const SweepCandidate &c) { return c.kind == kind; }));
}

// The state of one sweep as it moves between the threads.
struct ArchiveCleanupService::Sweep
{
    Retentions retentions;
    QDateTime now;
    SweepPlan plan;
    QList<QUuid> plainChats; // deleted in batches on the sweep's thread
    int nextWorkspace = 0;
    int nextWorktreeChat = 0;
    QList<SweepCandidate> worktreeChats;
    QList<SweepCandidate> batchChats;
    int nextBatch = 0;
    SweepReport report;
};

ArchiveCleanupService::ArchiveCleanupService(WorkspaceLifecycleService &lifecycle, RetentionSource retentions, Clock clock,
                                             QObject *parent)
    : QObject(parent), m_lifecycle(lifecycle), m_retentions(std::move(retentions)), m_clock(std::move(clock)),
      m_timer(new QTimer(this)), m_thread(new QThread(this)), m_worker(new QObject)
{
    qRegisterMetaType<SweepReport>();
    m_thread->setObjectName(QStringLiteral("ArchiveCleanup"));
    m_worker->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread->start(QThread::LowPriority);
    connect(m_timer, &QTimer::timeout, this, [this] {
        m_timer->setInterval(int(m_interval.count()));
        sweep();
    });
}

ArchiveCleanupService::~ArchiveCleanupService()
{
    stop();
    m_thread->quit();
    m_thread->wait();
}

void ArchiveCleanupService::setDelays(std::chrono::milliseconds initialDelay, std::chrono::milliseconds interval)
{
    m_initialDelay = initialDelay;
    m_interval = interval;
}

void ArchiveCleanupService::start(NotificationCenter &center)
{
    stop();
    m_center = &center;
    m_observer = center.addObserver(broadcast::archiveRetentionChanged, [this](const Notification &) {
        logLine(kTag, QStringLiteral("retention changed — scheduling immediate run"));
        QTimer::singleShot(0, this, &ArchiveCleanupService::sweep);
    }, nullptr, this);
    m_observing = true;
    m_timer->start(int(m_initialDelay.count()));
    logLine(kTag, QStringLiteral("started — first run in %1s, then every %2s")
                      .arg(std::chrono::duration_cast<std::chrono::seconds>(m_initialDelay).count())
                      .arg(std::chrono::duration_cast<std::chrono::seconds>(m_interval).count()));
}

void ArchiveCleanupService::stop()
{
    m_timer->stop();
    if (m_observing && m_center)
        m_center->removeObserver(m_observer);
    m_observing = false;
}

SweepPlan ArchiveCleanupService::plan() const
{
    const Retentions r = m_retentions();
    return retention::findCandidates(m_lifecycle.context(), r.chats, r.workspaces, m_clock());
}

void ArchiveCleanupService::inBackground(std::function<void()> work, std::function<void()> done)
{
    QMetaObject::invokeMethod(m_worker, [work = std::move(work), done = std::move(done), self = QPointer(this)] {
        work();
        if (self)
            QMetaObject::invokeMethod(self.data(), done, Qt::QueuedConnection);
    }, Qt::QueuedConnection);
}

bool ArchiveCleanupService::sweep()
{
    if (m_running) {
        logLine(kTag, QStringLiteral("skipping run — previous sweep still in flight"));
        return false;
    }
    m_running = true;
    auto sweep = std::make_shared<Sweep>();
    sweep->retentions = m_retentions();
    sweep->now = m_clock();
    logLine(kTag, QStringLiteral("sweep starting — chats: %1, workspaces: %2")
                      .arg(retention::label(sweep->retentions.chats), retention::label(sweep->retentions.workspaces)));
    Store &store = m_lifecycle.context().store();
    inBackground(
        [sweep, &store] {
            auto context = store.newContext();
            sweep->report.backfilled = retention::backfillArchivedDates(*context, sweep->now);
            sweep->plan = retention::findCandidates(*context, sweep->retentions.chats, sweep->retentions.workspaces,
                                                    sweep->now);
        },
        [this, sweep] { planned(sweep); });
    return true;
}

void ArchiveCleanupService::planned(const std::shared_ptr<Sweep> &sweep)
{
    for (const SweepCandidate &chat : std::as_const(sweep->plan.chats))
        (chat.hasWorktree ? sweep->worktreeChats : sweep->batchChats).append(chat);
    deleteNextWorkspace(sweep);
}

void ArchiveCleanupService::deleteNextWorkspace(const std::shared_ptr<Sweep> &sweep)
{
    if (sweep->nextWorkspace >= sweep->plan.workspaces.size()) {
        deleteNextWorktreeChat(sweep);
        return;
    }
    const SweepCandidate candidate = sweep->plan.workspaces.at(sweep->nextWorkspace++);
    m_lifecycle.deleteWorkspace(candidate.id, false).then(this, [this, sweep, candidate](const GitResult<LifecycleOutcome> &r) {
        const LifecycleOutcome outcome = r ? *r : LifecycleOutcome::failed(r.error().description());
        if (outcome.isDone()) {
            sweep->report.deleted.append(candidate);
        } else {
            const QString why = describeKept(outcome);
            logLine(kTag, QStringLiteral("kept workspace %1 (%2): %3").arg(candidate.id.toString(QUuid::WithoutBraces), candidate.name, why));
            sweep->report.skipped.append({candidate, why});
        }
        deleteNextWorkspace(sweep);
    });
}

void ArchiveCleanupService::deleteNextWorktreeChat(const std::shared_ptr<Sweep> &sweep)
{
    if (sweep->nextWorktreeChat >= sweep->worktreeChats.size()) {
        eraseNextBatch(sweep);
        return;
    }
    const SweepCandidate candidate = sweep->worktreeChats.at(sweep->nextWorktreeChat++);
    m_lifecycle.deleteChat(candidate.id, false).then(this, [this, sweep, candidate](const GitResult<LifecycleOutcome> &r) {
        const LifecycleOutcome outcome = r ? *r : LifecycleOutcome::failed(r.error().description());
        if (outcome.isDone()) {
            sweep->report.deleted.append(candidate);
        } else {
            const QString why = describeKept(outcome);
            logLine(kTag, QStringLiteral("kept chat %1 (%2): %3").arg(candidate.id.toString(QUuid::WithoutBraces), candidate.name, why));
            sweep->report.skipped.append({candidate, why});
        }
        deleteNextWorktreeChat(sweep);
    });
}

void ArchiveCleanupService::eraseNextBatch(const std::shared_ptr<Sweep> &sweep)
{
    const int first = sweep->nextBatch;
    if (first >= sweep->batchChats.size()) {
        finish(sweep);
        return;
    }
    const QList<SweepCandidate> batch = sweep->batchChats.mid(first, kBatchSize);
    sweep->nextBatch = first + int(batch.size());
    QList<QUuid> ids;
    ids.reserve(batch.size());
    for (const SweepCandidate &chat : batch)
        ids.append(chat.id);
    // Sessions end and views let go before the rows disappear, as with a single deletion.
    m_lifecycle.releaseChats(ids);
    auto erased = std::make_shared<bool>(false);
    auto failure = std::make_shared<QString>();
    Store &store = m_lifecycle.context().store();
    inBackground(
        [&store, ids, erased, failure] {
            auto context = store.newContext();
            auto chats = context->fetch<Chat>(Query(where::in("id", ids)));
            if (!chats) {
                *failure = chats.error().message;
                return;
            }
            for (const auto &chat : *chats)
                context->remove(chat);
            if (Status saved = context->save(); !saved) {
                *failure = saved.error().message;
                return;
            }
            *erased = true;
        },
        [this, sweep, batch, erased, failure] {
            if (*erased) {
                sweep->report.deleted.append(batch);
            } else {
                const QString why = QStringLiteral("deletion failed (%1); left for the next sweep").arg(*failure);
                logLine(kTag, QStringLiteral("kept %1 chats: %2").arg(batch.size()).arg(why));
                for (const SweepCandidate &chat : batch)
                    sweep->report.skipped.append({chat, why});
            }
            eraseNextBatch(sweep);
        });
}

void ArchiveCleanupService::finish(const std::shared_ptr<Sweep> &sweep)
{
    const SweepReport &report = sweep->report;
    if (!sweep->batchChats.isEmpty() || report.backfilled > 0)
        m_lifecycle.announceRecordsChanged();
    logLine(kTag, QStringLiteral("sweep finished — deleted %1 chats, %2 workspaces (backfilled %3)")
                      .arg(report.deletedCount(SweepCandidate::Kind::chat))
                      .arg(report.deletedCount(SweepCandidate::Kind::workspace))
                      .arg(report.backfilled));
    m_running = false;
    emit sweepFinished(report);
}

} // namespace corvane
