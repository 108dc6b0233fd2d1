#pragma once

#include "planning/PlannerService.h"

#include <QObject>

namespace corvane {

struct IssueLabel;
struct Milestone;
struct Workspace;
class WorkspaceLifecycleService;

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

    // Labels: a label row belongs to one card, so the project's vocabulary is every name its
    // cards have used (one row per name), and applying a name another card holds gives this card
    // its own copy rather than taking the other's.
    QList<std::shared_ptr<IssueLabel>> availableLabels() const;
    bool isLabelApplied(const IssueLabel &label) const;
    void toggleLabel(const IssueLabel &label);
    // Applies the project's label of that name, or makes it with the colour; none without a
    // project or a name.
    std::shared_ptr<IssueLabel> createLabel(const QString &name, const QString &colorHex);
    // The colours the label creator offers.
    static const QStringList &labelColors();

    // The workspace of the card. Making and restoring go through the lifecycle service, which
    // the window provides; without it they do nothing.
    void setLifecycle(WorkspaceLifecycleService *lifecycle) { m_lifecycle = lifecycle; }
    std::shared_ptr<Workspace> linkedWorkspace() const;
    // A workspace named after the card in its project, with its first chat, linked to the card.
    std::shared_ptr<Workspace> createWorkspaceFromIssue();
    void disconnectWorkspace();
    // Brings an archived linked workspace back; the lifecycle's error or notice, if it gave one.
    std::optional<QString> restoreLinkedWorkspace();

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
    // The card's own row of that label (same id or same name), if it has one.
    std::shared_ptr<IssueLabel> appliedRow(const IssueLabel &label) const;
    // The row `by` away from the item's, or none past either end.
    std::shared_ptr<ChecklistItem> neighbour(const ChecklistItem &item, int by) const;

    PlannerService &m_planner;
    WorkspaceLifecycleService *m_lifecycle = nullptr;
    std::shared_ptr<Issue> m_issue;
};

} // namespace corvane
