#pragma once

#include "source_control/GitCommandQueue.h"
#include "source_control/GitFuture.h"
#include "source_control/GitTypes.h"

#include <QStringList>

#include <memory>
#include <optional>

namespace corvane {

// The one way Corvane runs git for repository work, bound to one working directory.
//
// Every call is asynchronous: it returns a GitFuture at once and the work runs on the instance's
// serial context, one call after another in the order they were made (see GitCommandQueue).
// git runs as "/usr/bin/git" (see gitExecutable()) with the application's environment, its
// arguments passed one by one and never through a shell. A failure is a GitError carrying git's
// exit status and its standard error, or the platform's error when git could not be started.
//
// Names that come from users or agents (branches, paths, stash positions) are checked before git
// runs where git would refuse them, and stand behind "--" where git allows it.
//
// A GitService is a cheap handle: make one for the directory you work in and let it go; copies
// share one serial context. Use it on a thread with an event loop (normally the main one).
class GitService
{
public:
    using StatusSummary = corvane::StatusSummary;

    explicit GitService(const QString &workingDirectory);

    QString workingDirectory() const { return m_queue->workingDirectory(); }
    // Calls queued or running on this instance.
    int pendingCount() const { return m_queue->pendingCount(); }

    // -- The runner and repository status --------------------------------------------------------

    // Standard output as text (empty when it is not UTF-8); fails on any exit status but 0.
    GitFuture<QString> run(const QStringList &arguments) const;
    // Never fails: a directory that is not a repository gives isRepository false.
    GitFuture<StatusSummary> status() const;
    GitFuture<QList<GitFileStatus>> fileStatuses() const;
    GitFuture<bool> hasUncommittedChanges() const;
    GitFuture<QString> fileContent(const QString &path, const QString &ref) const;
    // The same, as git gives it: for callers that must tell an empty file from a binary one.
    GitFuture<QByteArray> fileBytes(const QString &path, const QString &ref) const;
    // 0 on any failure.
    GitFuture<int> commitCount() const;
    // Fails when there is no upstream.
    GitFuture<int> commitsAheadOfUpstream() const;
    // Against origin/main, else origin/master, else all commits of HEAD.
    GitFuture<int> commitsAheadOfDefaultBranch() const;
    // Staged and unstaged line counts per path, added up.
    GitFuture<DiffStats> diffStats() const;
    // The unstaged and staged diff; when both are blank, "git status:\n" and the short status.
    GitFuture<QString> diffForCommitMessage() const;
    GitFuture<QString> commitLog(const QString &base) const;
    GitFuture<QString> diffStat(const QString &base) const;
    // "origin/main" or "origin/master"; fails with "Could not determine default branch".
    GitFuture<QString> defaultBranch() const;

    // -- Branches -------------------------------------------------------------------------------

    GitFuture<QList<GitBranch>> listBranches() const;
    GitFuture<QList<GitBranch>> listRemoteBranches() const;
    // HEAD does not move.
    GitFuture<void> createBranch(const QString &name, const std::optional<QString> &startPoint = {}) const;
    GitFuture<void> deleteBranch(const QString &name, bool force = false) const;
    // Branches whose tip is older than `olderThanDays`, oldest first.
    GitFuture<QList<StaleBranch>> staleBranches(int olderThanDays) const;
    GitFuture<void> switchBranch(const QString &name) const;
    GitFuture<void> merge(const QString &branch) const;
    GitFuture<void> rebase(const QString &branch) const;
    // "rev-parse --abbrev-ref HEAD", trimmed: "HEAD" when detached.
    GitFuture<QString> currentBranch() const;
    // "rev-parse --abbrev-ref @{upstream}", trimmed; fails without an upstream.
    GitFuture<QString> upstreamBranch() const;

    // -- Worktrees ------------------------------------------------------------------------------

    GitFuture<QList<GitWorktree>> listWorktrees() const;
    // A new branch `branch` in a new worktree at `path`, from `startPoint` or HEAD.
    GitFuture<void> addWorktree(const QString &path, const QString &branch,
                                const std::optional<QString> &startPoint = {}) const;
    // An existing local branch in a new worktree at `path`.
    GitFuture<void> addWorktreeForBranch(const QString &path, const QString &branch) const;
    // Fails on a dirty or locked worktree unless `force`.
    GitFuture<void> removeWorktree(const QString &path, bool force = false) const;
    GitFuture<void> pruneWorktrees() const;

    // -- Stashes --------------------------------------------------------------------------------

    GitFuture<QList<GitStash>> listStashes() const;
    GitFuture<void> stashPush() const;
    // Keeps the entry.
    GitFuture<void> applyStash(int index) const;
    // Applies the entry and drops it; later entries move down by one.
    GitFuture<void> popStash(int index) const;
    GitFuture<void> dropStash(int index) const;

    // -- Work tree and commits ------------------------------------------------------------------

    GitFuture<void> initRepository() const;
    GitFuture<void> stage(const QStringList &paths) const;
    GitFuture<void> unstage(const QStringList &paths) const;
    GitFuture<void> discard(const QStringList &paths) const;
    GitFuture<void> commit(const QString &message) const;

    // -- Remotes --------------------------------------------------------------------------------

    GitFuture<QList<GitRemote>> listRemotes() const;
    GitFuture<void> addRemote(const QString &name, const QString &url) const;
    GitFuture<void> setRemoteURL(const QString &name, const QString &url) const;
    GitFuture<void> removeRemote(const QString &name) const;
    GitFuture<void> fetchAll() const;
    GitFuture<void> pull() const;
    GitFuture<void> push() const;
    // Pushes the current branch to `remote` and makes it the upstream.
    GitFuture<void> pushWithUpstream(const QString &remote) const;
    GitFuture<GitHubRepository> gitHubRepository(const QString &remote) const;
    // From git's credential helpers, for github.com; `username` may be empty.
    GitFuture<GitCredentials> gitHubCredentials(const QString &username = {}) const;
    // Whether the helpers know a GitHub token, asked in `directory` outside any serial context so
    // that a slow helper holds no instance. Any failure is false. `owner` bounds the check's life.
    static GitFuture<bool> hasGitHubCredentials(const QString &directory, QObject *owner);

private:
    // One operation on the serial context: `body(queue, finish)` runs git as often as it needs and
    // calls `finish` once with the result.
    template <typename T, typename Body>
    GitFuture<T> operation(Body body) const;
    // One command whose success `read` turns into the result; its failure is the result.
    template <typename T, typename Read>
    GitFuture<T> command(const QStringList &arguments, Read read) const;
    GitFuture<void> action(const QStringList &arguments) const;
    // `arguments` with the branch name checked first.
    GitFuture<void> branchAction(const QString &name, const QStringList &arguments) const;

    std::shared_ptr<GitCommandQueue> m_queue;
};

template <typename T, typename Body>
GitFuture<T> GitService::operation(Body body) const
{
    GitPromise<T> promise;
    GitCommandQueue *queue = m_queue.get(); // alive while it has work
    m_queue->enqueue([queue, promise, body = std::move(body)](const GitCommandQueue::Done &done) mutable {
        body(queue, [promise, done](GitResult<T> result) {
            promise.resolve(std::move(result));
            done();
        });
    });
    return promise.future();
}

template <typename T, typename Read>
GitFuture<T> GitService::command(const QStringList &arguments, Read read) const
{
    return operation<T>([arguments, read = std::move(read)](GitCommandQueue *queue, auto finish) {
        queue->execute(arguments, [finish, read](const GitCommandOutcome &outcome) {
            if (outcome.failure)
                finish(*outcome.failure);
            else
                finish(read(outcome));
        });
    });
}

} // namespace corvane
