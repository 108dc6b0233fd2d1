// Moving a project to another profile.
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include "core/records/Message.h"
#include "core/store/StoreContext.h"
#include "source_control/workspaces/LifecycleTexts.h"

namespace corvane {

void WorkspaceLifecycleService::addMigrationNotice(const QUuid &chatId, const QString &text)
{
    Message message;
    message.role = MessageRole::system;
    message.contentType = MessageContentType::text;
    message.content = text;
    message.isComplete = true;
    message.chatId = chatId;
    m_context.insert(message);
}

void WorkspaceLifecycleService::setProfile(Project &project, const Profile &profile)
{
    if (project.profileId == profile.id)
        return;
    const std::shared_ptr<Profile> oldProfile = project.profileId ? m_context.get<Profile>(*project.profileId) : nullptr;
    const QString oldName = oldProfile ? oldProfile->name : QStringLiteral("(unknown)");
    const QString newName = profile.name.isEmpty() ? QStringLiteral("(unknown)") : profile.name;

    // The live chats of the project's workspaces and its own, once each.
    QList<std::shared_ptr<Chat>> moving;
    QSet<QUuid> seen;
    auto take = [&](const std::shared_ptr<Chat> &chat) {
        if (!chat->isArchived() && !seen.contains(chat->id)) {
            seen.insert(chat->id);
            moving.append(chat);
        }
    };
    for (const auto &workspace : workspaces(project, true))
        for (const auto &chat : chats(*workspace, true))
            take(chat);
    for (const auto &chat : projectChats(project))
        take(chat);

    for (const auto &chat : moving) {
        // A session started under the old account must not go on under the new one.
        endSession(chat->id);
        if (chat->migratedFromProfileId == profile.id && chat->previousClaudeSessionId) {
            const QString restored = *chat->previousClaudeSessionId;
            chat->claudeSessionId = restored;
            chat->previousClaudeSessionId.reset();
            chat->migratedFromProfileId.reset();
            chat->pendingProfileMigration = false;
            addMigrationNotice(chat->id, QStringLiteral("Profile changed back to %1. Restored previous session: %2.")
                                             .arg(newName, lifecycleText::shortSessionId(restored)));
            continue;
        }
        if (chat->claudeSessionId) {
            const QString previous = *chat->claudeSessionId;
            chat->previousClaudeSessionId = previous;
            chat->migratedFromProfileId = oldProfile ? std::optional<QUuid>(oldProfile->id) : project.profileId;
            chat->claudeSessionId.reset();
            chat->pendingProfileMigration = true;
            addMigrationNotice(chat->id,
                               QStringLiteral("Profile changed from %1 to %2. Migrating to a new Claude session — prior "
                                              "conversation will be replayed as context. Previous session: %3.")
                                   .arg(oldName, newName, lifecycleText::shortSessionId(previous)));
        }
        // A model of the old account may not exist for the new one.
        chat->modelId.reset();
    }

    qint64 greatest = -1;
    for (const auto &member : projects(profile))
        greatest = std::max(greatest, member->sortOrder);
    project.sortOrder = greatest + 1;
    project.profileId = profile.id;
    saveQuietly();
    emit recordsChanged();
}

} // namespace corvane
