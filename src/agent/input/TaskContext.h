#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

namespace corvane {

class StoreContext;

// The planner card linked to a workspace, as an agent reads it when the user types "@task".
struct TaskContext
{
    struct Step
    {
        QString text;
        bool done = false;
    };

    QString title;
    QString type;     // "Feature", "Bug", "Task"
    QString priority; // "None" ... "Urgent"
    QString status;   // "Backlog" ... "Done"
    QStringList labels;
    std::optional<QString> milestone;
    std::optional<QDate> dueDate;
    QList<Step> checklist;
    QString description;
    std::optional<QString> plan;
};

namespace taskcontext {

inline const QString Marker = QStringLiteral("@task");

// The card linked to the workspace, or nothing when none is.
std::optional<TaskContext> forWorkspace(StoreContext &context, const QUuid &workspaceId);
// The "[Task Context]" block that stands in for every "@task".
QString block(const TaskContext &task);
QString expand(const QString &text, const TaskContext &task);

} // namespace taskcontext
} // namespace corvane
