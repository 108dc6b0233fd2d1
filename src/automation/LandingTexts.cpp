#include "automation/LandingTexts.h"

#include "agent/inline/InlineAgentRunner.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"

#include <memory>

namespace corvane::landing {

std::shared_ptr<Profile> profileFor(StoreContext &context, const Workspace *workspace)
{
    const auto project = workspace && workspace->projectId ? context.get<Project>(*workspace->projectId) : nullptr;
    if (auto profile = project && project->profileId ? context.get<Profile>(*project->profileId) : nullptr)
        return profile;
    return context.fetchFirst<Profile>(Query(where::eq("isDefault", true))).valueOr(nullptr);
}

void commitTitle(QObject *context, InlineAgentRunner &runner, const QString &directory, const Profile *profile,
                 std::function<void(Result<QString>)> done)
{
    QPointer<InlineAgentRunner> guard(&runner);
    GitService(directory).diffForCommitMessage().then(context, [guard, directory, profile, done](const GitResult<QString> &diff) {
        if (guard)
            generators::generateCommitTitle(*guard, diff.valueOr(QString()), directory, profile, done);
    });
}

void pullRequestText(QObject *context, InlineAgentRunner &runner, const QString &directory, const Profile *profile,
                     std::function<void(Result<generators::PullRequestText>)> done)
{
    // The base, then the branch, the log, the diff and its statistics against it; any of the
    // last four that fails counts as empty.
    QPointer<InlineAgentRunner> guard(&runner);
    const GitService git(directory);
    git.defaultBranch().then(context, [=](const GitResult<QString> &base) {
        if (!base.ok())
            return done(Error(QStringLiteral("Could not determine base branch. Make sure you have a remote configured."), 1));
        auto facts = std::make_shared<generators::PullRequestFacts>();
        facts->base = base.value();
        git.currentBranch().then(context, [=](const GitResult<QString> &branch) {
            facts->branch = branch.ok() ? branch.value().trimmed() : QStringLiteral("unknown");
        });
        git.commitLog(facts->base).then(context, [=](const GitResult<QString> &log) { facts->commitLog = log.valueOr(QString()); });
        git.run({QStringLiteral("diff"), facts->base + QStringLiteral("...HEAD")}).then(context, [=](const GitResult<QString> &diff) {
            facts->diff = diff.valueOr(QString());
        });
        // One serial context: the statistics come last, with the rest already in.
        git.diffStat(facts->base).then(context, [=](const GitResult<QString> &stat) {
            facts->diffStat = stat.valueOr(QString());
            if (guard)
                generators::generatePullRequestText(*guard, *facts, directory, profile, done);
        });
    });
}

} // namespace corvane::landing
