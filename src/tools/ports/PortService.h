#pragma once

#include "core/Result.h"
#include "tools/ports/PortListing.h"

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>

#include <optional>

namespace corvane {

class ChildProcess;

// The listening TCP ports of the user's projects, rescanned on a poll.
//
// A scan runs lsof twice as child processes (the listening sockets, then the working folders of
// their processes and parents) without blocking: `ports`, `isLoading` and `lastError` change on
// the thread that owns the service, and changed() follows each change.
//
// The application has one service (shared()) however many windows show ports: each open view
// registers as a viewer, the first starts the poll and the last one leaving stops it, so there
// is one lsof every interval, not one per window.
class PortService : public QObject
{
    Q_OBJECT

public:
    static constexpr int ViewerIntervalSeconds = 15;

    explicit PortService(QObject *parent = nullptr);
    ~PortService() override;

    // The application's service, made at first use and owned by the application object.
    static PortService &shared();

    // One scan; nothing happens while one is running.
    void refresh();
    // Refreshes now and then every `intervalSeconds` until stopPolling().
    void startPolling(int intervalSeconds);
    void stopPolling();
    bool isPolling() const { return m_poll.isActive(); }

    // A view that shows the ports: polling runs while there is at least one. A viewer that is
    // destroyed leaves on its own.
    void addViewer(QObject *viewer);
    void removeViewer(QObject *viewer);
    int viewerCount() const { return int(m_viewers.size()); }

    // Used by the next scan.
    void setProjectScopes(const QList<ProjectScope> &scopes) { m_scopes = scopes; }
    const QList<ProjectScope> &projectScopes() const { return m_scopes; }
    // The lsof to run: a bare name is looked up in the PATH.
    void setProgram(const QString &program) { m_program = program; }

    const QList<PortInfo> &ports() const { return m_ports; }
    bool isLoading() const { return m_loading; }
    // Whether a scan has finished since the service was made (the view's "Scanning ports...").
    bool hasScanned() const { return m_scanned; }
    const std::optional<QString> &lastError() const { return m_lastError; }

    // SIGTERM to the process, then a refresh (and another a moment later, when the server has
    // had time to close its socket). No SIGKILL follows.
    Status stop(qint64 pid);

signals:
    void changed();

private:
    void startListing();
    void listed(const QByteArray &output);
    void finish(const QList<PortInfo> &ports);
    void fail(const QString &message);
    ChildProcess *runLsof(const QStringList &arguments);

    QString m_program = QStringLiteral("lsof");
    QList<ProjectScope> m_scopes;
    QList<ProjectScope> m_scanScopes; // the scopes the running scan attributes by
    QList<PortInfo> m_ports;
    std::optional<QString> m_lastError;
    bool m_loading = false;
    bool m_scanned = false;
    QTimer m_poll;
    QSet<QObject *> m_viewers;
    QPointer<ChildProcess> m_running;
};

} // namespace corvane
