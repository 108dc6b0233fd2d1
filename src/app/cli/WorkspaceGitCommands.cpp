#include "app/cli/WorkspaceGitCommands.h"

#include "app/cli/CliOutput.h"
#include "agent/inline/InlineAgentRunner.h"
#include "app/cli/ChatLookup.h"
#include "app/cli/CliWait.h"
#include "automation/LandingTexts.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/GitService.h"
#include "source_control/inspector/InspectorViewModel.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::cli {

namespace {

QString statusName(GitStatus status)
{
    switch (status) {
    case GitStatus::added: return QStringLiteral("added");
    case GitStatus::modified: return QStringLiteral("modified");
    case GitStatus::deleted: return QStringLiteral("deleted");
    case GitStatus::renamed: return QStringLiteral("renamed");
    case GitStatus::copied: return QStringLiteral("copied");
    case GitStatus::untracked: return QStringLiteral("untracked");
    case GitStatus::ignored: return QStringLiteral("ignored");
    case GitStatus::unmerged: return QStringLiteral("unmerged");
    }
    return {};
}

// The branch, how far it is from its upstream (or, without one, from the default branch), and
// every changed file with its line counts: what the inspector shows.
int printStatus(const QString &command, const GitService &git)
{
    const auto status = waitFor(git.status()).valueOr({});
    if (!status.isRepository) {
        printErr(QStringLiteral("corvane-cli %1: %2 is not a git repository").arg(command, git.workingDirectory()));
        return 1;
    }
    int ahead = status.ahead;
    if (!status.upstream)
        ahead = waitFor(git.commitsAheadOfDefaultBranch()).valueOr(status.ahead);
    DiffStats stats = waitFor(git.diffStats()).valueOr({});
    stats.insert(untrackedLineCounts(git.workingDirectory(), status.files));
    QJsonArray files;
    for (const GitFileStatus &file : status.files) {
        const DiffStat stat = stats.value(file.path);
        QJsonObject entry{{"path", file.path}, {"status", statusName(file.status)},
                          {"additions", stat.additions}, {"deletions", stat.deletions}};
        if (file.originalPath)
            entry.insert("from", *file.originalPath);
        files.append(entry);
    }
    const QJsonObject shown{{"branch", status.branch ? QJsonValue(*status.branch) : QJsonValue()},
                            {"upstream", status.upstream ? QJsonValue(*status.upstream) : QJsonValue()},
                            {"ahead", ahead},
                            {"behind", status.behind},
                            {"files", files}};
    printOut(QString::fromUtf8(QJsonDocument(shown).toJson(QJsonDocument::Compact)));
    return 0;
}

int done(const QString &action, const GitResult<void> &result, const QString &success)
{
    if (!result.ok()) {
        printErr(QStringLiteral("%1 failed: %2").arg(action, result.error().description()));
        return 1;
    }
    printOut(success);
    return 0;
}

} // namespace

int workspaceGitCommand(const QString &action, const QStringList &arguments)
{
    const QString command = QStringLiteral("workspace ") + action;
    QCommandLineParser parser;
    parser.addOption({"id", "The workspace.", "UUID"});
    if (action == QLatin1String("commit")) {
        parser.addOption({"all", "Stage every change first."});
        parser.addOption({"message", "The commit's message.", "TEXT"});
        parser.addOption({"generate", "Let the agent write the title from the diff."});
        parser.addOption({"claude", "The claude program, when it is not in a usual place.", "PATH"});
    }
    if (!parser.parse(arguments) || !parser.isSet("id")) {
        printErr(QStringLiteral("corvane-cli %1: %2").arg(command, parser.errorText().isEmpty() ? QStringLiteral("--id UUID is required")
                                                                                                 : parser.errorText()));
        return 2;
    }
    const auto opened = openWorkspaceOrSay(command, parser.value("id"));
    if (!opened)
        return 1;
    StoreContext &context = opened->store->mainContext();
    const WorkspacePlace &place = opened->place;
    const GitService git(place.folder);

    if (action == QLatin1String("status"))
        return printStatus(command, git);
    if (action == QLatin1String("fetch"))
        return done(QStringLiteral("Fetch"), waitFor(git.fetchAll()), QStringLiteral("Fetched"));
    if (action == QLatin1String("pull"))
        return done(QStringLiteral("Pull"), waitFor(git.pull()), QStringLiteral("Pulled"));
    if (action == QLatin1String("push")) {
        // Without an upstream the branch is pushed to origin and tracks it, as the inspector does.
        const auto status = waitFor(git.status()).valueOr({});
        return done(QStringLiteral("Push"), waitFor(status.upstream ? git.push() : git.pushWithUpstream(QStringLiteral("origin"))),
                    QStringLiteral("Pushed"));
    }
    // commit
    if (parser.isSet("message") == parser.isSet("generate")) {
        printErr(QStringLiteral("corvane-cli %1: give --message TEXT or --generate").arg(command));
        return 2;
    }
    if (parser.isSet("message") && parser.value("message").trimmed().isEmpty()) {
        printErr(QStringLiteral("corvane-cli %1: the message is empty").arg(command));
        return 2;
    }
    if (parser.isSet("all")) {
        if (const auto staged = waitFor(git.stage({QStringLiteral(".")})); !staged.ok())
            return done(QStringLiteral("Commit"), staged, {});
    }
    QString message = parser.value("message");
    if (parser.isSet("generate")) {
        const auto profile = landing::profileFor(context, place.workspace.get());
        const QString claudePath = parser.value("claude");
        InlineAgentRunner runner([claudePath](AgentTool tool) {
            return locateTool(tool, tool == AgentTool::claude ? claudePath : QString());
        });
        QObject owner;
        const auto title = waitForResult<QString>([&](auto done) {
            landing::commitTitle(&owner, runner, place.folder, profile.get(), done);
        });
        if (!title) {
            printErr(QStringLiteral("corvane-cli %1: the title could not be generated: %2").arg(command, title.error().message));
            return 1;
        }
        message = title.value();
    }
    const auto committed = waitFor(git.commit(message));
    if (!committed.ok())
        return done(QStringLiteral("Commit"), committed, {});
    printOut(waitFor(git.run({QStringLiteral("log"), QStringLiteral("-1"), QStringLiteral("--format=%h %s")})).valueOr(QString()).trimmed());
    return 0;
}

} // namespace corvane::cli
