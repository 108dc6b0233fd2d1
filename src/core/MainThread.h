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
template <typename Work, typename Done>
void runInBackground(QObject *context, Work work, Done done)
{
    QPointer<QObject> guard(context);
    QThreadPool::globalInstance()->start([guard, work = std::move(work), done = std::move(done)]() mutable {
        auto result = work();
        if (!guard)
            return;
        QMetaObject::invokeMethod(guard.data(), [guard, done = std::move(done), result = std::move(result)]() mutable {
            if (guard)
                done(std::move(result));
        }, Qt::QueuedConnection);
    });
}

} // namespace corvane
