// The Preferences window over a store that holds 1,000 archived workspaces and 1,000 archived
// chats: opening it with every page, showing the Archived Workspaces list for the first time,
// and that list after a store save that changes one of its records (a rename elsewhere) and
// after a save that restores one.
#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/preferences/ArchivedWorkspacesPage.h"
#include "shell/preferences/PreferencesWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <benchmark/benchmark.h>

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace corvane;

namespace {

constexpr int archivedCount = 1000;

struct Setup
{
    QTemporaryDir dir;
    std::shared_ptr<Store> store = Store::open(dir.filePath(QStringLiteral("Corvane.store"))).value();
    PreferencesStore preferences{dir.filePath(QStringLiteral("settings.json"))};
    NotificationCenter center;
    AppSettings settings{preferences, center, [] { return SystemUserNames{"Ada Lovelace", "ada"}; }};
    WorkspaceLifecycleService lifecycle{store->mainContext(), center};

    Setup()
    {
        StoreContext &ctx = store->mainContext();
        const QDateTime start = QDateTime::currentDateTime().addDays(-20);
        for (int p = 0; p < 20; ++p) {
            Project project;
            project.name = QStringLiteral("project %1").arg(p);
            project.path = dir.filePath(project.name);
            ctx.insert(project);
            for (int i = 0; i < archivedCount / 20; ++i) {
                Workspace workspace;
                workspace.name = QStringLiteral("workspace %1-%2").arg(p).arg(i);
                workspace.projectId = project.id;
                workspace.statusRaw = QStringLiteral("archived");
                workspace.archivedAt = start.addSecs(p * 1000 + i);
                ctx.insert(workspace);
                Workspace live;
                live.name = QStringLiteral("live %1-%2").arg(p).arg(i);
                live.projectId = project.id;
                ctx.insert(live);
                Chat chat;
                chat.name = QStringLiteral("chat %1-%2").arg(p).arg(i);
                chat.projectId = project.id;
                chat.workspaceId = live.id;
                chat.statusRaw = QStringLiteral("archived");
                chat.archivedAt = start.addSecs(p * 1000 + i);
                ctx.insert(chat);
            }
        }
        if (!ctx.save())
            qFatal("cannot save the records");
    }
};

void BM_OpenPreferencesWithEveryPage(benchmark::State &state)
{
    Setup setup;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        PreferencesWindow window(PreferencesServices{setup.settings, &setup.store->mainContext(), &setup.center,
                                                     &setup.lifecycle});
        window.resize(780, 600);
        window.show();
        QApplication::processEvents();
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
    }
    state.counters["archived"] = 2 * archivedCount;
}

void BM_FirstShowOfArchivedWorkspaces(benchmark::State &state)
{
    Setup setup;
    for (auto _ : state) {
        ArchivedWorkspacesPage page(setup.settings, setup.store->mainContext(), setup.lifecycle);
        page.resize(700, 600);
        QElapsedTimer clock;
        clock.start();
        page.show();
        QApplication::processEvents();
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
        if (page.shownIds().size() != ArchivedRecordsPage::rowsPerPage)
            qFatal("the list shows %d rows", int(page.shownIds().size()));
    }
    state.counters["rows"] = ArchivedRecordsPage::rowsPerPage;
}

void BM_ArchivedListAfterARestore(benchmark::State &state)
{
    Setup setup;
    StoreContext &ctx = setup.store->mainContext();
    ArchivedWorkspacesPage page(setup.settings, ctx, setup.lifecycle);
    page.resize(700, 600);
    page.show();
    QApplication::processEvents();
    for (auto _ : state) {
        const auto workspace = ctx.get<Workspace>(page.shownIds().constLast());
        QElapsedTimer clock;
        clock.start();
        (void)setup.lifecycle.restoreWorkspace(workspace);
        QApplication::processEvents(); // the page's queued reload
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
    }
    if (page.shownIds().size() != ArchivedRecordsPage::rowsPerPage)
        qFatal("the list shows %d rows", int(page.shownIds().size()));
}

void BM_ArchivedListReloadAfterASave(benchmark::State &state)
{
    Setup setup;
    StoreContext &ctx = setup.store->mainContext();
    ArchivedWorkspacesPage page(setup.settings, ctx, setup.lifecycle);
    page.resize(700, 600);
    page.show();
    QApplication::processEvents();
    const auto workspace = ctx.get<Workspace>(page.shownIds().constFirst());
    for (auto _ : state) {
        workspace->name += QLatin1Char('.');
        QElapsedTimer clock;
        clock.start();
        if (!ctx.save())
            qFatal("cannot save");
        QApplication::processEvents(); // the page's queued reload
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
    }
    if (page.shownIds().size() != ArchivedRecordsPage::rowsPerPage)
        qFatal("the list shows %d rows", int(page.shownIds().size()));
}

// Delete All… confirmed on the 1,000 archived workspaces, until the list is empty.
void BM_DeleteAllArchivedWorkspaces(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        Setup setup;
        ArchivedWorkspacesPage page(setup.settings, setup.store->mainContext(), setup.lifecycle);
        page.show();
        QApplication::processEvents();
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        page.deleteAllButton()->click();
        QMessageBox *box = page.findChild<QMessageBox *>();
        for (QAbstractButton *button : box->buttons())
            if (button->text() == QLatin1String("Delete All"))
                button->click();
        while (!page.shownIds().isEmpty())
            QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
        const int left = int(setup.store->mainContext().fetchOrEmpty<Workspace>().size());
        if (left != archivedCount) // the live ones
            qFatal("%d workspaces left", left);
    }
    state.counters["deleted"] = archivedCount;
}

} // namespace

BENCHMARK(BM_OpenPreferencesWithEveryPage)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FirstShowOfArchivedWorkspaces)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArchivedListReloadAfterASave)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ArchivedListAfterARestore)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DeleteAllArchivedWorkspaces)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
