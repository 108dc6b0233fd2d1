#include "app/cli/WorkspacePrCommands.h"

#include "agent/inline/InlineAgentRunner.h"
#include "app/cli/ChatLookup.h"
#include "app/cli/CliOutput.h"
#include "app/cli/CliWait.h"
#include "automation/LandingTexts.h"
#include "automation/PullRequestCreation.h"
#include "core/Paths.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/github/PRService.h"

#include <QCommandLineParser>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::cli {

namespace {

QJsonValue orNull(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

QJsonObject shown(const PRSummary &pr, bool linked)
{
    return {{"number", pr.number}, {"url", pr.htmlURL}, {"title", pr.title}, {"state", github::stateOf(pr)},
            {"head", pr.headBranch}, {"base", pr.baseBranch}, {"author", orNull(pr.authorLogin)},
            {"updatedAt", pr.updatedAt ? QJsonValue(pr.updatedAt->toString(Qt::ISODate)) : QJsonValue()}, {"linked", linked}};
}

} // namespace

int workspacePrCommand(const QStringList &arguments)
{
    const QString action = arguments.value(1);
    const QString command = QStringLiteral("workspace pr ") + action;
    if (action != QLatin1String("create") && action != QLatin1String("show")) {
        printErr(QStringLiteral("corvane-cli workspace pr: give create or show (try corvane-cli help)"));
        return 2;
    }
    QCommandLineParser parser;
    parser.addOption({"id", "The workspace.", "UUID"});
    if (action == QLatin1String("create")) {
        parser.addOption({"generate", "Let the agent write the title and body."});
        parser.addOption({"title", "The title.", "TEXT"});
        parser.addOption({"body", "The body.", "TEXT"});
        parser.addOption({"base", "The branch to merge into (the default branch unless given).", "BRANCH"});
        parser.addOption({"draft", "Open it as a draft."});
        parser.addOption({"claude", "The claude program, when it is not in a usual place.", "PATH"});
    }
    if (!parser.parse(withoutVerb(arguments)) || !parser.isSet("id")) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, parser.errorText().isEmpty() ? QStringLiteral("--id UUID is required")
                                                                                                 : parser.errorText()));
        return 2;
    }
    const auto opened = openWorkspaceOrSay(command, parser.value("id"));
    if (!opened)
        return 1;
    StoreContext &context = opened->store->mainContext();
    const auto &[workspace, project, folder] = opened->place;
    const PreferencesStore preferences(paths::settingsFile());
    const QString apiBase = AppSettings::gitHubApiUrl(preferences);
    const QString username = project ? project->githubUsername.value_or(QString()) : QString();
    QObject owner;

    if (action == QLatin1String("show")) {
        PRService service(folder, apiBase);
        if (workspace->prNumber) {
            const auto pr = waitForResult<PRSummary>([&](auto done) { service.fetchPullRequest(*workspace->prNumber, username, done); });
            if (!pr) {
                printErr(QStringLiteral("corvane-cli %1: %2").arg(command, pr.error().message));
                return 1;
            }
            // What GitHub says now goes into the workspace, as the inspector's refresh does.
            github::refresh(*workspace, pr.value());
            (void)context.save();
            printOut(QString::fromUtf8(QJsonDocument(shown(pr.value(), true)).toJson(QJsonDocument::Compact)));
            return 0;
        }
        // Not linked: the pull request of its branch, if GitHub has one, in any state.
        const QString branch = workspace->gitBranch.value_or(QString());
        const auto found = branch.isEmpty() ? Result<std::optional<PRSummary>>(std::nullopt)
                                            : waitForResult<std::optional<PRSummary>>([&](auto done) { service.findPullRequest(branch, username, done); });
        if (!found) {
            printErr(QStringLiteral("corvane-cli %1: %2").arg(command, found.error().message));
            return 1;
        }
        if (!found.value()) {
            printErr(QStringLiteral("corvane-cli %1: the workspace has no pull request").arg(command));
            return 1;
        }
        printOut(QString::fromUtf8(QJsonDocument(shown(*found.value(), false)).toJson(QJsonDocument::Compact)));
        return 0;
    }

    PullRequestDraft draft;
    draft.title = parser.value("title");
    draft.body = parser.value("body");
    draft.draft = parser.isSet("draft");
    draft.preferredUsername = username;
    if (parser.isSet("base"))
        draft.base = parser.value("base");
    if (parser.isSet("generate")) {
        const auto profile = landing::profileFor(context, workspace.get());
        const QString claudePath = parser.value("claude");
        InlineAgentRunner runner([claudePath](AgentTool tool) { return locateTool(tool, tool == AgentTool::claude ? claudePath : QString()); });
        const auto text = waitForResult<generators::PullRequestText>([&](auto done) { landing::pullRequestText(&owner, runner, folder, profile.get(), done); });
        if (!text) {
            printErr(QStringLiteral("corvane-cli %1: the text could not be generated: %2").arg(command, text.error().message));
            return 1;
        }
        if (draft.title.isEmpty())
            draft.title = text.value().title;
        if (draft.body.isEmpty())
            draft.body = text.value().body;
    }
    if (draft.title.trimmed().isEmpty()) {
        printErr(QStringLiteral("corvane-cli %1: give --title TEXT or --generate").arg(command));
        return 2;
    }
    const auto url = waitForResult<QString>([&](auto done) { createPullRequest(&owner, context, workspace->id, folder, apiBase, draft, done); });
    if (!url) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, url.error().message));
        return 1;
    }
    printOut(url.value());
    return 0;
}

} // namespace corvane::cli
