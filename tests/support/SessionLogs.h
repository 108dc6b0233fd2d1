#pragma once

// Session logs written the way claude and codex write them, line by line, for the import tests
// and the import benchmark.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

namespace corvane::test::logs {

inline QByteArray line(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

inline QJsonArray textBlocks(const QString &text, const QString &type = QStringLiteral("text"))
{
    return QJsonArray{QJsonObject{{"type", type}, {"text", text}}};
}

// claude: a typed prompt as the interactive tool writes it (content blocks) ...
inline QByteArray claudeUser(const QString &text, const QString &timestamp = QStringLiteral("2026-03-04T05:06:07.890Z"))
{
    return line({{"type", "user"}, {"timestamp", timestamp},
                 {"message", QJsonObject{{"role", "user"}, {"content", textBlocks(text)}}}});
}
// ... with the folder claude ran in, as every record of its names it ...
inline QByteArray claudeUserIn(const QString &text, const QString &cwd)
{
    return line({{"type", "user"}, {"cwd", cwd}, {"timestamp", "2026-03-04T05:06:07.890Z"},
                 {"message", QJsonObject{{"role", "user"}, {"content", textBlocks(text)}}}});
}
// ... or as a plain string, as claude -p and 2.1 write it.
inline QByteArray claudeUserString(const QString &text)
{
    return line({{"type", "user"}, {"timestamp", "2026-03-04T05:06:07.890Z"},
                 {"message", QJsonObject{{"role", "user"}, {"content", text}}}});
}
inline QByteArray claudeToolResult()
{
    return line({{"type", "user"},
                 {"message", QJsonObject{{"role", "user"}, {"content", QJsonArray{QJsonObject{
                      {"type", "tool_result"}, {"tool_use_id", "t1"}, {"content", "ok"}}}}}}});
}
inline QByteArray claudeAssistant(const QJsonArray &blocks, const QString &model = QStringLiteral("claude-sonnet-4-6"))
{
    return line({{"type", "assistant"}, {"message", QJsonObject{{"role", "assistant"}, {"model", model}, {"content", blocks}}}});
}
inline QByteArray claudeText(const QString &text, const QString &model = QStringLiteral("claude-sonnet-4-6"))
{
    return claudeAssistant(textBlocks(text), model);
}
inline QByteArray claudeToolUse(const QString &name, const QJsonObject &input)
{
    QJsonObject block{{"type", "tool_use"}, {"id", "t1"}, {"input", input}};
    if (!name.isEmpty())
        block["name"] = name;
    return claudeAssistant(QJsonArray{block});
}

// codex rollout records.
inline QByteArray codexMeta(const QString &id, const QString &cwd, const QString &timestamp = QStringLiteral("2026-03-04T05:06:07.890Z"))
{
    return line({{"type", "session_meta"}, {"payload", QJsonObject{{"id", id}, {"cwd", cwd}, {"timestamp", timestamp},
                                                                   {"base_instructions", "You are a coding agent."}}}});
}
inline QByteArray codexTurnContext(const QString &model)
{
    return line({{"type", "turn_context"}, {"payload", QJsonObject{{"model", model}}}});
}
inline QByteArray codexMessage(const QString &role, const QString &text)
{
    const QString type = role == QStringLiteral("assistant") ? QStringLiteral("output_text") : QStringLiteral("input_text");
    return line({{"type", "response_item"},
                 {"payload", QJsonObject{{"type", "message"}, {"role", role}, {"content", textBlocks(text, type)}}}});
}
inline QByteArray codexCall(const QString &name, const QString &arguments)
{
    QJsonObject payload{{"type", "function_call"}, {"arguments", arguments}};
    if (!name.isEmpty())
        payload["name"] = name;
    return line({{"type", "response_item"}, {"payload", payload}});
}
inline QByteArray codexUserEvent(const QString &text)
{
    return line({{"type", "event_msg"}, {"payload", QJsonObject{{"type", "user_message"}, {"message", text}}}});
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Where claude 2.1 keeps `projectPath`'s logs under a "projects" root.
inline QString claudeFolder(const QString &root, const QString &projectPath)
{
    QString name = projectPath;
    for (QChar &c : name)
        if (!(c.isLetterOrNumber() && c.unicode() < 128))
            c = u'-';
    return QDir(root).filePath(name);
}

} // namespace corvane::test::logs
