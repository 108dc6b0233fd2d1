// The board's rules: column order, moves that renumber only the target column, filters, and the
// record operations behind the inspector (checklist numbering, deleting with the plan file).
#include "core/Broadcasts.h"
#include "core/NotificationCenter.h"
#include "core/records/ChecklistItem.h"
#include "core/records/Issue.h"
#include "core/records/IssueLabel.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "core/records/Milestone.h"
#include "planning/IssueDetailViewModel.h"
#include "planning/PlannerColumnModel.h"
#include "planning/PlannerService.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/PlannerCards.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;

class PlannerServiceTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    std::unique_ptr<NotificationCenter> m_center;
    std::unique_ptr<PlannerService> m_planner;

    StoreContext &ctx() { return m_store->mainContext(); }

    void makeCards(const QStringList &cards, const QList<std::shared_ptr<Project>> &projects = {})
    {
        test::insertCards(ctx(), cards, projects);
        QVERIFY(ctx().save());
        m_planner->loadIssues();
    }

    std::shared_ptr<Issue> card(const QString &title)
    {
        for (const auto &issue : m_planner->issues())
            if (issue->title == title)
                return issue;
        return nullptr;
    }

    QStringList column(IssueStatus status, const BoardFilter &filter = {})
    {
        QStringList out;
        for (const auto &issue : planner::columnCards(m_planner->issues(), status, filter))
            out << QStringLiteral("%1:%2").arg(issue->title).arg(issue->sortOrder);
        return out;
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_store = Store::open(m_env->path("planner.store")).value();
        m_center = std::make_unique<NotificationCenter>();
        m_planner = std::make_unique<PlannerService>(ctx(), *m_center);
    }
    void cleanup()
    {
        m_planner.reset();
        m_store.reset();
        m_env.reset();
    }

    void moves_data()
    {
        QTest::addColumn<QStringList>("cards");
        QTest::addColumn<QString>("moved");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("index");
        QTest::addColumn<QStringList>("target");
        QTest::addColumn<QStringList>("source");
        QTest::newRow("past the end goes last")
            << QStringList{"planned:a:0", "planned:b:1", "planned:c:2", "backlog:x:0"} << "x" << int(IssueStatus::planned) << 99
            << QStringList{"a:0", "b:1", "c:2", "x:3"} << QStringList();
        QTest::newRow("the source keeps its gap, the target is numbered from 0")
            << QStringList{"backlog:a:0", "backlog:x:5", "backlog:b:9", "done:c:4", "done:d:7"} << "x" << int(IssueStatus::done) << 1
            << QStringList{"c:0", "x:1", "d:2"} << QStringList{"a:0", "b:9"};
        QTest::newRow("within a column")
            << QStringList{"planned:a:0", "planned:b:1", "planned:c:2"} << "c" << int(IssueStatus::planned) << 0
            << QStringList{"c:0", "a:1", "b:2"} << QStringList{"c:0", "a:1", "b:2"};
        QTest::newRow("equal numbers keep the cards' age order")
            << QStringList{"done:old:1", "done:new:1", "backlog:x:0"} << "x" << int(IssueStatus::done) << 1
            << QStringList{"old:0", "x:1", "new:2"} << QStringList();
        QTest::newRow("an unknown status reads as the backlog and is written properly")
            << QStringList{"someday:x:3", "backlog:a:0"} << "x" << int(IssueStatus::backlog) << 0
            << QStringList{"x:0", "a:1"} << QStringList{"x:0", "a:1"};
    }

    void moves()
    {
        QFETCH(QStringList, cards);
        QFETCH(QString, moved);
        QFETCH(int, status);
        QFETCH(int, index);
        makeCards(cards);
        const IssueStatus from = card(moved)->status();
        int announced = 0;
        const auto token = m_center->addObserver(broadcast::issueDidChange, [&](const Notification &) { ++announced; });
        m_planner->moveIssue(card(moved), IssueStatus(status), index);
        m_center->removeObserver(token);
        QCOMPARE(announced, 1);
        QTEST(column(IssueStatus(status)), "target");
        if (from != IssueStatus(status))
            QTEST(column(from), "source");
        // Saved: a second context reads the same.
        auto other = m_store->newContext();
        QCOMPARE(other->get<Issue>(card(moved)->id)->statusRaw, toRaw(IssueStatus(status)));
        QCOMPARE(other->get<Issue>(card(moved)->id)->sortOrder, card(moved)->sortOrder);
    }

    void aFilteredDropCountsInTheWholeColumn()
    {
        Project app, site;
        app.name = "app";
        site.name = "site";
        const auto projects = QList{ctx().insert(app), ctx().insert(site)};
        makeCards({"planned:a:0:0", "planned:b:1:1", "planned:c:2:0", "backlog:x:0:0"}, projects);
        BoardFilter onlyApp;
        onlyApp.projects = BoardFilter::Projects::one;
        onlyApp.projectId = app.id;
        QCOMPARE(column(IssueStatus::planned, onlyApp), (QStringList{"a:0", "c:2"}));
        // Dropped on "c", the second card the filter shows: index 1 of the unfiltered column.
        m_planner->moveIssue(card("x"), IssueStatus::planned, 1);
        QCOMPARE(column(IssueStatus::planned), (QStringList{"a:0", "x:1", "b:2", "c:3"}));
    }

    void aColumnFollowsMovesWithoutAReset()
    {
        makeCards({"planned:a:0", "planned:b:1", "planned:c:2", "backlog:x:0"});
        PlannerColumnModel planned(*m_planner, IssueStatus::planned);
        PlannerColumnModel backlog(*m_planner, IssueStatus::backlog);
        QAbstractItemModelTester checkPlanned(&planned, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester checkBacklog(&backlog, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy resets(&planned, &QAbstractItemModel::modelReset);
        const auto titles = [](const PlannerColumnModel &model) {
            QStringList out;
            for (int row = 0; row < model.rowCount(); ++row)
                out << model.index(row).data().toString();
            return out;
        };
        m_planner->moveIssue(card("c"), IssueStatus::planned, 0);
        QCOMPARE(titles(planned), (QStringList{"c", "a", "b"}));
        QCOMPARE(planned.structuralChanges(), 1); // one row moved
        m_planner->moveIssue(card("x"), IssueStatus::planned, 1);
        QCOMPARE(titles(planned), (QStringList{"c", "x", "a", "b"}));
        QCOMPARE(backlog.rowCount(), 0);
        BoardFilter onlyX;
        onlyX.search = "X";
        planned.setFilter(onlyX);
        QCOMPARE(titles(planned), QStringList{"x"});
        QCOMPARE(resets.count(), 0);
        QCOMPARE(planned.index(0).data(PlannerColumnModel::IdRole).toUuid(), card("x")->id);
    }

    void filters_data()
    {
        QTest::addColumn<int>("projects");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("all") << int(BoardFilter::Projects::all) << -1 << "" << QStringList{"Fix login:0", "Add export:1", "Loose end:2"};
        QTest::newRow("one project") << int(BoardFilter::Projects::one) << -1 << "" << QStringList{"Fix login:0", "Add export:1"};
        QTest::newRow("no project") << int(BoardFilter::Projects::none) << -1 << "" << QStringList{"Loose end:2"};
        QTest::newRow("bugs") << int(BoardFilter::Projects::all) << int(IssueType::bug) << "" << QStringList{"Fix login:0"};
        QTest::newRow("title search ignores case") << int(BoardFilter::Projects::all) << -1 << "LOGIN" << QStringList{"Fix login:0"};
    }

    void filters()
    {
        QFETCH(int, projects);
        QFETCH(int, type);
        QFETCH(QString, search);
        Project app;
        app.name = "app";
        makeCards({"backlog:Fix login:0:0", "backlog:Add export:1:0", "backlog:Loose end:2"}, {ctx().insert(app)});
        card("Fix login")->setType(IssueType::bug);
        BoardFilter filter;
        filter.projects = BoardFilter::Projects(projects);
        filter.projectId = app.id;
        if (type >= 0)
            filter.type = IssueType(type);
        filter.search = search;
        QTEST(column(IssueStatus::backlog, filter), "shown");
    }

    void checklistNumbering()
    {
        makeCards({"backlog:a:0"});
        Issue &issue = *card("a");
        const auto first = m_planner->addChecklistItem("one", issue);
        const auto third = m_planner->addChecklistItem("three", issue);
        QVERIFY(ctx().save());
        m_planner->insertChecklistItem("two", *first, issue);
        QVERIFY(ctx().save());
        QStringList items;
        for (const auto &item : m_planner->checklist(issue))
            items << QStringLiteral("%1:%2").arg(item->title).arg(item->sortOrder);
        QCOMPARE(items, (QStringList{"one:0", "two:1", "three:2"}));
        m_planner->deleteChecklistItem(first);
        QVERIFY(ctx().save());
        QCOMPARE(m_planner->addChecklistItem("four", issue)->sortOrder, 3); // the gap stays; the end grows
        QVERIFY(issue.updatedAtStorage);
    }

    void theDetailsEditableCopy()
    {
        Project app, site;
        app.name = "app";
        site.name = "site";
        ctx().insert(app);
        ctx().insert(site);
        Milestone beta;
        beta.title = "Beta";
        beta.projectId = app.id;
        ctx().insert(beta);
        makeCards({"done:a:0"});
        IssueDetailViewModel detail(*m_planner);
        detail.load(card("a"));
        detail.toggleCompletion();
        QCOMPARE(card("a")->statusRaw, QStringLiteral("backlog")); // not the status it had before done
        detail.selectedProjectId = app.id;
        detail.selectedMilestoneId = beta.id;
        detail.save();
        QCOMPARE(card("a")->milestoneId, std::optional(beta.id));
        detail.selectedProjectId = site.id; // the milestone is not the new project's
        detail.save();
        QCOMPARE(card("a")->milestoneId, std::nullopt);
        QCOMPARE(card("a")->projectId, std::optional(site.id));
    }

    void theChecklistAsAnOutline()
    {
        makeCards({"backlog:a:0"});
        IssueDetailViewModel detail(*m_planner);
        detail.load(card("a"));
        QList<std::shared_ptr<ChecklistItem>> items;
        for (const char *title : {"one", "two", "three"}) {
            items << detail.addBlankChecklistItem();
            items.last()->title = title;
        }
        detail.save();
        // Return on the first: a blank between it and the second, focused at its end.
        const auto focus = detail.onSubmit(*items[0]);
        QVERIFY(focus && focus->caret == ChecklistFocus::Caret::end);
        detail.save();
        QStringList order;
        for (const auto &item : detail.sortedChecklistItems())
            order << QStringLiteral("%1:%2").arg(item->title.isEmpty() ? "_" : item->title).arg(item->sortOrder);
        QCOMPARE(order, (QStringList{"one:0", "_:1", "two:2", "three:3"}));
        // The arrows at the ends do nothing; right lands at the next row's start.
        QVERIFY(!detail.onMoveUp(*items[0]));
        QVERIFY(!detail.onMoveDown(*items[2]));
        QCOMPARE(detail.onMoveRightAtEnd(*items[0])->item, focus->item);
        QCOMPARE(detail.onMoveRightAtEnd(*items[0])->caret, ChecklistFocus::Caret::start);
        QCOMPARE(detail.onMoveLeftAtStart(*items[1])->item, focus->item);
        // Backspace in the empty second row lands at the end of the first; in a first row, nowhere.
        const auto blank = ctx().get<ChecklistItem>(focus->item);
        const auto back = detail.onDeleteEmpty(blank);
        QVERIFY(back && back->item == items[0]->id && back->caret == ChecklistFocus::Caret::end);
        items[0]->title.clear();
        QVERIFY(!detail.onDeleteEmpty(items[0]));
        QCOMPARE(detail.sortedChecklistItems().size(), 2);
    }

    // A label row belongs to one card: another card checking the name gets its own copy, and
    // unchecking leaves the name to the project.
    void labelsOfAProject()
    {
        Project app;
        app.name = "app";
        ctx().insert(app);
        makeCards({"backlog:a:0:0", "backlog:b:1:0", "backlog:c:2"}, {ctx().get<Project>(app.id)});
        IssueDetailViewModel detail(*m_planner);
        detail.load(card("a"));
        QVERIFY(detail.createLabel(" auth ", "#E5484D"));
        detail.load(card("b"));
        const auto offered = detail.availableLabels();
        QCOMPARE(offered.size(), 1);
        QCOMPARE(offered.first()->name, QStringLiteral("auth"));
        QVERIFY(!detail.isLabelApplied(*offered.first()));
        detail.toggleLabel(*offered.first());
        QVERIFY(detail.isLabelApplied(*detail.availableLabels().first()));
        QCOMPARE(detail.availableLabels().size(), 1);
        auto labelsOf = [this](const QString &title) {
            return m_planner->extras(card(title)->id).labels;
        };
        QCOMPARE(labelsOf("a"), QStringList{"auth\t#E5484D"});
        QCOMPARE(labelsOf("b"), QStringList{"auth\t#E5484D"});
        detail.toggleLabel(*detail.availableLabels().first());
        QCOMPARE(labelsOf("b"), QStringList());
        QCOMPARE(labelsOf("a"), QStringList{"auth\t#E5484D"});
        // Made again by name: the project's row is taken up, not duplicated.
        detail.createLabel("auth", "#0090FF");
        QCOMPARE(labelsOf("b"), QStringList{"auth\t#E5484D"});
        QCOMPARE(ctx().count<IssueLabel>().valueOr(-1), 2);
        // Without a project there is nothing to offer or make.
        detail.load(card("c"));
        QVERIFY(detail.availableLabels().isEmpty());
        QVERIFY(!detail.createLabel("auth", "#0090FF"));
    }

    void theWorkspaceOfACard()
    {
        Project app;
        app.name = "app";
        app.path = m_env->path("app");
        ctx().insert(app);
        makeCards({"planned:Fix login:0:0", "planned:loose:1"}, {ctx().get<Project>(app.id)});
        WorkspaceLifecycleService lifecycle(ctx(), *m_center);
        IssueDetailViewModel detail(*m_planner);
        detail.load(card("loose"));
        detail.setLifecycle(&lifecycle);
        QVERIFY(!detail.createWorkspaceFromIssue()); // no project, no workspace
        detail.load(card("Fix login"));
        const auto workspace = detail.createWorkspaceFromIssue();
        QVERIFY(workspace);
        QCOMPARE(workspace->name, QStringLiteral("Fix login"));
        QCOMPARE(lifecycle.chats(*workspace).size(), 1);
        auto fresh = m_store->newContext();
        QCOMPARE(fresh->get<Issue>(card("Fix login")->id)->workspaceId, std::optional(workspace->id));
        // Archived, it is offered back.
        workspace->statusRaw = QStringLiteral("archived");
        workspace->archivedAt = QDateTime::currentDateTime();
        QVERIFY(ctx().save());
        QCOMPARE(detail.restoreLinkedWorkspace(), std::nullopt);
        QVERIFY(!m_store->newContext()->get<Workspace>(workspace->id)->isArchived());
        detail.disconnectWorkspace();
        QCOMPARE(m_store->newContext()->get<Issue>(card("Fix login")->id)->workspaceId, std::nullopt);
        QVERIFY(m_store->newContext()->get<Workspace>(workspace->id)); // the workspace stays
    }

    void deletingTakesThePlanFileAndLeavesTheWorkspace()
    {
        Project project;
        project.name = "app";
        project.path = m_env->path("app");
        QDir().mkpath(project.path + "/plans");
        QFile plan(project.path + "/plans/a.md");
        QVERIFY(plan.open(QIODevice::WriteOnly) && plan.write("# Plan\n") > 0);
        plan.close();
        Workspace workspace;
        workspace.name = "a";
        workspace.projectId = project.id;
        ctx().insert(project);
        const auto linked = ctx().insert(workspace);
        makeCards({"planned:a:0"});
        const auto issue = card("a");
        issue->projectId = project.id;
        issue->planFilePath = QStringLiteral("plans/a.md");
        PlannerService::linkWorkspace(*issue, *linked);
        m_planner->addChecklistItem("step", *issue);
        QVERIFY(ctx().save());
        QCOMPARE(PlannerService::planContent(*issue, ctx().get<Project>(project.id).get()), std::optional<QString>("# Plan\n"));
        m_planner->deleteIssue(issue);
        QVERIFY(!QFile::exists(project.path + "/plans/a.md"));
        QVERIFY(m_planner->issues().isEmpty());
        QCOMPARE(ctx().count<ChecklistItem>().valueOr(-1), 0);
        QVERIFY(ctx().get<Workspace>(workspace.id));
        // A plan file that is gone reads as no plan.
        Issue orphan;
        orphan.planFilePath = QStringLiteral("plans/gone.md");
        QCOMPARE(PlannerService::planContent(orphan, ctx().get<Project>(project.id).get()), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(PlannerServiceTest)
#include "tst_planner_service.moc"
