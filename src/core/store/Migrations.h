#pragma once

#include "core/Result.h"

#include <QList>

namespace corvane::store {

class Connection;

// One step of the schema: the SQL that takes a store from version `version - 1` to `version`,
// or, for a step that must look at what this SQLite can do first, a function that does it.
// Steps are never edited once released; a change of the schema is a new step.
struct Migration
{
    int version;
    const char *sql;
    Status (*apply)(Connection &connection) = nullptr;
};

const QList<Migration> &migrations();

// The version this build writes: the last step's.
int currentSchemaVersion();

} // namespace corvane::store
