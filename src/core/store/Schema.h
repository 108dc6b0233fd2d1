#pragma once

#include "core/store/RecordTraits.h"

#include <QList>

namespace corvane::store {

// Every record type kept in the store, parents before children.
const QList<const RecordOps *> &allRecordTypes();

} // namespace corvane::store
