#pragma once

#include <QStringList>

namespace corvane::cli {

// `corvane-cli profiles`: one line per profile with its sign-in state for claude and codex.
int profilesCommand(const QStringList &args);
// `corvane-cli profile new|rename|delete|default`: the profile list's edits, for scripts.
int profileCommand(const QStringList &args);

} // namespace corvane::cli
