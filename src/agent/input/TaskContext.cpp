#include "agent/input/TaskContext.h"

#include "core/records/ChecklistItem.h"
#include "core/records/Issue.h"
#include "core/records/IssueLabel.h"
#include "core/records/Milestone.h"
#include "core/store/StoreContext.h"

#include <QFile>
#include <QLocale>

namespace corvane::taskcontext {

std::optional<TaskContext> forWorkspace(StoreContext &context, const QUuid &workspaceId)
{
    const auto found = context.fetchFirst<Issue>(Query(where::eq("workspaceId", workspaceId)));
    const std::shared_ptr<Issue> issue = found ? found.value() : nullptr;
    if (!issue)
        return std::nullopt;
    TaskContext task;
    task.title = issue->title;
    task.type = displayName(issue->type());
    task.priority = displayName(issue->priority());
    task.status = displayName(issue->status());
    for (const auto &label : context.fetchOrEmpty<IssueLabel>(Query(where::eq("issueId", issue->id))))
        task.labels << label->name;
    if (issue->milestoneId)
        if (auto milestone = context.get<Milestone>(*issue->milestoneId))
            task.milestone = milestone->title;
    if (issue->dueDate)
        task.dueDate = issue->dueDate->date();
    for (const auto &item : context.fetchOrEmpty<ChecklistItem>(Query(where::eq("issueId", issue->id)).orderBy("sortOrder")))
        task.checklist.append({item->title, item->isCompleted});
    task.description = issue->descriptionText.value_or(QString());
    if (issue->planFilePath) {
        QFile file(*issue->planFilePath);
        if (file.open(QIODevice::ReadOnly))
            if (const QString plan = QString::fromUtf8(file.readAll()); !plan.trimmed().isEmpty())
                task.plan = plan;
    }
    return task;
}

QString block(const TaskContext &task)
{
    QStringList lines{QStringLiteral("[Task Context]"), QStringLiteral("Title: ") + task.title,
                      QStringLiteral("Type: %1 | Priority: %2 | Status: %3").arg(task.type, task.priority, task.status)};
    if (!task.labels.isEmpty())
        lines << QStringLiteral("Labels: ") + task.labels.join(QStringLiteral(", "));
    if (task.milestone)
        lines << QStringLiteral("Milestone: ") + *task.milestone;
    if (task.dueDate)
        lines << QStringLiteral("Due: ") + QLocale().toString(*task.dueDate, QLocale::ShortFormat);
    if (!task.checklist.isEmpty()) {
        QStringList steps;
        for (const auto &step : task.checklist)
            steps << (step.done ? QStringLiteral("- [x] ") : QStringLiteral("- [ ] ")) + step.text;
        lines << QStringLiteral("Checklist:\n") + steps.join(QLatin1Char('\n'));
    }
    if (!task.description.isEmpty())
        lines << QStringLiteral("Description: ") + task.description;
    if (task.plan)
        lines << QStringLiteral("Plan:\n") + *task.plan;
    lines << QStringLiteral("[/Task Context]");
    return lines.join(QLatin1Char('\n'));
}

QString expand(const QString &text, const TaskContext &task)
{
    QString out = text;
    return out.replace(Marker, block(task));
}

} // namespace corvane::taskcontext
