#include "agent/session/ChatController.h"

#include "agent/input/SlashCommands.h"
#include "agent/input/TaskContext.h"

#include "agent/AgentAdapter.h"
#include "agent/Attachment.h"
#include "agent/session/ChatSession.h"
#include "agent/session/SessionText.h"
#include "core/Analytics.h"
#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QFile>

namespace corvane {

namespace {

const char *const Tag = "ChatVC";

QList<sessiontext::TranscriptMessage> transcriptOf(const QList<std::shared_ptr<Message>> &messages)
{
    QList<sessiontext::TranscriptMessage> out;
    for (const auto &m : messages)
        out.append({m->role, m->contentType, m->content});
    return out;
}

QString displayText(const QString &text, const QList<Attachment> &attachments)
{
    QStringList lines;
    if (!text.isEmpty())
        lines << text;
    for (const Attachment &a : attachments) {
        switch (a.type) {
        case AttachmentType::image: lines << QStringLiteral("[Image: %1]").arg(a.fileName); break;
        case AttachmentType::pdf: lines << QStringLiteral("[PDF: %1]").arg(a.fileName); break;
        case AttachmentType::tempFile: lines << QStringLiteral("[File: %1]").arg(a.fileName); break;
        }
    }
    return lines.join(QLatin1Char('\n'));
}

QString unansweredPromptNote(const QStringList &tools)
{
    const bool question = tools.size() == 1 && tools.first() == QLatin1String("AskUserQuestion");
    return (question ? QStringLiteral("Corvane closed while Claude was waiting for your answer to its question")
                     : QStringLiteral("Corvane closed while Claude was waiting for permission to use %1").arg(tools.join(QStringLiteral(", "))))
        + QStringLiteral(", so the agent stopped there. Send a message to continue.");
}

} // namespace

void ChatController::bind(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode)
{
    auto chat = session.chat();
    if (!chat)
        return;
    StoreContext &ctx = session.context();
    if (session.messages().isEmpty()) {
        QList<std::shared_ptr<Message>> kept;
        QStringList unanswered;
        for (const auto &m : ctx.fetchOrEmpty<Message>(Query(where::eq("chatId", chat->id)).orderBy("timestamp"))) {
            if (m->role == MessageRole::thinking) {
                ctx.remove(m);
                continue;
            }
            if (m->contentType == MessageContentType::permissionRequest && !m->isComplete) {
                // The application ended while the agent waited for this answer; the agent process
                // ended with it. Say so, or the chat would look as if the agent gave up by itself.
                m->contentType = MessageContentType::permissionDenied;
                unanswered << m->toolName.value_or(QStringLiteral("a tool"));
            }
            m->isComplete = true;
            kept.append(m);
        }
        (void)ctx.save();
        session.loadMessages(kept);
        if (!unanswered.isEmpty())
            session.addSystemMessage(unansweredPromptNote(unanswered));
    }
    if (session.agentState() != ChatSession::AgentState::notStarted)
        return;
    const bool fresh = chat->claudeSessionId.value_or(QString()).isEmpty() && session.messages().isEmpty();
    if (fresh) {
        session.awaitFirstMessage();
        return;
    }
    (void)startAgent(session, model, mode);
}

Status ChatController::startAgent(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode)
{
    logLine(Tag, QStringLiteral("startClaude called, path=") + session.workingDirectory());
    StoreContext &ctx = session.context();
    auto chat = session.chat();
    if (chat) {
        bool changed = false;
        if (chat->agentType() != model.agentType) {
            chat->setAgentType(model.agentType);
            changed = true;
        }
        if (chat->modelId != model.id) {
            chat->modelId = model.id;
            changed = true;
        }
        if (changed)
            (void)ctx.save();
    }

    std::unique_ptr<AgentAdapter> adapter = m_factory(model.agentType);
    if (!adapter)
        return Error(QStringLiteral("No agent available for this model"));
    adapter->setPermissionMode(mode);
    ChatSession *target = &session;
    adapter->setResumeFallback([target] {
        target->addSystemMessage(QStringLiteral("The earlier agent session could not be resumed; continuing in a new "
                                                "session with the recent conversation replayed."));
        if (auto record = target->chat())
            record->claudeSessionId.reset();
        return sessiontext::resumeReplayPrompt(transcriptOf(target->messages()));
    });
    session.setAdapter(std::move(adapter));

    std::shared_ptr<Profile> profile;
    if (chat && chat->workspaceId)
        if (auto workspace = ctx.get<Workspace>(*chat->workspaceId); workspace && workspace->projectId)
            if (auto project = ctx.get<Project>(*workspace->projectId); project && project->profileId)
                profile = ctx.get<Profile>(*project->profileId);

    QString sessionId;
    std::optional<QString> seedPrompt;
    if (chat && chat->pendingProfileMigration) {
        std::optional<QString> previousName;
        if (chat->migratedFromProfileId)
            if (auto previous = ctx.get<Profile>(*chat->migratedFromProfileId))
                previousName = previous->name;
        seedPrompt = sessiontext::migrationSeedPrompt(transcriptOf(session.messages()), previousName,
                                                      profile ? profile->name : QStringLiteral("(current profile)"));
        if (!seedPrompt) {
            chat->pendingProfileMigration = false;
            (void)ctx.save();
        }
        logLine(Tag, QStringLiteral("SDK service launched (profile-migration replay)"));
    } else if (chat) {
        sessionId = chat->claudeSessionId.value_or(QString());
    }
    session.beginAgentStart(seedPrompt);
    // A launch that fails at once (a missing command) has told the chat why by the time it returns.
    QString launchFailure;
    {
        QObject listening;
        QObject::connect(&session, &ChatSession::turnFailed, &listening,
                         [&launchFailure](const QUuid &, const QString &description) { launchFailure = description; });
        session.adapter()->launch(session.workingDirectory(), model.cliFlag, sessionId, profile.get());
    }
    if (!session.adapter()->isLaunched())
        return Error(launchFailure.isEmpty() ? QStringLiteral("The agent could not be started") : launchFailure);
    if (!sessionId.isEmpty())
        logLine(Tag, QStringLiteral("SDK service launched, resuming session: ") + sessionId);
    else if (!chat || !chat->pendingProfileMigration)
        logLine(Tag, QStringLiteral("SDK service launched (new session)"));
    return {};
}

Status ChatController::ensureAgent(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode)
{
    if (!session.adapter()) {
        if (Status started = startAgent(session, model, mode); !started)
            return started;
    }
    if (!session.adapter()) {
        logLine(Tag, QStringLiteral("ERROR: adapter is nil!"));
        return Error(QStringLiteral("The agent could not be started"));
    }
    if (session.adapter()->agentType() != model.agentType) {
        logLine(Tag, QStringLiteral("Agent mismatch — running=%1, picked=%2. Restarting adapter.")
                         .arg(toRaw(session.adapter()->agentType()), toRaw(model.agentType)));
        session.adapter()->forceTerminate();
        session.takeAdapter();
        if (auto chat = session.chat()) {
            chat->claudeSessionId.reset(); // one tool cannot resume the other's session
            (void)session.context().save();
        }
        if (Status started = startAgent(session, model, mode); !started)
            return started;
        if (!session.adapter()) {
            logLine(Tag, QStringLiteral("ERROR: adapter is nil after agent swap"));
            return Error(QStringLiteral("The agent could not be started"));
        }
    }
    // The mode chosen at send time is the one this turn runs under; a process started again for
    // it (after an exit) is launched with it too.
    if (session.adapter()->permissionMode() != mode)
        session.adapter()->setPermissionMode(mode);
    return {};
}

namespace {

// Which agent took the message, and the command's name when it was one; never the text.
void recordMessageSent(const AgentAdapter *adapter, const SlashCommand &command)
{
    QVariantMap parameters{{QStringLiteral("agentType"), adapter ? analyticsAgentName(adapter->agentType() == AgentType::codex)
                                                                 : QStringLiteral("unknown")}};
    if (command.kind == SlashCommand::Kind::prompt)
        parameters.insert(QStringLiteral("slashCommand"), command.name);
    Analytics::shared().record(QStringLiteral("chat.messageSent"), parameters);
}

} // namespace

void ChatController::nameChat(ChatSession &session, const QString &text, int attachmentCount)
{
    auto chat = session.chat();
    if (!chat || !sessiontext::hasPlaceholderName(chat->name))
        return;
    const QString source = text.isEmpty() ? QStringLiteral("Attached %1 file(s)").arg(attachmentCount) : text;
    chat->name = sessiontext::simpleTitle(source);
    (void)session.context().save();
    logLine(Tag, QStringLiteral("Generated title with fallback: ") + chat->name);
    logLine(Tag, QStringLiteral("Updated chat title to: ") + chat->name);
    if (m_onRename)
        m_onRename(chat->id);
}

Status ChatController::sendMessage(ChatSession &session, const QString &text, const QList<Attachment> &attachments,
                                   const AgentModelDescriptor &model, PermissionMode mode)
{
    const SlashCommand command = slashcommands::parse(text);
    if (command.kind == SlashCommand::Kind::clear) {
        clearConversation(session, model, mode);
        return {};
    }
    m_firstStopPress.remove(session.chatId()); // a new message starts the two presses over
    logLine(Tag, QStringLiteral("User submitted: %1 with %2 attachment(s)").arg(text).arg(attachments.size()));
    nameChat(session, text, int(attachments.size()));

    QString prompt = command.kind == SlashCommand::Kind::prompt ? command.prompt : text;
    std::optional<TaskContextReference> taskReference;
    if (command.kind == SlashCommand::Kind::notACommand && text.contains(taskcontext::Marker)) {
        auto chat = session.chat();
        const auto task = chat && chat->workspaceId ? taskcontext::forWorkspace(session.context(), *chat->workspaceId)
                                                    : std::nullopt;
        if (task) {
            prompt = taskcontext::expand(text, *task);
            taskReference = TaskContextReference{task->title, task->type, task->priority};
        }
    }

    auto message = std::make_shared<Message>();
    message->role = MessageRole::user;
    message->contentType = MessageContentType::text;
    message->content = displayText(text, attachments);
    if (!attachments.isEmpty() || taskReference) {
        MessageMetadata metadata;
        QList<AttachmentReference> references;
        for (const Attachment &a : attachments)
            references.append({a.id, a.type, a.fileName, a.mediaType, a.fileSize,
                               a.type == AttachmentType::tempFile && a.fileURL ? std::optional<QString>(a.fileURL->toLocalFile())
                                                                              : std::nullopt});
        if (!references.isEmpty())
            metadata.attachments = references;
        metadata.taskContext = taskReference;
        message->setMetadataValue(metadata);
    }
    session.appendMessage(message);
    if (text.contains(taskcontext::Marker) && command.kind == SlashCommand::Kind::notACommand && !taskReference)
        session.addSystemMessage(QStringLiteral("No task is linked to this workspace. Link an issue from the Planner to use @task."));

    const bool routed = m_inputRoute && command.kind == SlashCommand::Kind::notACommand && m_inputRoute(session, text);
    Status sent = routed ? Status() : ensureAgent(session, model, mode);
    if (sent && !routed) {
        if (command.kind == SlashCommand::Kind::prompt)
            logLine(Tag, QStringLiteral("Slash command: ") + text);
        logLine(Tag, QStringLiteral("Sending via adapter: ") + prompt);
        session.adapter()->send(prompt, attachments);
    }
    if (sent)
        recordMessageSent(session.adapter(), command);
    // The turn has read them: temporary files of long pastes go now.
    for (const Attachment &a : attachments)
        if (a.type == AttachmentType::tempFile && a.fileURL)
            QFile::remove(a.fileURL->toLocalFile());
    return sent;
}

ChatController::StopOutcome ChatController::stop(ChatSession &session)
{
    AgentAdapter *adapter = session.adapter();
    const QElapsedTimer firstPress = m_firstStopPress.take(session.chatId());
    if (firstPress.isValid() && firstPress.elapsed() < 5000) {
        logLine(Tag, QStringLiteral("User requested force stop (second press)"));
        if (adapter)
            adapter->forceTerminate();
        session.interruptTurn();
        session.addSystemMessage(QStringLiteral("Stopped by user."));
        return StopOutcome::forced;
    }
    logLine(Tag, QStringLiteral("User requested interrupt (first press)"));
    if (adapter)
        adapter->interrupt();
    m_firstStopPress[session.chatId()].start();
    session.interruptTurn();
    return StopOutcome::interrupted;
}

void ChatController::clearConversation(ChatSession &session, const AgentModelDescriptor &model, PermissionMode mode)
{
    logLine(Tag, QStringLiteral("Executing /clear — resetting session in-place"));
    if (session.adapter())
        session.adapter()->forceTerminate();
    session.resetConversation();
    (void)startAgent(session, model, mode);
}

} // namespace corvane
