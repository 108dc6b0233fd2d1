#pragma once

// Builders for the lines claude writes, shaped as the real tool shapes them (one finished block
// per "assistant" line, live text only in stream events), so that tests read like transcripts.

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

namespace corvane::test::claude {

inline QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

inline QJsonValue parent(const QString &parentToolUseId)
{
    return parentToolUseId.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(parentToolUseId);
}

inline QByteArray init(const QString &sessionId = "s-1")
{
    return json({{"type", "system"}, {"subtype", "init"}, {"session_id", sessionId}, {"model", "claude-sonnet-4-6"},
                 {"tools", QJsonArray{"Bash", "Write"}}, {"claude_code_version", "2.1.197"}});
}

inline QByteArray status(const QString &text = "requesting")
{
    return json({{"type", "system"}, {"subtype", "status"}, {"status", text}});
}

inline QByteArray streamEvent(const QJsonObject &event, const QString &parentId = {})
{
    return json({{"type", "stream_event"}, {"event", event}, {"parent_tool_use_id", parent(parentId)}});
}

inline QByteArray messageStart()
{
    return streamEvent({{"type", "message_start"}, {"message", QJsonObject{{"role", "assistant"}, {"content", QJsonArray{}}}}});
}

inline QByteArray blockStart(int index, const QString &type = "text")
{
    return streamEvent({{"type", "content_block_start"}, {"index", index}, {"content_block", QJsonObject{{"type", type}}}});
}

inline QByteArray textDelta(int index, const QString &text)
{
    return streamEvent({{"type", "content_block_delta"}, {"index", index},
                        {"delta", QJsonObject{{"type", "text_delta"}, {"text", text}}}});
}

inline QByteArray thinkingDelta(int index, const QString &text)
{
    return streamEvent({{"type", "content_block_delta"}, {"index", index},
                        {"delta", QJsonObject{{"type", "thinking_delta"}, {"thinking", text}}}});
}

inline QByteArray blockStop(int index)
{
    return streamEvent({{"type", "content_block_stop"}, {"index", index}});
}

inline QByteArray messageStop()
{
    return streamEvent({{"type", "message_stop"}});
}

inline QByteArray assistant(const QJsonObject &block, const QString &parentId = {})
{
    return json({{"type", "assistant"},
                 {"message", QJsonObject{{"role", "assistant"}, {"model", "claude-sonnet-4-6"}, {"content", QJsonArray{block}}}},
                 {"parent_tool_use_id", parent(parentId)}});
}

inline QByteArray assistantText(const QString &text, const QString &parentId = {})
{
    return assistant({{"type", "text"}, {"text", text}}, parentId);
}

inline QByteArray assistantThinking(const QString &text = "Let me think.")
{
    return assistant({{"type", "thinking"}, {"thinking", text}, {"signature", "sig"}});
}

inline QByteArray assistantTool(const QString &id, const QString &name, const QJsonObject &input, const QString &parentId = {})
{
    return assistant({{"type", "tool_use"}, {"id", id}, {"name", name}, {"input", input}}, parentId);
}

// claude's own notice of a failed model request, written as if the model had said it.
inline QByteArray syntheticApiError(const QString &text)
{
    return json({{"type", "assistant"},
                 {"message", QJsonObject{{"role", "assistant"}, {"model", "<synthetic>"},
                                         {"content", QJsonArray{QJsonObject{{"type", "text"}, {"text", text}}}}}},
                 {"parent_tool_use_id", QJsonValue::Null},
                 {"error", "unknown"}});
}

inline QByteArray userContent(const QJsonArray &content, const QString &parentId = {})
{
    return json({{"type", "user"}, {"message", QJsonObject{{"role", "user"}, {"content", content}}},
                 {"parent_tool_use_id", parent(parentId)}});
}

inline QByteArray toolResult(const QString &id, const QJsonValue &content, const QString &parentId = {})
{
    return userContent({QJsonObject{{"type", "tool_result"}, {"tool_use_id", id}, {"content", content}}}, parentId);
}

inline QByteArray interruptMarker()
{
    return userContent({QJsonObject{{"type", "text"}, {"text", "[Request interrupted by user]"}}});
}

inline QByteArray success(const QString &text, double cost = 0.0125)
{
    return json({{"type", "result"}, {"subtype", "success"}, {"is_error", false}, {"result", text},
                 {"total_cost_usd", cost}, {"duration_ms", 1500}, {"num_turns", 1}});
}

// How a stopped turn ends: an error with no text, only claude's diagnostics.
inline QByteArray stoppedResult()
{
    return json({{"type", "result"}, {"subtype", "error_during_execution"}, {"is_error", true}, {"num_turns", 2},
                 {"errors", QJsonArray{"[ede_diagnostic] result_type=user last_content_type=n/a stop_reason=null"}}});
}

inline QByteArray canUseTool(const QString &requestId, const QString &tool, const QJsonObject &input)
{
    return json({{"type", "control_request"}, {"request_id", requestId},
                 {"request", QJsonObject{{"subtype", "can_use_tool"}, {"tool_name", tool}, {"input", input},
                                         {"tool_use_id", "toolu_1"}}}});
}

} // namespace corvane::test::claude
