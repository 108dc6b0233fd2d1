#include "source_control/InotifyHub.h"

#include "core/Log.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace corvane {

InotifyHub::InotifyHub(QObject *parent)
    : QObject(parent)
{
    m_fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_fd < 0) {
        m_initError = errno;
        logLine("InotifyHub", QStringLiteral("inotify_init1 failed: %1").arg(QString::fromLocal8Bit(::strerror(m_initError))));
        return;
    }
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &InotifyHub::readEvents);
}

InotifyHub::~InotifyHub()
{
    {
        QMutexLocker lock(&m_mutex);
        for (auto it = m_byWatch.cbegin(); it != m_byWatch.cend(); ++it) {
            for (const auto &subscription : it.value())
                subscription->m_closed = true;
        }
    }
    if (m_fd >= 0)
        ::close(m_fd); // the kernel drops every watch with the descriptor
}

InotifyHub *InotifyHub::shared()
{
    static QPointer<InotifyHub> hub;
    static QMutex mutex;
    QMutexLocker lock(&mutex);
    if (!hub)
        hub = new InotifyHub(QCoreApplication::instance());
    return hub.data();
}

int InotifyHub::addWatch(const QByteArray &path, quint32 mask,
                         const std::shared_ptr<InotifySubscription> &subscription)
{
    if (m_fd < 0)
        return -EBADF;
    QMutexLocker lock(&m_mutex);
    if (subscription->isClosed())
        return -ECANCELED;
    // IN_MASK_ADD: a folder that another subscription watches keeps what that one asked for.
    const int watch = ::inotify_add_watch(m_fd, path.constData(), mask | IN_MASK_ADD);
    if (watch < 0)
        return -errno;
    QSet<int> &mine = m_bySubscription[subscription.get()];
    if (!mine.contains(watch)) {
        mine.insert(watch);
        m_byWatch[watch].append(subscription);
    }
    return watch;
}

void InotifyHub::removeWatch(int watch, const std::shared_ptr<InotifySubscription> &subscription)
{
    QMutexLocker lock(&m_mutex);
    auto mine = m_bySubscription.find(subscription.get());
    if (mine == m_bySubscription.end() || !mine->remove(watch))
        return;
    releaseLocked(watch, subscription.get());
}

void InotifyHub::close(const std::shared_ptr<InotifySubscription> &subscription)
{
    // Closed before the lock is taken: a walk that adds a watch after this sees it, and one that
    // added just before is undone below.
    subscription->m_closed = true;
    QMutexLocker lock(&m_mutex);
    const QSet<int> watches = m_bySubscription.take(subscription.get());
    for (const int watch : watches)
        releaseLocked(watch, subscription.get());
}

void InotifyHub::releaseLocked(int watch, InotifySubscription *subscription)
{
    auto users = m_byWatch.find(watch);
    if (users == m_byWatch.end())
        return;
    users->removeIf([subscription](const auto &user) { return user.get() == subscription; });
    if (users->isEmpty()) {
        m_byWatch.erase(users);
        ::inotify_rm_watch(m_fd, watch);
    }
}

int InotifyHub::watchCount() const
{
    QMutexLocker lock(&m_mutex);
    return int(m_byWatch.size());
}

int InotifyHub::watchCount(const std::shared_ptr<InotifySubscription> &subscription) const
{
    QMutexLocker lock(&m_mutex);
    return int(m_bySubscription.value(subscription.get()).size());
}

void InotifyHub::readEvents()
{
    // What the kernel holds, so one burst is one dispatch; at most 1 MB, so a flood cannot keep
    // the loop here: the notifier fires again for the rest.
    QByteArray buffer;
    char chunk[64 * 1024] __attribute__((aligned(alignof(struct inotify_event))));
    for (int reads = 0; reads < 16; ++reads) {
        const ssize_t got = ::read(m_fd, chunk, sizeof chunk);
        if (got <= 0)
            break;
        buffer.append(chunk, got);
    }
    if (!buffer.isEmpty())
        dispatch(buffer);
}

void InotifyHub::dispatch(const QByteArray &buffer)
{
    QList<std::shared_ptr<InotifySubscription>> order;
    QHash<InotifySubscription *, QList<InotifyEvent>> events;
    bool overflow = false;
    {
        QMutexLocker lock(&m_mutex);
        for (qsizetype offset = 0; offset + qsizetype(sizeof(inotify_event)) <= buffer.size();) {
            inotify_event header;
            std::memcpy(&header, buffer.constData() + offset, sizeof header);
            const char *name = buffer.constData() + offset + sizeof header;
            offset += qsizetype(sizeof header) + header.len;
            if (offset > buffer.size())
                break; // the kernel never splits an event; a short read would be ours to drop
            const QByteArray entry = header.len ? QByteArray(name, qstrnlen(name, header.len)) : QByteArray();
            if (header.mask & IN_Q_OVERFLOW) {
                overflow = true;
                continue;
            }
            const auto users = m_byWatch.value(header.wd);
            for (const auto &user : users) {
                auto found = events.find(user.get());
                if (found == events.end()) {
                    order.append(user);
                    found = events.insert(user.get(), {});
                }
                found->append(InotifyEvent{header.wd, header.mask, header.cookie, entry});
            }
            // The kernel has dropped the watch (folder deleted, or removed by us).
            if (header.mask & IN_IGNORED) {
                for (const auto &user : users) {
                    auto mine = m_bySubscription.find(user.get());
                    if (mine != m_bySubscription.end())
                        mine->remove(header.wd);
                }
                m_byWatch.remove(header.wd);
            }
        }
        if (overflow) {
            for (auto it = m_byWatch.cbegin(); it != m_byWatch.cend(); ++it) {
                for (const auto &user : it.value()) {
                    if (!events.contains(user.get())) {
                        order.append(user);
                        events.insert(user.get(), {});
                    }
                }
            }
        }
    }
    // Handlers run unlocked: they may add and remove watches. One closed by an earlier handler of
    // this same read is skipped.
    for (const auto &subscription : order) {
        if (overflow && !subscription->isClosed() && subscription->m_onOverflow)
            subscription->m_onOverflow();
        const QList<InotifyEvent> &mine = events[subscription.get()];
        if (!mine.isEmpty() && !subscription->isClosed())
            subscription->m_onEvents(mine);
    }
}

} // namespace corvane
