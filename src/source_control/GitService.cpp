#include "source_control/GitService.h"

#include "source_control/GitExecutable.h"
#include "source_control/NumstatParser.h"
#include "source_control/ParserSupport.h"
#include "source_control/StatusParser.h"

namespace corvane {

namespace {

const QString endOfOptions = QStringLiteral("--end-of-options");

QString outputText(const GitCommandOutcome &outcome)
{
    return gitparse::strictUtf8(outcome.output).value_or(QString());
}

int outputCount(const GitCommandOutcome &outcome)
{
    return gitparse::parseCount(outcome.output);
}

} // namespace

GitService::GitService(const QString &workingDirectory)
    : m_queue(GitCommandQueue::create(workingDirectory, gitExecutable()))
{
}

GitFuture<QString> GitService::run(const QStringList &arguments) const
{
    return command<QString>(arguments, outputText);
}

GitFuture<GitService::StatusSummary> GitService::status() const
{
    // -z: paths come unquoted, so spaces, newlines and non-ASCII names survive as they are.
    const QStringList arguments{"status", "--porcelain=v2", "--branch", "-z"};
    return operation<StatusSummary>([arguments](GitCommandQueue *q, auto finish) {
        q->execute(arguments, [finish](const GitCommandOutcome &outcome) {
            finish(outcome.failure ? StatusSummary() : parseStatusV2(outcome.output));
        });
    });
}

GitFuture<QList<GitFileStatus>> GitService::fileStatuses() const
{
    return command<QList<GitFileStatus>>({"status", "--porcelain", "-z"}, [](const GitCommandOutcome &outcome) {
        return parseStatusPorcelain(outcome.output);
    });
}

GitFuture<bool> GitService::hasUncommittedChanges() const
{
    return command<bool>({"status", "--porcelain"}, [](const GitCommandOutcome &outcome) {
        return !outcome.output.trimmed().isEmpty();
    });
}

GitFuture<QString> GitService::fileContent(const QString &path, const QString &ref) const
{
    return command<QString>({"show", endOfOptions, ref + u':' + path}, outputText);
}

GitFuture<QByteArray> GitService::fileBytes(const QString &path, const QString &ref) const
{
    return command<QByteArray>({"show", endOfOptions, ref + u':' + path}, [](const GitCommandOutcome &outcome) { return outcome.output; });
}

GitFuture<int> GitService::commitCount() const
{
    return operation<int>([](GitCommandQueue *q, auto finish) {
        q->execute({"rev-list", "--count", "HEAD"}, [finish](const GitCommandOutcome &outcome) {
            finish(outcome.failure ? 0 : outputCount(outcome));
        });
    });
}

GitFuture<int> GitService::commitsAheadOfUpstream() const
{
    return command<int>({"rev-list", "--count", "@{upstream}..HEAD"}, outputCount);
}

GitFuture<int> GitService::commitsAheadOfDefaultBranch() const
{
    return operation<int>([](GitCommandQueue *q, auto finish) {
        q->execute({"rev-list", "--count", "origin/main..HEAD"}, [q, finish](const GitCommandOutcome &main) {
            if (main.succeeded())
                return finish(outputCount(main));
            q->execute({"rev-list", "--count", "origin/master..HEAD"}, [q, finish](const GitCommandOutcome &master) {
                if (master.succeeded())
                    return finish(outputCount(master));
                q->execute({"rev-list", "--count", "HEAD"}, [finish](const GitCommandOutcome &all) {
                    finish(all.failure ? 0 : outputCount(all));
                });
            });
        });
    });
}

GitFuture<DiffStats> GitService::diffStats() const
{
    return operation<DiffStats>([](GitCommandQueue *q, auto finish) {
        q->execute({"diff", "--numstat", "-z"}, [q, finish](const GitCommandOutcome &unstaged) {
            if (unstaged.failure)
                return finish(*unstaged.failure);
            q->execute({"diff", "--cached", "--numstat", "-z"}, [finish, unstaged](const GitCommandOutcome &staged) {
                if (staged.failure)
                    return finish(*staged.failure);
                DiffStats stats = parseNumstat(unstaged.output);
                addNumstat(staged.output, stats);
                finish(std::move(stats));
            });
        });
    });
}

GitFuture<QString> GitService::diffForCommitMessage() const
{
    return operation<QString>([](GitCommandQueue *q, auto finish) {
        q->execute({"diff"}, [q, finish](const GitCommandOutcome &unstaged) {
            if (unstaged.failure)
                return finish(*unstaged.failure);
            q->execute({"diff", "--cached"}, [q, finish, unstaged](const GitCommandOutcome &staged) {
                if (staged.failure)
                    return finish(*staged.failure);
                const QString joined = outputText(unstaged) + outputText(staged);
                if (!joined.trimmed().isEmpty())
                    return finish(joined);
                q->execute({"status", "--porcelain"}, [finish, joined](const GitCommandOutcome &status) {
                    if (status.failure)
                        return finish(*status.failure);
                    const QString shortStatus = outputText(status).trimmed();
                    finish(shortStatus.isEmpty() ? joined : QStringLiteral("git status:\n") + shortStatus);
                });
            });
        });
    });
}

GitFuture<QString> GitService::commitLog(const QString &base) const
{
    return command<QString>({"log", "--oneline", endOfOptions, base + QStringLiteral("..HEAD")}, outputText);
}

GitFuture<QString> GitService::diffStat(const QString &base) const
{
    return command<QString>({"diff", "--stat", endOfOptions, base + QStringLiteral("...HEAD")}, outputText);
}

GitFuture<QString> GitService::defaultBranch() const
{
    return operation<QString>([](GitCommandQueue *q, auto finish) {
        q->execute({"rev-parse", "--verify", "origin/main"}, [q, finish](const GitCommandOutcome &main) {
            if (main.succeeded())
                return finish(QStringLiteral("origin/main"));
            q->execute({"rev-parse", "--verify", "origin/master"}, [finish](const GitCommandOutcome &master) {
                if (master.succeeded())
                    return finish(QStringLiteral("origin/master"));
                finish(GitError::commandFailed(1, QStringLiteral("Could not determine default branch")));
            });
        });
    });
}

GitFuture<void> GitService::action(const QStringList &arguments) const
{
    return command<void>(arguments, [](const GitCommandOutcome &) { return GitResult<void>(); });
}

} // namespace corvane
