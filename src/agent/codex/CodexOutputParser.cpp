#include "agent/codex/CodexOutputParser.h"

#include "agent/claude/CodePoints.h"
#include "agent/claude/JsonFields.h"
#include "core/Log.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

namespace corvane::codexoutput {

using namespace jsonfields;

namespace {

const char *const Tag = "CodexSDK";

bool is(const QString &value, const char *expected)
{
    return value == QLatin1String(expected);
}

Line event(CodexEvent e)
{
    return Line{Outcome::decoded, std::move(e)};
}

Line ignored()
{
    return Line{Outcome::ignored, std::nullopt};
}

Line skipped(const QString &why, const QString &text)
{
    logLine(Tag, why + codepoints::left(text, 100));
    return Line{Outcome::skipped, std::nullopt};
}

CodexEvent toolStarted(const QString &id, const QString &name, QVariantMap input)
{
    CodexEvent e;
    e.kind = CodexEvent::Kind::toolStarted;
    e.id = id;
    e.name = name;
    e.input = std::move(input);
    return e;
}

CodexEvent toolResult(const QString &id, const QString &text)
{
    CodexEvent e;
    e.kind = CodexEvent::Kind::toolResult;
    e.id = id;
    e.text = text;
    return e;
}

// A file change touches one or more files: `changes` [{path, kind}], the first of them named as
// the file of the edit.
QVariantMap fileChangeInput(const QJsonObject &item)
{
    const QJsonArray changes = arrayOr(item, "changes");
    QString first = stringOr(item, "path");
    QVariantList list;
    for (const QJsonValue &change : changes) {
        const QJsonObject c = change.toObject();
        const QString path = stringOr(c, "path");
        if (first.isEmpty())
            first = path;
        list.append(QVariantMap{{"path", path}, {"kind", stringOr(c, "kind")}});
    }
    QVariantMap input{{"file_path", first}};
    if (!list.isEmpty())
        input.insert("changes", list);
    return input;
}

QString fileChangeResult(const QJsonObject &item)
{
    const QString status = stringOr(item, "status", QStringLiteral("completed"));
    QStringList lines;
    for (const QJsonValue &change : arrayOr(item, "changes")) {
        const QString path = stringOr(change.toObject(), "path");
        if (!path.isEmpty())
            lines << path + QStringLiteral(" (") + status + QLatin1Char(')');
    }
    if (lines.isEmpty())
        lines << stringOr(item, "path") + QStringLiteral(" (") + status + QLatin1Char(')');
    return lines.join(QLatin1Char('\n'));
}

Line decodeItem(const QJsonObject &message, bool started, const QString &text)
{
    const auto item = optionalObject(message, "item");
    const auto id = item ? optionalString(*item, "id") : std::nullopt;
    const auto type = item ? optionalString(*item, "type") : std::nullopt;
    if (!item || !id || !type)
        return skipped(QStringLiteral("Item without id or type: "), text);

    if (is(*type, "agent_message")) {
        const QString reply = stringOr(*item, "text");
        if (started || reply.isEmpty())
            return ignored();
        CodexEvent e;
        e.kind = CodexEvent::Kind::text;
        e.id = *id;
        e.text = reply;
        return event(e);
    }
    if (is(*type, "command_execution")) {
        if (started)
            return event(toolStarted(*id, QStringLiteral("Shell"), {{"command", stringOr(*item, "command")}}));
        return event(toolResult(*id, commandResultText(stringOr(*item, "aggregated_output"),
                                                       optionalInteger(*item, "exit_code"),
                                                       stringOr(*item, "status", QStringLiteral("completed")))));
    }
    if (is(*type, "file_change")) {
        if (started)
            return event(toolStarted(*id, QStringLiteral("Edit"), fileChangeInput(*item)));
        return event(toolResult(*id, fileChangeResult(*item)));
    }
    if (is(*type, "mcp_tool_call")) {
        if (started) {
            QString name = stringOr(*item, "name");
            if (name.isEmpty())
                name = stringOr(*item, "tool", QStringLiteral("mcp"));
            return event(toolStarted(*id, name, objectOr(*item, "arguments").toVariantMap()));
        }
        return event(toolResult(*id, stringOr(*item, "output")));
    }
    if (is(*type, "web_search")) {
        if (started)
            return event(toolStarted(*id, QStringLiteral("WebSearch"), {{"query", stringOr(*item, "query")}}));
        return event(toolResult(*id, stringOr(*item, "aggregated_output")));
    }
    if (is(*type, "error")) // codex's own warnings as items ("Model metadata ... not found")
        logLine(Tag, QStringLiteral("codex: ") + stringOr(*item, "message"));
    return ignored();
}

} // namespace

QString commandResultText(const QString &output, std::optional<qint64> exitCode, const QString &status)
{
    QString exitPart;
    if (is(status, "failed"))
        exitPart = exitCode ? QString::number(*exitCode) : QStringLiteral("?");
    else if (exitCode && *exitCode != 0)
        exitPart = QString::number(*exitCode);
    if (exitPart.isEmpty())
        return output;
    QString text = output;
    if (!text.isEmpty() && !text.endsWith(QLatin1Char('\n')))
        text += QLatin1Char('\n');
    return text + QStringLiteral("[exit ") + exitPart + QLatin1Char(']');
}

QString readableFailure(const QString &message)
{
    const QString trimmed = message.trimmed();
    if (!trimmed.startsWith(QLatin1Char('{')))
        return message;
    const QJsonObject body = QJsonDocument::fromJson(trimmed.toUtf8()).object();
    const QJsonObject error = objectOr(body, "error");
    const QString inner = stringOr(error, "message", stringOr(body, "message"));
    return inner.isEmpty() ? message : inner;
}

Line decodeLine(QByteArrayView line)
{
    const QByteArrayView trimmed = line.trimmed();
    if (trimmed.isEmpty())
        return ignored();
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(trimmed);
    if (utf8.hasError()) {
        logLine(Tag, QStringLiteral("Dropped a line that is not valid UTF-8 (%1 bytes)").arg(trimmed.size()));
        return Line{Outcome::skipped, std::nullopt};
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(trimmed.toByteArray(), &error);
    const QJsonObject message = document.object();
    const auto type = optionalString(message, "type");
    if (error.error != QJsonParseError::NoError || !document.isObject() || !type)
        return skipped(QStringLiteral("Failed to parse JSON: "), text);

    CodexEvent e;
    if (is(*type, "thread.started")) {
        const auto id = optionalString(message, "thread_id");
        if (!id || id->isEmpty())
            return skipped(QStringLiteral("thread.started without thread_id: "), text);
        e.kind = CodexEvent::Kind::threadStarted;
        e.id = *id;
        return event(e);
    }
    if (is(*type, "turn.started")) {
        e.kind = CodexEvent::Kind::turnStarted;
        return event(e);
    }
    if (is(*type, "turn.completed")) {
        e.kind = CodexEvent::Kind::turnCompleted;
        if (const auto usage = optionalObject(message, "usage"))
            e.usage = usage->toVariantMap();
        return event(e);
    }
    if (is(*type, "turn.failed")) {
        e.kind = CodexEvent::Kind::turnFailed;
        QString failure = stringOr(objectOr(message, "error"), "message", stringOr(message, "message"));
        failure = readableFailure(failure);
        e.text = failure.isEmpty() ? QStringLiteral("Codex turn failed") : failure;
        return event(e);
    }
    if (is(*type, "error")) {
        // Retries show up here ("Reconnecting... 1/5"); a final one repeats in turn.failed.
        const QString notice = readableFailure(stringOr(message, "message"));
        if (notice.isEmpty())
            return ignored();
        e.kind = CodexEvent::Kind::notice;
        e.text = notice;
        return event(e);
    }
    if (is(*type, "item.started") || is(*type, "item.completed"))
        return decodeItem(message, is(*type, "item.started"), text);
    return ignored();
}

} // namespace corvane::codexoutput
