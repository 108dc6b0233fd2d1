#include "automation/PullRequestCreation.h"

#include "core/Analytics.h"
#include "core/Log.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/github/PRService.h"

namespace corvane {

namespace {

// The branch on the remote before GitHub is asked: pushed with an upstream when it has none,
// pushed when it is ahead of it, left alone when level (or when its distance cannot be read).
void pushFirst(QObject *context, const GitService &git, std::function<void(Result<void>)> next)
{
    auto finished = [next](const GitResult<void> &pushed) {
        next(pushed.ok() ? Result<void>() : Result<void>(Error(pushed.error().description())));
    };
    git.upstreamBranch().then(context, [=](const GitResult<QString> &upstream) {
        if (!upstream.ok())
            return git.pushWithUpstream(QStringLiteral("origin")).then(context, finished), void();
        git.commitsAheadOfUpstream().then(context, [=](const GitResult<int> &ahead) {
            if (ahead.ok() && ahead.value() >= 1)
                return git.push().then(context, finished), void();
            next({});
        });
    });
}

} // namespace

void createPullRequest(QObject *context, StoreContext &store, const QUuid &workspaceId, const QString &directory,
                       const QString &apiBase, const PullRequestDraft &draft, std::function<void(Result<QString>)> done)
{
    if (!store.get<Workspace>(workspaceId))
        return done(Error(QStringLiteral("Workspace no longer exists")));
    const QString title = draft.title.trimmed();
    if (title.isEmpty())
        return done(Error(QStringLiteral("Title is required")));
    const GitService git(directory);
    auto failed = [done](const Error &error) {
        logLine("CreatePRVM", QStringLiteral("PR creation failed: %1").arg(error.message));
        done(error);
    };
    pushFirst(context, git, [=, &store](Result<void> pushed) {
        if (!pushed)
            return failed(pushed.error());
        auto *service = new PRService(directory, apiBase, context);
        service->createPullRequest(title, draft.body, draft.base, draft.draft, draft.preferredUsername, [=, &store](Result<PRService::Created> created) {
            service->deleteLater();
            if (!created)
                return failed(created.error());
            const auto workspace = store.get<Workspace>(workspaceId);
            if (!workspace)
                return done(Error(QStringLiteral("Workspace was deleted before the PR could be linked. PR was created at ") + created.value().url));
            Analytics::shared().record(QStringLiteral("git.prCreated"));
            workspace->prURL = created.value().url;
            workspace->prNumber = created.value().number;
            workspace->prTitle = title;
            workspace->prStateRaw = draft.draft ? QStringLiteral("draft") : QStringLiteral("open");
            workspace->prLinkedAt = workspace->prUpdatedAt = QDateTime::currentDateTime();
            git.currentBranch().then(context, [=, &store](const GitResult<QString> &head) {
                if (const auto linked = store.get<Workspace>(workspaceId); linked && head.ok())
                    linked->prHeadBranch = head.value().trimmed();
                (void)store.save();
                done(created.value().url);
            });
        });
    });
}

} // namespace corvane
