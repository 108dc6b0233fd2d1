#pragma once

#include "core/records/Enums.h"
#include "core/store/RecordTraits.h"

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One planner card. Its labels and checklist items go with it (cascade). The link to a workspace
// is kept on this side only, so both ends always agree; deleting the workspace clears it.
struct Issue
{
    QUuid id = QUuid::createUuid();
    QString title;
    std::optional<QString> descriptionText;
    QString statusRaw = QStringLiteral("backlog");
    QString typeRaw = QStringLiteral("task");
    QString priorityRaw = QStringLiteral("medium");
    qint64 sortOrder = 0;
    std::optional<QDateTime> dueDate;
    QDateTime createdAt = QDateTime::currentDateTime();
    std::optional<QDateTime> updatedAtStorage;
    std::optional<QString> planFilePath;
    std::optional<QUuid> projectId;
    std::optional<QUuid> milestoneId;
    std::optional<QUuid> workspaceId;

    IssueStatus status() const { return fromRaw<IssueStatus>(statusRaw); }
    void setStatus(IssueStatus value) { statusRaw = toRaw(value); }
    IssueType type() const { return fromRaw<IssueType>(typeRaw); }
    void setType(IssueType value) { typeRaw = toRaw(value); }
    IssuePriority priority() const { return fromRaw<IssuePriority>(priorityRaw); }
    void setPriority(IssuePriority value) { priorityRaw = toRaw(value); }
};

template <>
struct store::RecordTraits<Issue>
{
    static constexpr const char *entity = "Issue";
    static const auto &columns()
    {
        using R = Issue;
        static const auto c = std::make_tuple(
            column("id", &R::id), column("title", &R::title), column("descriptionText", &R::descriptionText),
            column("statusRaw", &R::statusRaw), column("typeRaw", &R::typeRaw), column("priorityRaw", &R::priorityRaw),
            column("sortOrder", &R::sortOrder), column("dueDate", &R::dueDate), column("createdAt", &R::createdAt),
            column("updatedAtStorage", &R::updatedAtStorage), column("planFilePath", &R::planFilePath),
            column("projectId", &R::projectId), column("milestoneId", &R::milestoneId),
            column("workspaceId", &R::workspaceId));
        return c;
    }
};

} // namespace corvane
