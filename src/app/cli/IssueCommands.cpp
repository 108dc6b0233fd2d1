#include "app/cli/IssueCommands.h"

#include "app/cli/ChatLookup.h"
#include "app/cli/CliOutput.h"
#include "core/NotificationCenter.h"
#include "core/records/ChecklistItem.h"
#include "core/records/IssueLabel.h"
#include "core/records/Milestone.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "planning/PlannerService.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace corvane::cli {

namespace {

template <typename E>
std::optional<E> parseRaw(const QString &text)
{
    return store::EnumCodec<E>::tryFromRaw(text);
}

QString rawChoices(const QStringList &values)
{
    return values.join(QStringLiteral(", "));
}

const QStringList StatusValues{"backlog", "planned", "inProgress", "done"};
const QStringList TypeValues{"feature", "bug", "task"};
const QStringList PriorityValues{"none", "low", "medium", "high", "urgent"};

// "id  status  order  type  priority  project  title", tab-separated; "-" for no project.
QString issueLine(StoreContext &context, const Issue &issue)
{
    const auto project = issue.projectId ? context.get<Project>(*issue.projectId) : nullptr;
    return QStringList{issue.id.toString(QUuid::WithoutBraces), toRaw(issue.status()), QString::number(issue.sortOrder),
                       toRaw(issue.type()), toRaw(issue.priority()), project ? project->name : QStringLiteral("-"), issue.title}
        .join(QLatin1Char('\t'));
}

std::shared_ptr<Issue> issueById(StoreContext &context, const QString &text, const QString &verb)
{
    const QUuid id = QUuid::fromString(text);
    const auto issue = id.isNull() ? nullptr : context.get<Issue>(id);
    if (!issue)
        printErr(QStringLiteral("corvane-cli issue %1: no issue with the id \"%2\"").arg(verb, text));
    return issue;
}

QJsonValue orNull(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

int newIssue(StoreContext &context, const QCommandLineParser &parser)
{
    if (!parser.isSet("project") || parser.value("title").trimmed().isEmpty()) {
        printErr(QStringLiteral("corvane-cli issue: usage: corvane-cli issue new --project DIR --title TITLE [--body TEXT]"));
        return 2;
    }
    auto project = projectForFolder(context, parser.value("project"));
    if (!project) {
        printErr(QStringLiteral("corvane-cli issue new: ") + project.error().message);
        return 1;
    }
    Issue issue;
    issue.title = parser.value("title").trimmed();
    if (parser.isSet("body"))
        issue.descriptionText = parser.value("body");
    issue.projectId = (*project)->id;
    context.insert(issue);
    if (Status saved = context.save(); !saved) {
        printErr(QStringLiteral("corvane-cli issue new: ") + saved.error().message);
        return 1;
    }
    std::fprintf(stderr, "issue %s\n", issue.id.toString(QUuid::WithoutBraces).toUtf8().constData());
    return 0;
}

int showIssue(StoreContext &context, const Issue &issue)
{
    const auto project = issue.projectId ? context.get<Project>(*issue.projectId) : nullptr;
    const auto milestone = issue.milestoneId ? context.get<Milestone>(*issue.milestoneId) : nullptr;
    QJsonArray labels;
    for (const auto &label : context.fetchOrEmpty<IssueLabel>(Query(where::eq("issueId", issue.id)).orderBy("name")))
        labels.append(label->name);
    QJsonArray checklist;
    for (const auto &item : context.fetchOrEmpty<ChecklistItem>(Query(where::eq("issueId", issue.id)).orderBy("sortOrder")))
        checklist.append(QJsonObject{{"title", item->title}, {"done", item->isCompleted}});
    const QJsonObject shown{
        {"id", issue.id.toString(QUuid::WithoutBraces)},
        {"title", issue.title},
        {"body", orNull(issue.descriptionText)},
        {"status", toRaw(issue.status())},
        {"type", toRaw(issue.type())},
        {"priority", toRaw(issue.priority())},
        {"sortOrder", issue.sortOrder},
        {"project", project ? QJsonValue(project->path) : QJsonValue()},
        {"milestone", milestone ? QJsonValue(milestone->title) : QJsonValue()},
        {"labels", labels},
        {"checklist", checklist},
        {"workspaceId", issue.workspaceId ? QJsonValue(issue.workspaceId->toString(QUuid::WithoutBraces)) : QJsonValue()},
        {"planFile", orNull(issue.planFilePath)},
        {"plan", orNull(PlannerService::planContent(issue, project.get()))},
        {"dueDate", issue.dueDate ? QJsonValue(issue.dueDate->toUTC().toString(Qt::ISODate)) : QJsonValue()},
        {"createdAt", issue.createdAt.toUTC().toString(Qt::ISODate)}};
    printOut(QString::fromUtf8(QJsonDocument(shown).toJson(QJsonDocument::Compact)));
    return 0;
}

int moveIssue(PlannerService &planner, const std::shared_ptr<Issue> &issue, const QCommandLineParser &parser)
{
    const auto status = parseRaw<IssueStatus>(parser.value("status"));
    if (!status) {
        printErr(QStringLiteral("corvane-cli issue move: --status is one of %1").arg(rawChoices(StatusValues)));
        return 2;
    }
    planner.loadIssues();
    const auto card = planner.context().get<Issue>(issue->id);
    if (parser.isSet("index")) {
        bool numeric = false;
        const qlonglong index = parser.value("index").toLongLong(&numeric);
        if (!numeric || index < 0) {
            printErr(QStringLiteral("corvane-cli issue move: \"%1\" is not a position (0 is the top)").arg(parser.value("index")));
            return 2;
        }
        planner.moveIssue(card, *status, index);
    } else {
        planner.changeStatus(card, *status);
    }
    printOut(issueLine(planner.context(), *card));
    return 0;
}

int editIssue(StoreContext &context, Issue &issue, const QCommandLineParser &parser)
{
    if (!parser.isSet("title") && !parser.isSet("body") && !parser.isSet("type") && !parser.isSet("priority")) {
        printErr(QStringLiteral("corvane-cli issue edit: nothing to change: give --title, --body, --type or --priority"));
        return 2;
    }
    if (parser.isSet("title") && parser.value("title").trimmed().isEmpty()) {
        printErr(QStringLiteral("corvane-cli issue edit: the title cannot be empty"));
        return 2;
    }
    const auto type = parser.isSet("type") ? parseRaw<IssueType>(parser.value("type")) : std::optional(issue.type());
    if (!type) {
        printErr(QStringLiteral("corvane-cli issue edit: --type is one of %1").arg(rawChoices(TypeValues)));
        return 2;
    }
    const auto priority = parser.isSet("priority") ? parseRaw<IssuePriority>(parser.value("priority")) : std::optional(issue.priority());
    if (!priority) {
        printErr(QStringLiteral("corvane-cli issue edit: --priority is one of %1").arg(rawChoices(PriorityValues)));
        return 2;
    }
    if (parser.isSet("title"))
        issue.title = parser.value("title").trimmed();
    if (parser.isSet("body"))
        issue.descriptionText = parser.value("body").isEmpty() ? std::nullopt : std::optional(parser.value("body"));
    issue.setType(*type);
    issue.setPriority(*priority);
    PlannerService::touch(issue);
    if (Status saved = context.save(); !saved) {
        printErr(QStringLiteral("corvane-cli issue edit: ") + saved.error().message);
        return 1;
    }
    printOut(issueLine(context, issue));
    return 0;
}

} // namespace

int issueCommand(const QStringList &arguments)
{
    const QString verb = arguments.value(1);
    const QStringList rest = withoutVerb(arguments);
    QCommandLineParser parser;
    parser.addOption({"project", "The project folder.", "DIR"});
    parser.addOption({"id", "The issue.", "UUID"});
    parser.addOption({"title", "The issue's title.", "TITLE"});
    parser.addOption({"body", "Its description.", "TEXT"});
    parser.addOption({"type", "feature, bug or task.", "TYPE"});
    parser.addOption({"priority", "none, low, medium, high or urgent.", "PRIORITY"});
    parser.addOption({"status", "backlog, planned, inProgress or done.", "S"});
    parser.addOption({"index", "The position in the column, 0 at the top (default: the end).", "N"});
    parser.addOption({"yes", "Confirms a deletion."});
    const QStringList verbs{"new", "show", "move", "edit", "delete"};
    if (!verbs.contains(verb) || !parser.parse(rest) || (verb != QLatin1String("new") && !parser.isSet("id"))
        || (verb == QLatin1String("move") && !parser.isSet("status"))) {
        printErr(QStringLiteral("corvane-cli issue: usage: corvane-cli issue new --project DIR --title TITLE [--body TEXT] | "
                                "show --id UUID | move --id UUID --status S [--index N] | "
                                "edit --id UUID [--title T] [--body B] [--type T] [--priority P] | delete --id UUID --yes"));
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    if (verb == QLatin1String("new"))
        return newIssue(context, parser);
    const auto issue = issueById(context, parser.value("id"), verb);
    if (!issue)
        return 1;
    if (verb == QLatin1String("show"))
        return showIssue(context, *issue);
    if (verb == QLatin1String("edit"))
        return editIssue(context, *issue, parser);
    NotificationCenter center;
    PlannerService planner(context, center);
    if (verb == QLatin1String("move"))
        return moveIssue(planner, issue, parser);
    if (!parser.isSet("yes")) {
        printErr(QStringLiteral("corvane-cli issue delete: this deletes \"%1\" with its checklist, labels and plan file; "
                                "add --yes to confirm").arg(issue->title));
        return 1;
    }
    const QString id = issue->id.toString(QUuid::WithoutBraces);
    planner.deleteIssue(issue);
    printOut(QStringLiteral("deleted ") + id);
    return 0;
}

int listIssues(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOption({"project", "Only the issues of this project folder.", "DIR"});
    parser.addOption({"status", "Only this column: backlog, planned, inProgress or done.", "S"});
    if (!parser.parse(arguments)) {
        printErr(QStringLiteral("corvane-cli issues: usage: corvane-cli issues [--project DIR] [--status S]"));
        return 2;
    }
    std::optional<IssueStatus> only;
    if (parser.isSet("status") && !(only = parseRaw<IssueStatus>(parser.value("status")))) {
        printErr(QStringLiteral("corvane-cli issues: --status is one of %1").arg(rawChoices(StatusValues)));
        return 2;
    }
    auto store = openStoreOrSay();
    if (!store)
        return 1;
    StoreContext &context = store->mainContext();
    BoardFilter filter;
    if (parser.isSet("project")) {
        const QString path = QFileInfo(parser.value("project")).canonicalFilePath();
        const auto project = path.isEmpty() ? nullptr : context.fetchFirst<Project>(Query(where::eq("path", path))).valueOr(nullptr);
        if (!project) {
            printErr(QStringLiteral("corvane-cli issues: %1 is not a project").arg(parser.value("project")));
            return 1;
        }
        filter.projects = BoardFilter::Projects::one;
        filter.projectId = project->id;
    }
    NotificationCenter center;
    PlannerService planner(context, center);
    planner.loadIssues();
    for (IssueStatus status : planner::columns())
        if (!only || *only == status)
            for (const auto &issue : planner::columnCards(planner.issues(), status, filter))
                printOut(issueLine(context, *issue));
    return 0;
}

} // namespace corvane::cli
