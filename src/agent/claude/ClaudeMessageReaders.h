#pragma once

#include "agent/claude/ClaudeEvent.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

namespace corvane::claudemessages {

// Stateless readers of single claude messages into the contract's values. Every field is
// optional: a missing or mistyped one takes its default.

// A "system"/"init" message.
AgentSessionInfo readSessionInfo(const QJsonObject &message);

// The output of a "tool_result" block: its text, or the texts of a list of blocks, one per line.
QString readToolOutput(const QJsonValue &content);

// A "result" message as claude wrote it (its text may be empty). `extra` holds "modelUsage" when
// claude sent it, "errors" and "permissionDenials".
AgentResult readResult(const QJsonObject &message);

// The "errors" of an error result that mean something to a user (claude's internal diagnostics
// left out), one per line.
QString readableErrors(const QStringList &errors);

// The "request" of a can_use_tool control request: a question event when the tool is
// AskUserQuestion with at least one usable question, else a permission request event.
ClaudeEvent readToolRequest(const QString &requestId, const QJsonObject &request);

} // namespace corvane::claudemessages
