#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QThreadPool>

#include <utility>

namespace corvane {

// The one way to hop back to the main thread: `fn` runs there, queued, unless `context` has been
// destroyed by then. Called on the main thread it still queues, so the caller's stack unwinds first.
template <typename Fn>
void runOnMainThread(QObject *context, Fn &&fn)
{
    Q_ASSERT(context);
    QMetaObject::invokeMethod(context, std::forward<Fn>(fn), Qt::QueuedConnection);
}

inline bool isMainThread()
{
    return QCoreApplication::instance() && QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Background work with its result handed back on the thread of `context` (normally the main one).
// `work` runs on the global pool and must not touch records of the caller's contexts; it returns a
// value type. `done` is skipped when `context` is gone.
//
// Both functions travel back with the result and are destroyed on the receiving thread: a
// capture may hold the last reference to an object with timers (the store, when the window
// closed during a scan), and such an object must not die on a pool thread. The hand-back goes
// through the application object, which outlives `context` and the pool's work, so a context
// destroyed while the work runs is noticed on its own thread instead of raced from the pool.
template <typename Work, typename Done>
void runInBackground(QObject *context, Work work, Done done)
{
    Q_ASSERT(context);
    QPointer<QObject> guard(context);
    QObject *app = QCoreApplication::instance();
    QObject *receiver = app && context->thread() == app->thread() ? app : context;
    QThreadPool::globalInstance()->start(
        [guard, receiver, work = std::move(work), done = std::move(done)]() mutable {
            auto result = work();
            QMetaObject::invokeMethod(
                receiver,
                [guard, work = std::move(work), done = std::move(done), result = std::move(result)]() mutable {
                    if (guard)
                        done(std::move(result));
                },
                Qt::QueuedConnection);
        });
}

} // namespace corvane
