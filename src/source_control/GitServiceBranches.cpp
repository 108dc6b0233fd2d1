// Branches, worktrees, stashes and work-tree actions of GitService.
#include "source_control/GitService.h"

#include "source_control/BranchListParser.h"
#include "source_control/BranchNameRules.h"
#include "source_control/ListParsers.h"
#include "source_control/ParserSupport.h"

namespace corvane {

namespace {

QString trimmedText(const GitCommandOutcome &outcome)
{
    return gitparse::strictUtf8(outcome.output).value_or(QString()).trimmed();
}

QString stashReference(int index)
{
    return QStringLiteral("stash@{%1}").arg(index);
}

GitFuture<void> refuseStashIndex(int index)
{
    return GitFuture<void>::ready(
        GitError::commandFailed(1, QStringLiteral("'%1' is not a stash entry").arg(stashReference(index))));
}

} // namespace

GitFuture<void> GitService::branchAction(const QString &name, const QStringList &arguments) const
{
    if (GitResult<void> valid = validateBranchName(name); !valid)
        return GitFuture<void>::ready(valid.error());
    return action(arguments);
}

GitFuture<QList<GitBranch>> GitService::listBranches() const
{
    return command<QList<GitBranch>>({"branch", "--format=%(refname:short)|%(HEAD)|%(upstream:short)"},
                                     [](const GitCommandOutcome &outcome) { return parseBranchList(outcome.output); });
}

GitFuture<QList<GitBranch>> GitService::listRemoteBranches() const
{
    return command<QList<GitBranch>>({"branch", "-r", "--format=%(refname:short)"}, [](const GitCommandOutcome &outcome) {
        return parseRemoteBranchList(outcome.output);
    });
}

GitFuture<void> GitService::createBranch(const QString &name, const std::optional<QString> &startPoint) const
{
    QStringList arguments{"branch", "--", name};
    if (startPoint)
        arguments << *startPoint;
    return branchAction(name, arguments);
}

GitFuture<void> GitService::deleteBranch(const QString &name, bool force) const
{
    return branchAction(name, {"branch", force ? "-D" : "-d", "--", name});
}

GitFuture<QList<StaleBranch>> GitService::staleBranches(int olderThanDays) const
{
    return command<QList<StaleBranch>>(
        {"for-each-ref", "--sort=committerdate", "--format=%(refname:short)|%(committerdate:iso)", "refs/heads/"},
        [olderThanDays](const GitCommandOutcome &outcome) {
            return parseStaleBranches(outcome.output, QDateTime::currentDateTime(), olderThanDays);
        });
}

GitFuture<void> GitService::switchBranch(const QString &name) const
{
    return branchAction(name, {"switch", "--", name});
}

GitFuture<void> GitService::merge(const QString &branch) const
{
    return branchAction(branch, {"merge", "--", branch});
}

GitFuture<void> GitService::rebase(const QString &branch) const
{
    return branchAction(branch, {"rebase", "--", branch});
}

GitFuture<QString> GitService::currentBranch() const
{
    return command<QString>({"rev-parse", "--abbrev-ref", "HEAD"}, trimmedText);
}

GitFuture<QString> GitService::upstreamBranch() const
{
    return command<QString>({"rev-parse", "--abbrev-ref", "@{upstream}"}, trimmedText);
}

GitFuture<QList<GitWorktree>> GitService::listWorktrees() const
{
    return command<QList<GitWorktree>>({"worktree", "list", "--porcelain"}, [](const GitCommandOutcome &outcome) {
        return parseWorktreeList(outcome.output);
    });
}

GitFuture<void> GitService::addWorktree(const QString &path, const QString &branch,
                                        const std::optional<QString> &startPoint) const
{
    QStringList arguments{"worktree", "add", "-b", branch, "--", path};
    if (startPoint)
        arguments << *startPoint;
    return branchAction(branch, arguments);
}

GitFuture<void> GitService::addWorktreeForBranch(const QString &path, const QString &branch) const
{
    return branchAction(branch, {"worktree", "add", "--", path, branch});
}

GitFuture<void> GitService::removeWorktree(const QString &path, bool force) const
{
    QStringList arguments{"worktree", "remove"};
    if (force)
        arguments << "--force";
    arguments << "--" << path;
    return action(arguments);
}

GitFuture<void> GitService::pruneWorktrees() const
{
    return action({"worktree", "prune"});
}

GitFuture<QList<GitStash>> GitService::listStashes() const
{
    return command<QList<GitStash>>({"stash", "list"}, [](const GitCommandOutcome &outcome) {
        return parseStashList(outcome.output);
    });
}

GitFuture<void> GitService::stashPush() const
{
    return action({"stash", "push"});
}

GitFuture<void> GitService::applyStash(int index) const
{
    return index < 0 ? refuseStashIndex(index) : action({"stash", "apply", stashReference(index)});
}

GitFuture<void> GitService::popStash(int index) const
{
    return index < 0 ? refuseStashIndex(index) : action({"stash", "pop", stashReference(index)});
}

GitFuture<void> GitService::dropStash(int index) const
{
    return index < 0 ? refuseStashIndex(index) : action({"stash", "drop", stashReference(index)});
}

GitFuture<void> GitService::initRepository() const
{
    return action({"init"});
}

// With no paths these do nothing: "add -A --" and "reset HEAD --" alone would take the whole tree.
GitFuture<void> GitService::stage(const QStringList &paths) const
{
    return paths.isEmpty() ? GitFuture<void>::ready({}) : action(QStringList{"add", "-A", "--"} + paths);
}

GitFuture<void> GitService::unstage(const QStringList &paths) const
{
    return paths.isEmpty() ? GitFuture<void>::ready({}) : action(QStringList{"reset", "HEAD", "--"} + paths);
}

GitFuture<void> GitService::discard(const QStringList &paths) const
{
    return paths.isEmpty() ? GitFuture<void>::ready({}) : action(QStringList{"checkout", "--"} + paths);
}

GitFuture<void> GitService::commit(const QString &message) const
{
    return action({"commit", "-m", message});
}

} // namespace corvane
