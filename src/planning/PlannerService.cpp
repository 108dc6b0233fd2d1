#include "planning/PlannerService.h"

#include "automation/RecordMirror.h"
#include "core/Broadcasts.h"
#include "core/NotificationCenter.h"
#include "core/records/IssueLabel.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace corvane {

namespace planner {

QList<IssueStatus> columns()
{
    return {IssueStatus::backlog, IssueStatus::planned, IssueStatus::inProgress, IssueStatus::done};
}

QList<std::shared_ptr<Issue>> columnCards(const QList<std::shared_ptr<Issue>> &all, IssueStatus status,
                                          const BoardFilter &filter)
{
    QList<std::shared_ptr<Issue>> cards;
    for (const auto &issue : all)
        if (issue->status() == status)
            cards.append(issue);
    std::stable_sort(cards.begin(), cards.end(), [](const auto &a, const auto &b) { return a->sortOrder < b->sortOrder; });
    const auto keep = [&filter](const Issue &issue) {
        if (filter.projects == BoardFilter::Projects::one && issue.projectId != filter.projectId)
            return false;
        if (filter.projects == BoardFilter::Projects::none && issue.projectId)
            return false;
        if (filter.type && issue.type() != *filter.type)
            return false;
        return filter.search.isEmpty() || issue.title.contains(filter.search, Qt::CaseInsensitive);
    };
    cards.removeIf([&keep](const auto &issue) { return !keep(*issue); });
    return cards;
}

std::optional<QUuid> nextProject(const QList<QUuid> &projectsByName, const std::optional<QUuid> &current)
{
    if (projectsByName.isEmpty())
        return std::nullopt;
    if (!current)
        return projectsByName.first();
    const qsizetype at = projectsByName.indexOf(*current);
    if (at < 0 || at + 1 >= projectsByName.size())
        return std::nullopt;
    return projectsByName[at + 1];
}

IssuePriority nextPriority(IssuePriority priority)
{
    return priority == IssuePriority::urgent ? IssuePriority::none : IssuePriority(int(priority) + 1);
}

IssueType nextType(IssueType type)
{
    return type == IssueType::task ? IssueType::feature : IssueType(int(type) + 1);
}

} // namespace planner

PlannerService::PlannerService(StoreContext &context, NotificationCenter &center, QObject *parent)
    : QObject(parent), m_context(context), m_center(center)
{
}

void PlannerService::loadIssues()
{
    m_issues = m_context.fetchOrEmpty<Issue>(Query().orderBy("createdAt"));
    // Two queries for every card's checklist and labels, cheaper than two per card.
    m_extras.clear();
    for (const auto &item : m_context.fetchOrEmpty<ChecklistItem>(Query(where::notNull("issueId")))) {
        CardExtras &extras = m_extras[*item->issueId];
        ++extras.checklistTotal;
        extras.checklistDone += item->isCompleted ? 1 : 0;
    }
    for (const auto &label : m_context.fetchOrEmpty<IssueLabel>(Query(where::notNull("issueId")).orderBy("name")))
        m_extras[*label->issueId].labels.append(label->name + QLatin1Char('\t') + label->colorHex);
    emit issuesReloaded();
}

void PlannerService::announce(Reload reload)
{
    if (reload == Reload::cards)
        loadIssues();
    else
        emit issuesReloaded();
    m_center.post(broadcast::issueDidChange);
}

void PlannerService::readExtras(const Issue &issue)
{
    CardExtras extras;
    for (const auto &item : m_context.fetchOrEmpty<ChecklistItem>(Query(where::eq("issueId", issue.id)))) {
        ++extras.checklistTotal;
        extras.checklistDone += item->isCompleted ? 1 : 0;
    }
    for (const auto &label : m_context.fetchOrEmpty<IssueLabel>(Query(where::eq("issueId", issue.id)).orderBy("name")))
        extras.labels.append(label->name + QLatin1Char('\t') + label->colorHex);
    m_extras.insert(issue.id, extras);
}

std::shared_ptr<Issue> PlannerService::createIssue(const NewIssueDraft &draft)
{
    if (draft.title.isEmpty())
        return nullptr;
    qint64 order = 0;
    for (const auto &issue : m_context.fetchOrEmpty<Issue>(Query(where::eq("statusRaw", toRaw(draft.status)))))
        order = std::max(order, issue->sortOrder + 1);
    Issue issue;
    issue.title = draft.title;
    issue.descriptionText = draft.description.isEmpty() ? std::nullopt : std::optional(draft.description);
    issue.setStatus(draft.status);
    issue.setType(draft.type);
    issue.setPriority(draft.priority);
    issue.dueDate = draft.dueDate;
    issue.projectId = draft.projectId;
    issue.sortOrder = order;
    auto made = m_context.insert(issue);
    (void)m_context.save();
    announce(Reload::cards);
    return made;
}

Status PlannerService::saveAndAnnounce(const Issue *edited)
{
    Status saved = m_context.save();
    const bool known = edited && std::any_of(m_issues.cbegin(), m_issues.cend(), [edited](const auto &issue) { return issue.get() == edited; });
    if (known)
        readExtras(*edited);
    announce(known ? Reload::none : Reload::cards);
    return saved;
}

void PlannerService::moveIssue(const std::shared_ptr<Issue> &issue, IssueStatus status, qsizetype index)
{
    if (m_issues.isEmpty())
        loadIssues();
    issue->setStatus(status);
    touch(*issue);
    QList<std::shared_ptr<Issue>> column = planner::columnCards(m_issues, status);
    column.removeIf([&issue](const auto &other) { return other->id == issue->id; });
    column.insert(std::clamp<qsizetype>(index, 0, column.size()), issue);
    for (qsizetype i = 0; i < column.size(); ++i)
        column[i]->sortOrder = i;
    // A move that cannot be saved still shows until the next load. The cards are the same, so
    // the columns are only sorted again: this runs for every card a drag passes.
    (void)m_context.save();
    announce(Reload::none);
}

void PlannerService::changeStatus(const std::shared_ptr<Issue> &issue, IssueStatus status)
{
    if (m_issues.isEmpty())
        loadIssues();
    moveIssue(issue, status, planner::columnCards(m_issues, status).size());
}

void PlannerService::deleteIssue(const std::shared_ptr<Issue> &issue)
{
    const auto project = issue->projectId ? m_context.get<Project>(*issue->projectId) : nullptr;
    if (project && issue->planFilePath && !issue->planFilePath->isEmpty())
        QFile::remove(QDir(project->path).filePath(*issue->planFilePath)); // an error does not stop the delete
    m_context.remove(issue);
    (void)m_context.save();
    announce(Reload::cards);
}

void PlannerService::linkWorkspace(Issue &issue, const Workspace &workspace)
{
    issue.workspaceId = workspace.id;
    touch(issue);
}

void PlannerService::unlinkWorkspace(Issue &issue)
{
    issue.workspaceId.reset();
    touch(issue);
}

void PlannerService::touch(Issue &issue)
{
    issue.updatedAtStorage = QDateTime::currentDateTime();
}

void PlannerService::addLabel(IssueLabel &label, Issue &issue)
{
    label.issueId = issue.id;
    touch(issue);
}

void PlannerService::removeLabel(const IssueLabel &label, Issue &issue)
{
    if (auto held = m_context.get<IssueLabel>(label.id); held && held->issueId == issue.id)
        held->issueId.reset();
    touch(issue);
}

QList<std::shared_ptr<ChecklistItem>> PlannerService::checklist(const Issue &issue) const
{
    // What is saved, with the items added since and the numbers as edited: the inspector saves
    // after each change, but an outline edit may insert a few rows before that.
    auto items = m_context.fetchOrEmpty<ChecklistItem>(Query(where::eq("issueId", issue.id)).orderBy("createdAt"));
    for (const auto &item : m_context.unsavedInserts<ChecklistItem>())
        if (item->issueId == issue.id)
            items.append(item);
    std::stable_sort(items.begin(), items.end(), [](const auto &a, const auto &b) { return a->sortOrder < b->sortOrder; });
    return items;
}

QList<std::shared_ptr<Project>> PlannerService::projectsByName() const
{
    auto projects = m_context.fetchOrEmpty<Project>();
    sortByName(projects);
    return projects;
}

std::shared_ptr<ChecklistItem> PlannerService::newChecklistItem(const QString &title, qint64 sortOrder, Issue &issue)
{
    ChecklistItem item;
    item.title = title;
    item.sortOrder = sortOrder;
    item.issueId = issue.id;
    touch(issue);
    return m_context.insert(item);
}

std::shared_ptr<ChecklistItem> PlannerService::addChecklistItem(const QString &title, Issue &issue)
{
    qint64 next = 0;
    for (const auto &item : checklist(issue))
        next = std::max(next, item->sortOrder + 1);
    return newChecklistItem(title, next, issue);
}

std::shared_ptr<ChecklistItem> PlannerService::insertChecklistItem(const QString &title, const ChecklistItem &after, Issue &issue)
{
    const qint64 position = after.sortOrder + 1;
    for (const auto &item : checklist(issue))
        if (item->sortOrder >= position)
            ++item->sortOrder;
    return newChecklistItem(title, position, issue);
}

void PlannerService::deleteChecklistItem(const std::shared_ptr<ChecklistItem> &item)
{
    if (item->issueId)
        if (auto issue = m_context.get<Issue>(*item->issueId))
            touch(*issue);
    m_context.remove(item); // the others keep their numbers, gap and all
}

void PlannerService::toggleChecklistItem(ChecklistItem &item)
{
    item.isCompleted = !item.isCompleted;
}

std::optional<QString> PlannerService::planContent(const Issue &issue, const Project *project)
{
    if (!issue.planFilePath || !project)
        return std::nullopt;
    QFile file(QDir(project->path).filePath(*issue.planFilePath));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return QString::fromUtf8(file.readAll());
}

} // namespace corvane
