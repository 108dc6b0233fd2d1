#include "app/cli/CliCommands.h"
#include "app/cli/CliOutput.h"

#include "app/StartupSequence.h"
#include "app/cli/ActionCommands.h"
#include "app/cli/ChatLookup.h"
#include "app/cli/DefinitionCommands.h"
#include "app/cli/GateCommands.h"
#include "app/cli/IssueCommands.h"
#include "app/cli/RunCommands.h"
#include "app/cli/ProfilesCommand.h"
#include "app/cli/ProjectCommand.h"
#include "app/cli/ImportCommand.h"
#include "app/cli/SearchCommand.h"
#include "app/cli/SendCommand.h"
#include "app/cli/SweepCommand.h"
#include "app/cli/ToolCommands.h"
#include "app/cli/WorkspaceCommands.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <cstdio>

namespace corvane::cli {

namespace {

const char *const kUsage = R"(Usage: corvane-cli COMMAND [OPTIONS]

Works on the same data as the Corvane window ($XDG_DATA_HOME/Corvane).

Commands:
  send --project DIR [--chat UUID] [--agent claude|codex] [--model ID]
       [--mode default|acceptEdits|acceptAll|plan] [--claude PATH] [--codex PATH]
       [--profile NAME] [--on-permission ask|allow|deny|allow-session] [--attach FILE]... TEXT
      Sends TEXT to the chat's agent and prints the reply as it streams. Adds the
      project (by folder), a workspace and a new chat when needed; with --chat the
      chat's agent session resumes. Prints "chat <UUID>" on standard error first.
      Exits 0 when the turn completed, non-zero with the error on standard error.
      Permission requests, questions and plans are answered by --on-permission:
      ask (the default on a terminal) prompts there; questions take an option's
      number. Slash commands such as /compact or /clear work as in the window.
  messages --chat UUID
      The chat's stored messages in order, one JSON object per line.
  chats [--project DIR]
      One line per chat: id, project, workspace, name, agent.
  profiles [--claude PATH] [--no-probe]
      One line per profile: id, name, claude and codex sign-in state, config folder.
      Asks claude about each profile unless --no-probe.
  profile new NAME [--color COLOR] [--icon NAME] [--config-dir DIR]
      Makes a profile with a claude configuration folder and codex home of its
      own (or DIR as its claude folder); prints id, name, config folder, codex home.
  profile rename PROFILE NAME
  profile default PROFILE
      PROFILE is a profile's name (ignoring case) or id. Prints id and name.
  profile delete PROFILE [--delete-files] --yes
      Moves the profile's projects to the default profile and deletes it; with
      --delete-files its folders on disk go too. Without --yes it says what would
      happen and exits 1. The default profile can't be deleted.
  workspaces --project DIR
      One line per workspace, archived ones too: id, name, branch, mode
      (worktree or checkout), folder, archived or active.
  workspace new --project DIR [--mode simple|branch|worktree] [--branch NAME]
       [--base BRANCH] [--existing BRANCH] [--name NAME]
      Makes a workspace: on the checkout (simple), on a new branch switched to in
      the checkout (branch), or in a new worktree on a new or --existing branch.
  workspace archive|restore|delete --id UUID [--yes]
      Archiving removes the workspace's worktree; deleting is permanent. When work
      would be lost (uncommitted changes, unpushed commits), and for any delete,
      prints what and exits 1 unless --yes is given.
  workspace status --id UUID
      JSON: branch, upstream, ahead, behind (ahead of the default branch when there
      is no upstream), and files with their status and line counts.
  workspace commit --id UUID [--all] [--message TEXT | --generate] [--claude PATH]
      Commits what is staged (--all stages every change first); prints the new
      commit's short hash and title. --generate has the project's agent write a
      conventional-commit title from the diff.
  workspace push|pull|fetch --id UUID
      A push without an upstream pushes to origin and tracks it. A failure prints
      "Push failed: " (Pull, Fetch, Commit) and git's message, and exits 1.
  workspace pr create --id UUID [--generate] [--title TEXT] [--body TEXT]
       [--base BRANCH] [--draft] [--claude PATH]
      Pushes the branch (with an upstream when it has none), opens a pull request
      on GitHub and links the workspace to it; prints its address. --generate has
      the project's agent write the title and body from the branch's commits.
  workspace pr show --id UUID
      The linked pull request as GitHub has it now (or, when none is linked, the
      one of the workspace's branch), as JSON: number, url, title, state (open,
      draft, closed, merged), head, base, author, updatedAt, linked.
  flows|agents|skills [--project DIR]
      Reads the definition files again and prints one line per flow, subagent, or
      skill and command: name, scope (user or project), file. The user's come
      with every project's, or with DIR's only.
  skill history --file PATH
      The skill's saved versions, newest first: vN, time, label, files.
  skill restore --file PATH --version N
      Saves the skill's present state as a new version, then writes version N
      back (a folder skill loses files that version did not have).
  gate add --project DIR --name NAME --command CMD [--timeout S] [--optional]
       [--feedback TEMPLATE]
      Gives the project a quality gate: a shell command run in the workspace when
      the coordinator says its work is ready. Required unless --optional; the
      feedback's {name}, {exitCode} and {output} are filled in when it fails.
  gates --project DIR
      One line per gate, in the order they run: order, name, required or
      optional, time-out, success code, command.
  issue new --project DIR --title TITLE [--body TEXT]
      A planner issue for the project; prints "issue <UUID>" on standard error.
  issues [--project DIR] [--status S]
      The board, column by column (backlog, planned, inProgress, done), each in
      its order: id, status, position, type, priority, project, title.
  issue show --id UUID
      The issue as one JSON object, with its labels, checklist and plan.
  issue move --id UUID --status S [--index N]
      Moves the card into the column at N (0 is the top; default: the end); the
      column is numbered again from 0. Prints the card's line.
  issue edit --id UUID [--title T] [--body B] [--type feature|bug|task]
       [--priority none|low|medium|high|urgent]
  issue delete --id UUID --yes
      Deletes the card with its checklist, labels and plan file.
  run start --issue UUID [--flow NAME] [--mode worktree|simple] [--branch NAME]
       [--claude PATH]
      Starts an automation run on the issue in a new workspace with a Coordinator
      chat, prints "run <UUID>" on standard error, then drives it (coordinator
      turns, quality gates, the reviewer's verdict) until it waits for the user or
      closes, and prints its status: exit 0 for awaitingUserReview and done, 1 for
      blocked and failed (and for a coordinator that stopped without a marker).
  run show --run UUID
      The run as one JSON object: status, phase, iterations, gate results,
      verdict, failure reason, tokens and cost.
  run approve|discard --run UUID
  run feedback --run UUID TEXT
      The user's decision on a run waiting for review; feedback starts the next
      iteration and drives it like run start.
  ports [--json]
      The listening TCP ports of the projects' processes (or of their parents),
      with a header line: port, pid, process, address, project, folder. --json
      prints one array of {port, pid, process, address, project,
      workingDirectory}. Needs lsof.
  run-commands --project DIR [--json]
      The commands proposed for the folder's build files, one per line: name,
      command, the file that suggested it. --json prints one array of {name,
      command, detectedBy}. A DIR that is not a folder exits 1.
  project show --project DIR [--measure]
      The project page as one JSON object: workspaces, branches, worktrees (each
      with hasWorkspace), memory files, and the hygiene figures (stashes,
      uncommitted files, stale branches, lingering processes, worktrees without a
      workspace) measured now, with their colours, the health word and the detail
      lists. --measure also measures disk usage (du) and runs npm outdated in the
      folders with a package.json. A figure that could not be measured has a null
      value and its error. Exits 1 when DIR is not a project, 2 on bad usage.
  actions --project DIR
      The project's toolbar actions in their order, one per line, tab-separated:
      position (from 0), name, script.
  action run --project DIR --name NAME
      Runs the action's script in the project's folder through $SHELL -c, in the
      foreground, and exits with the script's exit status. An unknown project or
      action exits 1.
  search TEXT [--messages|--workspaces]
      Quick search: workspaces whose name or project contains TEXT, then chat
      messages that contain it (user and assistant text of chats not archived),
      newest first; ignores case. One JSON object per line: {kind:"workspace",
      id, name, project, chatCount, updatedAt, branch} or {kind:"message", id,
      chatId, chat, snippet, match:[start,length] in characters, timestamp}.
      Without an option at most 5 workspaces and 15 messages; --messages gives
      up to 20 messages, --workspaces every matching workspace, and with an
      empty TEXT the 15 most recently updated. Empty TEXT otherwise exits 2.
  import --project DIR [--list] [--all | --session ID...]
      The session logs claude and codex left for the project's folder. Without
      --all or --session, one line per importable session, tab-separated: id,
      agent (claude_code or codex), modified (ISO 8601), model (or -), message
      count, first prompt. --all or --session imports them, each as a new
      workspace with one chat that resumes the session, and prints one line per
      workspace: workspace id, chat id, session id, title. Exits 1 when any
      session failed or DIR is not a project, 2 on bad usage.
  sweep [--dry-run]
      Deletes the archived workspaces and chats whose retention (Preferences >
      Archived Chats, Archived Workspaces) has run out, as the window does daily.
      One line per record: deleted or kept (with why), kind, id, name, archived
      date (ISO 8601), then a total line. A worktree with work on it is kept.
      --dry-run prints what would go, without the first column, and deletes nothing.
  help
      This text.

Any command takes --verbose to write the log to standard error.
)";

QJsonValue metadataJson(const std::optional<QByteArray> &metadata)
{
    if (!metadata)
        return QJsonValue::Null;
    const QJsonDocument doc = QJsonDocument::fromJson(*metadata);
    if (doc.isObject())
        return doc.object();
    return QString::fromUtf8(*metadata); // stored, but not JSON: shown as it is
}

int listMessages(const QStringList &args)
{
    QCommandLineParser parser;
    parser.addOption({"chat", "The chat.", "UUID"});
    if (!parser.parse(args) || !parser.isSet("chat")) {
        printErr(QStringLiteral("corvane-cli messages: --chat UUID is required"));
        return 2;
    }
    const QUuid chatId = QUuid::fromString(parser.value("chat"));
    if (chatId.isNull()) {
        printErr(QStringLiteral("corvane-cli messages: \"%1\" is not a chat id").arg(parser.value("chat")));
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &ctx = store->mainContext();
    if (!ctx.get<Chat>(chatId)) {
        printErr(QStringLiteral("corvane-cli messages: no chat with the id %1").arg(chatId.toString(QUuid::WithoutBraces)));
        return 1;
    }
    auto messages = ctx.fetch<Message>(Query(where::eq("chatId", chatId)).orderBy("timestamp"));
    if (!messages) {
        printErr(QStringLiteral("corvane-cli messages: ") + messages.error().message);
        return 1;
    }
    for (const auto &m : *messages) {
        const QJsonValue metadata = metadataJson(m->metadata);
        QJsonObject row{{"id", m->id.toString(QUuid::WithoutBraces)},
                        {"role", toRaw(m->role)},
                        {"contentType", toRaw(m->contentType)},
                        {"content", m->content},
                        {"toolName", m->toolName ? QJsonValue(*m->toolName) : QJsonValue::Null},
                        {"toolUseId", metadata.toObject().value("tool_use_id").isString()
                                          ? metadata.toObject().value("tool_use_id") : QJsonValue::Null},
                        {"metadata", metadata},
                        {"isComplete", m->isComplete},
                        {"timestamp", m->timestamp.toUTC().toString(Qt::ISODateWithMs)}};
        printOut(QString::fromUtf8(QJsonDocument(row).toJson(QJsonDocument::Compact)));
    }
    return 0;
}

int listChats(const QStringList &args)
{
    QCommandLineParser parser;
    parser.addOption({"project", "Only this project's chats.", "DIR"});
    if (!parser.parse(args)) {
        printErr(QStringLiteral("corvane-cli chats: ") + parser.errorText());
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &ctx = store->mainContext();
    Query query;
    if (parser.isSet("project")) {
        const QString path = QFileInfo(parser.value("project")).canonicalFilePath();
        auto project = ctx.fetchFirst<Project>(Query(where::eq("path", path)));
        if (!project || !*project)
            return 0; // a folder that is no project has no chats
        query.filter = where::eq("projectId", (*project)->id);
    }
    for (const auto &chat : ctx.fetchOrEmpty<Chat>(query.orderBy("createdAt"))) {
        const auto project = chat->projectId ? ctx.get<Project>(*chat->projectId) : nullptr;
        const auto workspace = chat->workspaceId ? ctx.get<Workspace>(*chat->workspaceId) : nullptr;
        printOut(QStringList{chat->id.toString(QUuid::WithoutBraces), project ? project->path : QStringLiteral("-"),
                             workspace ? workspace->name : QStringLiteral("-"), chat->name,
                             toRaw(chat->agentType())}
                     .join(QLatin1Char('\t')));
    }
    return 0;
}

} // namespace

int run(const QStringList &arguments)
{
    // Standard output carries results; the log goes to standard error with --verbose, else nowhere.
    QStringList rest = arguments;
    const bool verbose = rest.removeAll(QStringLiteral("--verbose")) > 0;
    setLogStream(verbose ? stderr : nullptr);
    const QString command = rest.value(1);
    if (rest.size() > 1)
        rest.removeAt(1);
    if (command == QLatin1String("send"))
        return sendCommand(rest);
    if (command == QLatin1String("messages"))
        return listMessages(rest);
    if (command == QLatin1String("chats"))
        return listChats(rest);
    if (command == QLatin1String("profiles"))
        return profilesCommand(rest);
    if (command == QLatin1String("profile"))
        return profileCommand(rest);
    if (command == QLatin1String("workspaces"))
        return listWorkspaces(rest);
    if (command == QLatin1String("workspace"))
        return workspaceCommand(rest);
    if (command == QLatin1String("flows") || command == QLatin1String("agents") || command == QLatin1String("skills"))
        return listDefinitions(command, rest);
    if (command == QLatin1String("skill"))
        return skillCommand(rest);
    if (command == QLatin1String("gate"))
        return gateCommand(rest);
    if (command == QLatin1String("gates"))
        return listGates(rest);
    if (command == QLatin1String("issue"))
        return issueCommand(rest);
    if (command == QLatin1String("issues"))
        return listIssues(rest);
    if (command == QLatin1String("run"))
        return runCommand(rest);
    if (command == QLatin1String("ports"))
        return portsCommand(rest);
    if (command == QLatin1String("search"))
        return searchCommand(rest);
    if (command == QLatin1String("import"))
        return importCommand(rest);
    if (command == QLatin1String("sweep"))
        return sweepCommand(rest);
    if (command == QLatin1String("run-commands"))
        return runCommandsCommand(rest);
    if (command == QLatin1String("project"))
        return projectCommand(rest);
    if (command == QLatin1String("actions"))
        return listActions(rest);
    if (command == QLatin1String("action"))
        return actionCommand(rest);
    if (command.isEmpty() || command == QLatin1String("help") || command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(kUsage, stdout);
        return command.isEmpty() ? 2 : 0;
    }
    printErr(QStringLiteral("corvane-cli: unknown command \"%1\" (try corvane-cli help)").arg(command));
    return 2;
}

} // namespace corvane::cli
