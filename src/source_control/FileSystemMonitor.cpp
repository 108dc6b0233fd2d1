#include "source_control/FileSystemMonitor.h"

#include "core/Log.h"
#include "core/MainThread.h"
#include "core/Broadcasts.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <sys/inotify.h>

namespace corvane {

namespace {
constexpr const char *Tag = "FileSystemMonitor";
}

FileSystemMonitor::FileSystemMonitor(const QString &workingDirectory, NotificationCenter &center, InotifyHub *hub,
                                     QObject *parent)
    : QObject(parent)
    , m_workingDirectory(QDir::cleanPath(workingDirectory))
    , m_center(&center)
    , m_hub(hub ? hub : InotifyHub::shared())
{
    m_debounce.setSingleShot(true);
    m_debounce.setTimerType(Qt::PreciseTimer); // never early: a coarse timer may fire 5% sooner
    m_debounce.setInterval(debounceInterval);
    connect(&m_debounce, &QTimer::timeout, this, &FileSystemMonitor::post);
}

FileSystemMonitor::~FileSystemMonitor()
{
    stop();
}

bool FileSystemMonitor::countsAsChange(QStringView path)
{
    return !path.contains(u"/.git/");
}

int FileSystemMonitor::watchCount() const
{
    return m_hub && m_subscription ? m_hub->watchCount(m_subscription) : 0;
}

void FileSystemMonitor::start()
{
    stop();
    m_watchRoot = QFileInfo(m_workingDirectory).canonicalFilePath();
    if (!m_hub || !m_hub->isValid() || m_watchRoot.isEmpty() || !QFileInfo(m_watchRoot).isDir()) {
        logLine(Tag, QStringLiteral("Failed to create event stream"));
        return;
    }
    // The handlers use `this` unguarded: stop() closes the subscription before this object goes,
    // and a closed subscription is never called again.
    m_subscription = std::make_shared<InotifySubscription>(
        [this](const QList<InotifyEvent> &events) { handleEvents(events); }, [this] { handleOverflow(); });
    auto walk = std::make_shared<FolderWatchWalk>(m_watchRoot, QString());
    FolderWatchWalkResult result;
    const bool done = walk->run(*m_hub, m_subscription, QDeadlineTimer(setupBudget), result);
    mergeWalk(result);
    logLine(Tag, QStringLiteral("Started monitoring ") + m_workingDirectory);
    if (done) {
        finishSetup(false);
    } else {
        m_walking = true;
        walkInBackground(std::move(walk), true);
    }
}

void FileSystemMonitor::stop()
{
    m_debounce.stop();
    if (m_subscription && m_hub)
        m_hub->close(m_subscription);
    m_subscription.reset();
    m_folders.clear();
    m_heldEvents.clear();
    m_heldEventsDropped = false;
    m_walking = false;
    m_ready = false;
}

// Walks on a worker thread; the result is merged only while the same subscription still runs.
void FileSystemMonitor::walkInBackground(std::shared_ptr<FolderWatchWalk> walk, bool initial)
{
    std::shared_ptr<InotifySubscription> subscription = m_subscription;
    QPointer<InotifyHub> hub = m_hub;
    runInBackground(this, [hub, subscription, walk] {
        FolderWatchWalkResult result;
        if (hub)
            walk->run(*hub, subscription, QDeadlineTimer(QDeadlineTimer::Forever), result);
        return result;
    }, [this, subscription, initial](const FolderWatchWalkResult &result) {
        if (subscription != m_subscription)
            return;
        mergeWalk(result);
        if (initial)
            finishSetup(true);
    });
}

void FileSystemMonitor::finishSetup(bool finishedInBackground)
{
    m_walking = false;
    m_ready = true;
    const QList<InotifyEvent> held = std::exchange(m_heldEvents, {});
    if (std::exchange(m_heldEventsDropped, false))
        handleOverflow(); // too much happened to replay: walk again and post once
    else if (!held.isEmpty())
        handleEvents(held);
    if (finishedInBackground)
        m_debounce.start();
    QMetaObject::invokeMethod(this, [this, subscription = m_subscription] {
        if (subscription == m_subscription)
            emit ready();
    }, Qt::QueuedConnection);
}

void FileSystemMonitor::mergeWalk(const FolderWatchWalkResult &result)
{
    for (const WatchedFolder &folder : result.folders)
        m_folders.insert(folder.watch, folder.relativePath);
    if (result.lastError == ENOSPC && !m_reportedWatchLimit) {
        m_reportedWatchLimit = true;
        logLine(Tag, QStringLiteral("%1 folders of %2 are not watched: the inotify watch limit "
                                    "(fs.inotify.max_user_watches) is reached")
                         .arg(result.failedFolders).arg(m_workingDirectory));
    }
}

void FileSystemMonitor::handleEvents(const QList<InotifyEvent> &events)
{
    if (m_walking) {
        if (m_heldEventsDropped || m_heldEvents.size() + events.size() > maxHeldEvents) {
            m_heldEventsDropped = true;
            m_heldEvents.clear();
        } else {
            m_heldEvents += events;
        }
        return;
    }
    bool counted = false;
    for (const InotifyEvent &event : events) {
        if (event.mask & IN_IGNORED) {
            m_folders.remove(event.watch);
            continue;
        }
        const auto folder = m_folders.constFind(event.watch);
        if (folder == m_folders.constEnd())
            continue; // a folder we have let go of
        const QString name = QFile::decodeName(event.name);
        QString relative = *folder;
        if (!name.isEmpty())
            relative = relative.isEmpty() ? name : relative + u'/' + name;
        if ((event.mask & IN_ISDIR) && name != u".git") {
            if (event.mask & (IN_CREATE | IN_MOVED_TO)) {
                // Small and fresh as a rule, so walked here for a moment; a big one (a folder
                // moved in, a package install) is finished on a worker thread. What is made
                // inside from now on is reported by its own watches.
                if (m_hub) {
                    auto walk = std::make_shared<FolderWatchWalk>(m_watchRoot, relative);
                    FolderWatchWalkResult result;
                    const bool done = walk->run(*m_hub, m_subscription, QDeadlineTimer(newFolderBudget), result);
                    mergeWalk(result);
                    if (!done)
                        walkInBackground(std::move(walk), false);
                }
            } else if (event.mask & IN_MOVED_FROM) {
                forgetSubtree(relative);
            }
        }
        const QString path = relative.isEmpty() ? m_workingDirectory : m_workingDirectory + u'/' + relative;
        if (countsAsChange(path))
            counted = true;
    }
    if (counted)
        m_debounce.start();
}

void FileSystemMonitor::handleOverflow()
{
    // The kernel dropped events: folders may have come unseen. Walk again; watches held stay.
    if (!m_walking)
        walkInBackground(std::make_shared<FolderWatchWalk>(m_watchRoot, QString()), false);
    m_debounce.start();
}

void FileSystemMonitor::forgetSubtree(const QString &relativePath)
{
    const QString prefix = relativePath + u'/';
    for (auto it = m_folders.begin(); it != m_folders.end();) {
        if (it.value() == relativePath || it.value().startsWith(prefix)) {
            if (m_hub)
                m_hub->removeWatch(it.key(), m_subscription);
            it = m_folders.erase(it);
        } else {
            ++it;
        }
    }
}

void FileSystemMonitor::post()
{
    logLine(Tag, QStringLiteral("File system changed, posting notification"));
    broadcast::post(*m_center, broadcast::FileSystemChanged{m_workingDirectory}, this);
    emit changed();
}

} // namespace corvane
