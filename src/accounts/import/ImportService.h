#pragma once

#include "accounts/import/ImportableSession.h"
#include "core/Result.h"
#include "core/records/Message.h"

#include <QList>
#include <QSet>
#include <QStringList>
#include <QUuid>

#include <functional>

namespace corvane {

struct Chat;
struct Profile;
class Store;
class StoreContext;

// Where the agents' logs are looked for: "projects" folders of claude configurations and
// "sessions" folders of codex homes.
struct ImportRoots
{
    QStringList claudeDirs;
    QStringList codexSessionsDirs;

    // The user's ~/.claude/projects and ~/.codex/sessions, and, when they are elsewhere, those of
    // `profile`: the tools write where CLAUDE_CONFIG_DIR and CODEX_HOME point, which for a
    // project's profile is its own folders.
    static ImportRoots forProfile(const Profile *profile);
};

// What importSessions made and what failed, in the order given.
struct ImportOutcome
{
    QList<QUuid> workspaceIds;
    QList<QUuid> chatIds;
    QList<QString> sessionIds; // of the sessions imported, beside their workspaces
    QList<Error> errors;
};

// Turns the logs claude and codex left for a project's folder into chats: finds them, reads them
// for a preview, and imports them, one new workspace with one chat each.
class ImportService
{
public:
    explicit ImportService(ImportRoots roots) : m_roots(std::move(roots)) {}

    const ImportRoots &roots() const { return m_roots; }

    // claude's sessions, then codex's, newest first; with a store, those a chat already holds
    // (in any project) are left out.
    QList<ImportableSession> discoverSessions(const QString &projectPath, Store *store = nullptr) const;
    // The session ids every chat holds, read as one column on a connection of the calling thread.
    static QSet<QString> heldSessionIds(Store &store);

    static Result<QList<Message>> parseMessages(const ImportableSession &session);

    using Progress = std::function<void(int current, int total)>;
    // Each session in turn: a workspace on the project's checkout with one chat holding the
    // log's messages, saved. A session that fails leaves nothing behind; the others go on.
    static ImportOutcome importSessions(const QList<ImportableSession> &sessions, const QUuid &projectId,
                                        StoreContext &context, const Progress &progress = {});
    // The model the imported chat starts with: the log's own when the picker offers it, else the
    // agent's first. The chat view picks it, so the next message goes to the agent that wrote the
    // log (another agent could not resume the session).
    static QString modelIdFor(const ImportableSession &session);
    // Puts the log's messages into `chat` (saved already), records their activity days, and
    // points the chat at the session so the next message resumes it. Saves; the message count.
    static Result<int> importMessages(const ImportableSession &session, Chat &chat, StoreContext &context);

private:
    ImportRoots m_roots;
};

} // namespace corvane
