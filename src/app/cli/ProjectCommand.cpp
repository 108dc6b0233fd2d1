#include "app/cli/ProjectCommand.h"

#include "app/cli/CliOutput.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/overview/HygieneRules.h"
#include "source_control/overview/ProjectOverviewViewModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace corvane::cli {

namespace {

const QString usage = QStringLiteral("corvane-cli project: usage: corvane-cli project show --project DIR [--measure]");

QJsonValue optional(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

QString kindName(HygieneFigureKind kind)
{
    switch (kind) {
    case HygieneFigureKind::diskUsage: return QStringLiteral("diskUsage");
    case HygieneFigureKind::stashes: return QStringLiteral("stashes");
    case HygieneFigureKind::uncommitted: return QStringLiteral("uncommittedFiles");
    case HygieneFigureKind::staleBranches: return QStringLiteral("staleBranches");
    case HygieneFigureKind::lingering: return QStringLiteral("lingeringProcesses");
    case HygieneFigureKind::outdated: return QStringLiteral("outdatedDependencies");
    case HygieneFigureKind::orphanWorktrees: return QStringLiteral("worktreesWithoutWorkspace");
    }
    return {};
}

QJsonObject hygieneJson(const ProjectOverviewViewModel &model)
{
    const Project &project = *model.project();
    const HygieneDetails &details = model.hygieneDetails();
    QJsonArray figures;
    for (const HygieneFigure &figure : model.figures())
        figures.append(QJsonObject{{"kind", kindName(figure.kind)}, {"title", figure.title}, {"value", optional(figure.value)},
                                   {"color", hygiene::colorName(figure.color)}, {"error", optional(figure.error)}});
    QJsonArray stashes;
    for (const GitStash &stash : details.stashes)
        stashes.append(QJsonObject{{"index", stash.id}, {"message", stash.message}});
    QJsonArray files;
    for (const GitFileStatus &file : details.uncommittedFiles)
        files.append(file.path);
    QJsonArray stale;
    for (const StaleBranch &branch : details.staleBranches)
        stale.append(QJsonObject{{"name", branch.name}, {"lastCommitDate", branch.lastCommitDate.toUTC().toString(Qt::ISODate)},
                                 {"days", branch.daysSinceLastCommit}});
    QJsonArray processes;
    for (const ZombieProcess &process : details.zombieProcesses)
        processes.append(QJsonObject{{"pid", process.id}, {"name", process.name}, {"command", process.command}});
    QJsonValue dependencies;
    if (const auto &report = details.dependencyReport) {
        QJsonArray rows;
        for (const OutdatedDependency &dependency : report->details)
            rows.append(QJsonObject{{"name", dependency.name}, {"current", dependency.current}, {"latest", dependency.latest}});
        dependencies = QJsonObject{{"packageManager", report->packageManager}, {"outdatedCount", report->outdatedCount},
                                   {"details", rows}};
    }
    const auto summary = model.summaryColor();
    return QJsonObject{{"health", model.healthWord()},
                       {"color", summary ? QJsonValue(hygiene::colorName(*summary)) : QJsonValue()},
                       {"checkedAt", project.hygieneCheckedAt ? QJsonValue(project.hygieneCheckedAt->toUTC().toString(Qt::ISODate))
                                                              : QJsonValue()},
                       {"figures", figures},
                       {"stashes", stashes},
                       {"uncommittedFiles", files},
                       {"staleBranches", stale},
                       {"lingeringProcesses", processes},
                       {"dependencies", dependencies}};
}

QJsonObject overviewJson(const ProjectOverviewViewModel &model)
{
    const Project &project = *model.project();
    QJsonArray workspaces;
    for (const auto *list : {&model.recentWorkspaces(), &model.archivedWorkspaces()})
        for (const auto &workspace : *list)
            workspaces.append(QJsonObject{{"id", workspace->id.toString(QUuid::WithoutBraces)},
                                          {"name", workspace->name},
                                          {"branch", optional(workspace->gitBranch)},
                                          {"folder", optional(workspace->workingDirectory(&project))},
                                          {"worktree", workspace->usesWorktree},
                                          {"archived", workspace->isArchived()}});
    QJsonArray branches;
    for (const GitBranch &branch : model.branches())
        branches.append(QJsonObject{{"name", branch.name}, {"current", branch.isCurrent}, {"upstream", optional(branch.upstream)}});
    QSet<QString> orphans;
    for (const GitWorktree &worktree : model.orphanWorktrees())
        orphans.insert(worktree.path);
    QJsonArray worktrees;
    for (const GitWorktree &worktree : model.worktrees())
        worktrees.append(QJsonObject{{"path", worktree.path}, {"branch", optional(worktree.branch)},
                                     {"locked", worktree.isLocked}, {"hasWorkspace", !orphans.contains(worktree.path)}});
    QJsonArray memory;
    for (const MemoryFileInfo &file : model.memoryFiles())
        memory.append(QJsonObject{{"name", file.name}, {"path", file.path},
                                  {"source", file.source == MemorySource::project  ? QStringLiteral("project")
                                             : file.source == MemorySource::global ? QStringLiteral("global")
                                                                                   : QStringLiteral("auto")},
                                  {"preview", file.preview}});
    return QJsonObject{{"id", project.id.toString(QUuid::WithoutBraces)},
                       {"name", project.name},
                       {"path", project.path},
                       {"currentBranch", model.currentBranch()},
                       {"workspaces", workspaces},
                       {"branches", branches},
                       {"worktrees", worktrees},
                       {"memoryFiles", memory},
                       {"hygiene", hygieneJson(model)}};
}

int showProject(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"measure", "Also measure disk usage and check npm dependencies."});
    if (!parser.parse(arguments) || !parser.isSet("project") || !parser.positionalArguments().isEmpty()) {
        printErr(usage);
        return 2;
    }
    const QString folder = parser.value("project");
    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    const QString path = QFileInfo(folder).canonicalFilePath();
    auto found = path.isEmpty() ? nullptr : context.fetchFirst<Project>(Query(where::eq("path", path))).valueOr(nullptr);
    if (!found) {
        printErr(QStringLiteral("corvane-cli project: %1 is not a Corvane project (add it in the window, or with "
                                "corvane-cli workspace new --project DIR)").arg(folder));
        return 1;
    }
    WorkspaceLifecycleService lifecycle(context);
    ProjectOverviewViewModel model(context, lifecycle);
    QEventLoop loop;
    QObject::connect(&model, &ProjectOverviewViewModel::idle, &loop, &QEventLoop::quit);
    model.setProject(found);
    // The page measures what is older than ten minutes; a script asks, so everything is measured.
    model.loadHygiene();
    if (parser.isSet("measure")) {
        model.loadDiskUsage();
        model.checkDependencies();
    }
    if (!model.isIdle())
        loop.exec();
    printOut(QString::fromUtf8(QJsonDocument(overviewJson(model)).toJson(QJsonDocument::Compact)));
    return 0;
}

} // namespace

int projectCommand(const QStringList &arguments)
{
    const QString action = arguments.value(1);
    if (action == QLatin1String("show"))
        return showProject(withoutVerb(arguments));
    printErr(usage);
    return 2;
}

} // namespace corvane::cli
