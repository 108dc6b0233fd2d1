#include "agent/session/PlanState.h"

#include <algorithm>

namespace corvane {

QString toRaw(PlanTask::Status status)
{
    switch (status) {
    case PlanTask::Status::inProgress: return QStringLiteral("in_progress");
    case PlanTask::Status::completed: return QStringLiteral("completed");
    case PlanTask::Status::pending: break;
    }
    return QStringLiteral("pending");
}

std::optional<PlanTask::Status> planTaskStatusFromRaw(const QString &raw)
{
    if (raw == QLatin1String("pending"))
        return PlanTask::Status::pending;
    if (raw == QLatin1String("in_progress"))
        return PlanTask::Status::inProgress;
    if (raw == QLatin1String("completed"))
        return PlanTask::Status::completed;
    return std::nullopt;
}

namespace planfilter {

namespace {

QString textOf(const QVariantMap &input, const char *key)
{
    const QVariant value = input.value(QLatin1String(key));
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QStringList textList(const QVariant &value)
{
    QStringList out;
    for (const QVariant &item : value.toList())
        out << item.toString();
    return out;
}

void rebuildFromTodos(PlanState &plan, const QVariantMap &input, Outcome &outcome)
{
    const QVariant todos = input.value(QStringLiteral("todos"));
    const bool isListOfMaps = todos.typeId() == QMetaType::QVariantList
                              && std::all_of(todos.toList().cbegin(), todos.toList().cend(),
                                             [](const QVariant &v) { return v.typeId() == QMetaType::QVariantMap; });
    if (!isListOfMaps) {
        outcome.logLines << QStringLiteral(" TodoWrite: failed to parse todos, inputKeys=") + input.keys().join(QLatin1Char(','))
                         << QStringLiteral(" TodoWrite: todos type=") + QString::fromLatin1(todos.typeName() ? todos.typeName() : "none");
        return;
    }
    QList<PlanTask> tasks;
    const QVariantList items = todos.toList();
    for (int i = 0; i < items.size(); ++i) {
        const QVariantMap todo = items.at(i).toMap();
        PlanTask task;
        task.subject = QStringLiteral("Task");
        for (const char *key : {"content", "subject", "text"}) {
            if (const QString text = textOf(todo, key); !text.isEmpty() || todo.value(QLatin1String(key)).typeId() == QMetaType::QString) {
                task.subject = text;
                break;
            }
        }
        task.status = planTaskStatusFromRaw(textOf(todo, "status")).value_or(PlanTask::Status::pending);
        if (todo.contains(QStringLiteral("activeForm")))
            task.activeForm = textOf(todo, "activeForm");
        const QString id = textOf(todo, "id");
        task.id = id.isEmpty() ? QStringLiteral("todo-%1").arg(i) : id;
        tasks.append(task);
    }
    plan.tasks = tasks;
    outcome.changed = true;
    outcome.logLines << QStringLiteral(" TodoWrite parsed %1 tasks").arg(tasks.size());
}

void updateTask(PlanState &plan, const QVariantMap &input, Outcome &outcome)
{
    const QString id = input.value(QStringLiteral("taskId")).toString();
    for (PlanTask &task : plan.tasks) {
        if (task.id != id)
            continue;
        if (input.contains(QStringLiteral("status")))
            if (auto status = planTaskStatusFromRaw(textOf(input, "status")))
                task.status = *status;
        if (input.contains(QStringLiteral("subject")))
            task.subject = textOf(input, "subject");
        if (input.contains(QStringLiteral("description")))
            task.description = textOf(input, "description");
        if (input.contains(QStringLiteral("activeForm")))
            task.activeForm = textOf(input, "activeForm");
        task.blocks += textList(input.value(QStringLiteral("addBlocks")));
        task.blockedBy += textList(input.value(QStringLiteral("addBlockedBy")));
        outcome.changed = true;
        return;
    }
}

} // namespace

bool isPlanPath(const QString &path)
{
    return path.contains(QLatin1String(".claude/plans/")) || path.endsWith(QLatin1String(".md"));
}

Outcome apply(PlanState &plan, const QString &toolName, const QVariantMap &input)
{
    Outcome outcome;
    if (toolName == QLatin1String("EnterPlanMode")) {
        plan.isActive = true;
        outcome.hidden = outcome.changed = true;
        return outcome;
    }
    if (!plan.isActive)
        return outcome;
    if (toolName == QLatin1String("TaskCreate")) {
        PlanTask task;
        task.id = QString::number(plan.tasks.size() + 1);
        task.subject = input.contains(QStringLiteral("subject")) ? textOf(input, "subject") : QStringLiteral("Task");
        task.description = textOf(input, "description");
        if (input.contains(QStringLiteral("activeForm")))
            task.activeForm = textOf(input, "activeForm");
        plan.tasks.append(task);
        outcome.hidden = outcome.changed = true;
    } else if (toolName == QLatin1String("TaskUpdate")) {
        updateTask(plan, input, outcome);
        outcome.hidden = true;
    } else if (toolName == QLatin1String("TaskList") || toolName == QLatin1String("TaskGet")
               || toolName == QLatin1String("ExitPlanMode")) {
        outcome.hidden = true;
    } else if (toolName == QLatin1String("TodoWrite")) {
        rebuildFromTodos(plan, input, outcome);
        outcome.hidden = true;
    } else if (toolName == QLatin1String("Write")) {
        const QString path = textOf(input, "file_path");
        const QString content = textOf(input, "content");
        if (!content.isEmpty() && isPlanPath(path)) {
            plan.planContent = content;
            plan.planFilePath = path;
            plan.accumulatedText.clear();
            outcome.hidden = outcome.changed = true;
        }
    } else if (toolName == QLatin1String("Edit")) {
        const QString path = textOf(input, "file_path");
        if (isPlanPath(path)) {
            plan.planFilePath = path;
            outcome.hidden = true;
            outcome.logLines << QStringLiteral(" Edit targeting plan file: %1, will read from disk at ExitPlanMode").arg(path);
        }
    }
    return outcome;
}

} // namespace planfilter
} // namespace corvane
