#pragma once

#include "source_control/GitTypes.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>

namespace corvane {

// "branch --format=%(refname:short)|%(HEAD)|%(upstream:short)": local branches in git's order.
QList<GitBranch> parseBranchList(const QByteArray &output);

// "branch -r --format=%(refname:short)": remote branches, without the "<remote>/HEAD" entries.
QList<GitBranch> parseRemoteBranchList(const QByteArray &output);

// "for-each-ref --sort=committerdate --format=%(refname:short)|%(committerdate:iso) refs/heads/":
// the branches whose tip was committed strictly before `olderThanDays` calendar days ahead of
// `now`, oldest first.
QList<StaleBranch> parseStaleBranches(const QByteArray &output, const QDateTime &now, int olderThanDays);

// git's ISO date, "2024-03-01 14:05:09 +0100"; invalid when it does not read as one.
QDateTime parseGitIsoDate(QByteArrayView text);

} // namespace corvane
