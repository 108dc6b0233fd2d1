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

// Schema step 2: creates the index and its triggers, at once: the messages already stored are
// added later by MessageSearchFiller, in the background. Without FTS5's trigram tokenizer it
// creates nothing and says so in the log; search then scans the messages as it did before, and
// the store stays usable.
Status addMessageSearchIndex(Connection &connection);

// Schema step 4: deleting a message no longer takes its text out of the index (see the .cpp);
// nothing when the store has no index.
Status deferMessageSearchDeletes(Connection &connection);

// Whether the store at hand has the index (complete or still being filled).
bool hasMessageSearchIndex(Connection &connection);

// Whether the index holds every message search can find, so that search may read it: it exists
// and its fill is complete. Until then search scans the messages, with the same results.
bool isMessageSearchIndexReady(Connection &connection);

// How far the fill has come: messages up to `throughRowid` have been walked, of `lastRowid`.
struct MessageSearchFillState
{
    qint64 throughRowid = 0;
    qint64 lastRowid = 0;
    bool complete = false;

    int percent() const { return complete || lastRowid <= 0 ? 100 : int(qMin<qint64>(99, throughRowid * 100 / lastRowid)); }
};
Result<MessageSearchFillState> messageSearchFillState(Connection &connection);

// One step of the fill, in one short write transaction: the next messages after the walk's
// position are added, at most `maxMessages` that search can find or until `budgetMs` have passed,
// whichever comes first. A message a trigger has indexed meanwhile (it was edited) is skipped.
// `walkEnded` says no message lies beyond the position; finishMessageSearchFill() comes next.
struct MessageSearchFillStep
{
    int indexed = 0;
    bool walkEnded = false;
    MessageSearchFillState state;
};
Result<MessageSearchFillStep> fillMessageSearchStep(Connection &connection, int maxMessages, int budgetMs);

// After the walk has ended: checks in one snapshot that every message search can find has its
// key, and marks the fill complete. When some message was missed (its rowid changed under the
// walk, as a VACUUM may do) the walk starts over, adding only what is missing, and this says false.
Result<bool> finishMessageSearchFill(Connection &connection);

// The texts of deleted messages stay in the index until this drops it whole: when their keys
// number at least `atLeast` and at least as many as the messages search can find, the index is
// emptied and its fill starts over, and this says true. Search scans the messages meanwhile.
Result<bool> collectMessageSearchLeftovers(Connection &connection, qint64 atLeast = 10000);

} // namespace corvane::store
