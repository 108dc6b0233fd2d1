#pragma once

#include <QProcessEnvironment>
#include <QStringList>

namespace corvane {

struct Profile;

// The environment an agent process runs with: ours, plus a plain terminal (TERM, NO_COLOR),
// plus the profile's own folders. A profile that is not the default gets its configuration
// folder and loses the API key variable, so one account's key never leaks into another's
// process; the default profile inherits the user's own setup.
QProcessEnvironment claudeEnvironment(const QProcessEnvironment &base, const Profile *profile);
QProcessEnvironment codexEnvironment(const QProcessEnvironment &base, const Profile *profile);

// The same profile rules on "NAME=value" entries, for terminals started for a profile: the old
// entries go first, then the profile's entry is appended.
QStringList applyClaudeEnvironment(QStringList entries, const Profile &profile);
QStringList applyCodexEnvironment(QStringList entries, const Profile &profile);

} // namespace corvane
