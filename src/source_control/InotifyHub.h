#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QSet>

#include <atomic>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace corvane {

struct InotifyEvent
{
    int watch = -1;
    quint32 mask = 0;
    quint32 cookie = 0;
    QByteArray name; // the entry inside a watched folder; empty for events on the watched item
};

// One user of the hub's watches: its handlers run on the hub's thread. Closing it (through the
// hub) removes its watches, and from then on its handlers are never called again, even by a read
// already under way. Shared, so a background walk can keep adding watches while its owner stops
// it on the main thread: a closed subscription takes no new watch.
class InotifySubscription
{
public:
    using EventsHandler = std::function<void(const QList<InotifyEvent> &events)>;
    using OverflowHandler = std::function<void()>;

    InotifySubscription(EventsHandler onEvents, OverflowHandler onOverflow)
        : m_onEvents(std::move(onEvents)), m_onOverflow(std::move(onOverflow)) {}

    bool isClosed() const { return m_closed.load(); }

private:
    friend class InotifyHub;

    EventsHandler m_onEvents;
    OverflowHandler m_onOverflow;
    std::atomic<bool> m_closed{false};
};

// One inotify descriptor shared by every monitor of the process, read with a QSocketNotifier on
// the thread that made the hub. A user may hold at most 128 inotify instances, and each
// QFileSystemWatcher takes one; watches on one descriptor are limited only by
// fs.inotify.max_user_watches. Several subscriptions may hold the same folder: the kernel knows
// it once, and the hub removes it when the last one lets it go.
//
// addWatch(), removeWatch() and close() may be called from any thread; events are delivered on
// the hub's thread, once per read, each subscription getting its own events in kernel order.
class InotifyHub : public QObject
{
    Q_OBJECT

public:
    explicit InotifyHub(QObject *parent = nullptr);
    ~InotifyHub() override;

    // The process's hub, made on first use on the calling thread (the main one), which must have
    // an event loop; it goes with the application object.
    static InotifyHub *shared();

    bool isValid() const { return m_fd >= 0; }
    // The errno of inotify_init1 when the hub is not valid.
    int initError() const { return m_initError; }

    // The watch descriptor, or -errno (-ENOSPC: the user's watch limit is reached; -ENOTDIR;
    // -ENOENT). A closed subscription gets -ECANCELED. Adding a folder twice is harmless.
    int addWatch(const QByteArray &path, quint32 mask, const std::shared_ptr<InotifySubscription> &subscription);
    void removeWatch(int watch, const std::shared_ptr<InotifySubscription> &subscription);
    // Removes every watch of the subscription and silences it for good.
    void close(const std::shared_ptr<InotifySubscription> &subscription);

    // Folders and files watched through this descriptor, by all subscriptions together.
    int watchCount() const;
    int watchCount(const std::shared_ptr<InotifySubscription> &subscription) const;

private:
    void readEvents();
    void dispatch(const QByteArray &buffer);
    void releaseLocked(int watch, InotifySubscription *subscription);

    int m_fd = -1;
    int m_initError = 0;
    QSocketNotifier *m_notifier = nullptr;
    mutable QMutex m_mutex;
    QHash<int, QList<std::shared_ptr<InotifySubscription>>> m_byWatch;
    QHash<const InotifySubscription *, QSet<int>> m_bySubscription;
};

} // namespace corvane
