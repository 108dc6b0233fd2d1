#include "accounts/import/CodexSessionImporter.h"

#include "accounts/import/ImportError.h"
#include "accounts/import/SessionLogText.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

namespace codexlog {

namespace {

QString messageText(const QJsonObject &payload)
{
    return sessionlog::joinedBlockText(payload.value("content"_L1).toArray(),
                                       {"input_text"_L1, "output_text"_L1, "text"_L1});
}

} // namespace

bool isInjectedContext(const QString &text)
{
    const QString start = text.trimmed();
    return start.startsWith("<environment_context>"_L1) || start.startsWith("<user_instructions>"_L1)
        || start.startsWith("# AGENTS.md instructions"_L1);
}

CodexHeader scanHeader(QByteArrayView text)
{
    CodexHeader header;
    const auto takePrompt = [&header](const QString &text) {
        if (header.firstPrompt.isEmpty() && !text.trimmed().isEmpty() && !isInjectedContext(text))
            header.firstPrompt = text.trimmed().left(200);
    };
    sessionlog::forEachObject(text, [&](const QJsonObject &record) {
        const QJsonValue payloadValue = record.value("payload"_L1);
        if (!record.value("type"_L1).isString() || !payloadValue.isObject())
            return;
        const QString type = record.value("type"_L1).toString();
        const QJsonObject payload = payloadValue.toObject();
        if (type == "session_meta"_L1) {
            header.id = payload.value("id"_L1).toString();
            header.cwd = payload.value("cwd"_L1).isString() ? std::optional(payload.value("cwd"_L1).toString()) : std::nullopt;
            if (auto model = sessionlog::nonEmptyString(payload, "model"_L1))
                header.model = model;
            header.started = sessionlog::parseTimestamp(payload.value("timestamp"_L1));
        } else if (type == "response_item"_L1) {
            const QString role = payload.value("role"_L1).toString();
            if (role == "user"_L1) {
                ++header.messageCount;
                takePrompt(messageText(payload));
            } else if (role == "assistant"_L1 || role == "developer"_L1) {
                ++header.messageCount;
            }
        } else if (type == "event_msg"_L1) {
            if (payload.value("type"_L1).toString() == "user_message"_L1)
                takePrompt(payload.value("message"_L1).toString());
        } else if (type == "turn_context"_L1) {
            // codex 0.169 names the model per turn rather than in the session's meta.
            if (!header.model)
                header.model = sessionlog::nonEmptyString(payload, "model"_L1);
        }
    });
    return header;
}

QList<Message> parseLog(QByteArrayView text, const QDateTime &now)
{
    QList<Message> messages;
    sessionlog::forEachObject(text, [&](const QJsonObject &record) {
        if (record.value("type"_L1).toString() != "response_item"_L1)
            return;
        const QJsonObject payload = record.value("payload"_L1).toObject();
        const QString role = payload.value("role"_L1).toString();
        const QString type = payload.value("type"_L1).toString();
        Message message;
        message.isComplete = true;
        if (type == "function_call"_L1) {
            const QString name = sessionlog::nonEmptyString(payload, "name"_L1).value_or(u"Tool"_s);
            message.role = MessageRole::tool;
            message.contentType = MessageContentType::toolComplete;
            message.toolName = name;
            message.content = name;
            if (auto arguments = sessionlog::nonEmptyString(payload, "arguments"_L1))
                message.content += ": "_L1 + arguments->left(100);
        } else if (type == "message"_L1 && (role == "user"_L1 || role == "assistant"_L1)) {
            message.content = messageText(payload);
            if (message.content.isEmpty() || (role == "user"_L1 && isInjectedContext(message.content)))
                return;
            message.role = role == "user"_L1 ? MessageRole::user : MessageRole::assistant;
            message.contentType = MessageContentType::text;
        } else {
            return;
        }
        messages.append(std::move(message));
    });
    sessionlog::stampInOrder(messages, now);
    return messages;
}

} // namespace codexlog

namespace {

// The folder a rollout belongs to, from its first line alone; nothing when that line is not
// complete session meta.
std::optional<QString> cwdOfFirstLine(QByteArrayView text)
{
    const qsizetype end = text.indexOf('\n');
    if (end < 0)
        return std::nullopt;
    const auto record = sessionlog::objectOf(text.first(end));
    if (!record || record->value("type"_L1).toString() != "session_meta"_L1)
        return std::nullopt;
    const QJsonValue cwd = record->value("payload"_L1).toObject().value("cwd"_L1);
    return cwd.isString() ? std::optional(cwd.toString()) : std::nullopt;
}

} // namespace

std::optional<ImportableSession> CodexSessionImporter::scanFile(const QString &path, const QString &projectPath)
{
    auto head = sessionlog::readHead(path, sessionlog::headerWindowBytes);
    if (!head)
        return std::nullopt;
    if (auto cwd = cwdOfFirstLine(head->bytes); cwd && *cwd != projectPath)
        return std::nullopt;
    auto text = sessionlog::completeText(*head);
    if (!text)
        return std::nullopt;
    CodexHeader header = codexlog::scanHeader(*text);
    if (header.firstPrompt.isEmpty() && head->truncated) {
        head = sessionlog::readHead(path, codexlog::headerWindowBytes);
        if (!head || !(text = sessionlog::completeText(*head)))
            return std::nullopt;
        header = codexlog::scanHeader(*text);
    }
    if (header.id.isEmpty() || header.firstPrompt.isEmpty() || header.cwd != projectPath)
        return std::nullopt;
    const auto dates = sessionlog::fileDates(path, header.started);
    ImportableSession session;
    session.id = header.id;
    session.agentType = AgentType::codex;
    session.firstPrompt = header.firstPrompt;
    session.messageCount = header.messageCount;
    session.created = dates.created;
    session.modified = dates.modified;
    session.projectPath = header.cwd;
    session.jsonlPath = path;
    session.model = header.model;
    return session;
}

QList<ImportableSession> CodexSessionImporter::discoverSessions(const QString &projectPath) const
{
    QStringList paths;
    for (const QString &root : m_sessionsDirs) {
        // Without QDir::Hidden the walk skips hidden files and does not enter hidden folders.
        QDirIterator it(root, {u"rollout-*.jsonl"_s}, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext())
            paths << it.next();
    }
    const auto scanned = sessionlog::mapInParallel(paths, [&projectPath](const QString &path) { return scanFile(path, projectPath); });
    QList<ImportableSession> sessions;
    QSet<QString> seen;
    for (const auto &session : scanned) {
        if (!session || seen.contains(session->id))
            continue;
        seen.insert(session->id);
        sessions.append(*session);
    }
    std::sort(sessions.begin(), sessions.end(),
              [](const ImportableSession &a, const ImportableSession &b) { return a.modified > b.modified; });
    return sessions;
}

Result<QList<Message>> CodexSessionImporter::parseMessages(const ImportableSession &session)
{
    auto bytes = sessionlog::readAll(session.jsonlPath);
    if (!bytes)
        return bytes.error();
    if (!sessionlog::isStrictUtf8(*bytes))
        return importerror::unreadable(session.jsonlPath);
    return codexlog::parseLog(*bytes, QDateTime::currentDateTime());
}

} // namespace corvane
