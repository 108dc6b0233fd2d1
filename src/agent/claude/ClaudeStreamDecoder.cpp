#include "agent/claude/ClaudeStreamDecoder.h"

#include "agent/claude/ClaudeMessageReaders.h"
#include "agent/claude/CodePoints.h"
#include "agent/claude/JsonFields.h"
#include "core/Log.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringDecoder>

namespace corvane {

using namespace jsonfields;
using Outcome = ClaudeStreamDecoder::Outcome;

namespace {

const char *const Tag = "ClaudeSDK";

bool is(const QString &value, const char *expected)
{
    return value == QLatin1String(expected);
}

// Lines of a subagent carry the id of the tool call that runs it.
bool fromSubagent(const QJsonObject &message)
{
    return !stringOr(message, "parent_tool_use_id").isEmpty();
}

// Claude's way of saying a turn was stopped: a user line with this text right before the result.
bool isInterruptMarker(const QJsonValue &block)
{
    return block.isObject() && is(stringOr(block.toObject(), "type"), "text")
        && stringOr(block.toObject(), "text").startsWith(QLatin1String("[Request interrupted by user"));
}

} // namespace

std::optional<QVariantMap> ClaudeStreamDecoder::requestInput(const QString &requestId) const
{
    const auto it = m_state.pendingRequestInputs.constFind(requestId);
    return it == m_state.pendingRequestInputs.cend() ? std::nullopt : std::optional<QVariantMap>(*it);
}

void ClaudeStreamDecoder::resetTurn()
{
    // The blocks of the model message being streamed stay: a message written during a turn joins
    // it, and forgetting what was shown would show it again. They end with their message.
    m_state.accumulatedResponse.clear();
    m_state.startedToolUseIds.clear();
    m_state.thinkingStarted = false;
}

ClaudeStreamDecoder::Output ClaudeStreamDecoder::decode(const QByteArray &line)
{
    Output out;
    if (line.trimmed().isEmpty())
        return out;
    // Lines arrive whole, so one that is not UTF-8 is damaged, not cut off: nothing in it is
    // trustworthy.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(line);
    if (utf8.hasError()) {
        logLine(Tag, QStringLiteral("Dropped a line that is not valid UTF-8 (%1 bytes)").arg(line.size()));
        out.outcome = Outcome::dropped;
        return out;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    const QJsonObject message = document.object();
    const auto type = optionalString(message, "type");
    if (error.error != QJsonParseError::NoError || !document.isObject() || !type) {
        logLine(Tag, QStringLiteral("Failed to parse JSON: ") + codepoints::left(text, 100));
        out.outcome = Outcome::skipped;
        return out;
    }
    out.parsed = true;
    out.isContent = !is(*type, "keep_alive");

    if (is(*type, "stream_event"))
        out.outcome = decodeStreamEvent(message, out);
    else if (is(*type, "assistant"))
        out.outcome = decodeAssistant(message, out);
    else if (is(*type, "user"))
        out.outcome = decodeUser(message, out);
    else if (is(*type, "system"))
        out.outcome = decodeSystem(message, out);
    else if (is(*type, "result"))
        out.outcome = decodeResult(message, out);
    else if (is(*type, "control_request"))
        out.outcome = decodeControlRequest(message, text, out);
    else if (is(*type, "control_cancel_request"))
        out.outcome = decodeCancelRequest(message, out);
    else if (is(*type, "tool_progress"))
        out.outcome = decodeToolProgress(message, out);
    else if (is(*type, "control_response") || is(*type, "keep_alive") || is(*type, "tool_use_summary")
             || is(*type, "rate_limit_event"))
        out.outcome = Outcome::ignored; // answers to our own requests, and bookkeeping
    else {
        logLine(Tag, QStringLiteral("Unknown message type: ") + *type);
        out.outcome = Outcome::ignored;
    }
    return out;
}

Outcome ClaudeStreamDecoder::decodeSystem(const QJsonObject &message, Output &out)
{
    const QString subtype = stringOr(message, "subtype");
    if (is(subtype, "init")) {
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::initialized;
        e.info = claudemessages::readSessionInfo(message);
        out.events.append(e);
        return Outcome::decoded;
    }
    if (is(subtype, "status")) {
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::statusChanged;
        e.status = optionalString(message, "status");
        out.events.append(e);
        return Outcome::decoded;
    }
    // thinking_tokens comes with every thinking delta: too many to log.
    if (!is(subtype, "thinking_tokens"))
        logLine(Tag, QStringLiteral("System message subtype: ") + subtype);
    return Outcome::ignored;
}

Outcome ClaudeStreamDecoder::decodeStreamEvent(const QJsonObject &message, Output &out)
{
    // Subagents stream nothing live; their finished blocks come as ordinary lines.
    if (fromSubagent(message))
        return Outcome::ignored;
    const QJsonObject event = objectOr(message, "event");
    const QString type = stringOr(event, "type");
    if (is(type, "message_start")) {
        // A new model message: its blocks are numbered from 0 again.
        m_state.streamedBlocks.clear();
        return Outcome::decoded;
    }
    const auto index = optionalInteger(event, "index");
    if (!index)
        return Outcome::ignored;
    if (is(type, "content_block_start")) {
        const QString blockType = stringOr(objectOr(event, "content_block"), "type");
        const ClaudeDecoderState::StreamBlock *existing = streamBlock(*index);
        if (!existing || existing->finished)
            m_state.streamedBlocks.append({*index, blockType, {}, {}, false});
        if (is(blockType, "thinking") || is(blockType, "redacted_thinking"))
            startThinking(out);
        return Outcome::decoded;
    }
    if (is(type, "content_block_delta")) {
        const QJsonObject delta = objectOr(event, "delta");
        const QString deltaType = stringOr(delta, "type");
        if (is(deltaType, "text_delta")) {
            streamDelta(*index, stringOr(delta, "text"), out);
            return Outcome::decoded;
        }
        if (is(deltaType, "thinking_delta")) {
            startThinking(out);
            return Outcome::decoded;
        }
    }
    return Outcome::ignored;
}

void ClaudeStreamDecoder::streamDelta(qint64 index, const QString &piece, Output &out)
{
    ClaudeDecoderState::StreamBlock *block = streamBlock(index);
    if (!block) {
        m_state.streamedBlocks.append({index, QStringLiteral("text"), {}, {}, false});
        block = &m_state.streamedBlocks.last();
    }
    if (block->finished || block->type != QLatin1String("text"))
        return;
    QString delta = piece;
    if (!block->heldHigh.isNull()) {
        delta.prepend(block->heldHigh);
        block->heldHigh = QChar();
    }
    // A delta may end between the two halves of a character (an escaped surrogate pair cut in
    // two): keep the first half until the second arrives, so no delta carries half a character.
    if (!delta.isEmpty() && delta.back().isHighSurrogate()) {
        block->heldHigh = delta.back();
        delta.chop(1);
    }
    block->shown += delta;
    emitText(delta, out);
}

Outcome ClaudeStreamDecoder::decodeAssistant(const QJsonObject &message, Output &out)
{
    const QJsonObject body = objectOr(message, "message");
    const auto content = optionalArray(body, "content");
    if (!content)
        return Outcome::skipped;
    const bool subagent = fromSubagent(message);

    // An API failure comes as a made-up assistant message ("<synthetic>", with a top-level
    // "error") right before the error result that repeats it: hold it for that result, so the
    // user reads it once, as the failure, not also as the reply.
    if (message.contains(QLatin1String("error")) && is(stringOr(body, "model"), "<synthetic>")) {
        for (const QJsonValue &item : *content)
            if (item.isObject() && is(stringOr(item.toObject(), "type"), "text"))
                m_state.apiErrorText += stringOr(item.toObject(), "text");
        logLine(Tag, QStringLiteral("API error: ") + codepoints::left(m_state.apiErrorText, 200));
        return Outcome::decoded;
    }

    for (const QJsonValue &item : *content) {
        if (!item.isObject())
            continue;
        const QJsonObject block = item.toObject();
        const QString type = stringOr(block, "type");
        if (is(type, "text")) {
            if (const auto text = optionalString(block, "text"))
                assistantText(*text, subagent, out);
        } else if (is(type, "tool_use")) {
            const auto name = optionalString(block, "name");
            const auto id = optionalString(block, "id");
            if (!name || !id || m_state.startedToolUseIds.contains(*id))
                continue;
            m_state.startedToolUseIds.insert(*id);
            ClaudeEvent e;
            e.kind = ClaudeEvent::Kind::toolStarted;
            e.name = *name;
            e.id = *id;
            e.input = objectOr(block, "input").toVariantMap();
            out.events.append(e);
        } else if (is(type, "thinking") || is(type, "redacted_thinking")) {
            startThinking(out);
        }
    }
    return Outcome::decoded;
}

void ClaudeStreamDecoder::assistantText(const QString &full, bool subagent, Output &out)
{
    // A finished text block belongs to the first text block of the current model message whose
    // own line has not come yet. Subagents stream nothing, so their blocks are all new.
    if (!subagent) {
        for (ClaudeDecoderState::StreamBlock &block : m_state.streamedBlocks) {
            if (block.finished || block.type != QLatin1String("text"))
                continue;
            block.finished = true;
            // Normally the deltas are a prefix of the block; if they are not, trust the block from
            // where the deltas stopped, counted in whole characters.
            const QString rest = full.startsWith(block.shown) ? full.mid(block.shown.size())
                                                              : codepoints::mid(full, codepoints::count(block.shown));
            block.shown = full;
            block.heldHigh = QChar();
            emitText(rest, out);
            return;
        }
    }
    emitText(full, out);
}

ClaudeDecoderState::StreamBlock *ClaudeStreamDecoder::streamBlock(qint64 index)
{
    for (qsizetype i = m_state.streamedBlocks.size() - 1; i >= 0; --i)
        if (m_state.streamedBlocks[i].index == index)
            return &m_state.streamedBlocks[i];
    return nullptr;
}

Outcome ClaudeStreamDecoder::decodeUser(const QJsonObject &message, Output &out)
{
    // A tool round is over: the next reply may think again.
    m_state.thinkingStarted = false;
    const bool subagent = fromSubagent(message);
    for (const QJsonValue &item : arrayOr(objectOr(message, "message"), "content")) {
        if (!subagent && isInterruptMarker(item))
            m_state.stopSeen = true;
        if (!item.isObject() || !is(stringOr(item.toObject(), "type"), "tool_result"))
            continue;
        const QJsonObject block = item.toObject();
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::toolResult;
        e.id = stringOr(block, "tool_use_id", QStringLiteral("Tool"));
        e.text = claudemessages::readToolOutput(block.value(QLatin1String("content")));
        e.isError = boolOr(block, "is_error");
        out.events.append(e);
    }
    return Outcome::decoded;
}

Outcome ClaudeStreamDecoder::decodeResult(const QJsonObject &message, Output &out)
{
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::result;
    e.result = claudemessages::readResult(message);
    e.errors = e.result.extra.value(QStringLiteral("errors")).toStringList();
    AgentResult &r = e.result;

    if (!r.isError) {
        // A held API error notice that did not end in an error was a reply after all.
        if (!m_state.apiErrorText.isEmpty())
            emitText(std::exchange(m_state.apiErrorText, QString()), out);
        e.ending = ClaudeEvent::Ending::completed;
        if (r.text.isEmpty())
            r.text = m_state.accumulatedResponse;
    } else if (is(r.subtype, "error_during_execution") && r.text.isEmpty()
               && (m_state.stopSeen || m_state.interruptRequested)) {
        // The text so far was already shown; repeating it as the result would show it twice.
        e.ending = ClaudeEvent::Ending::stopped;
    } else {
        e.ending = ClaudeEvent::Ending::failed;
        QString description = r.text;
        if (description.isEmpty())
            description = m_state.apiErrorText;
        if (description.isEmpty())
            description = claudemessages::readableErrors(e.errors);
        if (description.isEmpty())
            description = QStringLiteral("Unknown error");
        e.error = AgentError{QStringLiteral("ClaudeSDK"), 2, description};
    }
    out.events.append(e);

    // The turn is over, and with it a stop asked for, a held notice and every request still open.
    resetTurn();
    m_state.stopSeen = false;
    m_state.interruptRequested = false;
    m_state.apiErrorText.clear();
    m_state.pendingRequestInputs.clear();
    return Outcome::decoded;
}

Outcome ClaudeStreamDecoder::decodeControlRequest(const QJsonObject &message, const QString &line, Output &out)
{
    const auto requestId = optionalString(message, "request_id");
    const auto request = optionalObject(message, "request");
    const auto subtype = request ? optionalString(*request, "subtype") : std::nullopt;
    if (!requestId || !subtype) {
        logLine(Tag, QStringLiteral("Malformed control_request: ") + codepoints::left(line, 200));
        return Outcome::skipped;
    }
    if (!is(*subtype, "can_use_tool")) {
        logLine(Tag, QStringLiteral("Unknown control_request subtype: ") + *subtype);
        return Outcome::ignored;
    }
    ClaudeEvent e = claudemessages::readToolRequest(*requestId, *request);
    // Kept until answered: allowing without changes sends the tool's own input back.
    m_state.pendingRequestInputs.insert(*requestId,
                                        e.kind == ClaudeEvent::Kind::question ? e.input : e.permission.toolInput);
    if (e.kind == ClaudeEvent::Kind::question)
        logLine(Tag, QStringLiteral("AskUserQuestion via control_request (requestId=%1)").arg(*requestId));
    else
        logLine(Tag, QStringLiteral("Permission request: tool=%1, requestId=%2").arg(e.permission.toolName, *requestId));
    out.events.append(e);
    return Outcome::decoded;
}

Outcome ClaudeStreamDecoder::decodeCancelRequest(const QJsonObject &message, Output &out)
{
    const auto requestId = optionalString(message, "request_id");
    if (!requestId)
        return Outcome::skipped;
    logLine(Tag, QStringLiteral("Cancel permission request: ") + *requestId);
    m_state.pendingRequestInputs.remove(*requestId);
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::cancelRequest;
    e.id = *requestId;
    out.events.append(e);
    return Outcome::decoded;
}

Outcome ClaudeStreamDecoder::decodeToolProgress(const QJsonObject &message, Output &out)
{
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::toolProgress;
    e.id = stringOr(message, "tool_use_id");
    e.name = stringOr(message, "tool_name");
    e.seconds = numberOr(message, "elapsed_seconds");
    out.events.append(e);
    return Outcome::decoded;
}

void ClaudeStreamDecoder::emitText(const QString &delta, Output &out)
{
    if (delta.isEmpty())
        return;
    m_state.accumulatedResponse += delta;
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::text;
    e.text = delta;
    out.events.append(e);
}

void ClaudeStreamDecoder::startThinking(Output &out)
{
    if (m_state.thinkingStarted)
        return;
    m_state.thinkingStarted = true;
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::thinkingStarted;
    out.events.append(e);
}

} // namespace corvane
