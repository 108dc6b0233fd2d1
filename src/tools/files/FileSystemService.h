#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <type_traits>

class QThread;

namespace corvane {

// The serial execution context of the file tree for one root: every disk operation of the tree
// (listing, copy, move, rename, trash) runs on this service's own thread, one after another in
// the order asked, so that a long copy never holds up the window and a listing asked after a
// move sees the move. A new service is made for each root.
//
// Results come back queued to the thread of the context object given with the work, and are
// dropped when that object has gone. Going away, the service drops the work still waiting; an
// operation already running ends on its own (a copy is never cut off half-way) and nothing
// waits for it.
class FileSystemService : public QObject
{
    Q_OBJECT

public:
    explicit FileSystemService(const QString &rootPath, QObject *parent = nullptr);
    ~FileSystemService() override;

    QString rootPath() const { return m_rootPath; }

    // Runs `work` on the service's thread; its result goes to `done` on `context`'s thread.
    // `work` must capture values only.
    template <typename Work, typename Done>
    void run(QObject *context, Work work, Done done)
    {
        QPointer<QObject> guard(context);
        QObject *app = QCoreApplication::instance();
        QObject *receiver = app && context->thread() == app->thread() ? app : context;
        post([guard, receiver, work = std::move(work), done = std::move(done)]() mutable {
            auto result = work();
            QMetaObject::invokeMethod(
                receiver,
                [guard, done = std::move(done), result = std::move(result)]() mutable {
                    if (guard)
                        done(std::move(result));
                },
                Qt::QueuedConnection);
        });
    }

private:
    void post(std::function<void()> task);

    QString m_rootPath;
    QThread *m_thread;
    QObject *m_worker; // lives on m_thread; tasks are queued calls to it
};

} // namespace corvane
