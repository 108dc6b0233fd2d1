#pragma once

#include "agent/inline/TextGenerators.h"

#include <QObject>

namespace corvane {

class InlineAgentRunner;
struct Profile;

// The texts that land a workspace's work, written by the profile's agent from what git says:
// a commit title from the uncommitted diff, a pull request's title and body from the branch's
// commits and diff against the default branch. `done` runs on `context`'s thread.
namespace landing {

void commitTitle(QObject *context, InlineAgentRunner &runner, const QString &directory, const Profile *profile,
                 std::function<void(Result<QString>)> done);
void pullRequestText(QObject *context, InlineAgentRunner &runner, const QString &directory, const Profile *profile,
                     std::function<void(Result<generators::PullRequestText>)> done);

} // namespace landing
} // namespace corvane
