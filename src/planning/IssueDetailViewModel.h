#pragma once

#include "planning/PlannerService.h"

#include <QObject>

namespace corvane {

struct Milestone;

// Where the keyboard goes in a checklist after an edit: a row, with the caret at its start, its
// end, or an offset.
struct ChecklistFocus
{
    enum class Caret { start, end, position };
    QUuid item;
    Caret caret = Caret::end;
    int offset = 0;
};

// The inspector's editable copy of one card. Fields are edited freely and written back by save(),
// which the inspector calls after each discrete change (a choice, a toggled or deleted item, a
// committed title). The checklist behaves as a small outline: the on...() calls are what its rows
// report, each returning where the focus goes next.
class IssueDetailViewModel : public QObject
{
    Q_OBJECT

public:
    explicit IssueDetailViewModel(PlannerService &planner, QObject *parent = nullptr);

    void load(const std::shared_ptr<Issue> &issue);
    std::shared_ptr<Issue> issue() const { return m_issue; }

    QString title;
    QString descriptionText;
    IssueStatus status = IssueStatus::backlog;
    IssueType type = IssueType::task;
    IssuePriority priority = IssuePriority::medium;
    bool hasDueDate = false;
    QDateTime dueDate = QDateTime::currentDateTime();
    std::optional<QUuid> selectedProjectId;
    std::optional<QUuid> selectedMilestoneId;

    void save();
    // The box in the head: a done card goes back to the backlog, any other is done.
    void toggleCompletion();

    QList<std::shared_ptr<Project>> availableProjects() const;
    QList<std::shared_ptr<Milestone>> availableMilestones() const;
    std::shared_ptr<Milestone> createMilestone(const QString &title);

    QList<std::shared_ptr<ChecklistItem>> sortedChecklistItems() const;
    std::shared_ptr<ChecklistItem> addBlankChecklistItem();

    std::optional<ChecklistFocus> onToggle(ChecklistItem &item);
    std::optional<ChecklistFocus> onDelete(const std::shared_ptr<ChecklistItem> &item);
    std::optional<ChecklistFocus> onSubmit(const ChecklistItem &item);
    std::optional<ChecklistFocus> onMoveUp(const ChecklistItem &item) const;
    std::optional<ChecklistFocus> onMoveDown(const ChecklistItem &item) const;
    std::optional<ChecklistFocus> onMoveLeftAtStart(const ChecklistItem &item) const;
    std::optional<ChecklistFocus> onMoveRightAtEnd(const ChecklistItem &item) const;
    std::optional<ChecklistFocus> onDeleteEmpty(const std::shared_ptr<ChecklistItem> &item);
    void onTitleCommit();

signals:
    // The copy was loaded or saved: redraw.
    void changed();

private:
    // The row `by` away from the item's, or none past either end.
    std::shared_ptr<ChecklistItem> neighbour(const ChecklistItem &item, int by) const;

    PlannerService &m_planner;
    std::shared_ptr<Issue> m_issue;
};

} // namespace corvane
