#include "source_control/overview/ProjectOverviewViewModel.h"

#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/MainThread.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/overview/HygieneProbes.h"
#include "source_control/overview/HygieneRules.h"
#include "source_control/overview/MemoryFiles.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>
#include <csignal>

namespace corvane {

namespace {

QString canonical(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? QDir::cleanPath(path) : resolved;
}

// Git's text for a failed measurement: its first line is the readable part.
QString gitFailure(const GitError &error)
{
    const QString text = error.description().trimmed().section(QLatin1Char('\n'), 0, 0);
    return text.isEmpty() ? QStringLiteral("git failed") : text;
}

template <typename T>
std::optional<QString> countText(const std::optional<T> &count)
{
    return count ? std::optional(QString::number(*count)) : std::nullopt;
}

} // namespace

ProjectOverviewViewModel::ProjectOverviewViewModel(StoreContext &context, WorkspaceLifecycleService &lifecycle,
                                                   NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_lifecycle(lifecycle), m_center(center), m_home(QDir::homePath()),
      m_ownPid(QCoreApplication::applicationPid())
{
    m_archiveObserver = m_center.addObserver(broadcast::chatArchiveStateDidChange, [this](const Notification &) {
        if (m_project)
            loadWorkspaces();
    }, nullptr, this);
}

ProjectOverviewViewModel::~ProjectOverviewViewModel()
{
    m_center.removeObserver(m_archiveObserver);
}

void ProjectOverviewViewModel::setProject(const std::shared_ptr<Project> &project)
{
    if (!project || !m_project || m_project->id != project->id) {
        // The detail lists stay with their project: coming back within the freshness time shows
        // them without measuring again.
        if (m_project)
            m_kept.insert(m_project->id, {m_details, m_errors});
        const Kept kept = project ? m_kept.value(project->id) : Kept{};
        m_details = kept.details;
        m_errors = kept.errors;
        ++m_generation;
        m_recent.clear();
        m_archived.clear();
        m_branches.clear();
        m_currentBranch.clear();
        m_worktrees.clear();
        m_memoryFiles.clear();
        m_gitPending = m_hygienePending = 0;
        m_diskBusy = m_dependenciesBusy = false;
    }
    m_project = project;
    if (!m_project) {
        emit workspacesChanged();
        emit gitDataChanged();
        emit memoryFilesChanged();
        emit hygieneChanged();
        return;
    }
    loadWorkspaces();
    loadMemoryFiles();
    loadGitData();
    if (hygiene::isFresh(m_project->hygieneCheckedAt, now()) && m_measured.contains(m_project->id)) {
        emit hygieneChanged();
        return;
    }
    m_measured.insert(m_project->id);
    loadHygiene();
}

void ProjectOverviewViewModel::refreshAll()
{
    if (!m_project)
        return;
    loadWorkspaces();
    loadMemoryFiles();
    loadGitData();
    m_measured.insert(m_project->id);
    loadHygiene();
}

void ProjectOverviewViewModel::loadWorkspaces()
{
    m_recent.clear();
    m_archived.clear();
    if (m_project) {
        for (const auto &workspace : m_lifecycle.workspaces(*m_project, true))
            (workspace->isArchived() ? m_archived : m_recent).append(workspace);
        const auto newestFirst = [](const std::shared_ptr<Workspace> &a, const std::shared_ptr<Workspace> &b) {
            return a->updatedAt() > b->updatedAt();
        };
        std::stable_sort(m_recent.begin(), m_recent.end(), newestFirst);
        std::stable_sort(m_archived.begin(), m_archived.end(), newestFirst);
    }
    emit workspacesChanged();
}

void ProjectOverviewViewModel::loadMemoryFiles()
{
    m_memoryFiles = m_project ? memoryfiles::load(m_project->path, m_home) : QList<MemoryFileInfo>();
    emit memoryFilesChanged();
}

void ProjectOverviewViewModel::loadGitData()
{
    if (!m_project)
        return;
    const quint64 generation = m_generation;
    const QString path = m_project->path;
    const auto partDone = [this, generation] {
        if (generation != m_generation)
            return false;
        --m_gitPending;
        return true;
    };
    m_gitPending += 3;
    // Three instances, so that the three calls run side by side rather than one after another.
    GitService(path).listBranches().then(this, [this, partDone](GitResult<QList<GitBranch>> result) {
        if (!partDone())
            return;
        m_branches = result ? *result : QList<GitBranch>();
        emit gitDataChanged();
        settle();
    });
    GitService(path).currentBranch().then(this, [this, partDone](GitResult<QString> result) {
        if (!partDone())
            return;
        m_currentBranch = result ? *result : QString();
        emit gitDataChanged();
        settle();
    });
    GitService(path).listWorktrees().then(this, [this, partDone, path](GitResult<QList<GitWorktree>> result) {
        if (!partDone())
            return;
        m_worktrees.clear();
        const QString own = canonical(path);
        for (const GitWorktree &worktree : result ? *result : QList<GitWorktree>())
            if (canonical(worktree.path) != own)
                m_worktrees.append(worktree);
        emit gitDataChanged();
        emit hygieneChanged(); // the worktrees without a workspace
        settle();
    });
    emit gitDataChanged();
}

QList<GitWorktree> ProjectOverviewViewModel::orphanWorktrees() const
{
    if (!m_project)
        return {};
    QSet<QString> used;
    for (const auto *list : {&m_recent, &m_archived})
        for (const auto &workspace : *list)
            if (workspace->usesWorktree)
                if (const auto folder = workspace->workingDirectory(m_project.get()))
                    used.insert(canonical(*folder));
    QList<GitWorktree> out;
    for (const GitWorktree &worktree : m_worktrees)
        if (!used.contains(canonical(worktree.path)))
            out.append(worktree);
    return out;
}

QStringList ProjectOverviewViewModel::projectFolders() const
{
    QStringList folders{m_project->path};
    for (const GitWorktree &worktree : m_worktrees)
        folders.append(worktree.path);
    for (const auto &workspace : m_recent)
        if (const auto folder = workspace->workingDirectory(m_project.get()); folder && !folders.contains(*folder))
            folders.append(*folder);
    return folders;
}

void ProjectOverviewViewModel::setError(HygieneFigureKind kind, const std::optional<QString> &error)
{
    if (error) {
        m_errors.insert(kind, *error);
        logLine("ProjectOverview", QStringLiteral("%1 of %2: %3").arg(figure(kind).title, m_project->path, *error));
    } else {
        m_errors.remove(kind);
    }
}

void ProjectOverviewViewModel::loadHygiene()
{
    if (!m_project || m_project->path.isEmpty() || m_hygienePending > 0)
        return;
    ++m_hygieneRuns;
    const quint64 generation = m_generation;
    const QString path = m_project->path;
    m_hygienePending = 4;
    emit hygieneChanged();

    // Each answer lands on the project's cached count and its detail list; a failure leaves the
    // count absent and says why, rather than showing a number nobody measured.
    const auto land = [this, generation](HygieneFigureKind kind, std::optional<qint64> &field, qsizetype count,
                                         const std::optional<QString> &error) {
        field = error ? std::nullopt : std::optional<qint64>(count);
        setError(kind, error);
        hygienePartDone(generation);
    };

    GitService(path).listStashes().then(this, [this, generation, land](GitResult<QList<GitStash>> result) {
        if (generation != m_generation)
            return;
        m_details.stashes = result ? *result : QList<GitStash>();
        land(HygieneFigureKind::stashes, m_project->hygieneStashCount, m_details.stashes.size(),
             result ? std::nullopt : std::optional(gitFailure(result.error())));
    });
    GitService(path).fileStatuses().then(this, [this, generation, land](GitResult<QList<GitFileStatus>> result) {
        if (generation != m_generation)
            return;
        m_details.uncommittedFiles = result ? *result : QList<GitFileStatus>();
        land(HygieneFigureKind::uncommitted, m_project->hygieneUncommittedCount, m_details.uncommittedFiles.size(),
             result ? std::nullopt : std::optional(gitFailure(result.error())));
    });
    GitService(path).staleBranches(hygiene::staleAfterDays).then(this, [this, generation, land](GitResult<QList<StaleBranch>> result) {
        if (generation != m_generation)
            return;
        m_details.staleBranches = result ? *result : QList<StaleBranch>();
        land(HygieneFigureKind::staleBranches, m_project->hygieneStaleBranchCount, m_details.staleBranches.size(),
             result ? std::nullopt : std::optional(gitFailure(result.error())));
    });
    // The scan needs every worktree's folder, which git lists first.
    GitService(path).listWorktrees().then(this, [this, generation, land, path](GitResult<QList<GitWorktree>> worktrees) {
        if (generation != m_generation)
            return;
        QStringList folders = projectFolders();
        for (const GitWorktree &worktree : worktrees ? *worktrees : QList<GitWorktree>())
            if (!folders.contains(worktree.path))
                folders.append(worktree.path);
        const qint64 ownPid = m_ownPid;
        runInBackground(this, [folders, ownPid] { return hygiene::scanLingeringProcesses(folders, ownPid); },
            [this, generation, land](Result<QList<ZombieProcess>> result) {
                if (generation != m_generation)
                    return;
                m_details.zombieProcesses = result ? *result : QList<ZombieProcess>();
                land(HygieneFigureKind::lingering, m_project->hygieneZombieCount, m_details.zombieProcesses.size(),
                     result ? std::nullopt : std::optional(result.error().message));
            });
    });
}

void ProjectOverviewViewModel::hygienePartDone(quint64 generation)
{
    if (generation != m_generation)
        return;
    if (--m_hygienePending == 0) {
        m_project->hygieneCheckedAt = now();
        saveQuietly();
    }
    emit hygieneChanged();
    settle();
}

void ProjectOverviewViewModel::loadDiskUsage()
{
    if (!m_project || m_diskBusy)
        return;
    m_diskBusy = true;
    emit hygieneChanged();
    const quint64 generation = m_generation;
    const QStringList folders = projectFolders();
    runInBackground(this, [folders] { return hygiene::measureDiskUsage(folders); },
        [this, generation](Result<QString> result) {
            if (generation != m_generation)
                return;
            m_diskBusy = false;
            m_project->hygieneDiskUsage = result ? std::optional(*result) : std::nullopt;
            setError(HygieneFigureKind::diskUsage, result ? std::nullopt : std::optional(result.error().message));
            saveQuietly();
            emit hygieneChanged();
            settle();
        });
}

void ProjectOverviewViewModel::checkDependencies()
{
    if (!m_project || m_dependenciesBusy)
        return;
    m_dependenciesBusy = true;
    emit hygieneChanged();
    const quint64 generation = m_generation;
    const QStringList folders = projectFolders();
    runInBackground(this, [folders] { return hygiene::checkDependencies(folders); },
        [this, generation](Result<std::optional<DependencyReport>> result) {
            if (generation != m_generation)
                return;
            m_dependenciesBusy = false;
            m_details.dependencyReport = result ? *result : std::nullopt;
            m_project->hygieneOutdatedDepsCount = m_details.dependencyReport
                ? std::optional<qint64>(m_details.dependencyReport->outdatedCount) : std::nullopt;
            setError(HygieneFigureKind::outdated, result ? std::nullopt : std::optional(result.error().message));
            m_dependenciesChecked.insert(m_project->id);
            saveQuietly();
            emit hygieneChanged();
            settle();
        });
}

HygieneFigure ProjectOverviewViewModel::figure(HygieneFigureKind kind) const
{
    HygieneFigure f;
    f.kind = kind;
    if (m_errors.contains(kind))
        f.error = m_errors.value(kind);
    const Project empty;
    const Project &p = m_project ? *m_project : empty;
    const bool measuring = m_hygienePending > 0;
    // Most figures are a count with its own colour rule.
    auto counted = [&f](const char *title, std::optional<qint64> count, HygieneColor (*color)(std::optional<qint64>),
                        bool busy) {
        f.title = QString::fromLatin1(title);
        f.value = countText(count);
        f.color = color(count);
        f.busy = busy;
    };
    switch (kind) {
    case HygieneFigureKind::diskUsage:
        f.title = QStringLiteral("Disk Usage");
        f.value = p.hygieneDiskUsage;
        f.color = hygiene::diskUsageColor(p.hygieneDiskUsage);
        f.busy = m_diskBusy;
        break;
    case HygieneFigureKind::stashes:
        counted("Stashes", p.hygieneStashCount, &hygiene::stashColor, measuring);
        break;
    case HygieneFigureKind::uncommitted:
        counted("Uncommitted Files", p.hygieneUncommittedCount, &hygiene::uncommittedColor, measuring);
        break;
    case HygieneFigureKind::staleBranches:
        counted("Stale Branches", p.hygieneStaleBranchCount, &hygiene::staleBranchColor, measuring);
        break;
    case HygieneFigureKind::lingering:
        counted("Lingering Processes", p.hygieneZombieCount, &hygiene::lingeringColor, measuring);
        break;
    case HygieneFigureKind::outdated:
        counted("Outdated Dependencies", p.hygieneOutdatedDepsCount, &hygiene::outdatedColor, m_dependenciesBusy);
        if (!f.value && !f.error && m_project && m_dependenciesChecked.contains(m_project->id))
            f.value = QStringLiteral("No package.json");
        break;
    case HygieneFigureKind::orphanWorktrees:
        counted("Worktrees Without Workspace",
                m_project && m_gitPending == 0 ? std::optional<qint64>(orphanWorktrees().size()) : std::nullopt,
                &hygiene::orphanWorktreeColor, m_gitPending > 0);
        break;
    }
    return f;
}

QList<HygieneFigure> ProjectOverviewViewModel::figures() const
{
    QList<HygieneFigure> out;
    for (HygieneFigureKind kind : {HygieneFigureKind::diskUsage, HygieneFigureKind::stashes, HygieneFigureKind::uncommitted,
                                   HygieneFigureKind::staleBranches, HygieneFigureKind::lingering, HygieneFigureKind::outdated,
                                   HygieneFigureKind::orphanWorktrees})
        out.append(figure(kind));
    return out;
}

std::optional<HygieneColor> ProjectOverviewViewModel::summaryColor() const
{
    if (!m_project || !m_project->hygieneCheckedAt)
        return std::nullopt;
    const Project &p = *m_project;
    return hygiene::summary({hygiene::diskUsageColor(p.hygieneDiskUsage), hygiene::stashColor(p.hygieneStashCount),
                             hygiene::uncommittedColor(p.hygieneUncommittedCount),
                             hygiene::staleBranchColor(p.hygieneStaleBranchCount),
                             hygiene::lingeringColor(p.hygieneZombieCount), hygiene::outdatedColor(p.hygieneOutdatedDepsCount)});
}

QString ProjectOverviewViewModel::healthWord() const
{
    return hygiene::healthWord(summaryColor());
}

bool ProjectOverviewViewModel::isIdle() const
{
    return m_gitPending == 0 && m_hygienePending == 0 && !m_diskBusy && !m_dependenciesBusy && !m_stopping
        && m_actionsPending == 0;
}

void ProjectOverviewViewModel::settle()
{
    if (isIdle())
        emit idle();
}

void ProjectOverviewViewModel::saveQuietly()
{
    if (Status saved = m_context.save(); !saved)
        logLine("ProjectOverview", QStringLiteral("Saving the hygiene figures failed: ") + saved.error().message);
}

// -- Actions -----------------------------------------------------------------------------------

void ProjectOverviewViewModel::gitAction(const QString &action, const GitFuture<void> &future,
                                         void (ProjectOverviewViewModel::*reload)())
{
    ++m_actionsPending;
    const quint64 generation = m_generation;
    future.then(this, [this, action, reload, generation](GitResult<void> result) {
        --m_actionsPending;
        if (!result)
            emit actionFailed(result.error().failureText(action));
        if (generation == m_generation)
            (this->*reload)();
        settle();
    });
}

void ProjectOverviewViewModel::deleteBranches(const QStringList &names)
{
    if (!m_project || names.isEmpty())
        return;
    GitService git(m_project->path);
    // One after another on the same serial context: the last answer comes when all are done.
    for (const QString &name : names.mid(0, names.size() - 1))
        git.deleteBranch(name, true).then(this, [this](GitResult<void> result) {
            if (!result)
                emit actionFailed(result.error().failureText(QStringLiteral("Delete branch")));
        });
    gitAction(QStringLiteral("Delete branch"), git.deleteBranch(names.last(), true), &ProjectOverviewViewModel::refreshGitAndHygiene);
}

void ProjectOverviewViewModel::refreshGitAndHygiene()
{
    loadGitData();
    loadHygiene();
}

void ProjectOverviewViewModel::switchBranch(const QString &name)
{
    if (m_project)
        gitAction(QStringLiteral("Switch branch"), GitService(m_project->path).switchBranch(name), &ProjectOverviewViewModel::loadGitData);
}

void ProjectOverviewViewModel::mergeBranch(const QString &name)
{
    if (m_project)
        gitAction(QStringLiteral("Merge"), GitService(m_project->path).merge(name), &ProjectOverviewViewModel::loadGitData);
}

void ProjectOverviewViewModel::deleteBranch(const QString &name)
{
    if (m_project)
        gitAction(QStringLiteral("Delete branch"), GitService(m_project->path).deleteBranch(name),
                  &ProjectOverviewViewModel::refreshGitAndHygiene);
}

void ProjectOverviewViewModel::applyStash(int index)
{
    if (m_project)
        gitAction(QStringLiteral("Apply stash"), GitService(m_project->path).applyStash(index), &ProjectOverviewViewModel::loadHygiene);
}

void ProjectOverviewViewModel::dropStash(int index)
{
    if (m_project)
        gitAction(QStringLiteral("Drop stash"), GitService(m_project->path).dropStash(index), &ProjectOverviewViewModel::loadHygiene);
}

void ProjectOverviewViewModel::stopProcesses(const QList<ZombieProcess> &processes)
{
    if (!m_project || processes.isEmpty() || m_stopping)
        return;
    m_stopping = true;
    emit hygieneChanged();
    const QList<ZombieProcess> signalled = hygiene::signalProcesses(processes, SIGTERM);
    // Polled rather than waited for: most processes go at once, and the page stays live.
    auto *poll = new QTimer(this);
    poll->setInterval(100);
    const QDateTime deadline = QDateTime::currentDateTime().addMSecs(m_stopGraceMs);
    connect(poll, &QTimer::timeout, this, [this, poll, signalled, deadline] {
        QList<ZombieProcess> alive;
        for (const ZombieProcess &process : signalled)
            if (hygiene::isAlive(process))
                alive.append(process);
        if (!alive.isEmpty() && QDateTime::currentDateTime() < deadline)
            return;
        hygiene::signalProcesses(alive, SIGKILL);
        poll->deleteLater();
        m_stopping = false;
        loadHygiene();
        settle();
    });
    poll->start();
}

void ProjectOverviewViewModel::pruneWorktrees()
{
    if (m_project)
        gitAction(QStringLiteral("Prune worktrees"), m_lifecycle.pruneWorktrees(*m_project), &ProjectOverviewViewModel::loadGitData);
}

std::shared_ptr<Workspace> ProjectOverviewViewModel::adoptWorktree(const GitWorktree &worktree)
{
    if (!m_project)
        return {};
    auto workspace = m_lifecycle.adoptWorktree(*m_project, worktree);
    loadWorkspaces();
    emit hygieneChanged();
    return workspace;
}

GitFuture<LifecycleOutcome> ProjectOverviewViewModel::removeWorktree(const QString &path, bool confirmed)
{
    if (!m_project)
        return GitFuture<LifecycleOutcome>::ready(LifecycleOutcome::failed(QStringLiteral("No project is shown")));
    ++m_actionsPending;
    auto future = m_lifecycle.removeWorktree(*m_project, path, confirmed);
    future.then(this, [this](const GitResult<LifecycleOutcome> &result) {
        --m_actionsPending;
        if (!result)
            emit actionFailed(result.error().failureText(QStringLiteral("Remove worktree")));
        else if (result->kind == LifecycleOutcome::Kind::failed)
            emit actionFailed(result->message);
        loadWorkspaces();
        loadGitData();
        settle();
    });
    return future;
}

} // namespace corvane
