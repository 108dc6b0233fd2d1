#pragma once

#include <QChar>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QVariantMap>

namespace corvane {

// What the claude stream decoder remembers between lines.
//
// Claude streams live text only as "stream_event" deltas keyed by the block's index in the model
// message; each finished block then arrives once, as its own "assistant" line holding just that
// block. So the decoder keeps, per block of the current model message, the text already passed
// on, and from an "assistant" line passes on only what the deltas did not show.
struct ClaudeDecoderState
{
    struct StreamBlock
    {
        qint64 index = 0;
        QString type;     // "text", "thinking", "tool_use", ...
        QString shown;    // text already passed on
        QChar heldHigh;   // a delta ended inside a surrogate pair: its first half, not yet passed on
        bool finished = false; // its "assistant" line has arrived
    };

    QString accumulatedResponse;      // all assistant text of the turn so far
    QList<StreamBlock> streamedBlocks; // blocks of the current model message, in stream order
    QSet<QString> startedToolUseIds;  // tool calls already announced in this turn
    bool thinkingStarted = false;     // a thinking block was already announced
    bool stopSeen = false;            // claude marked the turn as interrupted by the user
    bool interruptRequested = false;  // we asked claude to stop this turn
    QString apiErrorText;             // claude's own "API Error: ..." notice, held for the result
    QHash<QString, QVariantMap> pendingRequestInputs; // open permission requests: their tool input
};

} // namespace corvane
