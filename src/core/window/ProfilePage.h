#pragma once

#include <QList>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

struct Profile;
struct Project;

// The projects the sidebar lists on the page of the active profile, in the given order.
//
// With no profiles, or no active one that exists, every project is listed. A profile's page
// lists its own projects; the default profile's page also takes the projects that have no
// profile or one that was deleted, so that no project is ever out of reach.
QList<std::shared_ptr<Project>> projectsOnProfilePage(const QList<std::shared_ptr<Project>> &projects,
                                                      const QList<std::shared_ptr<Profile>> &profiles,
                                                      std::optional<QUuid> activeProfileId);

} // namespace corvane
