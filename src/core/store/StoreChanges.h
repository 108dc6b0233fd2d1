#pragma once

#include <QHash>
#include <QMetaType>
#include <QSet>
#include <QString>
#include <QUuid>

namespace corvane {

// What one save wrote. `entities` names every record type whose rows changed, including rows
// removed by a cascade; the id sets hold the records the saving context changed itself.
struct StoreChanges
{
    const void *origin = nullptr; // the saving context
    QSet<QString> entities;
    QHash<QString, QSet<QUuid>> inserted;
    QHash<QString, QSet<QUuid>> updated;
    QHash<QString, QSet<QUuid>> deleted;

    bool touches(const QString &entity) const { return entities.contains(entity); }
    bool isEmpty() const { return entities.isEmpty(); }
};

} // namespace corvane

Q_DECLARE_METATYPE(corvane::StoreChanges)
