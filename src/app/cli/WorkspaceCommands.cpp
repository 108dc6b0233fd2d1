#include "app/cli/WorkspaceCommands.h"
#include "app/cli/CliOutput.h"
#include "app/cli/CliWait.h"
#include "app/cli/WorkspaceGitCommands.h"
#include "app/cli/WorkspacePrCommands.h"

#include "app/StartupSequence.h"
#include "core/Paths.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/workspaces/LifecycleTexts.h"
#include "source_control/workspaces/NewChatSheetModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QFileInfo>

#include <cstdio>

namespace corvane::cli {

namespace {

QString workspaceLine(const Workspace &workspace, const Project &project)
{
    return QStringList{workspace.id.toString(QUuid::WithoutBraces), workspace.name,
                       workspace.gitBranch.value_or(QStringLiteral("-")),
                       workspace.usesWorktree ? QStringLiteral("worktree") : QStringLiteral("checkout"),
                       workspace.workingDirectory(&project).value_or(QStringLiteral("-")),
                       workspace.isArchived() ? QStringLiteral("archived") : QStringLiteral("active")}
        .join(QLatin1Char('\t'));
}

std::shared_ptr<Project> projectAt(StoreContext &context, const QString &folder)
{
    const QString path = QFileInfo(folder).canonicalFilePath();
    if (path.isEmpty())
        return nullptr;
    auto found = context.fetchFirst<Project>(Query(where::eq("path", path)));
    return found ? *found : nullptr;
}

// Everything a workspace subcommand works with.
struct Session
{
    std::shared_ptr<Store> store;
    std::unique_ptr<WorkspaceLifecycleService> lifecycle;
};

std::optional<Session> openSession(const QString &command)
{
    auto store = startup::openStore(paths::storeFile());
    if (!store) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, store.error().message));
        return std::nullopt;
    }
    Session session{store.value(), nullptr};
    session.lifecycle = std::make_unique<WorkspaceLifecycleService>(session.store->mainContext());
    return session;
}

// The outcome of an operation that may ask first, as an exit status.
int report(const QString &command, const LifecycleOutcome &outcome)
{
    switch (outcome.kind) {
    case LifecycleOutcome::Kind::done:
        if (!outcome.message.isEmpty())
            printErr(outcome.message);
        return 0;
    case LifecycleOutcome::Kind::needsConfirmation:
        printErr(outcome.message);
        printErr(QStringLiteral("corvane-cli %1: nothing was changed; run again with --yes to go ahead").arg(command));
        return 1;
    case LifecycleOutcome::Kind::failed:
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, outcome.message));
        return 1;
    case LifecycleOutcome::Kind::busy:
        printErr(QStringLiteral("corvane-cli %1: the workspace is being archived already").arg(command));
        return 1;
    }
    return 1;
}

int newWorkspace(const QStringList &arguments)
{
    const QString command = QStringLiteral("workspace new");
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"mode", "simple, branch or worktree.", "MODE", "worktree"});
    parser.addOption({"branch", "The new branch.", "NAME"});
    parser.addOption({"base", "The branch to start from.", "BRANCH"});
    parser.addOption({"existing", "An existing branch for the worktree (local, or remote as origin/x).", "BRANCH"});
    parser.addOption({"name", "The workspace's name.", "NAME"});
    if (!parser.parse(arguments) || !parser.isSet("project")) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, parser.errorText().isEmpty()
                                                                     ? QStringLiteral("--project DIR is required")
                                                                     : parser.errorText()));
        return 2;
    }
    const QString modeName = parser.value("mode");
    WorkspaceCreationMode mode = WorkspaceCreationMode::worktree;
    if (modeName == QLatin1String("simple"))
        mode = WorkspaceCreationMode::simple;
    else if (modeName == QLatin1String("branch"))
        mode = WorkspaceCreationMode::newBranch;
    else if (modeName != QLatin1String("worktree")) {
        printErr(QStringLiteral("corvane-cli %1: --mode is simple, branch or worktree, not \"%2\"").arg(command, modeName));
        return 2;
    }
    const bool existing = parser.isSet("existing");
    if (mode != WorkspaceCreationMode::simple && !existing && !parser.isSet("branch")) {
        printErr(QStringLiteral("corvane-cli %1: --branch NAME is required (or --existing BRANCH with a worktree)").arg(command));
        return 2;
    }
    if (existing && mode != WorkspaceCreationMode::worktree) {
        printErr(QStringLiteral("corvane-cli %1: --existing works with --mode worktree only").arg(command));
        return 2;
    }
    const QString folder = parser.value("project");
    if (!QFileInfo(folder).isDir()) {
        printErr(QStringLiteral("corvane-cli %1: %2 is not a folder").arg(command, folder));
        return 1;
    }
    auto session = openSession(command);
    if (!session)
        return 1;
    WorkspaceLifecycleService &lifecycle = *session->lifecycle;
    StoreContext &context = session->store->mainContext();

    std::shared_ptr<Workspace> made;
    std::shared_ptr<Project> project = projectAt(context, folder);
    if (!project) {
        // A new project comes with its first workspace on the checkout.
        auto added = lifecycle.addProjectFolder(folder, std::nullopt);
        if (!added) {
            printErr(QStringLiteral("corvane-cli %1: %2").arg(command, added.error().message));
            return 1;
        }
        project = context.get<Project>(*(*added)->projectId);
        if (mode == WorkspaceCreationMode::simple)
            made = *added;
    }
    if (mode == WorkspaceCreationMode::simple && !made) {
        made = lifecycle.createSimpleWorkspace(*project);
    } else if (!made) {
        NewChatSheetModel sheet(project, mode);
        (void)waitFor(sheet.start());
        if (parser.isSet("base"))
            sheet.setSelectedBaseBranch(parser.value("base"));
        if (existing) {
            const QString wanted = parser.value("existing");
            sheet.setWorktreeSource(NewChatSheetModel::WorktreeSource::existing);
            std::optional<GitBranch> chosen;
            for (const GitBranch &branch : sheet.branches())
                if (branch.name == wanted)
                    chosen = branch;
            if (!chosen) {
                (void)waitFor(sheet.selectBranchTab(NewChatSheetModel::BranchTab::remote));
                for (const GitBranch &branch : sheet.remoteBranches())
                    if (branch.name == wanted)
                        chosen = branch;
            }
            if (!chosen) {
                printErr(QStringLiteral("corvane-cli %1: no branch \"%2\" in %3").arg(command, wanted, project->path));
                return 1;
            }
            sheet.setSelectedExistingBranch(chosen);
        } else {
            sheet.setBranchName(parser.value("branch"));
        }
        const GitResult<Chat> chat = waitFor(sheet.create());
        if (!chat) {
            printErr(QStringLiteral("corvane-cli %1: %2").arg(command, chat.error().description()));
            return 1;
        }
        made = lifecycle.receiveSheetChat(*chat, *project);
    }
    if (parser.isSet("name"))
        lifecycle.renameWorkspace(*made, parser.value("name"));
    printOut(workspaceLine(*made, *project));
    return 0;
}

std::shared_ptr<Workspace> workspaceById(StoreContext &context, const QString &command, const QString &text)
{
    const QUuid id = QUuid::fromString(text);
    if (id.isNull()) {
        printErr(QStringLiteral("corvane-cli %1: \"%2\" is not a workspace id").arg(command, text));
        return nullptr;
    }
    auto workspace = context.get<Workspace>(id);
    if (!workspace)
        printErr(QStringLiteral("corvane-cli %1: no workspace with the id %2").arg(command, id.toString(QUuid::WithoutBraces)));
    return workspace;
}

int changeWorkspace(const QString &action, const QStringList &arguments)
{
    const QString command = QStringLiteral("workspace ") + action;
    QCommandLineParser parser;
    parser.addOption({"id", "The workspace.", "UUID"});
    parser.addOption({"yes", "Go ahead even when work would be lost."});
    parser.addPositionalArgument("id", "The workspace, instead of --id.");
    if (!parser.parse(arguments)) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, parser.errorText()));
        return 2;
    }
    const QString idText = parser.isSet("id") ? parser.value("id") : parser.positionalArguments().value(0);
    if (idText.isEmpty()) {
        printErr(QStringLiteral("corvane-cli %1: --id UUID is required").arg(command));
        return 2;
    }
    auto session = openSession(command);
    if (!session)
        return 1;
    WorkspaceLifecycleService &lifecycle = *session->lifecycle;
    auto workspace = workspaceById(session->store->mainContext(), command, idText);
    if (!workspace)
        return 1;
    const bool confirmed = parser.isSet("yes");

    if (action == QLatin1String("archive")) {
        if (workspace->isArchived()) {
            printErr(QStringLiteral("corvane-cli %1: the workspace is archived already").arg(command));
            return 1;
        }
        return report(command, *waitFor(lifecycle.archiveWorkspace(workspace, confirmed)));
    }
    if (action == QLatin1String("restore")) {
        if (!workspace->isArchived()) {
            printErr(QStringLiteral("corvane-cli %1: the workspace is not archived").arg(command));
            return 1;
        }
        return report(command, lifecycle.restoreWorkspace(workspace));
    }
    // Permanent deletion always asks.
    if (!confirmed) {
        const WorktreeDirtyStatus status = waitFor(lifecycle.worktreeDirtyStatus(*workspace)).valueOr({});
        QString text = lifecycleText::deleteWorkspaceTitle(workspace->name) + u'\n' + lifecycleText::deleteWorkspaceText;
        if (const QString loss = lifecycleText::lossSummary(status); !loss.isEmpty())
            text += QStringLiteral("\n\n") + loss;
        return report(command, LifecycleOutcome::needsConfirmation(text));
    }
    return report(command, *waitFor(lifecycle.deleteWorkspace(workspace->id, true)));
}

} // namespace

int listWorkspaces(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    if (!parser.parse(arguments) || !parser.isSet("project")) {
        printErr(QStringLiteral("corvane-cli workspaces: --project DIR is required"));
        return 2;
    }
    auto session = openSession(QStringLiteral("workspaces"));
    if (!session)
        return 1;
    const auto project = projectAt(session->store->mainContext(), parser.value("project"));
    if (!project)
        return 0; // a folder that is no project has no workspaces
    for (const auto &workspace : session->lifecycle->workspaces(*project, true))
        printOut(workspaceLine(*workspace, *project));
    return 0;
}

int workspaceCommand(const QStringList &arguments)
{
    const QString action = arguments.value(1);
    QStringList rest = arguments;
    if (rest.size() > 1)
        rest.removeAt(1);
    if (action == QLatin1String("new"))
        return newWorkspace(rest);
    if (action == QLatin1String("archive") || action == QLatin1String("restore") || action == QLatin1String("delete"))
        return changeWorkspace(action, rest);
    if (action == QLatin1String("pr"))
        return workspacePrCommand(rest);
    for (const char *git : {"status", "commit", "push", "pull", "fetch"})
        if (action == QLatin1String(git))
            return workspaceGitCommand(action, rest);
    printErr(QStringLiteral("corvane-cli workspace: give new, archive, restore, delete, status, commit, push, pull, fetch or pr "
                            "(try corvane-cli help)"));
    return 2;
}

} // namespace corvane::cli
