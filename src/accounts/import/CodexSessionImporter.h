#pragma once

#include "accounts/import/ImportableSession.h"
#include "core/Result.h"
#include "core/records/Message.h"

#include <QByteArrayView>
#include <QList>
#include <QStringList>

namespace corvane {

// What the head of a codex rollout log tells: the pure half of the list's scan.
struct CodexHeader
{
    QString id;
    std::optional<QString> cwd;
    QString firstPrompt;
    int messageCount = 0;
    std::optional<QDateTime> started;
    std::optional<QString> model;
};

namespace codexlog {

// codex 0.169 puts about 80 KB of its own instructions (session meta, developer messages,
// environment) before the first prompt, so a rollout's head is read up to this size; a log of
// another folder is told apart from its first line and read no further.
inline constexpr qint64 headerWindowBytes = 512 * 1024;

// Whether a user message is context codex added itself (environment, AGENTS.md, user
// instructions) rather than something the user wrote.
bool isInjectedContext(const QString &text);

CodexHeader scanHeader(QByteArrayView text);
// The messages of a whole log, in order, stamped with the time of the import (`now`).
QList<Message> parseLog(QByteArrayView text, const QDateTime &now);

} // namespace codexlog

// Finds and reads codex's rollout logs under its roots (each a "sessions" folder of a codex
// home), keeping those whose folder is exactly the project's.
class CodexSessionImporter
{
public:
    explicit CodexSessionImporter(QStringList sessionsDirs) : m_sessionsDirs(std::move(sessionsDirs)) {}

    static constexpr AgentType agentType = AgentType::codex;
    const QStringList &sessionsDirs() const { return m_sessionsDirs; }

    // Newest first; missing folders give an empty list.
    QList<ImportableSession> discoverSessions(const QString &projectPath) const;
    // The header scan of one file for `projectPath`; nothing when it holds no session of it.
    static std::optional<ImportableSession> scanFile(const QString &path, const QString &projectPath);
    static Result<QList<Message>> parseMessages(const ImportableSession &session);

private:
    QStringList m_sessionsDirs;
};

} // namespace corvane
