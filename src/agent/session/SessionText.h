#pragma once

#include "core/records/Enums.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane {

// The texts a chat session derives from what the agent sends: pure functions, so the rules
// are tested without a process.
namespace sessiontext {

// "Bash: ls -la": the tool name and the first of its command, file path or pattern; the bare
// name when the input has none of them.
QString toolSummary(const QString &toolName, const QVariantMap &input);

// The output as shown under a tool row: whole up to 200 characters, else the first 200 and
// "...". Characters, not UTF-16 units: an emoji is never cut in half.
QString outputPreview(const QString &output);

// The first `count` characters of `text`, never splitting a surrogate pair.
QString leftCharacters(const QString &text, int count);
// The last `count` characters of `text`, never splitting a surrogate pair.
QString rightCharacters(const QString &text, int count);

// Whether an error description means the agent is not signed in (shown with a way to sign in).
bool isAuthenticationFailure(const QString &description);

// A chat's name from its first message when no model names it: the first four words, "..."
// when there were more, at most 50 characters; "New Chat" for nothing.
QString simpleTitle(const QString &message);
// Whether a chat still carries a name we gave it, so its next message may name it.
bool hasPlaceholderName(const QString &chatName);

struct TranscriptMessage
{
    MessageRole role = MessageRole::user;
    MessageContentType contentType = MessageContentType::text;
    QString content;
};

// The context replayed into a new session when a chat moves to another profile: the last 20
// text messages, at most 50,000 characters. Absent when there is nothing to replay.
std::optional<QString> migrationSeedPrompt(const QList<TranscriptMessage> &messagesByTime,
                                           const std::optional<QString> &previousProfileName,
                                           const QString &newProfileName);

// The context replayed into a new session when the stored one can no longer be resumed: the
// same transcript rules, without the message being sent now (it follows as the turn itself).
std::optional<QString> resumeReplayPrompt(QList<TranscriptMessage> messagesByTime);

} // namespace sessiontext
} // namespace corvane
