#include "agent/claude/ClaudeStreamDecoder.h"

#include "core/Log.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

namespace corvane {

namespace {

// Typed reads that treat a field of the wrong JSON type as missing.
QString textOf(const QVariantMap &map, const char *key, const QString &fallback = {})
{
    const QVariant v = map.value(QLatin1String(key));
    return v.typeId() == QMetaType::QString ? v.toString() : fallback;
}

std::optional<QString> optionalText(const QVariantMap &map, const char *key)
{
    const QVariant v = map.value(QLatin1String(key));
    return v.typeId() == QMetaType::QString ? std::optional<QString>(v.toString()) : std::nullopt;
}

QVariantMap mapOf(const QVariantMap &map, const char *key)
{
    const QVariant v = map.value(QLatin1String(key));
    return v.typeId() == QMetaType::QVariantMap ? v.toMap() : QVariantMap();
}

QVariantList listOf(const QVariantMap &map, const char *key)
{
    const QVariant v = map.value(QLatin1String(key));
    return v.typeId() == QMetaType::QVariantList ? v.toList() : QVariantList();
}

double numberOf(const QVariantMap &map, const char *key)
{
    const QVariant v = map.value(QLatin1String(key));
    switch (v.typeId()) {
    case QMetaType::Double:
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::ULongLong:
        return v.toDouble();
    default:
        return 0;
    }
}

bool boolOf(const QVariantMap &map, const char *key)
{
    const QVariant v = map.value(QLatin1String(key));
    return v.typeId() == QMetaType::Bool && v.toBool();
}

QString toolResultText(const QVariant &content)
{
    if (content.typeId() == QMetaType::QString)
        return content.toString();
    QStringList parts;
    if (content.typeId() == QMetaType::QVariantList)
        for (const QVariant &item : content.toList())
            if (item.typeId() == QMetaType::QVariantMap)
                if (auto text = optionalText(item.toMap(), "text"))
                    parts << *text;
    return parts.join(QLatin1Char('\n'));
}

} // namespace

QList<AgentQuestion> parseQuestions(const QVariant &questions)
{
    QList<AgentQuestion> out;
    if (questions.typeId() != QMetaType::QVariantList)
        return out;
    for (const QVariant &entry : questions.toList()) {
        if (entry.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap map = entry.toMap();
        const auto question = optionalText(map, "question");
        if (!question)
            continue;
        AgentQuestion q;
        q.question = *question;
        q.header = optionalText(map, "header");
        q.multiSelect = boolOf(map, "multiSelect");
        for (const QVariant &option : listOf(map, "options")) {
            if (option.typeId() != QMetaType::QVariantMap)
                continue;
            const auto label = optionalText(option.toMap(), "label");
            if (!label)
                continue;
            q.options.append({*label, optionalText(option.toMap(), "description")});
        }
        out.append(q);
    }
    return out;
}

void ClaudeStreamDecoder::resetTurn()
{
    m_accumulated.clear();
    m_streamedText.clear();
    m_currentBlock = -1;
    m_startedToolIds.clear();
    m_thinkingStarted = false;
}

ClaudeStreamDecoder::Output ClaudeStreamDecoder::decode(const QByteArray &line)
{
    Output out;
    // Lines arrive whole (split on newline bytes), so a line that is not UTF-8 is damaged, not cut.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(line);
    if (utf8.hasError()) {
        logLine("ClaudeSDK", QStringLiteral("Dropped a line that is not valid UTF-8 (%1 bytes)").arg(line.size()));
        return out;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        logLine("ClaudeSDK", QStringLiteral("Failed to parse JSON: ") + text.left(100));
        return out;
    }
    const QVariantMap message = doc.object().toVariantMap();
    const auto type = optionalText(message, "type");
    if (!type) {
        logLine("ClaudeSDK", QStringLiteral("Failed to parse JSON: ") + text.left(100));
        return out;
    }
    out.parsed = true;
    out.isContent = *type != QLatin1String("keep_alive");

    if (*type == QLatin1String("system"))
        decodeSystem(message, out);
    else if (*type == QLatin1String("stream_event"))
        decodeStreamEvent(message, out);
    else if (*type == QLatin1String("assistant"))
        decodeAssistant(message, out);
    else if (*type == QLatin1String("user"))
        decodeUser(message, out);
    else if (*type == QLatin1String("result"))
        decodeResult(message, out);
    else if (*type == QLatin1String("control_request"))
        decodeControlRequest(message, line, out);
    else if (*type == QLatin1String("control_cancel_request")) {
        if (auto id = optionalText(message, "request_id")) {
            logLine("ClaudeSDK", QStringLiteral("Cancel permission request: ") + *id);
            ClaudeEvent e;
            e.kind = ClaudeEvent::Kind::cancelRequest;
            e.id = *id;
            out.events.append(e);
        }
    } else if (*type == QLatin1String("tool_progress")) {
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::toolProgress;
        e.id = textOf(message, "tool_use_id");
        e.name = textOf(message, "tool_name");
        e.seconds = numberOf(message, "elapsed_seconds");
        out.events.append(e);
    } else if (*type == QLatin1String("control_response") || *type == QLatin1String("keep_alive")
               || *type == QLatin1String("tool_use_summary") || *type == QLatin1String("rate_limit_event")) {
        // Answers to our own control requests, and bookkeeping: nothing to show.
    } else {
        logLine("ClaudeSDK", QStringLiteral("Unknown message type: ") + *type);
    }
    return out;
}

void ClaudeStreamDecoder::decodeSystem(const QVariantMap &message, Output &out)
{
    const QString subtype = textOf(message, "subtype");
    if (subtype == QLatin1String("init")) {
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::initialized;
        e.info.sessionId = textOf(message, "session_id");
        e.info.model = textOf(message, "model", QStringLiteral("unknown"));
        for (const QVariant &tool : listOf(message, "tools"))
            if (tool.typeId() == QMetaType::QString)
                e.info.tools << tool.toString();
        e.info.version = textOf(message, "claude_code_version");
        e.info.agentType = AgentType::claudeCode;
        out.events.append(e);
    } else if (subtype == QLatin1String("status")) {
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::statusChanged;
        e.status = optionalText(message, "status");
        out.events.append(e);
    } else if (subtype != QLatin1String("thinking_tokens")) {
        logLine("ClaudeSDK", QStringLiteral("System message subtype: ") + subtype);
    }
}

void ClaudeStreamDecoder::decodeStreamEvent(const QVariantMap &message, Output &out)
{
    const QVariantMap event = mapOf(message, "event");
    const QString type = textOf(event, "type");
    if (type == QLatin1String("message_start")) {
        // A new model message: its block indexes start again from 0.
        m_streamedText.clear();
        m_currentBlock = -1;
    } else if (type == QLatin1String("content_block_start")) {
        m_currentBlock = int(numberOf(event, "index"));
        if (textOf(mapOf(event, "content_block"), "type") == QLatin1String("thinking"))
            startThinking(out);
    } else if (type == QLatin1String("content_block_delta")) {
        const int index = int(numberOf(event, "index"));
        const QVariantMap delta = mapOf(event, "delta");
        if (textOf(delta, "type") == QLatin1String("text_delta")) {
            const QString piece = textOf(delta, "text");
            if (piece.isEmpty())
                return;
            m_streamedText[index] += piece;
            emitText(piece, out);
        }
    }
}

void ClaudeStreamDecoder::decodeAssistant(const QVariantMap &message, Output &out)
{
    // The tool's own error notice ("API Error: ...") comes as a made-up assistant message right
    // before the error result: show it once, as the error, not also as reply text.
    if (message.contains(QStringLiteral("error")) && textOf(mapOf(message, "message"), "model") == QLatin1String("<synthetic>"))
        return;
    const bool fromSubagent = message.value(QStringLiteral("parent_tool_use_id")).typeId() == QMetaType::QString;
    const QVariantList content = listOf(mapOf(message, "message"), "content");
    for (const QVariant &item : content) {
        if (item.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap block = item.toMap();
        const QString type = textOf(block, "type");
        if (type == QLatin1String("text")) {
            const auto full = optionalText(block, "text");
            if (!full || fromSubagent)
                continue;
            const QString shown = m_currentBlock >= 0 ? m_streamedText.value(m_currentBlock) : QString();
            if (!shown.isEmpty() && full->startsWith(shown)) {
                if (full->size() > shown.size())
                    emitText(full->mid(shown.size()), out);
            } else {
                emitText(*full, out); // no deltas for this block: the whole block is new
            }
            if (m_currentBlock >= 0)
                m_streamedText[m_currentBlock] = *full;
        } else if (type == QLatin1String("tool_use")) {
            const auto name = optionalText(block, "name");
            const auto id = optionalText(block, "id");
            if (!name || !id || m_startedToolIds.contains(*id))
                continue;
            m_startedToolIds.insert(*id);
            ClaudeEvent e;
            e.kind = ClaudeEvent::Kind::toolStarted;
            e.name = *name;
            e.id = *id;
            e.input = mapOf(block, "input");
            out.events.append(e);
        } else if (type == QLatin1String("thinking")) {
            startThinking(out);
        }
    }
}

void ClaudeStreamDecoder::decodeUser(const QVariantMap &message, Output &out)
{
    m_streamedText.clear();
    m_currentBlock = -1;
    m_thinkingStarted = false;
    for (const QVariant &item : listOf(mapOf(message, "message"), "content")) {
        if (item.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap block = item.toMap();
        if (textOf(block, "type") != QLatin1String("tool_result"))
            continue;
        ClaudeEvent e;
        e.kind = ClaudeEvent::Kind::toolResult;
        e.id = textOf(block, "tool_use_id", QStringLiteral("Tool"));
        e.text = toolResultText(block.value(QStringLiteral("content")));
        out.events.append(e);
    }
}

void ClaudeStreamDecoder::decodeResult(const QVariantMap &message, Output &out)
{
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::result;
    AgentResult &r = e.result;
    r.text = textOf(message, "result");
    r.cost = numberOf(message, "total_cost_usd");
    r.isError = boolOf(message, "is_error");
    r.subtype = textOf(message, "subtype");
    r.durationMs = numberOf(message, "duration_ms");
    r.numTurns = qint64(numberOf(message, "num_turns"));
    if (message.value(QStringLiteral("usage")).typeId() == QMetaType::QVariantMap)
        r.usage = mapOf(message, "usage");
    for (const QVariant &error : listOf(message, "errors"))
        if (error.typeId() == QMetaType::QString)
            e.errors << error.toString();
    r.extra.insert(QStringLiteral("modelUsage"), mapOf(message, "modelUsage"));
    r.extra.insert(QStringLiteral("errors"), e.errors);
    r.extra.insert(QStringLiteral("permissionDenials"), listOf(message, "permission_denials"));
    if (r.text.isEmpty() && !r.isError)
        r.text = m_accumulated;
    out.events.append(e);
    resetTurn();
}

void ClaudeStreamDecoder::decodeControlRequest(const QVariantMap &message, const QByteArray &line, Output &out)
{
    const auto requestId = optionalText(message, "request_id");
    const QVariant requestValue = message.value(QStringLiteral("request"));
    const QVariantMap request = requestValue.toMap();
    const auto subtype = optionalText(request, "subtype");
    if (!requestId || requestValue.typeId() != QMetaType::QVariantMap || !subtype) {
        logLine("ClaudeSDK", QStringLiteral("Malformed control_request: ") + QString::fromUtf8(line.left(200)));
        return;
    }
    if (*subtype != QLatin1String("can_use_tool")) {
        logLine("ClaudeSDK", QStringLiteral("Unknown control_request subtype: ") + *subtype);
        return;
    }
    const QString toolName = textOf(request, "tool_name");
    const QVariantMap input = mapOf(request, "input");
    if (toolName == QLatin1String("AskUserQuestion")) {
        const QList<AgentQuestion> questions = parseQuestions(input.value(QStringLiteral("questions")));
        if (!questions.isEmpty()) {
            logLine("ClaudeSDK", QStringLiteral("AskUserQuestion via control_request (requestId=%1)").arg(*requestId));
            ClaudeEvent e;
            e.kind = ClaudeEvent::Kind::question;
            e.id = *requestId;
            e.questions = questions;
            e.input = input;
            out.events.append(e);
            return;
        }
    }
    logLine("ClaudeSDK", QStringLiteral("Permission request: tool=%1, requestId=%2").arg(toolName, *requestId));
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::permissionRequest;
    AgentPermissionRequest &p = e.permission;
    p.requestId = *requestId;
    p.toolName = toolName;
    p.toolInput = input;
    p.toolUseId = textOf(request, "tool_use_id");
    p.reason = optionalText(request, "decision_reason");
    p.description = optionalText(request, "description");
    if (request.value(QStringLiteral("permission_suggestions")).typeId() == QMetaType::QVariantList) {
        QList<QVariantMap> suggestions;
        for (const QVariant &s : listOf(request, "permission_suggestions"))
            if (s.typeId() == QMetaType::QVariantMap)
                suggestions.append(s.toMap());
        p.suggestions = suggestions;
    }
    out.events.append(e);
}

void ClaudeStreamDecoder::emitText(const QString &delta, Output &out)
{
    m_accumulated += delta;
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::text;
    e.text = delta;
    out.events.append(e);
}

void ClaudeStreamDecoder::startThinking(Output &out)
{
    if (m_thinkingStarted)
        return;
    m_thinkingStarted = true;
    ClaudeEvent e;
    e.kind = ClaudeEvent::Kind::thinkingStarted;
    out.events.append(e);
}

} // namespace corvane
