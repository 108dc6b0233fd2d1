#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

class StoreContext;

// One archived workspace or chat as the lists of archived records show it.
struct ArchivedRecord
{
    QUuid id;
    QString name;
    QString projectName; // empty when the project is gone
    std::optional<QDateTime> archivedAt;

    friend bool operator==(const ArchivedRecord &, const ArchivedRecord &) = default;
};

// The archived workspaces, newest archive first; those without a date (archived by an older
// version, not yet swept) come last.
QList<ArchivedRecord> archivedWorkspaces(StoreContext &context);

// The archived chats that stand on their own. A chat of an archived workspace is not listed: it
// comes back and goes away with its workspace.
QList<ArchivedRecord> archivedChats(StoreContext &context);

} // namespace corvane
