#include "automation/DefinitionService.h"

#include "core/Log.h"
#include "core/MainThread.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/InotifyHub.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QSet>

#include <utility>

#include <sys/inotify.h>

namespace corvane {

namespace {

constexpr quint32 FolderEvents = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO
                                 | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// A definition folder that does not exist yet is noticed when it appears: its parent, or the
// parent's parent ("<project>/.corvane/flows" when even ".corvane" is missing), is watched for
// that one name.
struct WatchPlan
{
    QHash<QString, QSet<QByteArray>> folders; // folder -> names that count; empty: every event
};

WatchPlan planWatches(const QStringList &wanted)
{
    WatchPlan plan;
    for (const QString &folder : wanted) {
        QString path = QDir::cleanPath(folder);
        if (QFileInfo(path).isDir()) {
            plan.folders[path].clear();
            plan.folders[path].insert(QByteArray()); // marker: every event counts
            continue;
        }
        for (int up = 0; up < 2; ++up) {
            const QFileInfo info(path);
            const QString parent = info.path();
            if (QFileInfo(parent).isDir()) {
                auto &names = plan.folders[parent];
                if (!names.contains(QByteArray()))
                    names.insert(QFile::encodeName(info.fileName()));
                break;
            }
            path = parent;
        }
    }
    return plan;
}

} // namespace

DefinitionService::DefinitionService(std::shared_ptr<Store> store, QObject *parent)
    : QObject(parent), m_store(std::move(store))
{
    m_rescan.setSingleShot(true);
    m_rescan.setInterval(rescanDelay);
    connect(&m_rescan, &QTimer::timeout, this, [this] { reload(); });
}

DefinitionService::~DefinitionService()
{
    stopWatching();
}

StoreContext &DefinitionService::mainContext() const
{
    return m_store->mainContext();
}

void DefinitionService::reload(const QStringList &projectPaths)
{
    m_projectPaths = projectPaths;
    if (m_loading) {
        m_reloadAgain = true;
        return;
    }
    m_loading = true;
    m_lastError.reset();
    emit loadingChanged(true);
    runInBackground(this, [store = m_store, job = scanJob(projectPaths)] {
        auto context = store->newContext();
        return job(*context);
    }, [this](const DefinitionScanOutcome &outcome) { finishReload(outcome); });
}

void DefinitionService::finishReload(const DefinitionScanOutcome &outcome)
{
    QElapsedTimer clock;
    clock.start();
    if (!outcome.status)
        m_lastError = outcome.status.error().message;
    else if (Status published = publish(); !published)
        m_lastError = published.error().message;
    if (m_lastError)
        logLine("Definitions", *m_lastError);
    if (m_subscription)
        watchFolders(outcome.watchFolders);
    m_loading = false;
    m_mainThreadTime = std::chrono::nanoseconds(clock.nsecsElapsed());
    // A reload asked for meanwhile starts before this one is announced, so listeners see that
    // the list is about to change again (isLoading()).
    if (std::exchange(m_reloadAgain, false))
        reload();
    else
        emit loadingChanged(false);
    emit reloaded();
}

void DefinitionService::startWatching(InotifyHub *hub)
{
    if (m_subscription)
        return;
    m_hub = hub ? hub : InotifyHub::shared();
    if (!m_hub || !m_hub->isValid())
        return;
    QPointer<DefinitionService> self(this);
    m_subscription = std::make_shared<InotifySubscription>(
        [self](const QList<InotifyEvent> &) {
            if (self)
                self->m_rescan.start();
        },
        [self] {
            if (self)
                self->m_rescan.start();
        });
    // The folders are known after a scan; the first one starts now unless one is under way.
    if (!m_loading)
        reload();
}

void DefinitionService::stopWatching()
{
    if (m_subscription && m_hub)
        m_hub->close(m_subscription);
    m_subscription.reset();
    m_watched.clear();
    m_rescan.stop();
}

void DefinitionService::watchFolders(const QStringList &folders)
{
    // Folders change between scans (a skill folder added, a project's ".claude" made): the
    // subscription is made again with the new set, each watch knowing which names count.
    const WatchPlan plan = planWatches(folders);
    QStringList wanted;
    for (auto it = plan.folders.cbegin(); it != plan.folders.cend(); ++it)
        wanted.append(it.key());
    wanted.sort();
    if (wanted == m_watched && m_nameFilters == plan.folders)
        return;
    m_hub->close(m_subscription);
    QPointer<DefinitionService> self(this);
    auto filters = std::make_shared<QHash<int, QSet<QByteArray>>>();
    m_subscription = std::make_shared<InotifySubscription>(
        [self, filters](const QList<InotifyEvent> &events) {
            if (!self)
                return;
            for (const InotifyEvent &event : events) {
                const auto names = filters->value(event.watch);
                if (names.contains(QByteArray()) || names.contains(event.name) || event.name.isEmpty()) {
                    self->m_rescan.start();
                    return;
                }
            }
        },
        [self] {
            if (self)
                self->m_rescan.start();
        });
    int refused = 0;
    for (auto it = plan.folders.cbegin(); it != plan.folders.cend(); ++it) {
        const int watch = m_hub->addWatch(QFile::encodeName(it.key()), FolderEvents, m_subscription);
        if (watch >= 0)
            filters->insert(watch, it.value());
        else
            ++refused;
    }
    if (refused > 0)
        logLine("Definitions", QStringLiteral("%1 folders could not be watched; changes there show after a reload").arg(refused));
    m_watched = wanted;
    m_nameFilters = plan.folders;
}

} // namespace corvane
