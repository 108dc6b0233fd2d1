#include "accounts/import/ClaudeSessionImporter.h"

#include "accounts/import/ImportError.h"
#include "accounts/import/SessionLogText.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>

#include <algorithm>

namespace corvane {

using namespace Qt::StringLiterals;

namespace claudelog {

QString projectFolderName(const QString &projectPath)
{
    QString name = projectPath;
    for (QChar &c : name) {
        const bool keep = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
        if (!keep)
            c = u'-';
    }
    return name;
}

QString slashOnlyFolderName(const QString &projectPath)
{
    QString name = projectPath;
    return name.replace(u'/', u'-');
}

std::optional<QString> userText(const QJsonObject &record)
{
    if (record.value("isMeta"_L1).toBool())
        return std::nullopt;
    QString text;
    if (auto own = sessionlog::nonEmptyString(record, "content"_L1)) {
        text = *own;
    } else {
        const QJsonValue content = record.value("message"_L1).toObject().value("content"_L1);
        if (content.isArray())
            text = sessionlog::joinedBlockText(content.toArray(), {"text"_L1});
        else if (content.isString())
            text = content.toString();
    }
    if (text.trimmed().isEmpty())
        return std::nullopt;
    // What claude writes for a slash command and its output is not something the user typed.
    if (text.startsWith("<command-"_L1) || text.startsWith("<local-command-"_L1))
        return std::nullopt;
    return text;
}

namespace {

// The model of an assistant record; "<synthetic>" marks replies claude made up itself (errors).
std::optional<QString> assistantModel(const QJsonObject &record)
{
    auto model = sessionlog::nonEmptyString(record.value("message"_L1).toObject(), "model"_L1);
    if (model && model->startsWith(u'<'))
        return std::nullopt;
    return model;
}

} // namespace

ClaudeHeader scanHeader(QByteArrayView text)
{
    ClaudeHeader header;
    sessionlog::forEachObject(text, [&](const QJsonObject &record) {
        const QJsonValue typeValue = record.value("type"_L1);
        if (!typeValue.isString())
            return;
        ++header.messageCount;
        if (!header.cwd)
            header.cwd = sessionlog::nonEmptyString(record, "cwd"_L1);
        const QString type = typeValue.toString();
        if (type == "user"_L1) {
            if (header.firstPrompt.isEmpty())
                if (auto text = userText(record))
                    header.firstPrompt = text->trimmed().left(200);
            if (!header.started)
                header.started = sessionlog::parseTimestamp(record.value("timestamp"_L1));
        } else if (type == "result"_L1) {
            if (!header.model)
                header.model = sessionlog::nonEmptyString(record, "model"_L1);
        } else if (type == "assistant"_L1) {
            // claude 2.1 writes no "result" records to its logs; the model is on each reply.
            if (!header.model)
                header.model = assistantModel(record);
        }
    });
    return header;
}

QList<Message> parseLog(QByteArrayView text, const QDateTime &now)
{
    QList<Message> messages;
    const auto add = [&](MessageRole role, MessageContentType type, const QString &content,
                         std::optional<QString> toolName = std::nullopt) {
        Message message;
        message.role = role;
        message.contentType = type;
        message.content = content;
        message.toolName = std::move(toolName);
        message.isComplete = true;
        messages.append(std::move(message));
    };
    sessionlog::forEachObject(text, [&](const QJsonObject &record) {
        const QString type = record.value("type"_L1).toString();
        if (type == "user"_L1) {
            if (auto text = userText(record))
                add(MessageRole::user, MessageContentType::text, *text);
            return;
        }
        if (type != "assistant"_L1)
            return;
        const QJsonArray blocks = record.value("message"_L1).toObject().value("content"_L1).toArray();
        for (const QJsonValue &value : blocks) {
            const QJsonObject block = value.toObject();
            const QString blockType = block.value("type"_L1).toString();
            if (blockType == "text"_L1) {
                if (auto text = sessionlog::nonEmptyString(block, "text"_L1))
                    add(MessageRole::assistant, MessageContentType::text, *text);
            } else if (blockType == "tool_use"_L1) {
                const QString name = sessionlog::nonEmptyString(block, "name"_L1).value_or(u"Tool"_s);
                const QJsonObject input = block.value("input"_L1).toObject();
                QString content = name;
                if (input.value("command"_L1).isString())
                    content += ": "_L1 + input.value("command"_L1).toString();
                else if (input.value("file_path"_L1).isString())
                    content += ": "_L1 + input.value("file_path"_L1).toString();
                add(MessageRole::tool, MessageContentType::toolComplete, content, name);
            }
        }
    });
    sessionlog::stampInOrder(messages, now);
    return messages;
}

} // namespace claudelog

std::optional<ImportableSession> ClaudeSessionImporter::scanFile(const QString &path, const QString &projectPath, bool checkCwd)
{
    auto head = sessionlog::readHead(path, sessionlog::headerWindowBytes);
    if (!head)
        return std::nullopt;
    const auto text = sessionlog::completeText(*head);
    if (!text)
        return std::nullopt;
    const ClaudeHeader header = claudelog::scanHeader(*text);
    if (header.firstPrompt.isEmpty() || (checkCwd && header.cwd != projectPath))
        return std::nullopt;
    const auto dates = sessionlog::fileDates(path, header.started);
    ImportableSession session;
    session.id = QFileInfo(path).completeBaseName();
    session.agentType = AgentType::claudeCode;
    session.firstPrompt = header.firstPrompt;
    session.messageCount = header.messageCount;
    session.created = dates.created;
    session.modified = dates.modified;
    session.projectPath = projectPath;
    session.jsonlPath = path;
    session.model = header.model;
    return session;
}

QList<std::pair<QString, bool>> ClaudeSessionImporter::foldersIn(const QString &root, const QString &projectPath)
{
    QList<std::pair<QString, bool>> folders;
    const QDir dir(root);
    const QString name = claudelog::projectFolderName(projectPath);
    if (name.size() <= claudelog::folderNameLimit) {
        folders.append({dir.filePath(name), false});
    } else {
        // The hash claude adds to a cut name is its own: every folder with the cut name is a
        // candidate, and its logs' own "cwd" tells whether they are this project's.
        const QString cut = name.left(claudelog::folderNameLimit) + u'-';
        for (const QString &entry : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            if (entry.startsWith(cut))
                folders.append({dir.filePath(entry), true});
    }
    const QString slashOnly = claudelog::slashOnlyFolderName(projectPath);
    if (slashOnly != name)
        folders.append({dir.filePath(slashOnly), false});
    return folders;
}

QList<ImportableSession> ClaudeSessionImporter::discoverSessions(const QString &projectPath) const
{
    struct Candidate
    {
        QString path;
        QString stem;
        bool checkCwd = false;
    };
    QList<Candidate> candidates;
    QStringList visited;
    for (const QString &root : m_claudeDirs) {
        for (const auto &[folder, checkCwd] : foldersIn(root, projectPath)) {
            if (visited.contains(folder))
                continue;
            visited << folder;
            const QDir dir(folder);
            for (const QString &name : dir.entryList({u"*.jsonl"_s}, QDir::Files | QDir::NoDotAndDotDot))
                if (const QString stem = name.chopped(6); sessionlog::isStrictUuid(stem))
                    candidates.append({dir.filePath(name), stem, checkCwd});
        }
    }
    const auto scanned = sessionlog::mapInParallel(candidates, [&projectPath](const Candidate &c) {
        return scanFile(c.path, projectPath, c.checkCwd);
    });
    // A session found under two roots counts once, as found first.
    QList<ImportableSession> sessions;
    QSet<QString> seen;
    for (qsizetype i = 0; i < candidates.size(); ++i) {
        if (!scanned[i] || seen.contains(candidates[i].stem))
            continue;
        seen.insert(candidates[i].stem);
        sessions.append(*scanned[i]);
    }
    std::sort(sessions.begin(), sessions.end(),
              [](const ImportableSession &a, const ImportableSession &b) { return a.modified > b.modified; });
    return sessions;
}

Result<QList<Message>> ClaudeSessionImporter::parseMessages(const ImportableSession &session)
{
    auto bytes = sessionlog::readAll(session.jsonlPath);
    if (!bytes)
        return bytes.error();
    if (!sessionlog::isStrictUtf8(*bytes))
        return importerror::unreadable(session.jsonlPath);
    return claudelog::parseLog(*bytes, QDateTime::currentDateTime());
}

} // namespace corvane
