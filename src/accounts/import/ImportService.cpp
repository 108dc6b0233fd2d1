#include "accounts/import/ImportService.h"

#include "accounts/import/ClaudeSessionImporter.h"
#include "accounts/import/CodexSessionImporter.h"
#include "accounts/import/ImportError.h"
#include "agent/AgentModelCatalogue.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Connection.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QDir>

#include <algorithm>

namespace corvane {

namespace {

void addOnce(QStringList &list, const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    if (!clean.isEmpty() && !list.contains(clean))
        list << clean;
}

} // namespace

ImportRoots ImportRoots::forProfile(const Profile *profile)
{
    ImportRoots roots;
    const QDir home = QDir::home();
    addOnce(roots.claudeDirs, home.filePath(QStringLiteral(".claude/projects")));
    addOnce(roots.codexSessionsDirs, home.filePath(QStringLiteral(".codex/sessions")));
    if (profile) {
        if (!profile->configDirPath.isEmpty())
            addOnce(roots.claudeDirs, QDir(profile->configDirPath).filePath(QStringLiteral("projects")));
        if (profile->codexHomeDir && !profile->codexHomeDir->isEmpty())
            addOnce(roots.codexSessionsDirs, QDir(*profile->codexHomeDir).filePath(QStringLiteral("sessions")));
    }
    return roots;
}

QSet<QString> ImportService::heldSessionIds(Store &store)
{
    QSet<QString> ids;
    auto connection = store.connection();
    if (!connection)
        return ids;
    auto statement = connection.value()->prepare("SELECT claudeSessionId FROM Chat WHERE claudeSessionId IS NOT NULL");
    if (!statement)
        return ids;
    while (sqlite3_step(*statement) == SQLITE_ROW)
        ids.insert(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(*statement, 0)),
                                     sqlite3_column_bytes(*statement, 0)));
    sqlite3_reset(*statement);
    return ids;
}

QList<ImportableSession> ImportService::discoverSessions(const QString &projectPath, Store *store) const
{
    QList<ImportableSession> sessions = ClaudeSessionImporter(m_roots.claudeDirs).discoverSessions(projectPath);
    sessions += CodexSessionImporter(m_roots.codexSessionsDirs).discoverSessions(projectPath);
    std::sort(sessions.begin(), sessions.end(),
              [](const ImportableSession &a, const ImportableSession &b) { return a.modified > b.modified; });
    if (store) {
        const QSet<QString> held = heldSessionIds(*store);
        sessions.removeIf([&held](const ImportableSession &s) { return held.contains(s.id); });
    }
    return sessions;
}

Result<QList<Message>> ImportService::parseMessages(const ImportableSession &session)
{
    switch (session.agentType) {
    case AgentType::claudeCode:
        return ClaudeSessionImporter::parseMessages(session);
    case AgentType::codex:
        return CodexSessionImporter::parseMessages(session);
    }
    return importerror::invalidModelContext();
}

QString ImportService::modelIdFor(const ImportableSession &session)
{
    const QList<AgentModelDescriptor> models = AgentModelCatalogue::forAgentType(session.agentType);
    for (const AgentModelDescriptor &model : models)
        if (session.model && model.cliFlag == *session.model)
            return model.id;
    return models.isEmpty() ? QString() : models.first().id;
}

Result<int> ImportService::importMessages(const ImportableSession &session, Chat &chat, StoreContext &context)
{
    auto messages = parseMessages(session);
    if (!messages)
        return messages.error();
    QSet<QDate> days;
    for (Message &message : *messages) {
        message.chatId = chat.id;
        days.insert(startOfLocalDay(message.timestamp).date());
        context.insert(std::move(message));
    }
    QList<QDate> ordered(days.begin(), days.end());
    std::sort(ordered.begin(), ordered.end());
    for (const QDate &day : ordered)
        chat.recordActivity(day.startOfDay(), context);
    chat.claudeSessionId = session.id;
    chat.setAgentType(session.agentType);
    if (const QString model = modelIdFor(session); !model.isEmpty())
        chat.modelId = model;
    if (Status saved = context.save(); !saved)
        return saved.error();
    return int(messages->size());
}

ImportOutcome ImportService::importSessions(const QList<ImportableSession> &sessions, const QUuid &projectId,
                                            StoreContext &context, const Progress &progress)
{
    ImportOutcome outcome;
    const int total = int(sessions.size());
    const auto project = context.get<Project>(projectId);
    for (int i = 0; i < total; ++i) {
        const ImportableSession &session = sessions[i];
        if (progress)
            progress(i + 1, total);
        if (!project) {
            outcome.errors << importerror::invalidModelContext();
            continue;
        }
        const QString title = session.firstPrompt.left(60);
        const QDateTime now = QDateTime::currentDateTime();

        Workspace workspace;
        workspace.name = title;
        workspace.createdAt = now;
        workspace.setUpdatedAt(now);
        workspace.usesWorktree = false;
        workspace.planStatusRaw = toRaw(PlanStatus::inProgress);
        workspace.projectId = project->id;
        const auto last = context.fetchOrEmpty<Workspace>(
            Query(where::eq("projectId", project->id)).orderBy(QStringLiteral("sortOrder"), false).limitTo(1));
        workspace.sortOrder = last.isEmpty() ? 0 : last.first()->sortOrder + 1;

        Chat chat;
        chat.name = title;
        chat.createdAt = now;
        chat.projectId = project->id;
        chat.workspaceId = workspace.id;
        chat.sortOrder = 0;
        workspace.activeChatId = chat.id;

        auto workspaceRecord = context.insert(std::move(workspace));
        auto chatRecord = context.insert(std::move(chat));
        chatRecord->recordActivity(now, context);
        Status step = context.save();
        Result<int> imported = step ? importMessages(session, *chatRecord, context) : Result<int>(step.error());
        if (imported) {
            outcome.workspaceIds << workspaceRecord->id;
            outcome.chatIds << chatRecord->id;
            outcome.sessionIds << session.id;
            continue;
        }
        // Nothing of a failed session stays: what was not saved is dropped, what was is removed
        // (the chat's messages and days go with it).
        outcome.errors << imported.error();
        context.rollback();
        if (context.get<Workspace>(workspaceRecord->id)) {
            context.remove(chatRecord);
            context.remove(workspaceRecord);
            (void)context.save();
        }
    }
    return outcome;
}

} // namespace corvane
