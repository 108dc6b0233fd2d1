// The Planner in a real window (offscreen): opened from the sidebar, its columns, its filters
// typed and picked, and cards dragged over other cards and columns, reordering live before the
// drop. The Store is checked after each step. Leaves screenshots of the board, light and dark.
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "core/NotificationCenter.h"
#include "core/records/Issue.h"
#include "core/records/IssueLabel.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/StoreContext.h"
#include "planning/PlannerColumnModel.h"
#include "planning/PlannerService.h"
#include "planning/SkillsService.h"
#include "shell/Appearance.h"
#include "core/records/ChecklistItem.h"
#include "shell/tools/IssueDetailView.h"
#include "shell/tools/PlannerToolPage.h"
#include "shell/tools/ToolPages.h"
#include "shell/window/MainWindow.h"
#include "shell/window/NewIssueDialog.h"
#include "shell/window/WindowActions.h"
#include "shell/window/SidebarView.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/ToolWindowFixture.h"
#include "support/PlannerCards.h"

#include <QApplication>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace corvane::test;

namespace {

struct Board : ToolWindowFixture
{
    std::shared_ptr<Project> app, site;

    // "status:title:order[:project]" with project 0 (app) or 1 (site); none without.
    Board(const QStringList &cards)
    {
        Project a, s;
        a.name = "app";
        s.name = "site";
        app = ctx().insert(a);
        site = ctx().insert(s);
        insertCards(ctx(), cards, {app, site});
        (void)ctx().save();
        openWindow(QSize(1400, 800));
    }

    PlannerToolPage *open()
    {
        auto *button = window->sidebar()->findChild<QToolButton *>("tool:planner");
        if (!button)
            return nullptr;
        button->click();
        return window->findChild<PlannerToolPage *>("plannerToolPage");
    }

    QStringList titles(PlannerToolPage &page, IssueStatus status)
    {
        QStringList out;
        const auto *model = page.column(status)->model();
        for (int row = 0; row < model->rowCount(); ++row)
            out << model->index(row, 0).data().toString();
        return out;
    }

    // The stored column, every card, "title:order".
    QStringList stored(IssueStatus status)
    {
        auto fresh = f.store->newContext();
        QStringList out;
        for (const auto &issue : fresh->fetchOrEmpty<Issue>(Query(where::eq("statusRaw", toRaw(status))).orderBy("sortOrder")))
            out << QStringLiteral("%1:%2").arg(issue->title).arg(issue->sortOrder);
        return out;
    }
};

QUuid idOf(Board &b, const QString &title)
{
    const auto issue = b.ctx().fetchFirst<Issue>(Query(where::eq("title", title))).valueOr(nullptr);
    return issue ? issue->id : QUuid();
}

// A drag of `card` entering `view` at `pos` and moving there, as the window system delivers it.
void dragOver(BoardColumnView *view, const QUuid &card, const QPoint &pos, bool drop = false)
{
    QMimeData data;
    data.setData(PlannerColumnModel::mimeType(), card.toString(QUuid::WithoutBraces).toUtf8());
    QDragEnterEvent enter(pos, Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &enter);
    QDragMoveEvent move(pos, Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &move);
    if (drop) {
        QDropEvent dropped(QPointF(pos), Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view->viewport(), &dropped);
    }
}

QPoint centreOf(BoardColumnView *view, int row)
{
    return view->visualRect(view->model()->index(row, 0)).center();
}

} // namespace

class PlannerBoardTest : public QObject
{
    Q_OBJECT

private slots:
    void theBoardFromTheSidebar()
    {
        Board b({"backlog:Fix login:0:0", "backlog:Add export:1:1", "planned:Write docs:0", "inProgress:Ship it:0:0"});
        PlannerToolPage *page = b.open();
        QVERIFY(page && page->isVisible());
        QCOMPARE(b.titles(*page, IssueStatus::backlog), (QStringList{"Fix login", "Add export"}));
        QCOMPARE(b.titles(*page, IssueStatus::planned), QStringList{"Write docs"});
        QCOMPARE(page->projectFilter()->count(), 4); // All Projects, app, site, No Project
        page->projectFilter()->setCurrentIndex(page->projectFilter()->findText("No Project"));
        QCOMPARE(b.titles(*page, IssueStatus::backlog), QStringList());
        QCOMPARE(b.titles(*page, IssueStatus::planned), QStringList{"Write docs"});
        page->projectFilter()->setCurrentIndex(0);
        QTest::keyClicks(page->searchField(), "LOGIN");
        QCOMPARE(b.titles(*page, IssueStatus::backlog), QStringList{"Fix login"});
        QCOMPARE(b.titles(*page, IssueStatus::inProgress), QStringList());
    }

    void dragsReorderLiveAndAcrossColumns()
    {
        Board b({"backlog:x:0:0", "planned:a:0:0", "planned:b:1:1", "planned:c:2:0"});
        PlannerToolPage *page = b.open();
        QVERIFY(page);
        BoardColumnView *planned = page->column(IssueStatus::planned);
        // Over "b" before any drop: "x" has taken its place already.
        dragOver(planned, idOf(b, "x"), centreOf(planned, 1));
        QCOMPARE(b.titles(*page, IssueStatus::planned), (QStringList{"a", "x", "b", "c"}));
        QCOMPARE(b.stored(IssueStatus::planned), (QStringList{"a:0", "x:1", "b:2", "c:3"}));
        QCOMPARE(b.titles(*page, IssueStatus::backlog), QStringList());
        // Within the column, onto "a".
        dragOver(planned, idOf(b, "c"), centreOf(planned, 0), true);
        QCOMPARE(b.stored(IssueStatus::planned), (QStringList{"c:0", "a:1", "x:2", "b:3"}));
        // The free area of another column takes the card to its end.
        BoardColumnView *done = page->column(IssueStatus::done);
        dragOver(done, idOf(b, "a"), QPoint(20, done->viewport()->height() - 10), true);
        QCOMPARE(b.stored(IssueStatus::done), QStringList{"a:0"});
        QCOMPARE(b.stored(IssueStatus::planned), (QStringList{"c:0", "x:2", "b:3"})); // the gap stays
    }

    void aFilteredDragCountsInTheWholeColumn()
    {
        Board b({"backlog:x:0:0", "planned:a:0:0", "planned:b:1:1", "planned:c:2:0"});
        PlannerToolPage *page = b.open();
        QVERIFY(page);
        page->projectFilter()->setCurrentIndex(page->projectFilter()->findText("app"));
        BoardColumnView *planned = page->column(IssueStatus::planned);
        QCOMPARE(b.titles(*page, IssueStatus::planned), (QStringList{"a", "c"}));
        dragOver(planned, idOf(b, "x"), centreOf(planned, 1), true); // onto "c", second shown, third stored
        QCOMPARE(b.stored(IssueStatus::planned), (QStringList{"a:0", "b:1", "x:2", "c:3"}));
        QCOMPARE(b.titles(*page, IssueStatus::planned), (QStringList{"a", "x", "c"}));
    }

    // The sheet from a column's "+", driven from the keyboard; and from the New Issue command.
    void newIssueFromTheKeyboard()
    {
        Board b({"planned:a:0:0", "planned:b:4:0"});
        PlannerToolPage *page = b.open();
        QVERIFY(page);
        page->findChild<QToolButton *>("newIssue:planned")->click();
        auto *sheet = b.window->findChild<NewIssueDialog *>();
        QVERIFY(sheet && sheet->isVisible());
        sheet->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(sheet));
        const auto keys = [sheet](QKeyCombination combination) { QTest::keySequence(sheet->windowHandle(), QKeySequence(combination)); };
        keys(Qt::CTRL | Qt::Key_Return); // no title: nothing
        QVERIFY(sheet->isVisible());
        QTest::keyClicks(sheet->titleField(), "Fix login");
        keys(Qt::CTRL | Qt::Key_P); // none -> app
        keys(Qt::CTRL | Qt::Key_P); // app -> site
        QCOMPARE(sheet->projectPicker()->currentText(), QStringLiteral("site"));
        keys(Qt::CTRL | Qt::Key_P); // the last -> none
        QCOMPARE(sheet->projectPicker()->currentText(), QStringLiteral("No Project"));
        keys(Qt::CTRL | Qt::Key_P);
        keys(Qt::CTRL | Qt::Key_T); // task -> feature
        keys(Qt::CTRL | Qt::Key_D);
        keys(Qt::CTRL | Qt::SHIFT | Qt::Key_P); // medium -> high
        QCOMPARE(sheet->flashing(), sheet->priorityPicker());
        QTRY_COMPARE(sheet->flashing(), nullptr);
        keys(Qt::CTRL | Qt::Key_Return);
        QTRY_VERIFY(!b.window->findChild<NewIssueDialog *>());
        const auto made = b.ctx().fetchFirst<Issue>(Query(where::eq("title", QStringLiteral("Fix login")))).valueOr(nullptr);
        QVERIFY(made);
        QCOMPARE(made->statusRaw, QStringLiteral("planned"));
        QCOMPARE(made->sortOrder, 5); // after the column's greatest
        QCOMPARE(made->projectId, std::optional(b.app->id));
        QCOMPARE(made->typeRaw, QStringLiteral("feature"));
        QCOMPARE(made->priorityRaw, QStringLiteral("high"));
        QVERIFY(made->dueDate);
        QCOMPARE(b.titles(*page, IssueStatus::planned), (QStringList{"a", "b", "Fix login"}));

        b.window->actions().action(KeyboardShortcutAction::newIssue)->trigger();
        sheet = b.window->findChild<NewIssueDialog *>();
        QVERIFY(sheet);
        QTest::keyClicks(sheet->titleField(), "  ");
        sheet->createButton()->click(); // blanks are a title
        QTRY_COMPARE(b.titles(*page, IssueStatus::backlog), QStringList{"  "});
    }

    // A card clicked on the board opens its detail; its checklist is typed as an outline.
    void aCardsDetailAndChecklistKeys()
    {
        Board b({"planned:Fix login:0:0"});
        PlannerToolPage *page = b.open();
        QVERIFY(page);
        BoardColumnView *planned = page->column(IssueStatus::planned);
        QTest::mouseClick(planned->viewport(), Qt::LeftButton, {}, centreOf(planned, 0));
        IssueDetailView *detail = page->detail();
        QTRY_VERIFY(detail->isVisible());
        QCOMPARE(detail->titleField()->text(), QStringLiteral("Fix login"));
        b.window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(b.window.get()));
        detail->addItemButton()->click();
        QTRY_COMPARE(detail->checklistFields().size(), 1);
        QTRY_VERIFY(detail->checklistFields().first()->hasFocus());
        QTest::keyClicks(detail->checklistFields().first(), "Reproduce");
        QTest::keyClick(detail->checklistFields().first(), Qt::Key_Return);
        QTRY_COMPARE(detail->checklistFields().size(), 2);
        QTRY_VERIFY(detail->checklistFields().at(1)->hasFocus());
        QTest::keyClicks(detail->checklistFields().at(1), "Fix");
        QTest::keyClick(detail->checklistFields().at(1), Qt::Key_Up);
        QTRY_VERIFY(detail->checklistFields().at(0)->hasFocus());
        QCOMPARE(detail->checklistFields().at(0)->cursorPosition(), 9); // at the end
        QTest::keyClick(detail->checklistFields().at(0), Qt::Key_Right); // at the end: the next row's start
        QTRY_VERIFY(detail->checklistFields().at(1)->hasFocus());
        QCOMPARE(detail->checklistFields().at(1)->cursorPosition(), 0);
        auto fresh = b.f.store->newContext();
        QStringList stored;
        for (const auto &item : fresh->fetchOrEmpty<ChecklistItem>(Query().orderBy("sortOrder")))
            stored << item->title;
        QCOMPARE(stored, (QStringList{"Reproduce", "Fix"}));
        // The board's card counts its checklist.
        QCOMPARE(planned->model()->index(0, 0).data(PlannerColumnModel::ChecklistTotalRole).toInt(), 2);
        // Emptied and Backspace: the row goes, the focus to the end of the one above.
        detail->checklistFields().at(1)->clear();
        QTest::keyClick(detail->checklistFields().at(1), Qt::Key_Backspace);
        QTRY_COMPARE(detail->checklistFields().size(), 1);
        QTRY_VERIFY(detail->checklistFields().at(0)->hasFocus());
        // The completion box sends a card to Done and back to the backlog.
        detail->completionBox()->click();
        QCOMPARE(b.titles(*page, IssueStatus::done), QStringList{"Fix login"});
        detail->completionBox()->click();
        QCOMPARE(b.titles(*page, IssueStatus::backlog), QStringList{"Fix login"});
    }

    // Labels made and applied from the detail; "Create Workspace" goes to the new workspace, whose
    // inspector shows the card and lets it go.
    void labelsAndTheWorkspaceOfACard()
    {
        Board b({"planned:Fix login:0:0", "planned:Fix logout:1:0"});
        PlannerToolPage *page = b.open();
        QVERIFY(page);
        BoardColumnView *planned = page->column(IssueStatus::planned);
        QTest::mouseClick(planned->viewport(), Qt::LeftButton, {}, centreOf(planned, 0));
        IssueDetailView *detail = page->detail();
        QTRY_VERIFY(detail->isVisible());
        QTest::keyClicks(detail->newLabelField(), "auth");
        QTest::keyClick(detail->newLabelField(), Qt::Key_Return);
        QTRY_COMPARE(detail->labelList()->count(), 1);
        QCOMPARE(detail->labelList()->item(0)->checkState(), Qt::Checked);
        QCOMPARE(planned->model()->index(0, 0).data(PlannerColumnModel::LabelsRole).toStringList().size(), 1);
        // The other card is offered the project's label, and checking it gives that card its own.
        QTest::mouseClick(planned->viewport(), Qt::LeftButton, {}, centreOf(planned, 1));
        QTRY_COMPARE(detail->titleField()->text(), QStringLiteral("Fix logout"));
        QCOMPARE(detail->labelList()->count(), 1);
        QCOMPARE(detail->labelList()->item(0)->checkState(), Qt::Unchecked);
        detail->labelList()->item(0)->setCheckState(Qt::Checked);
        QTRY_COMPARE(planned->model()->index(1, 0).data(PlannerColumnModel::LabelsRole).toStringList().size(), 1);
        QCOMPARE(planned->model()->index(0, 0).data(PlannerColumnModel::LabelsRole).toStringList().size(), 1);

        QVERIFY(detail->createWorkspaceButton()->isVisible());
        detail->createWorkspaceButton()->click();
        const auto issue = b.ctx().get<Issue>(idOf(b, "Fix logout"));
        QVERIFY(issue->workspaceId);
        const auto workspace = b.ctx().get<Workspace>(*issue->workspaceId);
        QCOMPARE(workspace->name, QStringLiteral("Fix logout"));
        auto *panel = b.window->findChild<IssueDetailView *>("workspaceIssuePanel");
        QVERIFY(panel);
        b.window->actions().action(KeyboardShortcutAction::toggleInspector)->trigger(); // closed at the first start
        QTRY_VERIFY(panel->isVisible());
        QCOMPARE(panel->titleField()->text(), QStringLiteral("Fix logout"));
        QVERIFY(!panel->createWorkspaceButton()->isVisible());
        // Edited in the workspace's inspector: saved and announced like the board's own edits.
        panel->titleField()->setText(QStringLiteral("Fix logout on expiry"));
        emit panel->titleField()->editingFinished();
        QCOMPARE(b.f.store->newContext()->get<Issue>(issue->id)->title, QStringLiteral("Fix logout on expiry"));
        QTRY_COMPARE(b.titles(*page, IssueStatus::planned).value(1), QStringLiteral("Fix logout on expiry"));
        panel->disconnectButton()->click();
        QVERIFY(!panel->isVisible());
        QCOMPARE(b.f.store->newContext()->get<Issue>(issue->id)->workspaceId, std::nullopt);
    }

    void screenshots_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }

    void screenshots()
    {
        QFETCH(bool, dark);
        Board b({"backlog:Remember the sidebar's width:0:0", "backlog:Crash when a worktree folder is gone:1:0",
                 "backlog:Export the timeline as CSV:2:1", "planned:Quality gates per flow:0:0",
                 "planned:Keyboard reordering of checklist rows:1:0", "inProgress:Planner board:0:0",
                 "inProgress:Landing page copy:1:1", "done:Definition file editors:0:0", "done:Automation runs:1:0"});
        applyAppearance(dark ? AppearanceMode::dark : AppearanceMode::light);
        const QUuid bug = idOf(b, "Crash when a worktree folder is gone");
        b.ctx().get<Issue>(bug)->setType(IssueType::bug);
        b.ctx().get<Issue>(bug)->setPriority(IssuePriority::urgent);
        IssueLabel label;
        label.name = "ui";
        label.colorHex = "#5b8def";
        label.issueId = idOf(b, "Planner board");
        label.projectId = b.app->id;
        b.ctx().insert(label);
        IssueLabel spare;
        spare.name = "performance";
        spare.colorHex = "#30A46C";
        spare.projectId = b.app->id;
        b.ctx().insert(spare);
        QVERIFY(b.ctx().save());
        PlannerToolPage *page = b.open();
        QVERIFY(page);
        page->refresh();
        BoardColumnView *doing = page->column(IssueStatus::inProgress);
        QTest::mouseClick(doing->viewport(), Qt::LeftButton, {}, centreOf(doing, 0));
        IssueDetailView *detail = page->detail();
        QTRY_VERIFY(detail->isVisible());
        for (const char *step : {"Columns per status", "Live reorder while dragging", "Issue detail"}) {
            const auto item = detail->model().addBlankChecklistItem();
            item->title = step;
        }
        detail->model().save();
        detail->model().onToggle(*detail->model().sortedChecklistItems().first());
        QApplication::processEvents();
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        const QString mode = dark ? "dark" : "light";
        QVERIFY(b.window->grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/planner-board-%1.png").arg(mode)));
        QVERIFY(detail->grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/issue-detail-%1.png").arg(mode)));
        applyAppearance(AppearanceMode::light);
    }
};

QTEST_MAIN(PlannerBoardTest)
#include "tst_planner_board.moc"
