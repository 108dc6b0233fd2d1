#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>

class QTimer;

namespace corvane {

class StoreContext;
class TerminalPanelModel;

// One row of the terminal overview.
struct TerminalInfo
{
    QUuid id;
    QString name;
    QString workingDirectory;
    bool isRunning = false; // the shell has started something that still runs
    QDateTime createdAt;
    QString chatName;       // the workspace's name, or "Workspace"
    std::optional<QString> projectName;
    std::optional<QUuid> workspaceId;
    std::optional<QString> workspaceName;
    std::optional<QString> profileColorHex;
};

// Every terminal panel of the application, one per workspace that has shown its terminal, and
// the overview of all their sessions. The overview is one poll for all terminals (a single read
// of the process table), running only while someone watches it.
class TerminalService : public QObject
{
    Q_OBJECT

public:
    explicit TerminalService(StoreContext &context, QObject *parent = nullptr);
    ~TerminalService() override;

    TerminalPanelModel *panel(const QUuid &workspaceId) const { return m_panels.value(workspaceId); }
    // Made with its first session on first use.
    TerminalPanelModel *ensurePanel(const QUuid &workspaceId, const QString &workingDirectory);
    // The workspace closed or was archived: its shells end and the panel goes.
    void closePanel(const QUuid &workspaceId);
    void terminateAll();
    // At program end: every shell and everything they started, waiting at most a moment for
    // them to go before what is left is killed.
    void shutdown();
    // Panels of workspaces that were archived or deleted are closed.
    void closePanelsOfGoneWorkspaces();

    const QList<TerminalInfo> &terminals() const { return m_terminals; }
    void refresh();
    // Refreshes now and then every `seconds` until stopped; watchers count, so two overviews
    // share one poll and the poll stops when the last one stops.
    void startPolling(int seconds);
    void stopPolling();
    // Ends that session's processes and shell; an unknown id changes nothing.
    void stopTerminal(const QUuid &sessionId);

signals:
    void terminalsChanged();
    void panelAdded(TerminalPanelModel *panel);
    void panelRemoved(const QUuid &workspaceId);

private:
    StoreContext &m_context;
    QHash<QUuid, TerminalPanelModel *> m_panels;
    QList<TerminalInfo> m_terminals;
    QTimer *m_poll;
    int m_watchers = 0;
};

} // namespace corvane
