#pragma once

#include "core/NotificationCenter.h"
#include "source_control/FolderWatchWalk.h"
#include "source_control/InotifyHub.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>

namespace corvane {

// Watches a working tree, every folder below it included, and posts `fileSystemDidChange` with
// the directory under "workingDirectory" once a burst of changes has settled: each change that
// counts restarts a 0.5 second wait, and the post comes when the wait runs out. What changed is
// not told; listeners read again what they need.
//
// Changes under ".git" never count: git's lock and object files must not cost a refresh. Such
// folders are not even watched, which keeps the number of inotify watches to the folders of
// the work tree. Folders made after start() are watched as they appear.
//
// Lives on the main thread. start() watches the tree for at most `setupBudget` on the calling
// thread; a tree too large for that is finished on a worker thread, and since a change in a
// folder not yet watched could go unseen meanwhile, one notification is posted once it is done.
// ready() follows in both cases, from the event loop.
class FileSystemMonitor : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds debounceInterval{500};
    static constexpr std::chrono::milliseconds setupBudget{10};
    // The same for a folder that appears while running.
    static constexpr std::chrono::milliseconds newFolderBudget{5};
    // Events held while the first walk runs; past this the walk is simply done again.
    static constexpr int maxHeldEvents = 10000;

    // `hub` defaults to the process's shared one.
    explicit FileSystemMonitor(const QString &workingDirectory,
                               NotificationCenter &center = NotificationCenter::instance(),
                               InotifyHub *hub = nullptr, QObject *parent = nullptr);
    ~FileSystemMonitor() override;

    QString workingDirectory() const { return m_workingDirectory; }

    // Stops first when running, so it also restarts.
    void start();
    void stop();
    bool isRunning() const { return bool(m_subscription); }
    // True once the first walk has set every watch.
    bool isReady() const { return m_ready; }
    // A notification is waiting for the debounce to run out.
    bool isPostPending() const { return m_debounce.isActive(); }
    // The inotify watches this monitor holds: one per folder.
    int watchCount() const;

    // False for a path inside a ".git" folder, which never raises the notification.
    static bool countsAsChange(QStringView path);

signals:
    void ready();
    // Emitted with each post.
    void changed();

private:
    void walkInBackground(std::shared_ptr<FolderWatchWalk> walk, bool initial);
    void finishSetup(bool finishedInBackground);
    void mergeWalk(const FolderWatchWalkResult &result);
    void handleEvents(const QList<InotifyEvent> &events);
    void handleOverflow();
    void forgetSubtree(const QString &relativePath);
    void post();

    QString m_workingDirectory;
    QString m_watchRoot; // the same folder with symbolic links resolved: what inotify is given
    NotificationCenter *m_center;
    QPointer<InotifyHub> m_hub;
    std::shared_ptr<InotifySubscription> m_subscription;
    QHash<int, QString> m_folders; // watch -> folder, relative to the root
    QList<InotifyEvent> m_heldEvents;
    bool m_walking = false;
    bool m_heldEventsDropped = false;
    bool m_ready = false;
    bool m_reportedWatchLimit = false;
    QTimer m_debounce;
};

} // namespace corvane
