#pragma once

#include "core/NotificationCenter.h"
#include "source_control/InotifyHub.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>

namespace corvane {

// Watches ".git/HEAD" of a checkout and posts `gitStateDidChange` with the directory under
// "workingDirectory" when it changes: how a branch switched in a terminal or by an agent reaches
// the interface.
//
// git replaces HEAD by renaming a new file over it, so after an event the watch refers to a dead
// file: the monitor posts, then starts itself again 0.5 seconds later. A change inside that gap
// is caught when the watch comes back, by comparing HEAD with what it held at the post.
//
// In a linked worktree ".git" is a file that names the worktree's folder inside the main
// repository; the monitor watches the HEAD there.
class GitStateMonitor : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds rearmDelay{500};

    explicit GitStateMonitor(const QString &workingDirectory,
                             NotificationCenter &center = NotificationCenter::instance(),
                             InotifyHub *hub = nullptr, QObject *parent = nullptr);
    ~GitStateMonitor() override;

    QString workingDirectory() const { return m_workingDirectory; }
    QString headPath() const;

    // Stops first when running, so it also restarts. A failure only logs.
    void start();
    void stop();
    // Running from a successful start() to stop(), the re-arm gap included.
    bool isRunning() const { return m_running; }
    // The watch is in place (false during the re-arm gap).
    bool isArmed() const { return bool(m_subscription); }

signals:
    // Emitted with each post.
    void changed();

private:
    void handleEvents();
    void rearm();
    QByteArray readHead() const;

    QString m_workingDirectory;
    NotificationCenter *m_center;
    QPointer<InotifyHub> m_hub;
    std::shared_ptr<InotifySubscription> m_subscription;
    QTimer m_rearm;
    bool m_running = false;
    QByteArray m_headAtPost;
};

} // namespace corvane
