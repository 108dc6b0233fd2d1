#include "tools/terminal/TerminalService.h"

#include "core/Log.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "tools/terminal/ProcessTable.h"
#include "tools/terminal/TerminalPanelModel.h"
#include "tools/terminal/TerminalSession.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

#include <algorithm>

namespace corvane {

TerminalService::TerminalService(StoreContext &context, QObject *parent)
    : QObject(parent), m_context(context), m_poll(new QTimer(this))
{
    m_poll->setTimerType(Qt::VeryCoarseTimer);
    connect(m_poll, &QTimer::timeout, this, &TerminalService::refresh);
}

TerminalService::~TerminalService()
{
    terminateAll();
    qDeleteAll(m_panels); // sessions kill what is left as they go
}

TerminalPanelModel *TerminalService::ensurePanel(const QUuid &workspaceId, const QString &workingDirectory)
{
    if (TerminalPanelModel *existing = m_panels.value(workspaceId))
        return existing;
    auto *made = new TerminalPanelModel(workspaceId, workingDirectory, this);
    m_panels.insert(workspaceId, made);
    connect(made, &TerminalPanelModel::sessionsChanged, this, &TerminalService::refresh);
    connect(made, &TerminalPanelModel::emptied, this, [this, workspaceId] { closePanel(workspaceId); });
    made->newSession();
    emit panelAdded(made);
    refresh();
    return made;
}

void TerminalService::closePanel(const QUuid &workspaceId)
{
    TerminalPanelModel *panel = m_panels.take(workspaceId);
    if (!panel)
        return;
    panel->terminateAll();
    emit panelRemoved(workspaceId);
    // Its sessions go with it once their shells have ended (or at once, killing what is left).
    QTimer::singleShot(TerminalSession::killDelayMs + 100, panel, &QObject::deleteLater);
    refresh();
}

void TerminalService::terminateAll()
{
    for (TerminalPanelModel *panel : std::as_const(m_panels))
        panel->terminateAll();
}

void TerminalService::shutdown()
{
    m_poll->stop();
    terminateAll();
    QDeadlineTimer deadline(TerminalSession::killDelayMs + 100);
    auto running = [this] {
        for (TerminalPanelModel *panel : std::as_const(m_panels))
            for (TerminalSession *session : panel->sessions())
                if (session->shellPid() > 0)
                    return true;
        return false;
    };
    while (running() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    // What is still there dies with its session.
    qDeleteAll(m_panels);
    m_panels.clear();
}

void TerminalService::closePanelsOfGoneWorkspaces()
{
    for (const QUuid &id : m_panels.keys()) {
        const auto workspace = m_context.get<Workspace>(id);
        if (!workspace || workspace->isArchived())
            closePanel(id);
    }
}

void TerminalService::refresh()
{
    const QHash<pid_t, pid_t> table = processtable::parents(); // one read for every terminal
    QList<TerminalInfo> rows;
    for (TerminalPanelModel *panel : std::as_const(m_panels)) {
        const auto workspace = m_context.get<Workspace>(panel->workspaceId());
        const auto project = workspace && workspace->projectId ? m_context.get<Project>(*workspace->projectId) : nullptr;
        const auto profile = project && project->profileId ? m_context.get<Profile>(*project->profileId) : nullptr;
        for (TerminalSession *session : panel->sessions()) {
            TerminalInfo info;
            info.id = session->id();
            info.name = session->name();
            info.workingDirectory = session->workingDirectory();
            info.isRunning = session->shellPid() > 0 && !processtable::descendants(table, session->shellPid()).isEmpty();
            info.createdAt = session->createdAt();
            info.chatName = workspace ? workspace->name : QStringLiteral("Workspace");
            if (workspace) {
                info.workspaceId = workspace->id;
                info.workspaceName = workspace->name;
            }
            if (project)
                info.projectName = project->name;
            if (profile)
                info.profileColorHex = profile->colorHex;
            rows << info;
        }
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const TerminalInfo &a, const TerminalInfo &b) { return a.createdAt < b.createdAt; });
    m_terminals = rows;
    emit terminalsChanged();
}

void TerminalService::startPolling(int seconds)
{
    ++m_watchers;
    refresh();
    m_poll->start(seconds * 1000);
}

void TerminalService::stopPolling()
{
    if (m_watchers > 0 && --m_watchers == 0)
        m_poll->stop();
}

void TerminalService::stopTerminal(const QUuid &sessionId)
{
    for (TerminalPanelModel *panel : std::as_const(m_panels)) {
        if (panel->session(sessionId)) {
            panel->terminateSession(sessionId);
            refresh();
            return;
        }
    }
    logLine("TerminalService", QStringLiteral("ERROR: No workspace terminal panel found for terminal %1")
                                   .arg(sessionId.toString(QUuid::WithoutBraces)));
}

} // namespace corvane
