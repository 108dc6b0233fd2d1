#include "core/store/MessageSearchIndex.h"

#include "core/Log.h"
#include "core/store/Connection.h"

#include <QElapsedTimer>

#include <algorithm>

namespace corvane::store {

namespace {

// Only the rows quick search can find are indexed. A row that stops qualifying (its content
// type or role changed) leaves the index, and one that starts qualifying enters it, in the
// update trigger. Removal looks the row up by id rather than by the same condition, so it
// removes whatever was indexed for the id.
const char *const kIndexSql = R"sql(
CREATE TABLE MessageSearchKey (
    key INTEGER PRIMARY KEY,
    messageId TEXT NOT NULL UNIQUE
);
CREATE VIRTUAL TABLE MessageSearch USING fts5(content, content='', tokenize='trigram');

-- Messages stored before the index are added later, in the background, walking Message by
-- rowid; this one row says how far that walk has come. A store without messages has none to add.
CREATE TABLE MessageSearchFill (
    throughRowid INTEGER NOT NULL,
    complete INTEGER NOT NULL
);
INSERT INTO MessageSearchFill(throughRowid, complete) SELECT 0, NOT EXISTS (SELECT 1 FROM Message);

CREATE TRIGGER Message_search_insert AFTER INSERT ON Message
WHEN new.contentType = 'text' AND new.role IN ('user', 'assistant')
BEGIN
    INSERT INTO MessageSearchKey(messageId) VALUES (new.id);
    INSERT INTO MessageSearch(rowid, content)
        SELECT key, new.content FROM MessageSearchKey WHERE messageId = new.id;
END;

CREATE TRIGGER Message_search_delete AFTER DELETE ON Message
BEGIN
    INSERT INTO MessageSearch(MessageSearch, rowid, content)
        SELECT 'delete', key, old.content FROM MessageSearchKey WHERE messageId = old.id;
    DELETE FROM MessageSearchKey WHERE messageId = old.id;
END;

CREATE TRIGGER Message_search_update AFTER UPDATE OF id, content, contentType, role ON Message
WHEN old.id IS NOT new.id OR old.content IS NOT new.content OR old.contentType IS NOT new.contentType
     OR old.role IS NOT new.role
BEGIN
    INSERT INTO MessageSearch(MessageSearch, rowid, content)
        SELECT 'delete', key, old.content FROM MessageSearchKey WHERE messageId = old.id;
    DELETE FROM MessageSearchKey WHERE messageId = old.id;
    INSERT INTO MessageSearchKey(messageId)
        SELECT new.id WHERE new.contentType = 'text' AND new.role IN ('user', 'assistant');
    INSERT INTO MessageSearch(rowid, content)
        SELECT key, new.content FROM MessageSearchKey WHERE messageId = new.id;
END;
)sql";

// Step 4: deleting a message leaves its text in the index. A contentless FTS5 table forgets a
// text only by tokenizing it again, which made the retention sweep of 100,000 archived messages
// take seconds. The deleted message's key stays behind, standing for no message; search joins
// through the keys to the messages, so it never sees one, and the filler builds the index afresh
// once such leftovers outnumber the live keys (collectMessageSearchLeftovers).
//
// A message saved under the id of a deleted one (the same session imported again) first moves
// the key it finds to a new number, past every text in the index, so the old words cannot come
// back under it. Edits still take the old text out, as a chat's streamed replies edit their
// rows over and over.
const char *const kDeferredDeleteSql = R"sql(
DROP TRIGGER IF EXISTS Message_search_delete;
DROP TRIGGER IF EXISTS Message_search_insert;
DROP TRIGGER IF EXISTS Message_search_update;

CREATE TRIGGER Message_search_insert AFTER INSERT ON Message
WHEN new.contentType = 'text' AND new.role IN ('user', 'assistant')
BEGIN
    UPDATE MessageSearchKey SET key = (SELECT max(key) + 1 FROM MessageSearchKey) WHERE messageId = new.id;
    INSERT OR IGNORE INTO MessageSearchKey(messageId) VALUES (new.id);
    INSERT INTO MessageSearch(rowid, content)
        SELECT key, new.content FROM MessageSearchKey WHERE messageId = new.id;
END;

CREATE TRIGGER Message_search_update AFTER UPDATE OF id, content, contentType, role ON Message
WHEN old.id IS NOT new.id OR old.content IS NOT new.content OR old.contentType IS NOT new.contentType
     OR old.role IS NOT new.role
BEGIN
    INSERT INTO MessageSearch(MessageSearch, rowid, content)
        SELECT 'delete', key, old.content FROM MessageSearchKey WHERE messageId = old.id;
    DELETE FROM MessageSearchKey WHERE messageId = old.id;
    UPDATE MessageSearchKey SET key = (SELECT max(key) + 1 FROM MessageSearchKey)
        WHERE messageId = new.id AND new.contentType = 'text' AND new.role IN ('user', 'assistant');
    INSERT OR IGNORE INTO MessageSearchKey(messageId)
        SELECT new.id WHERE new.contentType = 'text' AND new.role IN ('user', 'assistant');
    INSERT INTO MessageSearch(rowid, content)
        SELECT key, new.content FROM MessageSearchKey
        WHERE messageId = new.id AND new.contentType = 'text' AND new.role IN ('user', 'assistant');
END;
)sql";

const char *const kSearchableCountSql =
    "SELECT count(*) FROM Message WHERE contentType = 'text' AND role IN ('user', 'assistant')";

} // namespace

Status messageSearchSupported(Connection &connection)
{
    // Creating a table in the temporary schema is the one sure test: FTS5 may be compiled in and
    // the trigram tokenizer (SQLite 3.34 and later) still be missing.
    Status probe = connection.exec("CREATE VIRTUAL TABLE temp.MessageSearchProbe USING fts5(x, tokenize='trigram')");
    if (!probe)
        return probe.error().prefixed(QStringLiteral("SQLite %1 cannot build a trigram full-text index: ")
                                          .arg(QString::fromUtf8(sqlite3_libversion())));
    return connection.exec("DROP TABLE temp.MessageSearchProbe");
}

Status addMessageSearchIndex(Connection &connection)
{
    if (Status supported = messageSearchSupported(connection); !supported) {
        logLine("Store", supported.error().message
                             + QStringLiteral(". Quick search will read every message instead of an index."));
        return {};
    }
    return connection.exec(kIndexSql);
}

Status deferMessageSearchDeletes(Connection &connection)
{
    if (!hasMessageSearchIndex(connection))
        return {};
    return connection.exec(kDeferredDeleteSql);
}

bool hasMessageSearchIndex(Connection &connection)
{
    auto count = connection.queryInteger(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN ('MessageSearch', 'MessageSearchKey')");
    return count && *count == 2;
}

namespace {

// Resets a cached statement on the way out, so no read stays open past the transaction.
struct Resetting
{
    sqlite3_stmt *stmt;
    ~Resetting() { sqlite3_reset(stmt); }
};

bool hasFillTable(Connection &connection)
{
    auto count = connection.queryInteger(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'MessageSearchFill'");
    return count && *count == 1;
}

// The statements of one fill step, run inside its transaction.
Result<MessageSearchFillStep> fillStep(Connection &connection, int maxMessages, int budgetMs)
{
    MessageSearchFillStep step;
    auto through = connection.queryInteger("SELECT throughRowid FROM MessageSearchFill");
    if (!through)
        return through.error();
    step.state.throughRowid = *through;

    auto walk = connection.prepare(
        "SELECT rowid, id, content, contentType = 'text' AND role IN ('user', 'assistant') FROM Message "
        "WHERE rowid > ?1 ORDER BY rowid");
    if (!walk)
        return walk.error();
    Resetting resetWalk{*walk};
    auto addKey = connection.prepare("INSERT OR IGNORE INTO MessageSearchKey(messageId) VALUES (?1)");
    if (!addKey)
        return addKey.error();
    Resetting resetKey{*addKey};
    auto addText = connection.prepare("INSERT INTO MessageSearch(rowid, content) VALUES (?1, ?2)");
    if (!addText)
        return addText.error();
    Resetting resetText{*addText};

    QElapsedTimer clock;
    clock.start();
    sqlite3_bind_int64(*walk, 1, step.state.throughRowid);
    int rc;
    while ((rc = sqlite3_step(*walk)) == SQLITE_ROW) {
        step.state.throughRowid = sqlite3_column_int64(*walk, 0);
        if (sqlite3_column_int(*walk, 3)) {
            sqlite3_reset(*addKey);
            sqlite3_bind_value(*addKey, 1, sqlite3_column_value(*walk, 1));
            if (sqlite3_step(*addKey) != SQLITE_DONE)
                return connection.lastError(QStringLiteral("Indexing a message"));
            // Ignored when a trigger indexed the message already (it was edited since the
            // index was made): then its text is in the index, and must not go in twice.
            if (sqlite3_changes(connection.handle()) == 1) {
                sqlite3_reset(*addText);
                sqlite3_bind_int64(*addText, 1, sqlite3_last_insert_rowid(connection.handle()));
                sqlite3_bind_value(*addText, 2, sqlite3_column_value(*walk, 2));
                if (sqlite3_step(*addText) != SQLITE_DONE)
                    return connection.lastError(QStringLiteral("Indexing a message"));
                ++step.indexed;
            }
        }
        if (step.indexed >= maxMessages || clock.elapsed() >= budgetMs)
            break;
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        return connection.lastError(QStringLiteral("Reading messages to index"));
    step.walkEnded = rc == SQLITE_DONE;

    auto save = connection.prepare("UPDATE MessageSearchFill SET throughRowid = ?1");
    if (!save)
        return save.error();
    Resetting resetSave{*save};
    sqlite3_bind_int64(*save, 1, step.state.throughRowid);
    if (Status s = stepToDone(connection, *save, QStringLiteral("Recording the index's progress")); !s)
        return s.error();
    auto last = connection.queryInteger("SELECT max(rowid) FROM Message");
    if (!last)
        return last.error();
    step.state.lastRowid = *last;
    return step;
}

} // namespace

bool isMessageSearchIndexReady(Connection &connection)
{
    if (!hasMessageSearchIndex(connection))
        return false;
    // A store indexed before fills ran in the background was filled as it was made.
    if (!hasFillTable(connection))
        return true;
    auto complete = connection.queryInteger("SELECT complete FROM MessageSearchFill");
    return complete && *complete != 0;
}

Result<MessageSearchFillState> messageSearchFillState(Connection &connection)
{
    MessageSearchFillState state;
    if (!hasFillTable(connection)) {
        state.complete = hasMessageSearchIndex(connection);
        return state;
    }
    auto through = connection.queryInteger("SELECT throughRowid FROM MessageSearchFill");
    auto complete = connection.queryInteger("SELECT complete FROM MessageSearchFill");
    auto last = connection.queryInteger("SELECT max(rowid) FROM Message");
    if (!through || !complete || !last)
        return (!through ? through.error() : !complete ? complete.error() : last.error());
    state.throughRowid = *through;
    state.complete = *complete != 0;
    state.lastRowid = *last;
    return state;
}

Result<MessageSearchFillStep> fillMessageSearchStep(Connection &connection, int maxMessages, int budgetMs)
{
    if (Status s = connection.run("BEGIN IMMEDIATE"); !s)
        return s.error();
    auto step = fillStep(connection, maxMessages, budgetMs);
    if (step) {
        if (Status s = connection.run("COMMIT"); !s) {
            (void)connection.run("ROLLBACK");
            return s.error();
        }
    } else {
        (void)connection.run("ROLLBACK");
    }
    (void)connection.takeTouchedTables(); // nobody listens to this connection's changes
    return step;
}

Result<bool> finishMessageSearchFill(Connection &connection)
{
    // Both counts from one snapshot. Keys are counted through the messages search can find, as
    // search reads them: a deleted message's key stays behind, and its id may since belong to a
    // tool row. Equal counts mean none is missing; messages written after the snapshot are the
    // triggers' business.
    if (Status s = connection.run("BEGIN"); !s)
        return s.error();
    auto messages = connection.queryInteger(kSearchableCountSql);
    auto keys = connection.queryInteger(
        "SELECT count(*) FROM MessageSearchKey k CROSS JOIN Message m ON m.id = k.messageId"
        " WHERE m.contentType = 'text' AND m.role IN ('user', 'assistant')");
    (void)connection.run("COMMIT");
    if (!messages || !keys)
        return !messages ? messages.error() : keys.error();
    const bool covered = *messages == *keys;
    Status s = connection.exec(covered ? "UPDATE MessageSearchFill SET complete = 1"
                                       : "UPDATE MessageSearchFill SET throughRowid = 0");
    (void)connection.takeTouchedTables();
    if (!s)
        return s.error();
    return covered;
}

Result<bool> collectMessageSearchLeftovers(Connection &connection, qint64 atLeast)
{
    if (!hasMessageSearchIndex(connection))
        return false;
    if (Status s = connection.run("BEGIN"); !s)
        return s.error();
    auto keys = connection.queryInteger("SELECT count(*) FROM MessageSearchKey");
    auto searchable = connection.queryInteger(kSearchableCountSql);
    (void)connection.run("COMMIT");
    if (!keys || !searchable)
        return !keys ? keys.error() : searchable.error();
    // Keys the fill has not made yet count as live here, so this errs towards keeping the index.
    const qint64 leftovers = *keys - *searchable;
    if (leftovers < std::max(atLeast, *searchable))
        return false;

    // An index made before fills ran in the background has no fill table yet.
    const char *const resetSql = R"sql(
        INSERT INTO MessageSearch(MessageSearch) VALUES ('delete-all');
        DELETE FROM MessageSearchKey;
        CREATE TABLE IF NOT EXISTS MessageSearchFill (
            throughRowid INTEGER NOT NULL,
            complete INTEGER NOT NULL
        );
        DELETE FROM MessageSearchFill;
        INSERT INTO MessageSearchFill(throughRowid, complete) VALUES (0, 0);
    )sql";
    if (Status s = connection.run("BEGIN IMMEDIATE"); !s)
        return s.error();
    if (Status s = connection.exec(resetSql); !s) {
        (void)connection.run("ROLLBACK");
        return s.error();
    }
    if (Status s = connection.run("COMMIT"); !s) {
        (void)connection.run("ROLLBACK");
        return s.error();
    }
    (void)connection.takeTouchedTables(); // nobody listens to this connection's changes
    logLine("Search", QStringLiteral("The search index held %1 texts of deleted messages beside %2 live ones; "
                                     "building it afresh in the background.")
                          .arg(leftovers)
                          .arg(*searchable));
    return true;
}

} // namespace corvane::store
