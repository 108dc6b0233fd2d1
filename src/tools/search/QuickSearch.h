#pragma once

#include "tools/search/SearchResults.h"

#include <QList>

namespace corvane {

class Store;
class StoreContext;

namespace search {

// How the messages are walked. The plain scan reads every text message newest first; the index
// only picks candidates, each checked again by the scan's own rule, so the results are the same.
enum class MessageScan {
    automatic, // the newest messages scanned first, then the index for the rest
    plain,     // the scan alone (queries under three characters always take it)
    indexed,   // the index alone (once complete; until then the scan)
};

// How many of the newest messages the automatic walk scans before it asks the index: a common
// word is found among them at once, where the index would hand over thousands of candidates.
inline constexpr int scanBeforeIndex = 2000;

inline constexpr int workspacesWhenEmpty = 15;
inline constexpr int messageLimit = 20;

// The workspaces that are not archived, most recently updated first: the first 15 for an empty
// query, else those whose name or project's name contains `query` (lower-cased). A failed read
// gives none.
QList<WorkspaceSearchResult> searchWorkspaces(StoreContext &context, const QString &query);

// Text messages of users and assistants in chats that exist and are not archived, whose
// lower-cased content contains `query` (lower-cased, not empty), newest first, at most `limit`.
// Reads through the calling thread's connection. A failed read gives none.
QList<MessageSearchResult> searchMessages(Store &store, const QString &query, int limit = messageLimit,
                                          MessageScan scan = MessageScan::automatic,
                                          int scanFirst = scanBeforeIndex);

// Whether the store has the message index; when not, why messages are scanned. An index still
// being filled in the background is not missing (messages are scanned until it is complete).
std::optional<QString> messageIndexMissing(Store &store);

} // namespace search
} // namespace corvane
