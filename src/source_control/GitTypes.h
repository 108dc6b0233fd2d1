#pragma once

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>

#include <optional>

namespace corvane {

// The kind of change of one file. The letter is the kind's raw value, as git prints it.
enum class GitStatus { added, modified, deleted, renamed, copied, untracked, ignored, unmerged };

QChar gitStatusLetter(GitStatus status);
// No kind for any other letter.
std::optional<GitStatus> gitStatusFromLetter(char letter);

// One changed file.
struct GitFileStatus
{
    QString path; // relative to the repository root, as git prints it
    GitStatus status = GitStatus::modified;
    bool hasUnstagedChanges = false;
    // Where a renamed or copied file came from; absent for every other kind.
    std::optional<QString> originalPath;

    bool operator==(const GitFileStatus &other) const = default;
};

// The result of one status call.
struct StatusSummary
{
    bool isRepository = false;
    std::optional<QString> branch; // absent when HEAD is detached
    std::optional<QString> upstream;
    int ahead = 0;
    int behind = 0;
    bool hasCommits = false;
    QList<GitFileStatus> files; // in git's order

    bool operator==(const StatusSummary &other) const = default;
};

// Lines added and removed in one file; staged and unstaged changes are added up.
struct DiffStat
{
    int additions = 0;
    int deletions = 0;

    bool operator==(const DiffStat &other) const = default;
};
using DiffStats = QMap<QString, DiffStat>;

struct GitBranch
{
    QString name; // short name: "feature/x", or "origin/feature/x" for a remote one
    bool isCurrent = false;
    std::optional<QString> upstream;
    bool isRemote = false;

    QString id() const { return name; }
    bool operator==(const GitBranch &other) const = default;
};

struct GitWorktree
{
    QString path; // the worktree's root
    std::optional<QString> branch; // short name; absent when detached or bare
    bool isLocked = false;

    bool operator==(const GitWorktree &other) const = default;
};

struct GitStash
{
    int id = 0; // the N of "stash@{N}"
    QString message;

    bool operator==(const GitStash &other) const = default;
};

struct StaleBranch
{
    QString name;
    QDateTime lastCommitDate; // committer date of the tip
    int daysSinceLastCommit = 0;

    QString id() const { return name; }
    bool operator==(const StaleBranch &other) const = default;
};

struct GitRemote
{
    QString name;
    QString url;

    bool operator==(const GitRemote &other) const = default;
};

struct GitHubRepository
{
    QString owner;
    QString repo;

    bool operator==(const GitHubRepository &other) const = default;
};

// Lives in memory only for the call that uses it; never stored.
struct GitCredentials
{
    QString username;
    QString token;

    bool operator==(const GitCredentials &other) const = default;
};

} // namespace corvane
