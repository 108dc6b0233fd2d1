#pragma once

#include "source_control/GitTypes.h"

#include <QByteArray>
#include <QList>

namespace corvane {

// "worktree list --porcelain": the main checkout first, then the linked ones, in git's order.
// Only the bare word "locked" locks an entry; "locked <reason>" is read as nothing.
QList<GitWorktree> parseWorktreeList(const QByteArray &output);

// "stash list": the position of a line is its N in "stash@{N}"; the message is what follows the
// first ":".
QList<GitStash> parseStashList(const QByteArray &output);

// "remote -v": one entry per remote, its first line winning, in order of first appearance.
QList<GitRemote> parseRemoteList(const QByteArray &output);

} // namespace corvane
