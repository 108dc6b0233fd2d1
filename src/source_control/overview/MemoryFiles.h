#pragma once

#include "source_control/overview/HygieneTypes.h"

namespace corvane::memoryfiles {

// Where claude keeps what it learnt of a project by itself:
// <home>/.claude/projects/<the path with each "/" as "-">/memory.
QString autoDirectory(const QString &projectPath, const QString &home);

// The project's CLAUDE.md, .claude/CLAUDE.md and AGENTS.md, the user's own, MEMORY.md of the auto folder,
// then its other .md files: those that exist and read as UTF-8. The preview is the first three
// lines joined by blanks, cut to 200 characters.
QList<MemoryFileInfo> load(const QString &projectPath, const QString &home);

} // namespace corvane::memoryfiles
