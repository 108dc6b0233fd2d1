#include "tools/terminal/TerminalPanelModel.h"

#include "core/Log.h"
#include "tools/terminal/TerminalSession.h"

#include <QPointer>
#include <QTimer>

namespace corvane {

TerminalPanelModel::TerminalPanelModel(const QUuid &workspaceId, const QString &workingDirectory, QObject *parent)
    : QObject(parent), m_workspaceId(workspaceId), m_directory(workingDirectory)
{
}

TerminalSession *TerminalPanelModel::session(const QUuid &id) const
{
    for (TerminalSession *s : m_sessions)
        if (s->id() == id)
            return s;
    return nullptr;
}

void TerminalPanelModel::setActive(const QUuid &id)
{
    if (id == m_active || !session(id))
        return;
    m_active = id;
    emit activeChanged(session(id));
}

TerminalSession *TerminalPanelModel::newSession(const std::optional<QString> &name, const QString &shell,
                                                const QStringList &arguments)
{
    const QString title = name.value_or(QStringLiteral("Terminal %1").arg(m_sessions.size() + 1));
    auto *created = new TerminalSession(title, m_directory, this);
    m_sessions.append(created);
    created->startShell(shell, arguments);
    emit sessionsChanged();
    setActive(created->id());
    return created;
}

TerminalSession *TerminalPanelModel::runCommand(const QString &command, const QString &name)
{
    TerminalSession *created = newSession(name);
    QPointer<TerminalSession> alive(created);
    QTimer::singleShot(commandDelayMs, this, [alive, command] {
        if (alive && !alive->isTerminating())
            alive->sendCommand(command);
    });
    return created;
}

void TerminalPanelModel::terminateSession(const QUuid &id)
{
    TerminalSession *found = session(id);
    if (!found) {
        logLine("Terminal", QStringLiteral("No terminal %1 in this panel").arg(id.toString(QUuid::WithoutBraces)));
        return;
    }
    found->terminate();
    emit sessionsChanged();
}

void TerminalPanelModel::closeSession(const QUuid &id)
{
    const qsizetype index = m_sessions.indexOf(session(id));
    if (index < 0)
        return;
    TerminalSession *closing = m_sessions.takeAt(index);
    // Deleted once its shell is gone, so the shell is reaped and nothing lingers as a zombie.
    connect(closing, &TerminalSession::terminated, closing, &QObject::deleteLater);
    closing->terminate();
    emit sessionsChanged();
    if (m_sessions.isEmpty()) {
        m_active = {};
        emit emptied();
        return;
    }
    if (m_active == id) {
        m_active = {};
        setActive(m_sessions.at(qMin(index, m_sessions.size() - 1))->id());
    }
}

void TerminalPanelModel::terminateAll()
{
    for (TerminalSession *s : std::as_const(m_sessions))
        s->terminate();
}

} // namespace corvane
