#pragma once

#include "core/Result.h"
#include "core/records/ChecklistItem.h"
#include "core/records/Enums.h"
#include "core/records/Issue.h"

#include <QHash>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

namespace corvane {

class NotificationCenter;
class StoreContext;
struct IssueLabel;
struct Project;
struct Workspace;

// What the board shows of its cards: a project (or the cards of none), a type, a title search.
struct BoardFilter
{
    enum class Projects { all, one, none };
    Projects projects = Projects::all;
    QUuid projectId; // for `one`
    std::optional<IssueType> type;
    QString search;
};

// What the new-issue sheet collects.
struct NewIssueDraft
{
    QString title;
    QString description;
    IssueStatus status = IssueStatus::backlog;
    IssueType type = IssueType::task;
    IssuePriority priority = IssuePriority::medium;
    std::optional<QUuid> projectId;
    std::optional<QDateTime> dueDate;
};

namespace planner {

// The sheet's keys cycle through these: the projects by name then none; none, low ... urgent;
// feature, bug, task.
std::optional<QUuid> nextProject(const QList<QUuid> &projectsByName, const std::optional<QUuid> &current);
IssuePriority nextPriority(IssuePriority priority);
IssueType nextType(IssueType type);

// The cards of one column from every card (oldest first): those of the status by sortOrder,
// equal ones keeping their age order, then the filter. A card whose status reads as unknown
// shows in the backlog.
QList<std::shared_ptr<Issue>> columnCards(const QList<std::shared_ptr<Issue>> &all, IssueStatus status,
                                          const BoardFilter &filter = {});

// Every status in the board's column order.
QList<IssueStatus> columns();

} // namespace planner

// The planner's operations on cards, shared by the board, the issue inspector and the command
// line. Record operations work in the given context and do not save; the board operations
// (move, delete) save, reload and announce "issueDidChange".
class PlannerService : public QObject
{
    Q_OBJECT

public:
    PlannerService(StoreContext &context, NotificationCenter &center, QObject *parent = nullptr);

    StoreContext &context() const { return m_context; }

    // Every card, oldest first; an unreadable store gives an empty board.
    const QList<std::shared_ptr<Issue>> &issues() const { return m_issues; }
    void loadIssues();

    // What a card shows besides its own fields, read with the cards.
    struct CardExtras
    {
        int checklistDone = 0;
        int checklistTotal = 0;
        QStringList labels; // "name\tcolour", by name
    };
    CardExtras extras(const QUuid &issueId) const { return m_extras.value(issueId); }

    // The card goes into the column of `status` at `index` (clamped to the column's end), and the
    // whole column is numbered again from 0; the column it left keeps its gap.
    void moveIssue(const std::shared_ptr<Issue> &issue, IssueStatus status, qsizetype index);
    // To the end of the column.
    void changeStatus(const std::shared_ptr<Issue> &issue, IssueStatus status);
    // The card, its plan file (under its project's folder), its labels and checklist.
    void deleteIssue(const std::shared_ptr<Issue> &issue);
    // A new card at the end of its column, saved and announced; none for an empty title (a title
    // of blanks is a title).
    std::shared_ptr<Issue> createIssue(const NewIssueDraft &draft);
    // After an edit made elsewhere: saved, reloaded, announced. With the card that was edited,
    // only that card's checklist counts and labels are read again: the cards themselves are the
    // context's own objects, already as edited.
    Status saveAndAnnounce(const Issue *edited = nullptr);

    // Every project, by name as the user's locale sorts it (the pickers' order).
    QList<std::shared_ptr<Project>> projectsByName() const;

    // Record operations.
    static void linkWorkspace(Issue &issue, const Workspace &workspace);
    static void unlinkWorkspace(Issue &issue);
    static void touch(Issue &issue);
    void addLabel(IssueLabel &label, Issue &issue);
    void removeLabel(const IssueLabel &label, Issue &issue);
    QList<std::shared_ptr<ChecklistItem>> checklist(const Issue &issue) const;
    std::shared_ptr<ChecklistItem> addChecklistItem(const QString &title, Issue &issue);
    std::shared_ptr<ChecklistItem> insertChecklistItem(const QString &title, const ChecklistItem &after, Issue &issue);
    void deleteChecklistItem(const std::shared_ptr<ChecklistItem> &item);
    void toggleChecklistItem(ChecklistItem &item);
    // The issue's plan file as text; none without a plan file or when it cannot be read.
    static std::optional<QString> planContent(const Issue &issue, const Project *project);

signals:
    void issuesReloaded();

private:
    // The columns follow the cards in memory; a reload reads the cards again first.
    enum class Reload { none, cards };
    void announce(Reload reload);
    void readExtras(const Issue &issue);
    std::shared_ptr<ChecklistItem> newChecklistItem(const QString &title, qint64 sortOrder, Issue &issue);

    StoreContext &m_context;
    NotificationCenter &m_center;
    QList<std::shared_ptr<Issue>> m_issues;
    QHash<QUuid, CardExtras> m_extras;
};

} // namespace corvane
