#pragma once

#include "core/Result.h"

#include <QString>
#include <QUuid>

namespace corvane {

class StoreContext;

// Where profiles keep their configuration folders, and the repairs that keep every project on
// exactly one profile. Repairs save only when they changed something.
namespace profiles {

// $XDG_DATA_HOME/Corvane/Profiles.
QString profilesRoot();
// Creates root/<ID> (upper-case UUID text), the claude configuration folder of a profile.
Result<QString> allocateConfigDirectory(const QUuid &id);
// Creates root/<ID>/codex, the codex home of a profile.
Result<QString> allocateCodexDirectory(const QUuid &id);

// With no profile at all, makes the "Default" profile on ~/.claude and ~/.codex; with profiles
// but none marked default, marks the first.
void ensureDefaultProfile(StoreContext &context);
// Gives projects without a profile the default one.
void assignOrphanProjects(StoreContext &context);
// Fills in a missing codex home: ~/.codex for the default profile, a folder of its own otherwise.
void backfillCodexHomes(StoreContext &context);

} // namespace profiles
} // namespace corvane
