#pragma once

#include "agent/Attachment.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>

namespace corvane::claudeprotocol {

// What we write to claude's standard input: one compact JSON object per line, raw UTF-8, each
// line ending in '\n' and written whole.

// Reads a temporary text file attached to a turn; absent when it cannot be read as UTF-8.
using TextFileReader = std::function<std::optional<QString>(const QUrl &fileURL)>;
std::optional<QString> readTextFile(const QUrl &fileURL);

// The content blocks of a user turn: the text (when not empty), then each attachment in order
// (images and PDFs inline as base64, a text file read in as text, an unreadable one left out);
// never empty: with nothing else it is one empty text block.
QJsonArray contentBlocks(const QString &text, const QList<Attachment> &attachments,
                         const TextFileReader &readText = readTextFile);
QByteArray userTurn(const QJsonArray &blocks, const QString &sessionId);

// Answers to a can_use_tool request. Allowing always carries the input the tool is to run with:
// claude rejects an allow without it and the tool does not run, so when nothing was changed the
// request's own input goes back.
QByteArray allow(const QString &requestId, const QVariantMap &updatedInput);
// Without a message the denial says "User denied".
QByteArray deny(const QString &requestId, const std::optional<QString> &message);
// A question (AskUserQuestion) is answered by denying the tool with the user's answer as the
// message; without an answer the user dismissed it.
QByteArray answerQuestion(const QString &requestId, const std::optional<QString> &answer);

// Asks claude to stop the current turn. Unlike a signal it keeps the process for the next turn;
// claude confirms with a control_response quoting `requestId`.
QByteArray interruptRequest(const QString &requestId);
// Changes the mode of a running process, so a switch to asking takes effect without a restart.
QByteArray setPermissionModeRequest(const QString &requestId, const QString &mode);

// One object as a line.
QByteArray line(const QJsonObject &object);

} // namespace corvane::claudeprotocol
