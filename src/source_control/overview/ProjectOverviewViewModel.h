#pragma once

#include "core/NotificationCenter.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "source_control/GitFuture.h"
#include "source_control/GitTypes.h"
#include "source_control/overview/HygieneTypes.h"
#include "source_control/workspaces/WorkspaceTypes.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class StoreContext;
class WorkspaceLifecycleService;

// The project page's state: workspaces, branches, worktrees, memory files, and the hygiene
// figures with their detail lists. Lives on the main thread with the main store context.
//
// Showing a project paints from the store and the cached figures at once; git and the hygiene
// measurements come in afterwards, each on its own: the stash, uncommitted and stale-branch
// counts run on git side by side, the lingering-process scan on a worker thread. A figure
// measured less than ten minutes ago, in this window's life, is not measured again when the
// page comes back; refreshAll() measures whatever its age. Disk usage and outdated dependencies
// are slow and run only when asked for. Results of a project that is no longer shown are dropped.
class ProjectOverviewViewModel : public QObject
{
    Q_OBJECT

public:
    using Clock = std::function<QDateTime()>;

    ProjectOverviewViewModel(StoreContext &context, WorkspaceLifecycleService &lifecycle,
                             NotificationCenter &center = NotificationCenter::instance(), QObject *parent = nullptr);
    ~ProjectOverviewViewModel() override;

    // For tests and benchmarks: the time the freshness rule reads, and the home the memory files
    // and the process scan's own pid come from.
    void setClock(Clock clock) { m_clock = std::move(clock); }
    void setHomeDirectory(const QString &home) { m_home = home; }
    void setOwnPid(qint64 pid) { m_ownPid = pid; }
    // How long stopped processes get before SIGKILL.
    void setStopGraceMs(int ms) { m_stopGraceMs = ms; }

    void setProject(const std::shared_ptr<Project> &project);
    const std::shared_ptr<Project> &project() const { return m_project; }

    void refreshAll();
    void loadWorkspaces();
    void loadGitData();
    void loadMemoryFiles();
    void loadHygiene();
    void loadDiskUsage();
    void checkDependencies();

    const QList<std::shared_ptr<Workspace>> &recentWorkspaces() const { return m_recent; }
    const QList<std::shared_ptr<Workspace>> &archivedWorkspaces() const { return m_archived; }
    const QList<GitBranch> &branches() const { return m_branches; }
    const QString &currentBranch() const { return m_currentBranch; }
    // Every worktree but the project's own checkout.
    const QList<GitWorktree> &worktrees() const { return m_worktrees; }
    // Those no workspace works in.
    QList<GitWorktree> orphanWorktrees() const;
    const QList<MemoryFileInfo> &memoryFiles() const { return m_memoryFiles; }
    const HygieneDetails &hygieneDetails() const { return m_details; }
    // Why each figure's last measurement gave nothing.
    const QHash<HygieneFigureKind, QString> &errors() const { return m_errors; }

    // The tiles, in display order, with their values, colours and errors.
    QList<HygieneFigure> figures() const;
    HygieneFigure figure(HygieneFigureKind kind) const;
    // Of the six cached figures; none before the first measurement.
    std::optional<HygieneColor> summaryColor() const;
    QString healthWord() const;

    bool isLoadingGit() const { return m_gitPending > 0; }
    bool isLoadingHygiene() const { return m_hygienePending > 0; }
    bool isLoadingDiskUsage() const { return m_diskBusy; }
    bool isCheckingDependencies() const { return m_dependenciesBusy; }
    bool isStoppingProcesses() const { return m_stopping; }
    // Nothing is loading, measuring or stopping.
    bool isIdle() const;
    // How many times the four measurements were started since construction (for tests).
    int hygieneRuns() const { return m_hygieneRuns; }

    // -- Actions (each reloads what it changed) ---------------------------------------------------

    // "git branch -D" for each: stale branches are often unmerged, and the page lists them in
    // its confirmation before this runs.
    void deleteBranches(const QStringList &names);
    void switchBranch(const QString &name);
    void mergeBranch(const QString &name);
    // "git branch -d": git refuses a branch that is not merged, and says so.
    void deleteBranch(const QString &name);
    void applyStash(int index);
    void dropStash(int index);
    // SIGTERM now, SIGKILL after the grace period to those still there, then a new scan.
    void stopProcesses(const QList<ZombieProcess> &processes);
    void pruneWorktrees();
    std::shared_ptr<Workspace> adoptWorktree(const GitWorktree &worktree);
    // Asks (needsConfirmation) when the worktree holds work, until `confirmed`.
    GitFuture<LifecycleOutcome> removeWorktree(const QString &path, bool confirmed);

signals:
    void workspacesChanged();
    void gitDataChanged();
    void memoryFilesChanged();
    // A figure, its detail list or a progress flag changed.
    void hygieneChanged();
    // isIdle() became true.
    void idle();
    // A branch, stash or worktree action failed: "<Action> failed: " and git's words.
    void actionFailed(const QString &text);

private:
    QDateTime now() const { return m_clock ? m_clock() : QDateTime::currentDateTime(); }
    QStringList projectFolders() const;
    void saveQuietly();
    void refreshGitAndHygiene();
    void settle();
    void hygienePartDone(quint64 generation);
    void setError(HygieneFigureKind kind, const std::optional<QString> &error);
    // Runs a git action, says how it failed, then runs `reload`.
    void gitAction(const QString &action, const GitFuture<void> &future, void (ProjectOverviewViewModel::*reload)());

    StoreContext &m_context;
    WorkspaceLifecycleService &m_lifecycle;
    NotificationCenter &m_center;
    NotificationCenter::Token m_archiveObserver = 0;
    Clock m_clock;
    QString m_home;
    qint64 m_ownPid;
    int m_stopGraceMs = 3000;

    std::shared_ptr<Project> m_project;
    // Bumped whenever another project is shown: late results of the last one are dropped.
    quint64 m_generation = 0;
    // Projects measured since this view model was made.
    QSet<QUuid> m_measured;

    QList<std::shared_ptr<Workspace>> m_recent;
    QList<std::shared_ptr<Workspace>> m_archived;
    QList<GitBranch> m_branches;
    QString m_currentBranch;
    QList<GitWorktree> m_worktrees;
    QList<MemoryFileInfo> m_memoryFiles;
    HygieneDetails m_details;
    QHash<HygieneFigureKind, QString> m_errors;
    struct Kept
    {
        HygieneDetails details;
        QHash<HygieneFigureKind, QString> errors;
    };
    QHash<QUuid, Kept> m_kept; // of the projects shown before

    int m_gitPending = 0;
    int m_hygienePending = 0;
    bool m_diskBusy = false;
    bool m_dependenciesBusy = false;
    bool m_stopping = false;
    int m_actionsPending = 0;
    int m_hygieneRuns = 0;
    // Projects whose dependencies were checked: "no package.json" is an answer then.
    QSet<QUuid> m_dependenciesChecked;
};

} // namespace corvane
