#pragma once

#include <QList>

namespace corvane::store {

// One step of the schema: the SQL that takes a store from version `version - 1` to `version`.
// Steps are never edited once released; a change of the schema is a new step.
struct Migration
{
    int version;
    const char *sql;
};

const QList<Migration> &migrations();

// The version this build writes: the last step's.
int currentSchemaVersion();

} // namespace corvane::store
