#include "core/store/MessageSearchIndex.h"

#include "core/Log.h"
#include "core/store/Connection.h"

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

INSERT INTO MessageSearchKey(messageId)
    SELECT id FROM Message WHERE contentType = 'text' AND role IN ('user', 'assistant') ORDER BY rowid;
INSERT INTO MessageSearch(rowid, content)
    SELECT k.key, m.content FROM MessageSearchKey k JOIN Message m ON m.id = k.messageId ORDER BY k.key;

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

bool hasMessageSearchIndex(Connection &connection)
{
    auto count = connection.queryInteger(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN ('MessageSearch', 'MessageSearchKey')");
    return count && *count == 2;
}

} // namespace corvane::store
