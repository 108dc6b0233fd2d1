#pragma once

#include "core/NotificationCenter.h"
#include "source_control/GitTypes.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace corvane {

class FileSystemMonitor;
class GitService;

// A new file has no diff: its lines are counted instead, as newline bytes plus one. Reads the
// files: call it off the window's thread.
DiffStats untrackedLineCounts(const QString &directory, const QList<GitFileStatus> &files);

// The inspector's view of one working directory: its changed files, branch and distance from
// upstream, kept current while it is shown. It owns a FileSystemMonitor for the directory and
// reads git's status again on every fileSystemDidChange and gitStateDidChange (edits by an agent,
// a commit or a branch switch in a terminal), unless the user turned automatic refresh off.
//
// One per window, on the main thread. `changed` is emitted only for a refresh that changed
// something.
class InspectorViewModel : public QObject
{
    Q_OBJECT

public:
    // Whether a broadcast may refresh the status; read at each broadcast. Unset means yes.
    using AutoRefreshSetting = std::function<bool()>;

    explicit InspectorViewModel(NotificationCenter &center = NotificationCenter::instance(), QObject *parent = nullptr);
    ~InspectorViewModel() override;

    void setAutoRefreshSetting(AutoRefreshSetting setting) { m_autoRefresh = std::move(setting); }

    // The same directory again only refreshes; none stops watching and clears the status.
    void setWorkingDirectory(const std::optional<QString> &directory);
    std::optional<QString> workingDirectory() const { return m_directory; }
    // Reads the status again; an answer that comes after a newer refresh began is dropped.
    void refreshStatus();

    bool isGitInitialized() const { return m_status.isGitInitialized; }
    const QList<GitFileStatus> &modifiedFiles() const { return m_status.modifiedFiles; }
    const DiffStats &diffStats() const { return m_status.diffStats; }
    std::optional<QString> currentBranch() const { return m_status.currentBranch; }
    // Without an upstream: the commits ahead of the default branch.
    int aheadCount() const { return m_status.aheadCount; }
    int behindCount() const { return m_status.behindCount; }
    bool hasUpstream() const { return m_status.hasUpstream; }
    bool hasCommits() const { return m_status.hasCommits; }
    // Refreshes answered so far (for tests and the status line).
    int refreshCount() const { return m_refreshCount; }

signals:
    void changed();

private:
    // What one refresh read.
    struct Snapshot
    {
        bool isGitInitialized = false;
        QList<GitFileStatus> modifiedFiles;
        DiffStats diffStats;
        std::optional<QString> currentBranch;
        int aheadCount = 0;
        int behindCount = 0;
        bool hasUpstream = false;
        bool hasCommits = false;

        bool operator==(const Snapshot &) const = default;
    };

    void observe();
    void onBroadcast();
    void apply(const Snapshot &snapshot);

    NotificationCenter &m_center;
    AutoRefreshSetting m_autoRefresh;
    std::optional<QString> m_directory;
    std::unique_ptr<GitService> m_git;
    std::unique_ptr<FileSystemMonitor> m_monitor;
    std::vector<ObserverGuard> m_observers;
    int m_generation = 0;
    int m_refreshCount = 0;
    Snapshot m_status;
};

} // namespace corvane
