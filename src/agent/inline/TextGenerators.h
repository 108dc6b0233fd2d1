#pragma once

#include "core/Result.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace corvane {

class InlineAgentRunner;
struct Profile;

// The prompts for texts a model writes outside any chat, and the clean-up of its answers. Pure,
// except generateCommitTitle(), which runs the agent.
namespace generators {

// The fixed instructions, then the first 8,000 characters of the diff.
QString commitTitlePrompt(const QString &diff);
// The tools the title's agent may use to look around the repository.
QStringList commitTitleTools();
// The answer's first line without quotes and blanks; 73 characters or more keep 69 and "...".
QString cleanCommitTitle(const QString &answer);

struct PullRequestText
{
    QString title;
    QString body;
    bool operator==(const PullRequestText &) const = default;
};
struct PullRequestFacts
{
    QString branch;
    QString base;
    QString commitLog;
    QString diffStat;
    QString diff;
};
// `strict` asks again, harder, for the "TITLE:" and "BODY:" layout.
QString pullRequestPrompt(const PullRequestFacts &facts, bool strict);
// "TITLE: ..." then "BODY:" and the body; none when there is no non-empty title.
std::optional<PullRequestText> parsePullRequestStrict(const QString &answer);
// The first line as the title, the rest as the body; never fails.
PullRequestText parsePullRequestLenient(const QString &answer);
QString defaultPullRequestBody();

// A chat's name from its first message, by rule: its first four words.
QString simpleChatTitle(const QString &message);

// The diff (as GitService::diffForCommitMessage gives it) to a commit title by the profile's
// agent, in `workingDirectory`. An empty diff fails with "No changes to generate title from".
void generateCommitTitle(InlineAgentRunner &runner, const QString &diff, const QString &workingDirectory,
                         const Profile *profile, std::function<void(Result<QString>)> done);

// The pull request's title and body from the facts, by the profile's agent: asked once, and
// once more, harder, when the answer ignores the "TITLE:" and "BODY:" layout.
void generatePullRequestText(InlineAgentRunner &runner, const PullRequestFacts &facts, const QString &workingDirectory,
                             const Profile *profile, std::function<void(Result<PullRequestText>)> done);

} // namespace generators
} // namespace corvane
