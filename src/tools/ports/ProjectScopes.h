#pragma once

#include "tools/ports/PortListing.h"

namespace corvane {

class StoreContext;

// Every project, in the sidebar's order, with its folder and the worktrees of its workspaces that
// are not archived, coloured by the project's profile. A folder reached through a symbolic link is
// listed both ways, since the processes' folders are compared resolved.
QList<ProjectScope> projectScopes(StoreContext &context);

} // namespace corvane
