#pragma once

#include "source_control/GitResult.h"

#include <QString>

#include <optional>

namespace corvane {

// Why git would refuse `name` as a branch name, by the rules of "git check-ref-format --branch",
// or nothing when it would take it. Checked before a name from a user or an agent reaches git,
// so a bad name fails with a sentence of ours instead of a half-done operation.
std::optional<QString> branchNameProblem(const QString &name);

// The refusal as a GitError (exit status 1): "'a..b' is not a valid branch name: it contains \"..\"".
GitResult<void> validateBranchName(const QString &name);

} // namespace corvane
