#pragma once

#include "source_control/GitTypes.h"

#include <QByteArray>

namespace corvane {

// Adds the output of "diff --numstat", with or without -z, to `stats`: a path seen twice (staged
// and unstaged) gets the sum. Binary files ("-" for both counts) give no entry. With -z a rename
// is counted under its new path; without it, under git's "old => new" text.
void addNumstat(const QByteArray &output, DiffStats &stats);

DiffStats parseNumstat(const QByteArray &output);

} // namespace corvane
