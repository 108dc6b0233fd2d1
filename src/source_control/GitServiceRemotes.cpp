// Remotes, pushing and GitHub credentials of GitService.
#include "source_control/GitService.h"

#include "source_control/GitExecutable.h"
#include "source_control/GitHubParsers.h"
#include "source_control/ListParsers.h"
#include "source_control/ParserSupport.h"

namespace corvane {

GitFuture<QList<GitRemote>> GitService::listRemotes() const
{
    return command<QList<GitRemote>>({"remote", "-v"}, [](const GitCommandOutcome &outcome) {
        return parseRemoteList(outcome.output);
    });
}

GitFuture<void> GitService::addRemote(const QString &name, const QString &url) const
{
    return action({"remote", "add", "--", name, url});
}

GitFuture<void> GitService::setRemoteURL(const QString &name, const QString &url) const
{
    return action({"remote", "set-url", "--", name, url});
}

GitFuture<void> GitService::removeRemote(const QString &name) const
{
    return action({"remote", "remove", "--", name});
}

GitFuture<void> GitService::fetchAll() const
{
    return action({"fetch", "--all", "--prune"});
}

GitFuture<void> GitService::pull() const
{
    return action({"pull"});
}

GitFuture<void> GitService::push() const
{
    return action({"push"});
}

GitFuture<void> GitService::pushWithUpstream(const QString &remote) const
{
    return operation<void>([remote](GitCommandQueue *q, auto finish) {
        q->execute({"rev-parse", "--abbrev-ref", "HEAD"}, [q, finish, remote](const GitCommandOutcome &head) {
            if (head.failure)
                return finish(*head.failure);
            const QString branch = gitparse::strictUtf8(head.output).value_or(QString()).trimmed();
            q->execute({"push", "-u", "--", remote, branch}, [finish](const GitCommandOutcome &pushed) {
                finish(pushed.failure ? GitResult<void>(*pushed.failure) : GitResult<void>());
            });
        });
    });
}

GitFuture<GitHubRepository> GitService::gitHubRepository(const QString &remote) const
{
    return command<GitHubRepository>({"remote", "get-url", "--", remote}, [remote](const GitCommandOutcome &outcome) {
        const QString url = gitparse::strictUtf8(outcome.output).value_or(QString()).trimmed();
        return parseGitHubRepository(url, remote);
    });
}

GitFuture<GitCredentials> GitService::gitHubCredentials(const QString &username) const
{
    const QByteArray request = gitHubCredentialRequest(username);
    return operation<GitCredentials>([request](GitCommandQueue *q, auto finish) {
        q->execute({"credential", "fill"}, [finish](const GitCommandOutcome &outcome) {
            if (outcome.failure) {
                // git could not be started: the platform's words. Otherwise the helpers had nothing.
                if (outcome.failure->kind == GitError::Kind::launchFailed)
                    return finish(*outcome.failure);
                return finish(GitError::commandFailed(outcome.exitCode, noGitHubCredentialsMessage()));
            }
            if (std::optional<GitCredentials> credentials = parseCredentialFill(outcome.output))
                return finish(std::move(*credentials));
            finish(GitError::commandFailed(1, noGitHubCredentialsMessage()));
        }, request);
    });
}

GitFuture<bool> GitService::hasGitHubCredentials(const QString &directory, QObject *owner)
{
    GitPromise<bool> promise;
    GitCommandQueue::executeDetached(owner, gitExecutable(), directory, {"credential", "fill"},
                                     gitHubCredentialRequest({}), [promise](const GitCommandOutcome &outcome) {
        promise.resolve(outcome.succeeded() && outcome.output.contains("password="));
    });
    return promise.future();
}

} // namespace corvane
