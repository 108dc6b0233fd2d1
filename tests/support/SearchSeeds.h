#pragma once

// Chats and messages for the quick search tests, written through a store context the way the
// app writes them, with timestamps a second apart so "newest first" is unambiguous.
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QDateTime>

#include <optional>

namespace corvane::test {

class SearchSeeds
{
public:
    explicit SearchSeeds(StoreContext &context) : m_context(context) {}

    QUuid project(const QString &name)
    {
        Project project;
        project.name = name;
        project.path = QStringLiteral("/tmp/") + name;
        return m_context.insert(project)->id;
    }

    // A workspace updated `minutesAgo` before the seeds' clock.
    QUuid workspace(const QString &name, std::optional<QUuid> projectId, int minutesAgo = 0, bool archived = false,
                    std::optional<QString> branch = std::nullopt)
    {
        Workspace workspace;
        workspace.name = name;
        workspace.projectId = projectId;
        workspace.updatedAtStorage = m_now.addSecs(-60 * minutesAgo);
        workspace.gitBranch = branch;
        if (archived)
            workspace.statusRaw = QStringLiteral("archived");
        return m_context.insert(workspace)->id;
    }

    QUuid chat(const QString &name, std::optional<QUuid> workspaceId = std::nullopt, bool archived = false)
    {
        Chat chat;
        chat.name = name;
        chat.workspaceId = workspaceId;
        if (archived)
            chat.statusRaw = QStringLiteral("archived");
        return m_context.insert(chat)->id;
    }

    // Each message is a second newer than the one before.
    QUuid message(std::optional<QUuid> chatId, const QString &content, MessageRole role = MessageRole::user,
                  MessageContentType type = MessageContentType::text)
    {
        Message message;
        message.chatId = chatId;
        message.content = content;
        message.role = role;
        message.contentType = type;
        message.timestamp = m_now.addSecs(++m_messages);
        return m_context.insert(message)->id;
    }

    bool save() { return m_context.save().ok(); }

private:
    StoreContext &m_context;
    QDateTime m_now = QDateTime::fromString(QStringLiteral("2024-05-01T12:00:00Z"), Qt::ISODate);
    int m_messages = 0;
};

} // namespace corvane::test
