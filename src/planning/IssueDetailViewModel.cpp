#include "planning/IssueDetailViewModel.h"

#include "core/records/IssueLabel.h"
#include "core/records/Milestone.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

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
    (void)m_planner.saveAndAnnounce(m_issue.get());
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

QList<std::shared_ptr<IssueLabel>> IssueDetailViewModel::availableLabels() const
{
    if (!selectedProjectId)
        return {};
    const auto rows = m_planner.context().fetchOrEmpty<IssueLabel>(Query(where::eq("projectId", *selectedProjectId)).orderBy("name"));
    QList<std::shared_ptr<IssueLabel>> labels;
    // The row that stands for a name: the card's own, else a free one, else any.
    auto rank = [this](const IssueLabel &row) { return m_issue && row.issueId == m_issue->id ? 0 : !row.issueId ? 1 : 2; };
    for (const auto &row : rows) {
        auto same = std::find_if(labels.begin(), labels.end(), [&](const auto &l) { return l->name == row->name; });
        if (same == labels.end())
            labels.append(row);
        else if (rank(*row) < rank(**same))
            *same = row;
    }
    std::stable_sort(labels.begin(), labels.end(), [](const auto &a, const auto &b) {
        return QString::localeAwareCompare(a->name, b->name) < 0;
    });
    return labels;
}

std::shared_ptr<IssueLabel> IssueDetailViewModel::appliedRow(const IssueLabel &label) const
{
    if (!m_issue)
        return nullptr;
    for (const auto &held : m_planner.context().fetchOrEmpty<IssueLabel>(Query(where::eq("issueId", m_issue->id))))
        if (held->id == label.id || held->name == label.name)
            return held;
    return nullptr;
}

bool IssueDetailViewModel::isLabelApplied(const IssueLabel &label) const
{
    return appliedRow(label) != nullptr;
}

void IssueDetailViewModel::toggleLabel(const IssueLabel &label)
{
    if (!m_issue)
        return;
    StoreContext &context = m_planner.context();
    if (const auto applied = appliedRow(label)) {
        m_planner.removeLabel(*applied, *m_issue);
        return save();
    }
    // A row of that name no card holds is taken up; otherwise the card gets its own copy.
    auto free = label.projectId ? context.fetchFirst<IssueLabel>(Query(where::eq("projectId", *label.projectId)
                                                                      && where::eq("name", label.name)
                                                                      && where::isNull("issueId"))).valueOr(nullptr)
                                : nullptr;
    if (!free) {
        IssueLabel copy;
        copy.name = label.name;
        copy.colorHex = label.colorHex;
        copy.projectId = label.projectId;
        free = context.insert(copy);
    }
    m_planner.addLabel(*free, *m_issue);
    save();
}

std::shared_ptr<IssueLabel> IssueDetailViewModel::createLabel(const QString &name, const QString &colorHex)
{
    const QString trimmed = name.trimmed();
    if (!selectedProjectId || trimmed.isEmpty())
        return nullptr;
    for (const auto &label : availableLabels()) {
        if (label->name != trimmed)
            continue;
        if (!isLabelApplied(*label))
            toggleLabel(*label);
        return label;
    }
    IssueLabel label;
    label.name = trimmed;
    label.colorHex = colorHex;
    label.projectId = selectedProjectId;
    auto made = m_planner.context().insert(label);
    if (m_issue)
        m_planner.addLabel(*made, *m_issue);
    save();
    return made;
}

const QStringList &IssueDetailViewModel::labelColors()
{
    static const QStringList colors{QStringLiteral("#E5484D"), QStringLiteral("#F76B15"), QStringLiteral("#FFC53D"),
                                    QStringLiteral("#30A46C"), QStringLiteral("#12A594"), QStringLiteral("#0090FF"),
                                    QStringLiteral("#6E56CF"), QStringLiteral("#D6409F"), QStringLiteral("#8D8D8D")};
    return colors;
}

std::shared_ptr<Workspace> IssueDetailViewModel::linkedWorkspace() const
{
    return m_issue && m_issue->workspaceId ? m_planner.context().get<Workspace>(*m_issue->workspaceId) : nullptr;
}

std::shared_ptr<Workspace> IssueDetailViewModel::createWorkspaceFromIssue()
{
    if (!m_issue || !m_issue->projectId || !m_lifecycle)
        return nullptr;
    const auto project = m_planner.context().get<Project>(*m_issue->projectId);
    if (!project)
        return nullptr;
    const QString name = title.trimmed().isEmpty() ? m_issue->title : title;
    project->isExpanded = true; // so that the sidebar shows where it went
    auto workspace = m_lifecycle->createWorkspace(*project, name.trimmed(), std::nullopt);
    PlannerService::linkWorkspace(*m_issue, *workspace);
    save();
    return workspace;
}

void IssueDetailViewModel::disconnectWorkspace()
{
    if (!m_issue)
        return;
    PlannerService::unlinkWorkspace(*m_issue);
    save();
}

std::optional<QString> IssueDetailViewModel::restoreLinkedWorkspace()
{
    const auto workspace = linkedWorkspace();
    if (!workspace || !m_lifecycle)
        return std::nullopt;
    const LifecycleOutcome outcome = m_lifecycle->restoreWorkspace(workspace);
    save();
    // A failure, or the notice that came with success (a worktree folder that is gone).
    if (outcome.message.isEmpty())
        return std::nullopt;
    return outcome.message;
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
