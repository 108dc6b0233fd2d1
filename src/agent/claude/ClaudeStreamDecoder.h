#pragma once

#include "agent/claude/ClaudeDecoderState.h"
#include "agent/claude/ClaudeEvent.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>

#include <optional>

namespace corvane {

// Turns claude's standard output, one complete line at a time, into events. Pure: no process, no
// timers, no clock; its only side effect is a log line for what it skips. The client owns one
// decoder per process, feeds it every line, and forwards the events in order.
//
// A line that is not valid UTF-8, not JSON, not an object or has no text "type" is skipped and
// logged; a field of the wrong type counts as missing. No line can corrupt the state.
class ClaudeStreamDecoder
{
public:
    enum class Outcome {
        decoded, // a message the decoder acted on (it may still give no event)
        ignored, // a well-formed message with nothing to act on: stream bookkeeping, unknown type
        skipped, // unparsable, or a known message without its required fields; logged
        dropped, // not valid UTF-8; logged
    };

    struct Output
    {
        QList<ClaudeEvent> events;
        Outcome outcome = Outcome::ignored;
        bool parsed = false;    // the line was a JSON object with a text "type"
        bool isContent = false; // anything but a keep-alive: moves the stall check's content clock
    };

    Output decode(const QByteArray &line);

    // A new turn is being written: forgets the previous turn's text, tools and thinking. What
    // only a result may end survives it (open permission requests, a stop asked for, the blocks
    // of the model message being streamed), since a message written during a turn joins that turn.
    void resetTurn();
    // We asked claude to stop the current turn (interrupt request or signal): its error ending
    // then reads as a stop even when claude's own marker line does not come.
    void noteInterruptRequested() { m_state.interruptRequested = true; }

    QString accumulatedResponse() const { return m_state.accumulatedResponse; }
    // The tool input of an open permission request: what an "allow" without changes sends back.
    std::optional<QVariantMap> requestInput(const QString &requestId) const;
    void forgetRequest(const QString &requestId) { m_state.pendingRequestInputs.remove(requestId); }

    const ClaudeDecoderState &state() const { return m_state; }

private:
    Outcome decodeSystem(const QJsonObject &message, Output &out);
    Outcome decodeStreamEvent(const QJsonObject &message, Output &out);
    Outcome decodeAssistant(const QJsonObject &message, Output &out);
    Outcome decodeUser(const QJsonObject &message, Output &out);
    Outcome decodeResult(const QJsonObject &message, Output &out);
    Outcome decodeControlRequest(const QJsonObject &message, const QString &line, Output &out);
    Outcome decodeCancelRequest(const QJsonObject &message, Output &out);
    Outcome decodeToolProgress(const QJsonObject &message, Output &out);

    void streamDelta(qint64 index, const QString &piece, Output &out);
    void assistantText(const QString &full, bool fromSubagent, Output &out);
    ClaudeDecoderState::StreamBlock *streamBlock(qint64 index);
    void emitText(const QString &delta, Output &out);
    void startThinking(Output &out);

    ClaudeDecoderState m_state;
};

} // namespace corvane
