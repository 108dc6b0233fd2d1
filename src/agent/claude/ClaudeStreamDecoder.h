#pragma once

#include "agent/claude/ClaudeEvent.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

namespace corvane {

// Turns claude's standard output, one line at a time, into events. Pure: no process, no timers,
// no clock; the client owns one decoder per process and asks it about each line.
//
// How claude really streams (measured with the tool we pin): live text comes only from
// "stream_event" deltas keyed by the block's index in the model message; each finished block
// then arrives once as its own "assistant" line, never repeated or grown. So the decoder passes
// deltas on as they come, and from an "assistant" line only what the deltas did not already
// show of that block (everything, when there were no deltas, as for a subagent's lines).
class ClaudeStreamDecoder
{
public:
    struct Output
    {
        QList<ClaudeEvent> events;
        bool parsed = false;      // the line was a JSON object with a "type"
        bool isContent = false;   // anything but a keep-alive: the stall clock's "real content"
    };

    Output decode(const QByteArray &line);

    // Starts a new turn: forgets per-turn bookkeeping (called when a turn is written).
    void resetTurn();

    QString accumulatedResponse() const { return m_accumulated; }

private:
    void decodeSystem(const QVariantMap &message, Output &out);
    void decodeStreamEvent(const QVariantMap &message, Output &out);
    void decodeAssistant(const QVariantMap &message, Output &out);
    void decodeUser(const QVariantMap &message, Output &out);
    void decodeResult(const QVariantMap &message, Output &out);
    void decodeControlRequest(const QVariantMap &message, const QByteArray &line, Output &out);
    void emitText(const QString &delta, Output &out);
    void startThinking(Output &out);

    QString m_accumulated;
    QHash<int, QString> m_streamedText; // block index -> text already passed on from deltas
    int m_currentBlock = -1;
    QSet<QString> m_startedToolIds;
    bool m_thinkingStarted = false;
};

// The questions of an AskUserQuestion input; empty when they are missing or unusable.
QList<AgentQuestion> parseQuestions(const QVariant &questions);

} // namespace corvane
