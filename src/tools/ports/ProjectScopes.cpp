#include "tools/ports/ProjectScopes.h"

#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

namespace corvane {

QList<ProjectScope> projectScopes(StoreContext &context)
{
    QList<ProjectScope> scopes;
    for (const auto &project : context.fetchOrEmpty<Project>(Query().orderBy("sortOrder"))) {
        ProjectScope scope;
        scope.name = project->name;
        const auto add = [&scope](const QString &path) {
            for (const QString &form : {path, portlisting::resolveLinks(path)})
                if (!form.isEmpty() && !scope.paths.contains(form))
                    scope.paths.append(form);
        };
        add(project->path);
        for (const auto &workspace : context.fetchOrEmpty<Workspace>(
                 Query(where::eq("projectId", project->id)).orderBy("sortOrder"))) {
            if (workspace->isArchived() || !workspace->worktreePath)
                continue;
            if (const auto folder = workspace->workingDirectory(project.get()))
                add(*folder);
        }
        if (project->profileId)
            if (const auto profile = context.get<Profile>(*project->profileId))
                scope.profileColorHex = profile->colorHex;
        scopes.append(scope);
    }
    return scopes;
}

} // namespace corvane
