#include "app/cli/RunCommands.h"

#include "agent/claude/ClaudeSDKService.h"
#include "agent/runtime/ToolLocator.h"
#include "agent/session/ChatController.h"
#include "agent/session/ChatSession.h"
#include "agent/session/SessionManager.h"
#include "app/cli/ChatLookup.h"
#include "app/cli/CliOutput.h"
#include "automation/CoordinatorBridge.h"
#include "automation/AutomationFlowsService.h"
#include "automation/RunLaunch.h"
#include "automation/RunLauncher.h"
#include "core/NotificationCenter.h"
#include "core/process/ProcessReaper.h"
#include "core/records/GateResult.h"
#include "core/records/AutomationIteration.h"
#include "core/records/Issue.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <cstdio>

namespace corvane::cli {

namespace {

void sayOnStderr(const QString &line)
{
    std::fprintf(stderr, "%s\n", line.toUtf8().constData());
    std::fflush(stderr);
}

// The pieces a run needs, as the window has them, with claude at `claudePath`.
struct Automation
{
    std::shared_ptr<Store> store;
    NotificationCenter center;
    SessionManager sessions;
    ToolLocation claude;
    ChatController controller;
    AutomatedAgentOrchestrator orchestrator;
    CoordinatorBridge bridge;

    Automation(std::shared_ptr<Store> s, const QString &claudePath)
        : store(std::move(s)), sessions(*store, center), claude(locateTool(AgentTool::claude, claudePath)),
          controller([this](AgentType) { return std::make_unique<ClaudeSDKService>(claude); }),
          orchestrator(store->mainContext(), center), bridge(sessions, controller, store->mainContext(), orchestrator)
    {
        bridge.restore();
        orchestrator.restoreActiveRuns();
    }

    ~Automation()
    {
        // Agents end by themselves, so claude keeps its session for the next command.
        sessions.shutdown();
        ProcessReaper::shared().drain();
    }

    // Drives the run until it waits for the user or closes: "0" for awaiting review and done.
    int drive(const std::shared_ptr<AutomationRun> &run)
    {
        QEventLoop loop;
        auto settle = [&] {
            QTimer::singleShot(0, &loop, [&] {
                if (run->isClosed())
                    return loop.quit();
                // A coordinator that ended its turn without a marker leaves the run waiting.
                ChatSession *session = sessions.existingSession(run->coordinatorChatId);
                const bool working = session && session->activityState() == ChatActivityState::processing;
                if (!working && run->status() != AutomationRunStatus::validating)
                    loop.quit();
            });
        };
        QObject::connect(&bridge, &CoordinatorBridge::turnHandled, &loop, settle);
        auto watchFailures = [&](ChatSession *session) {
            QObject::connect(session, &ChatSession::turnFailed, &loop, [&](const QUuid &, const QString &why) {
                sayOnStderr(QStringLiteral("corvane-cli run: the coordinator's turn failed: ") + why);
                loop.quit();
            });
        };
        // The launch has usually made the coordinator's session already; a restart makes another.
        if (ChatSession *existing = sessions.existingSession(run->coordinatorChatId))
            watchFailures(existing);
        QObject::connect(&sessions, &SessionManager::sessionCreated, &loop, watchFailures);
        loop.exec();
        printOut(run->statusRaw);
        if (!run->isClosed())
            sayOnStderr(QStringLiteral("corvane-cli run: the coordinator ended its turn without a marker; the run waits "
                                       "(send it on with: corvane-cli run feedback --run %1 TEXT)")
                            .arg(run->id.toString(QUuid::WithoutBraces)));
        const auto status = run->status();
        return status == AutomationRunStatus::awaitingUserReview || status == AutomationRunStatus::done ? 0 : 1;
    }
};

std::shared_ptr<AutomationRun> runById(StoreContext &context, const QString &text, const QString &command)
{
    const QUuid id = QUuid::fromString(text);
    const auto run = id.isNull() ? nullptr : context.get<AutomationRun>(id);
    if (!run)
        printErr(QStringLiteral("corvane-cli run %1: no run with the id \"%2\"").arg(command, text));
    return run;
}

QJsonObject runJson(StoreContext &context, const AutomationRun &run)
{
    QJsonArray iterations;
    for (const auto &i : context.fetchOrEmpty<AutomationIteration>(Query(where::eq("runId", run.id)).orderBy("number")))
        iterations.append(QJsonObject{{"number", i->number}, {"reason", i->triggerReasonRaw},
                                      {"note", i->triggerNote ? QJsonValue(*i->triggerNote) : QJsonValue::Null}});
    QJsonArray gates;
    for (const auto &g : context.fetchOrEmpty<GateResult>(Query(where::eq("runId", run.id)).orderBy("ranAt")))
        gates.append(QJsonObject{{"name", g->gateName}, {"iteration", g->iterationNumber}, {"passed", g->passed},
                                 {"exitCode", g->exitCode}});
    auto optional = [](const std::optional<QString> &v) { return v ? QJsonValue(*v) : QJsonValue::Null; };
    return {{"id", run.id.toString(QUuid::WithoutBraces)}, {"status", run.statusRaw}, {"phase", run.currentPhaseRaw},
            {"flow", run.flowName}, {"iterations", iterations}, {"gateResults", gates},
            {"reviewVerdict", optional(run.reviewVerdictRaw)}, {"failureReason", optional(run.failureReason)},
            {"tokens", run.cumulativeTokens}, {"costUSD", run.cumulativeCostUSD},
            {"startedAt", run.startedAt.toUTC().toString(Qt::ISODate)}};
}

int startRun(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"issue", "The issue.", "UUID"});
    parser.addOption({"flow", "The flow's name (default: the first the project offers).", "NAME"});
    parser.addOption({"mode", "worktree (the default) or simple.", "MODE", "worktree"});
    parser.addOption({"branch", "The worktree's new branch (default: from the title).", "NAME"});
    parser.addOption({"claude", "Path of the claude command.", "PATH"});
    if (!parser.parse(arguments) || !parser.isSet("issue")) {
        printErr(QStringLiteral("corvane-cli run start: usage: corvane-cli run start --issue UUID [--flow NAME] "
                                "[--mode worktree|simple] [--branch NAME] [--claude PATH]"));
        return 2;
    }
    const QString mode = parser.value("mode");
    if (mode != QLatin1String("worktree") && mode != QLatin1String("simple")) {
        printErr(QStringLiteral("corvane-cli run start: --mode is worktree or simple"));
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    const QUuid issueId = QUuid::fromString(parser.value("issue"));
    const auto issue = issueId.isNull() ? nullptr : context.get<Issue>(issueId);
    if (!issue) {
        printErr(QStringLiteral("corvane-cli run start: no issue with the id \"%1\"").arg(parser.value("issue")));
        return 1;
    }
    if (!issue->projectId) {
        printErr(QStringLiteral("corvane-cli run start: the issue \"%1\" belongs to no project").arg(issue->title));
        return 1;
    }
    Automation automation(store, parser.value("claude"));
    // The flows as the tools show them: read from their files first.
    AutomationFlowsService flows(store);
    QEventLoop scanned;
    QObject::connect(&flows, &DefinitionService::reloaded, &scanned, &QEventLoop::quit);
    const auto project = context.get<Project>(*issue->projectId);
    flows.reload({project ? project->path : QString()});
    scanned.exec();
    const auto offered = runlaunch::flowsFor(context.fetchOrEmpty<AutomationFlow>(), *issue->projectId);
    std::shared_ptr<AutomationFlow> flow;
    for (const auto &candidate : offered)
        if (!parser.isSet("flow") || candidate->name == parser.value("flow"))
            if (!flow)
                flow = candidate;
    if (!flow) {
        printErr(parser.isSet("flow") ? QStringLiteral("corvane-cli run start: no flow named \"%1\"").arg(parser.value("flow"))
                                      : QStringLiteral("corvane-cli run start: no flows found"));
        return 1;
    }
    RunLauncher launcher(context, automation.orchestrator);
    QEventLoop launched;
    std::shared_ptr<AutomationRun> run;
    launcher.start({issue, flow, mode == QLatin1String("simple") ? WorkspaceCreationMode::simple : WorkspaceCreationMode::worktree,
                    {}, parser.value("branch")},
                   [&](Result<std::shared_ptr<AutomationRun>> started) {
                       if (started)
                           run = started.value();
                       else
                           printErr(QStringLiteral("corvane-cli run start: ") + started.error().message);
                       launched.quit();
                   });
    launched.exec();
    if (!run)
        return 1;
    sayOnStderr(QStringLiteral("run ") + run->id.toString(QUuid::WithoutBraces));
    return automation.drive(run);
}

} // namespace

int runCommand(const QStringList &arguments)
{
    const QString verb = arguments.value(1);
    const QStringList rest = withoutVerb(arguments);
    if (verb == QLatin1String("start"))
        return startRun(rest);
    QCommandLineParser parser;
    parser.addOption({"run", "The run.", "UUID"});
    parser.addOption({"claude", "Path of the claude command.", "PATH"});
    const bool known = verb == QLatin1String("show") || verb == QLatin1String("approve")
        || verb == QLatin1String("discard") || verb == QLatin1String("feedback");
    if (!known || !parser.parse(rest) || !parser.isSet("run")
        || (verb == QLatin1String("feedback") && parser.positionalArguments().join(' ').trimmed().isEmpty())) {
        printErr(QStringLiteral("corvane-cli run: usage: corvane-cli run start|show|approve|discard|feedback --run UUID [TEXT]"));
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    const auto run = runById(context, parser.value("run"), verb);
    if (!run)
        return 1;
    if (verb == QLatin1String("show")) {
        printOut(QString::fromUtf8(QJsonDocument(runJson(context, *run)).toJson(QJsonDocument::Compact)));
        return 0;
    }
    if (run->status() != AutomationRunStatus::awaitingUserReview) {
        printErr(QStringLiteral("corvane-cli run %1: the run is %2, not waiting for review").arg(verb, run->statusRaw));
        return 1;
    }
    Automation automation(store, parser.value("claude"));
    if (verb == QLatin1String("approve")) {
        automation.orchestrator.finish(run, AutomationRunStatus::done);
    } else if (verb == QLatin1String("discard")) {
        automation.orchestrator.finish(run, AutomationRunStatus::blocked, QStringLiteral("Discarded by user from the review banner."));
    } else {
        automation.orchestrator.userRequestedChanges(run, parser.positionalArguments().join(QLatin1Char(' ')));
        return automation.drive(run);
    }
    printOut(run->statusRaw);
    return 0;
}

} // namespace corvane::cli
