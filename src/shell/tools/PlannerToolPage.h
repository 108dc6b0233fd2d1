#pragma once

#include "core/records/Enums.h"
#include "planning/PlannerService.h"

#include <QListView>
#include <QMap>
#include <QUuid>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;

namespace corvane {

class IssueDetailView;
class PlannerColumnModel;

// One column's list of cards. Cards are dragged by their id; the board reorders live while a
// card is dragged over another (it takes that card's place), and a card dragged over a column's
// free area goes to that column's end when it came from another column.
class BoardColumnView : public QListView
{
    Q_OBJECT

public:
    BoardColumnView(PlannerService &planner, PlannerColumnModel &model, QWidget *parent = nullptr);

    PlannerColumnModel &columnModel() const { return m_model; }
    // The card being dragged from any column, shown dimmed; null when none is.
    static QUuid draggedIssue();

protected:
    void startDrag(Qt::DropActions actions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    // The card under `pos`, and the move it asks for; false when the drag is not a card's.
    bool follow(const QMimeData *data, const QPoint &pos);

    PlannerService &m_planner;
    PlannerColumnModel &m_model;
    QUuid m_enteredCard; // the card last entered, so that a card is entered once, not on every move
};

// The Planner tool: every issue of every project on a board with a column per status, filtered
// by project, type and title. Selecting a card shows its detail beside the board; a column's "+"
// opens the new-issue sheet with that status.
class PlannerToolPage : public QWidget
{
    Q_OBJECT

public:
    PlannerToolPage(PlannerService &planner, QWidget *parent = nullptr);

    QComboBox *projectFilter() const { return m_projects; }
    QComboBox *typeFilter() const { return m_types; }
    QLineEdit *searchField() const { return m_search; }
    BoardColumnView *column(IssueStatus status) const { return m_columns.value(status); }
    // The selected card's detail beside the board; hidden while none is selected.
    IssueDetailView *detail() const { return m_detail; }
    BoardFilter filter() const;

    // Reads the board again (the tool was shown again, or projects changed).
    void refresh();

signals:
    void issueSelected(const QUuid &issueId);
    void newIssueRequested(corvane::IssueStatus status);
    void runAgentRequested(const QUuid &issueId);

private:
    // A card's menu: Open, Move to, Create Workspace and Run Agent (with a project), Delete.
    void showCardMenu(BoardColumnView *view, const QPoint &at);
    void applyFilter();
    void fillProjects();
    void updateCounts();

    PlannerService &m_planner;
    QComboBox *m_projects = nullptr;
    QComboBox *m_types = nullptr;
    QLineEdit *m_search = nullptr;
    QMap<IssueStatus, BoardColumnView *> m_columns;
    QMap<IssueStatus, QLabel *> m_counts;
    IssueDetailView *m_detail = nullptr;
};

} // namespace corvane
