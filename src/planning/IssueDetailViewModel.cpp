#include "planning/IssueDetailViewModel.h"

#include "core/records/Milestone.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

namespace corvane {

IssueDetailViewModel::IssueDetailViewModel(PlannerService &planner, QObject *parent)
    : QObject(parent), m_planner(planner)
{
}

void IssueDetailViewModel::load(const std::shared_ptr<Issue> &issue)
{
    m_issue = issue;
    if (issue) {
        title = issue->title;
        descriptionText = issue->descriptionText.value_or(QString());
        status = issue->status();
        type = issue->type();
        priority = issue->priority();
        hasDueDate = issue->dueDate.has_value();
        dueDate = issue->dueDate.value_or(QDateTime::currentDateTime());
        selectedProjectId = issue->projectId;
        selectedMilestoneId = issue->milestoneId;
    }
    emit changed();
}

void IssueDetailViewModel::save()
{
    if (!m_issue)
        return;
    Issue &issue = *m_issue;
    issue.title = title;
    issue.descriptionText = descriptionText.isEmpty() ? std::nullopt : std::optional(descriptionText);
    issue.setStatus(status);
    issue.setType(type);
    issue.setPriority(priority);
    issue.dueDate = hasDueDate ? std::optional(dueDate) : std::nullopt;
    PlannerService::touch(issue);
    StoreContext &context = m_planner.context();
    if (!selectedProjectId) {
        issue.projectId.reset();
    } else if (selectedProjectId != issue.projectId) {
        issue.projectId = context.get<Project>(*selectedProjectId) ? selectedProjectId : std::nullopt;
    }
    // A milestone belongs to a project: one of another project (after a move) is cleared.
    if (issue.projectId) {
        const auto milestone = selectedMilestoneId ? context.get<Milestone>(*selectedMilestoneId) : nullptr;
        issue.milestoneId = milestone && milestone->projectId == issue.projectId ? std::optional(milestone->id) : std::nullopt;
        selectedMilestoneId = issue.milestoneId;
    }
    (void)m_planner.saveAndAnnounce();
    emit changed();
}

void IssueDetailViewModel::toggleCompletion()
{
    status = status == IssueStatus::done ? IssueStatus::backlog : IssueStatus::done;
    save();
}

QList<std::shared_ptr<Project>> IssueDetailViewModel::availableProjects() const
{
    return m_planner.projectsByName();
}

QList<std::shared_ptr<Milestone>> IssueDetailViewModel::availableMilestones() const
{
    if (!selectedProjectId)
        return {};
    return m_planner.context().fetchOrEmpty<Milestone>(Query(where::eq("projectId", *selectedProjectId)).orderBy("createdAt"));
}

std::shared_ptr<Milestone> IssueDetailViewModel::createMilestone(const QString &name)
{
    if (!selectedProjectId || name.trimmed().isEmpty())
        return nullptr;
    Milestone milestone;
    milestone.title = name.trimmed();
    milestone.projectId = selectedProjectId;
    auto made = m_planner.context().insert(milestone);
    selectedMilestoneId = made->id; // the card takes it at the next save
    return made;
}

QList<std::shared_ptr<ChecklistItem>> IssueDetailViewModel::sortedChecklistItems() const
{
    return m_issue ? m_planner.checklist(*m_issue) : QList<std::shared_ptr<ChecklistItem>>();
}

std::shared_ptr<ChecklistItem> IssueDetailViewModel::addBlankChecklistItem()
{
    return m_issue ? m_planner.addChecklistItem(QString(), *m_issue) : nullptr;
}

std::shared_ptr<ChecklistItem> IssueDetailViewModel::neighbour(const ChecklistItem &item, int by) const
{
    const auto items = sortedChecklistItems();
    for (qsizetype i = 0; i < items.size(); ++i)
        if (items[i]->id == item.id)
            return i + by >= 0 && i + by < items.size() ? items[i + by] : nullptr;
    return nullptr;
}

namespace {

std::optional<ChecklistFocus> focusOn(const std::shared_ptr<ChecklistItem> &item, ChecklistFocus::Caret caret)
{
    if (!item)
        return std::nullopt;
    return ChecklistFocus{item->id, caret, 0};
}

} // namespace

std::optional<ChecklistFocus> IssueDetailViewModel::onToggle(ChecklistItem &item)
{
    m_planner.toggleChecklistItem(item);
    save();
    return std::nullopt;
}

std::optional<ChecklistFocus> IssueDetailViewModel::onDelete(const std::shared_ptr<ChecklistItem> &item)
{
    m_planner.deleteChecklistItem(item);
    save();
    return std::nullopt;
}

std::optional<ChecklistFocus> IssueDetailViewModel::onSubmit(const ChecklistItem &item)
{
    if (!m_issue)
        return std::nullopt;
    return focusOn(m_planner.insertChecklistItem(QString(), item, *m_issue), ChecklistFocus::Caret::end);
}

std::optional<ChecklistFocus> IssueDetailViewModel::onMoveUp(const ChecklistItem &item) const
{
    return focusOn(neighbour(item, -1), ChecklistFocus::Caret::end);
}

std::optional<ChecklistFocus> IssueDetailViewModel::onMoveDown(const ChecklistItem &item) const
{
    return focusOn(neighbour(item, 1), ChecklistFocus::Caret::end);
}

std::optional<ChecklistFocus> IssueDetailViewModel::onMoveLeftAtStart(const ChecklistItem &item) const
{
    return focusOn(neighbour(item, -1), ChecklistFocus::Caret::end);
}

std::optional<ChecklistFocus> IssueDetailViewModel::onMoveRightAtEnd(const ChecklistItem &item) const
{
    return focusOn(neighbour(item, 1), ChecklistFocus::Caret::start);
}

std::optional<ChecklistFocus> IssueDetailViewModel::onDeleteEmpty(const std::shared_ptr<ChecklistItem> &item)
{
    const auto previous = neighbour(*item, -1);
    m_planner.deleteChecklistItem(item);
    save();
    return focusOn(previous, ChecklistFocus::Caret::end);
}

void IssueDetailViewModel::onTitleCommit()
{
    save();
}

} // namespace corvane
