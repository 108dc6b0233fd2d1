#pragma once

#include "source_control/GitTypes.h"

#include <QByteArray>
#include <QList>

namespace corvane {

// The output of "status --porcelain=v2 --branch", with or without -z. With -z records end in NUL,
// paths are never quoted, and a rename's original path is a record of its own; without it, records
// are lines and a rename carries "new<TAB>old". Never fails: what it cannot read it skips.
// The result has isRepository true; the caller decides that for a failed command.
StatusSummary parseStatusV2(const QByteArray &output);

// The output of "status --porcelain" (version 1), with or without -z. Every entry counts as having
// unstaged changes. Without -z a rename's path is the whole "old -> new" text, as git prints it;
// with -z it is the new path, with the old one in originalPath.
QList<GitFileStatus> parseStatusPorcelain(const QByteArray &output);

} // namespace corvane
