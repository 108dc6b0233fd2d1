#include "source_control/workspaces/BranchSync.h"

#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/GitStateMonitor.h"

#include <QDir>

namespace corvane {

namespace {

QString sameFolder(const QString &path)
{
    return QDir::cleanPath(path);
}

} // namespace

BranchSync::BranchSync(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context)
{
    m_observer = broadcast::observe<broadcast::GitStateChanged>(center, this, [this](const broadcast::GitStateChanged &change) {
        refresh(change.workingDirectory);
    });
}

QObject *BranchSync::makeMonitor(const QString &workingDirectory, NotificationCenter &center)
{
    auto *monitor = new GitStateMonitor(workingDirectory, center);
    monitor->start();
    return monitor;
}

void BranchSync::refresh(const QString &workingDirectory)
{
    const QString folder = sameFolder(workingDirectory);
    const quint64 generation = ++m_generation[folder];
    GitService(folder).currentBranch().then(this, [this, folder, generation](const GitResult<QString> &branch) {
        if (m_generation.value(folder) != generation)
            return; // a newer read is on its way
        if (!branch || branch->isEmpty() || *branch == QLatin1String("HEAD"))
            return; // not a repository any more, or a detached HEAD: keep what is shown
        store(folder, *branch);
    });
}

void BranchSync::store(const QString &folder, const QString &branch)
{
    bool changed = false;
    for (const auto &workspace : m_context.fetchOrEmpty<Workspace>()) {
        if (workspace->isArchived())
            continue;
        const auto project = workspace->projectId ? m_context.get<Project>(*workspace->projectId) : nullptr;
        const auto directory = workspace->workingDirectory(project.get());
        if (!directory || sameFolder(*directory) != folder)
            continue;
        if (workspace->gitBranch != branch) {
            workspace->gitBranch = branch;
            changed = true;
        }
        for (const auto &chat : m_context.fetchOrEmpty<Chat>(Query(where::eq("workspaceId", workspace->id)))) {
            const auto chatFolder = chat->workingDirectory(workspace.get(), project.get());
            if (chatFolder && sameFolder(*chatFolder) == folder && chat->gitBranch != branch) {
                chat->gitBranch = branch;
                changed = true;
            }
        }
    }
    if (!changed)
        return;
    if (Status saved = m_context.save(); !saved)
        logLine("BranchSync", QStringLiteral("Could not store the branch of %1: %2").arg(folder, saved.error().message));
    logLine("BranchSync", QStringLiteral("%1 is now on %2").arg(folder, branch));
    emit branchStored(folder, branch);
}

} // namespace corvane
