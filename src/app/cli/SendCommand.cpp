#include "app/cli/SendCommand.h"
#include "app/cli/CliOutput.h"

#include "agent/AgentModelCatalogue.h"
#include "agent/claude/ClaudeSDKService.h"
#include "agent/codex/CodexSDKService.h"
#include "agent/input/AttachmentService.h"
#include "agent/runtime/ToolLocator.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "app/StartupSequence.h"
#include "app/cli/ChatLookup.h"
#include "accounts/ProfileService.h"
#include "app/cli/PromptAnswers.h"
#include "core/Paths.h"
#include "core/process/ProcessReaper.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QHash>

#include <cstdio>
#include <unistd.h>

namespace corvane::cli {

namespace {

// Prints each assistant row's text as it grows: only what was not printed yet.
class ReplyPrinter : public QObject
{
public:
    explicit ReplyPrinter(ChatSession &session) : m_session(session)
    {
        connect(&session, &ChatSession::messagesChanged, this, &ReplyPrinter::flush);
        connect(&session, &ChatSession::messageChanged, this, &ReplyPrinter::flush);
    }

    void flush()
    {
        for (const auto &m : m_session.messages()) {
            if (m->role != MessageRole::assistant || m->contentType != MessageContentType::text)
                continue;
            if (!m_printed.contains(m->id) && !m_lastPrinted.isNull() && m_lastPrinted != m->id)
                std::fputs("\n", stdout); // a new block of the reply starts on its own line
            const qsizetype done = m_printed.value(m->id, 0);
            if (m->content.size() > done) {
                std::fputs(m->content.mid(done).toUtf8().constData(), stdout);
                m_printed[m->id] = m->content.size();
                m_lastPrinted = m->id;
            }
        }
        std::fflush(stdout);
    }

    bool printedAnything() const { return !m_lastPrinted.isNull(); }

    // Rows the chat held before this turn are history, not reply.
    void skipExisting()
    {
        for (const auto &m : m_session.messages())
            m_printed[m->id] = m->content.size();
    }

private:
    ChatSession &m_session;
    QHash<QUuid, qsizetype> m_printed;
    QUuid m_lastPrinted;
};

std::optional<AgentModelDescriptor> pickModel(const QString &requested, AgentType agent, const std::optional<QString> &chatModel)
{
    if (!requested.isEmpty()) {
        if (auto byId = AgentModelCatalogue::byId(requested))
            return byId;
        for (const auto &m : AgentModelCatalogue::all())
            if (m.cliFlag == requested)
                return m;
        // A model the catalogue does not list yet: passed to the tool as it is.
        const bool claude = agent == AgentType::claudeCode;
        return AgentModelDescriptor{(claude ? "claude:" : "codex:") + requested, requested, requested, agent,
                                    claude ? "claude" : "chatgpt", false, claude ? "Claude" : "Codex"};
    }
    if (chatModel)
        if (auto stored = AgentModelCatalogue::byId(*chatModel); stored && stored->agentType == agent)
            return stored;
    return AgentModelCatalogue::forAgentType(agent).value(0);
}

// A project runs under one profile. A project with no chats yet takes the one asked for; one that
// already has chats keeps its own, since moving it is a migration the window does with care.
Status placeUnderProfile(StoreContext &ctx, const ChatPlace &place, const QString &name)
{
    ProfileService profiles(ctx);
    const auto profile = profiles.profileNamed(name);
    if (!profile)
        return Error(QStringLiteral("no profile named \"%1\" (corvane-cli profiles lists them)").arg(name));
    if (place.project->profileId == profile->id)
        return {};
    const qint64 chats = ctx.count<Chat>(where::eq("projectId", place.project->id) && where::ne("id", place.chat->id)).valueOr(1);
    if (chats > 0) {
        const auto current = place.project->profileId ? ctx.get<Profile>(*place.project->profileId) : nullptr;
        return Error(QStringLiteral("the project \"%1\" belongs to the profile \"%2\"; move it to \"%3\" in the window first")
                         .arg(place.project->name, current ? current->name : QStringLiteral("(none)"), profile->name));
    }
    place.project->profileId = profile->id;
    return ctx.save();
}

} // namespace

int sendCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"chat", "An existing chat to continue.", "UUID"});
    parser.addOption({"agent", "claude or codex.", "AGENT", "claude"});
    parser.addOption({"model", "Model id or name.", "ID"});
    parser.addOption({"mode", "default, acceptEdits, acceptAll or plan.", "MODE", "default"});
    parser.addOption({"claude", "Path of the claude command.", "PATH"});
    parser.addOption({"codex", "Path of the codex command.", "PATH"});
    parser.addOption({"profile", "Run under this profile (name or id; see corvane-cli profiles).", "NAME"});
    parser.addOption({"on-permission", "ask, allow, deny or allow-session (default: ask on a terminal, else deny).", "HOW"});
    parser.addOption({"attach", "A PNG, JPEG, GIF, WebP or PDF file to send with the text (repeatable).", "FILE"});
    parser.addPositionalArgument("text", "What to send.");
    if (!parser.parse(arguments)) {
        printErr(QStringLiteral("corvane-cli send: ") + parser.errorText());
        return 2;
    }
    const QString text = parser.positionalArguments().join(QLatin1Char(' '));
    QList<Attachment> attached;
    for (const QString &file : parser.values("attach")) {
        auto attachment = attachments::fromFile(file);
        if (!attachment) {
            printErr(QStringLiteral("corvane-cli send: Cannot attach file %1: %2").arg(file, attachment.error().message));
            return 2;
        }
        attached.append(attachment.value());
    }
    AnswerPolicy policy = isatty(STDIN_FILENO) ? AnswerPolicy::ask : AnswerPolicy::deny;
    if (parser.isSet("on-permission") && !PromptAnswers::parsePolicy(parser.value("on-permission"), policy)) {
        printErr(QStringLiteral("corvane-cli send: --on-permission is ask, allow, deny or allow-session, not \"%1\"")
                     .arg(parser.value("on-permission")));
        return 2;
    }
    if (text.trimmed().isEmpty() && attached.isEmpty()) {
        printErr(QStringLiteral("corvane-cli send: nothing to send (give the text after the options)"));
        return 2;
    }
    if (!parser.isSet("project") && !parser.isSet("chat")) {
        printErr(QStringLiteral("corvane-cli send: --project DIR or --chat UUID is required"));
        return 2;
    }
    const QString agentName = parser.value("agent");
    if (agentName != QLatin1String("claude") && agentName != QLatin1String("codex")) {
        printErr(QStringLiteral("corvane-cli send: --agent is claude or codex, not \"%1\"").arg(agentName));
        return 2;
    }
    const AgentType agent = agentName == QLatin1String("codex") ? AgentType::codex : AgentType::claudeCode;
    const QString modeName = parser.value("mode");
    PermissionMode mode = PermissionMode::ask;
    QString prompt = text;
    if (modeName == QLatin1String("acceptEdits"))
        mode = PermissionMode::acceptEdits;
    else if (modeName == QLatin1String("acceptAll"))
        mode = PermissionMode::acceptAll;
    else if (modeName == QLatin1String("plan"))
        prompt = QStringLiteral("Enter plan mode. Analyze the task, explore the codebase, and present a detailed "
                                "implementation plan before making changes.\n\n") + text;
    else if (modeName != QLatin1String("default")) {
        printErr(QStringLiteral("corvane-cli send: unknown --mode \"%1\"").arg(modeName));
        return 2;
    }

    std::shared_ptr<Store> store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &ctx = store->mainContext();

    ChatPlace place;
    if (parser.isSet("chat")) {
        const QUuid chatId = QUuid::fromString(parser.value("chat"));
        auto found = chatId.isNull() ? Result<ChatPlace>(Error(QStringLiteral("\"%1\" is not a chat id").arg(parser.value("chat"))))
                                     : existingChat(ctx, chatId);
        if (!found) {
            printErr(QStringLiteral("corvane-cli send: ") + found.error().message);
            return 1;
        }
        place = found.value();
    } else {
        auto project = projectForFolder(ctx, parser.value("project"));
        if (!project) {
            printErr(QStringLiteral("corvane-cli send: ") + project.error().message);
            return 1;
        }
        place.project = project.value();
        place.workspace = workspaceFor(ctx, *place.project);
        place.chat = newChat(ctx, *place.project, *place.workspace);
        if (Status saved = ctx.save(); !saved) {
            printErr(QStringLiteral("corvane-cli send: ") + saved.error().message);
            return 1;
        }
    }
    if (parser.isSet("profile")) {
        if (Status placed = placeUnderProfile(ctx, place, parser.value("profile")); !placed) {
            printErr(QStringLiteral("corvane-cli send: ") + placed.error().message);
            return 1;
        }
    }
    std::fprintf(stderr, "chat %s\n", place.chat->id.toString(QUuid::WithoutBraces).toUtf8().constData());
    std::fflush(stderr);

    const auto model = pickModel(parser.value("model"), agent, place.chat->modelId);
    const QString folder = place.chat->workingDirectory(place.workspace.get(), place.project.get()).value_or(place.project->path);
    const ToolLocation claude = locateTool(AgentTool::claude, parser.value("claude"));
    const ToolLocation codex = locateTool(AgentTool::codex, parser.value("codex"));

    ChatSession session(place.chat->id, place.chat->name, folder, *store);
    ReplyPrinter printer(session);
    ChatController controller([&](AgentType type) -> std::unique_ptr<AgentAdapter> {
        if (type == AgentType::codex)
            return std::make_unique<CodexSDKService>(codex);
        return std::make_unique<ClaudeSDKService>(claude);
    });

    QEventLoop loop;
    int status = 0;
    QObject::connect(&session, &ChatSession::turnCompleted, &loop, [&] { loop.exit(0); });
    QObject::connect(&session, &ChatSession::turnFailed, &loop, [&](const QUuid &, const QString &description) {
        printer.flush();
        if (printer.printedAnything())
            std::fputs("\n", stdout);
        printErr(QStringLiteral("corvane-cli: ") + description);
        status = 1;
        loop.exit(1);
    });
    PromptAnswers answers(session, policy);

    controller.bind(session, *model, mode);
    printer.skipExisting();
    if (Status sent = controller.sendMessage(session, prompt, attached, *model, mode); !sent) {
        if (status == 0) // a failed launch has been printed as the turn's failure
            printErr(QStringLiteral("corvane-cli: ") + sent.error().message);
        return 1;
    }
    loop.exec();
    printer.flush();
    if (status == 0 && printer.printedAnything())
        std::fputs("\n", stdout);
    std::fflush(stdout);
    // The agent ends by itself (claude saves its session on the way out), so the next send can
    // resume it.
    if (session.adapter())
        session.adapter()->terminate();
    ProcessReaper::shared().drain();
    return status;
}

} // namespace corvane::cli
