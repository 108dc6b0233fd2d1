#pragma once

#include "agent/inline/TextGenerators.h"

#include <QObject>

namespace corvane {

class InlineAgentRunner;
class StoreContext;
struct Profile;
struct Workspace;

// The texts that land a workspace's work, written by the profile's agent from what git says:
// a commit title from the uncommitted diff, a pull request's title and body from the branch's
// commits and diff against the default branch. `done` runs on `context`'s thread.
namespace landing {

// Whose agent writes them: the profile of the workspace's project, else the default profile.
std::shared_ptr<Profile> profileFor(StoreContext &context, const Workspace *workspace);

void commitTitle(QObject *context, InlineAgentRunner &runner, const QString &directory, const Profile *profile,
                 std::function<void(Result<QString>)> done);
void pullRequestText(QObject *context, InlineAgentRunner &runner, const QString &directory, const Profile *profile,
                     std::function<void(Result<generators::PullRequestText>)> done);

} // namespace landing
} // namespace corvane
