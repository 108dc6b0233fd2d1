#pragma once

#include "agent/Attachment.h"

#include <QByteArray>
#include <QJsonArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace corvane::claudeprotocol {

// What we write to claude's standard input: one compact JSON object per line.

// The content blocks of a user turn: the text (when not empty), then each attachment (images
// and PDFs inline as base64, a text file read in as text); at least one block.
QJsonArray contentBlocks(const QString &text, const QList<Attachment> &attachments);
QByteArray userTurn(const QJsonArray &blocks, const QString &sessionId);

// An answer to a can_use_tool request. Allowing always carries the input the tool runs with:
// the tool fails without it, so the request's own input goes back when nothing changed.
QByteArray allow(const QString &requestId, const QVariantMap &updatedInput);
QByteArray deny(const QString &requestId, const std::optional<QString> &message);
QByteArray interruptRequest(const QString &requestId);

} // namespace corvane::claudeprotocol
