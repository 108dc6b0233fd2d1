#include "core/window/ProfilePage.h"

#include "core/records/Profile.h"
#include "core/records/Project.h"

#include <QSet>

namespace corvane {

QList<std::shared_ptr<Project>> projectsOnProfilePage(const QList<std::shared_ptr<Project>> &projects,
                                                      const QList<std::shared_ptr<Profile>> &profiles,
                                                      std::optional<QUuid> activeProfileId)
{
    std::shared_ptr<Profile> active;
    QSet<QUuid> known;
    for (const auto &profile : profiles) {
        known.insert(profile->id);
        if (profile->id == activeProfileId)
            active = profile;
    }
    if (!active)
        return projects;
    QList<std::shared_ptr<Project>> page;
    for (const auto &project : projects) {
        const bool orphan = !project->profileId || !known.contains(*project->profileId);
        if (project->profileId == active->id || (active->isDefault && orphan))
            page.append(project);
    }
    return page;
}

} // namespace corvane
