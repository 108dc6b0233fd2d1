#pragma once

#include <QStringList>

namespace corvane::cli {

// `corvane-cli profiles`: one line per profile with its sign-in state for claude and codex.
int profilesCommand(const QStringList &args);

} // namespace corvane::cli
