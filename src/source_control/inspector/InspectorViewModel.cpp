#include "source_control/inspector/InspectorViewModel.h"

#include "core/Broadcasts.h"
#include "core/Log.h"
#include "core/MainThread.h"
#include "source_control/FileSystemMonitor.h"
#include "source_control/GitService.h"

#include <QDir>
#include <QFile>

namespace corvane {

namespace {

constexpr char Tag[] = "InspectorVM";

} // namespace

DiffStats untrackedLineCounts(const QString &directory, const QList<GitFileStatus> &files)
{
    DiffStats counts;
    for (const GitFileStatus &file : files) {
        if (file.status != GitStatus::untracked)
            continue;
        QFile f(QDir(directory).filePath(file.path));
        if (!f.open(QIODevice::ReadOnly))
            continue;
        int newlines = 0;
        while (!f.atEnd())
            newlines += int(f.read(1 << 16).count('\n'));
        counts.insert(file.path, DiffStat{newlines + 1, 0});
    }
    return counts;
}

InspectorViewModel::InspectorViewModel(NotificationCenter &center, QObject *parent)
    : QObject(parent), m_center(center)
{
}

InspectorViewModel::~InspectorViewModel() = default;

void InspectorViewModel::setWorkingDirectory(const std::optional<QString> &directory)
{
    const std::optional<QString> clean = directory ? std::optional(QDir::cleanPath(*directory)) : std::nullopt;
    if (clean == m_directory) {
        refreshStatus();
        return;
    }
    m_monitor.reset();
    m_observers.clear();
    m_directory = clean;
    if (!m_directory) {
        m_git.reset();
        ++m_generation; // an answer still on its way is for the old directory
        apply(Snapshot{});
        return;
    }
    m_git = std::make_unique<GitService>(*m_directory);
    m_monitor = std::make_unique<FileSystemMonitor>(*m_directory, m_center);
    m_monitor->start();
    observe();
    refreshStatus();
}

void InspectorViewModel::observe()
{
    // Not filtered by directory: a change anywhere costs one status call, and a worktree's
    // commit also moves what the main checkout is ahead by.
    auto refresh = [this](const auto &) { onBroadcast(); };
    m_observers.push_back(broadcast::observe<broadcast::FileSystemChanged>(m_center, this, refresh));
    m_observers.push_back(broadcast::observe<broadcast::GitStateChanged>(m_center, this, refresh));
}

void InspectorViewModel::onBroadcast()
{
    if (!m_autoRefresh || m_autoRefresh())
        refreshStatus();
}

void InspectorViewModel::refreshStatus()
{
    if (!m_git)
        return;
    const int generation = ++m_generation;
    const QString directory = *m_directory;
    auto current = [this, generation] { return generation == m_generation; };

    // Status, line counts and the distance from the default branch are three git calls on three
    // serial contexts, so they run side by side; the last answer puts them together. A refresh
    // begun since wins: its generation is newer.
    struct Answers
    {
        StatusSummary status;
        DiffStats stats;
        std::optional<int> aheadOfDefault;
        int waiting = 3;
    };
    auto answers = std::make_shared<Answers>();
    auto join = [=, this] {
        if (--answers->waiting > 0 || !current())
            return;
        const StatusSummary &status = answers->status;
        if (!status.isRepository) {
            apply(Snapshot{});
            return;
        }
        const int ahead = status.upstream ? status.ahead : answers->aheadOfDefault.value_or(status.ahead);
        runInBackground(this, [directory, files = status.files] { return untrackedLineCounts(directory, files); },
                        [=, this](const DiffStats &untracked) {
            if (!current())
                return;
            Snapshot s;
            s.isGitInitialized = true;
            s.modifiedFiles = status.files;
            s.diffStats = answers->stats;
            s.diffStats.insert(untracked);
            s.currentBranch = status.branch;
            s.aheadCount = ahead;
            s.behindCount = status.behind;
            s.hasUpstream = status.upstream.has_value();
            s.hasCommits = status.hasCommits;
            apply(s);
        });
    };
    m_git->status().then(this, [=](const GitResult<StatusSummary> &result) {
        answers->status = result.valueOr({});
        join();
    });
    GitService(directory).diffStats().then(this, [=](const GitResult<DiffStats> &result) {
        answers->stats = result.valueOr({});
        join();
    });
    GitService(directory).commitsAheadOfDefaultBranch().then(this, [=](const GitResult<int> &result) {
        if (result.ok())
            answers->aheadOfDefault = result.value();
        join();
    });
}

void InspectorViewModel::apply(const Snapshot &s)
{
    // Nothing redraws for a refresh that found what was there.
    const bool changedAny = !(s == m_status);
    m_status = s;
    ++m_refreshCount;
    if (changedAny) {
        logLine(Tag, QStringLiteral("status: %1 changed files on %2")
                         .arg(m_status.modifiedFiles.size()).arg(m_status.currentBranch.value_or(QStringLiteral("(detached)"))));
        emit changed();
    }
}

} // namespace corvane
