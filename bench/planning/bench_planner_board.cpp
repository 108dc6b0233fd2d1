// The Planner over a large store: 5,000 cards over 20 projects, with labels and checklists. The
// board from nothing to its first paint, a card dragged across columns (each step of the live
// reorder is a save, a reload and the columns' updates, then a paint), and one keystroke in the
// title filter. The steps' longest time is reported beside the mean, since one slow frame is
// what a user sees. Runs offscreen unless QT_QPA_PLATFORM says otherwise.
#include "core/NotificationCenter.h"
#include "core/records/ChecklistItem.h"
#include "core/records/Issue.h"
#include "core/records/IssueLabel.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "planning/PlannerColumnModel.h"
#include "planning/PlannerService.h"
#include "shell/tools/PlannerToolPage.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDragMoveEvent>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMimeData>
#include <QTemporaryDir>

#include <memory>

using namespace corvane;

namespace {

constexpr int projectCount = 20;
constexpr int issueCount = 5000;

struct Planner
{
    QTemporaryDir dir;
    std::shared_ptr<Store> store;
    NotificationCenter center;
    std::unique_ptr<PlannerService> planner;

    Planner()
    {
        store = Store::open(dir.filePath("Corvane.store")).value();
        StoreContext &context = store->mainContext();
        QList<QUuid> projects;
        for (int p = 0; p < projectCount; ++p) {
            Project project;
            project.name = QStringLiteral("project-%1").arg(p);
            project.path = dir.filePath(project.name);
            projects.append(context.insert(project)->id);
        }
        const QList<IssueStatus> statuses = planner::columns();
        QDateTime at = QDateTime::currentDateTime().addDays(-30);
        QHash<IssueStatus, qint64> orders;
        for (int i = 0; i < issueCount; ++i) {
            Issue issue;
            issue.title = QStringLiteral("Card %1: %2").arg(i).arg(i % 3 ? QStringLiteral("fix the sidebar") : QStringLiteral("planner export"));
            const IssueStatus status = statuses[i % statuses.size()];
            issue.setStatus(status);
            issue.setType(IssueType(i % 3));
            issue.sortOrder = orders[status]++;
            issue.projectId = projects[i % projectCount];
            issue.createdAt = at = at.addSecs(10);
            const auto made = context.insert(issue);
            if (i % 4 == 0) {
                IssueLabel label;
                label.name = QStringLiteral("area-%1").arg(i % 7);
                label.colorHex = QStringLiteral("#30A46C");
                label.projectId = issue.projectId;
                label.issueId = made->id;
                context.insert(label);
            }
            for (int c = 0; c < i % 4; ++c) {
                ChecklistItem item;
                item.title = QStringLiteral("Step %1").arg(c);
                item.sortOrder = c;
                item.isCompleted = c == 0;
                item.issueId = made->id;
                context.insert(item);
            }
        }
        if (!context.save())
            std::abort();
        planner = std::make_unique<PlannerService>(context, center);
    }
};

Planner &sharedPlanner()
{
    static Planner planner;
    return planner;
}

std::unique_ptr<PlannerToolPage> shownBoard(PlannerService &planner)
{
    auto page = std::make_unique<PlannerToolPage>(planner);
    page->resize(1400, 860);
    page->show();
    page->repaint();
    return page;
}

void BM_OpenBoardToFirstPaint(benchmark::State &state)
{
    Planner &p = sharedPlanner();
    for (auto _ : state) {
        auto page = shownBoard(*p.planner); // reads every card, builds the columns, paints
        state.PauseTiming();
        page.reset();
        QApplication::processEvents();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_OpenBoardToFirstPaint)->Unit(benchmark::kMillisecond);

// A drag over the first twelve cards of the next column, one step per card entered: each step
// moves the card there (saved and announced), and the column is painted again.
void BM_DragAcrossColumns(benchmark::State &state)
{
    Planner &p = sharedPlanner();
    auto page = shownBoard(*p.planner);
    const QList<IssueStatus> statuses = planner::columns();
    qint64 longestNs = 0;
    qint64 totalNs = 0;
    int steps = 0;
    int slowSteps = 0;
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        BoardColumnView *from = page->column(statuses[round % 2]);
        BoardColumnView *to = page->column(statuses[round % 2 + 1]);
        ++round;
        const QUuid card = from->model()->index(0, 0).data(PlannerColumnModel::IdRole).toUuid();
        QMimeData data;
        data.setData(PlannerColumnModel::mimeType(), card.toString(QUuid::WithoutBraces).toUtf8());
        QDragEnterEvent enter(QPoint(10, 10), Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(to->viewport(), &enter);
        state.ResumeTiming();
        for (int row = 0; row < 12; ++row) {
            QElapsedTimer step;
            step.start();
            // The card under the pointer moves as the dragged one takes its place, so the pointer
            // goes one row further each time.
            const QPoint pos = to->visualRect(to->model()->index(row + 1, 0)).center();
            QDragMoveEvent move(pos, Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(to->viewport(), &move);
            to->viewport()->repaint();
            from->viewport()->repaint();
            longestNs = std::max(longestNs, step.nsecsElapsed());
            totalNs += step.nsecsElapsed();
            slowSteps += step.nsecsElapsed() > 16'000'000 ? 1 : 0;
            ++steps;
        }
    }
    state.counters["steps"] = steps;
    state.counters["longest_step_ms"] = double(longestNs) / 1e6;
    state.counters["mean_step_ms"] = double(totalNs) / steps / 1e6;
    state.counters["steps_over_16ms"] = slowSteps;
}
BENCHMARK(BM_DragAcrossColumns)->Iterations(10)->Unit(benchmark::kMillisecond);

// One character typed into the title filter, then taken away again: each is one keystroke.
void BM_FilterKeystroke(benchmark::State &state)
{
    Planner &p = sharedPlanner();
    auto page = shownBoard(*p.planner);
    qint64 longestNs = 0;
    int keys = 0;
    const QString typed = QStringLiteral("planner");
    for (auto _ : state) {
        for (qsizetype n = 1; n <= typed.size(); ++n) {
            QElapsedTimer step;
            step.start();
            page->searchField()->setText(typed.left(n));
            page->repaint();
            longestNs = std::max(longestNs, step.nsecsElapsed());
            ++keys;
        }
        state.PauseTiming();
        page->searchField()->clear();
        page->repaint();
        state.ResumeTiming();
    }
    state.counters["keystrokes"] = keys;
    state.counters["longest_keystroke_ms"] = double(longestNs) / 1e6;
}
BENCHMARK(BM_FilterKeystroke)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
