#pragma once

#include "core/Result.h"

#include <QString>

namespace corvane::store {

class Connection;

// The full-text index of chat messages that quick search reads: an FTS5 table with the trigram
// tokenizer over the text of user and assistant messages, kept in step with Message by triggers.
//
// Message's key is its id text, so its rowid is implicit and a VACUUM may renumber it: an index
// keyed by that rowid could silently point at the wrong rows afterwards. The index is therefore
// keyed by MessageSearchKey, a table of our own whose INTEGER PRIMARY KEY (a real rowid alias,
// kept by VACUUM) stands for one message id. The FTS table is contentless, so the text is not
// stored twice; removing a row from it needs the text that was indexed, which the triggers have
// in old.content.
// Whether this SQLite can build the index (FTS5 with the trigram tokenizer), or why not.
Status messageSearchSupported(Connection &connection);

// Schema step 2: creates the index and its triggers and fills it from the messages already
// stored. Without FTS5's trigram tokenizer it creates nothing and says so in the log; search
// then scans the messages as it did before, and the store stays usable.
Status addMessageSearchIndex(Connection &connection);

// Whether the store at hand has the index.
bool hasMessageSearchIndex(Connection &connection);

} // namespace corvane::store
