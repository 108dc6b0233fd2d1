#include "source_control/inspector/BackgroundClock.h"

#include <QCoreApplication>
#include <QSet>
#include <QTimer>

#include <algorithm>

namespace corvane {

BackgroundClock &BackgroundClock::instance()
{
    static QPointer<BackgroundClock> clock;
    if (!clock)
        clock = new BackgroundClock(QCoreApplication::instance());
    return *clock;
}

BackgroundClock::BackgroundClock(QObject *parent) : QObject(parent), m_timer(new QTimer(this))
{
    // Coarse on purpose: a fetch a few seconds late costs nothing, a wake-up saved is battery.
    m_timer->setTimerType(Qt::VeryCoarseTimer);
    connect(m_timer, &QTimer::timeout, this, &BackgroundClock::tick);
    m_timer->start(tickSeconds * 1000);
}

int BackgroundClock::timerCount() const
{
    return int(findChildren<QTimer *>().size());
}

void BackgroundClock::subscribe(QObject *subscriber, Beat beat, std::function<std::optional<QString>()> key,
                                std::function<void()> work)
{
    const bool known = std::any_of(m_subscriptions.cbegin(), m_subscriptions.cend(),
                                   [subscriber](const Subscription &s) { return s.subscriber == subscriber; });
    m_subscriptions.append(Subscription{subscriber, beat, std::move(key), std::move(work)});
    if (!known)
        connect(subscriber, &QObject::destroyed, this, [this, subscriber] { unsubscribe(subscriber); });
}

void BackgroundClock::unsubscribe(QObject *subscriber)
{
    m_subscriptions.removeIf([subscriber](const Subscription &s) { return !s.subscriber || s.subscriber == subscriber; });
}

void BackgroundClock::tick()
{
    ++m_ticks;
    const qint64 seconds = m_ticks * tickSeconds;
    for (Beat beat : {Beat::fetch, Beat::pullRequest})
        if (seconds % intervalSeconds(beat) == 0)
            run(beat);
}

void BackgroundClock::run(Beat beat)
{
    QSet<QString> done;
    // A copy: work may subscribe or unsubscribe.
    const QList<Subscription> subscriptions = m_subscriptions;
    for (const Subscription &s : subscriptions) {
        if (s.beat != beat || !s.subscriber)
            continue;
        const std::optional<QString> key = s.key();
        if (!key || done.contains(*key))
            continue;
        done.insert(*key);
        s.work();
    }
}

} // namespace corvane
