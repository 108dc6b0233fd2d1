#pragma once

#include "agent/codex/CodexEvent.h"

#include <QByteArrayView>
#include <QList>
#include <QString>

#include <optional>

namespace corvane::codexoutput {

// Reading `codex exec --json` output: pure functions from one complete line to what it means. No
// process, no clock, no state; the only side effect is a "[CodexSDK]" log line for a line that is
// skipped. A field of the wrong JSON type counts as missing.

enum class Outcome {
    decoded, // an event came of it
    ignored, // well-formed, nothing for us (reasoning, unknown types and items, codex's warnings)
    skipped, // not UTF-8, not JSON, not an object, no text "type", or an item without id/type
};

struct Line
{
    Outcome outcome = Outcome::ignored;
    std::optional<CodexEvent> event;
};

Line decodeLine(QByteArrayView line);

// What the chat shows for a finished shell command: the output, then "[exit N]" on a line of its
// own when the command failed ("[exit ?]" when codex gave no code for a failure).
QString commandResultText(const QString &output, std::optional<qint64> exitCode, const QString &status);

// codex passes a refused request's HTTP body through as its failure text; the body's own
// "error"."message" is what a person should read.
QString readableFailure(const QString &message);

} // namespace corvane::codexoutput
