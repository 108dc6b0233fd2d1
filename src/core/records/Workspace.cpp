#include "core/records/Workspace.h"

#include "core/records/Project.h"

namespace corvane {

std::optional<QString> Workspace::workingDirectory(const Project *project) const
{
    if (!project)
        return std::nullopt;
    if (usesWorktree && worktreePath) {
        if (worktreePath->startsWith(QLatin1Char('/')))
            return *worktreePath;
        return project->path + QLatin1Char('/') + *worktreePath;
    }
    return project->path;
}

} // namespace corvane
