#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

class TerminalSession;

// The terminals of one workspace: its sessions in tab order and the active one. It lives while
// the program runs, so the shells keep running while the user is elsewhere; nothing of it is
// stored.
class TerminalPanelModel : public QObject
{
    Q_OBJECT

public:
    static constexpr int commandDelayMs = 500;

    TerminalPanelModel(const QUuid &workspaceId, const QString &workingDirectory, QObject *parent = nullptr);

    QUuid workspaceId() const { return m_workspaceId; }
    QString workingDirectory() const { return m_directory; }
    const QList<TerminalSession *> &sessions() const { return m_sessions; }
    TerminalSession *session(const QUuid &id) const;
    TerminalSession *activeSession() const { return session(m_active); }
    void setActive(const QUuid &id);

    // "Terminal N", N the count after adding. `shell` empty: the user's login shell.
    TerminalSession *newSession(const std::optional<QString> &name = std::nullopt, const QString &shell = {},
                                const QStringList &arguments = {});
    // A new session that runs `command` once its shell had time to print a prompt.
    TerminalSession *runCommand(const QString &command, const QString &name);
    // Ends the session and removes its tab; the last one empties the panel.
    void closeSession(const QUuid &id);
    // Ends its processes and shell but keeps the tab.
    void terminateSession(const QUuid &id);
    void terminateAll();

signals:
    void sessionsChanged();
    void activeChanged(TerminalSession *session);
    // The last tab was closed: the panel goes.
    void emptied();

private:
    QUuid m_workspaceId;
    QString m_directory;
    QList<TerminalSession *> m_sessions;
    QUuid m_active;
};

} // namespace corvane
