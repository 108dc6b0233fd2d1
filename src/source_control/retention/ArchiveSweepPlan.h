#pragma once

#include "core/settings/SettingsEnums.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

class StoreContext;

// One archived record whose retention has run out.
struct SweepCandidate
{
    enum class Kind { workspace, chat };

    Kind kind = Kind::chat;
    QUuid id;
    QString name;
    QDateTime archivedAt;
    // It keeps a worktree of its own: its deletion goes through the guarded removal one by one.
    bool hasWorktree = false;

    QString kindName() const { return kind == Kind::workspace ? QStringLiteral("workspace") : QStringLiteral("chat"); }
};

// What a sweep at one moment deletes: workspaces first, so that the chats of a deleted workspace
// are not handled twice.
struct SweepPlan
{
    QList<SweepCandidate> workspaces;
    // Archived chats standing on their own; a chat of an archived workspace waits for its
    // workspace and that setting.
    QList<SweepCandidate> chats;

    int size() const { return int(workspaces.size() + chats.size()); }
};

namespace retention {

// The label the log uses for a retention ("Never", "After 30 days", ...).
QString label(ArchiveRetention retention);

// Records archived strictly before this moment go; none with `never`.
std::optional<QDateTime> cutoff(ArchiveRetention retention, const QDateTime &now);

// Archived records without a date (from older data) get `now`, so their retention starts
// counting at this sweep. Returns how many were dated; a failed fetch counts as none.
int backfillArchivedDates(StoreContext &context, const QDateTime &now);

// One query per kind; a failed fetch gives an empty list for that kind.
SweepPlan findCandidates(StoreContext &context, ArchiveRetention chats, ArchiveRetention workspaces, const QDateTime &now);

} // namespace retention

} // namespace corvane
