// Twenty workspaces open, each in an inspector with background fetches on: how many timers the
// application runs for them, how long one fetch beat takes over all twenty clones (each with a
// bare remote on disk), and how many git processes a minute that comes to.
#include "BenchTree.h"

#include "core/process/ChildProcess.h"
#include "source_control/inspector/BackgroundClock.h"
#include "source_control/inspector/GitActionsModel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QUuid>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

using namespace corvane;

namespace {

constexpr int workspaceCount = 20;

struct Workspaces
{
    QTemporaryDir root;
    std::vector<std::unique_ptr<GitActionsModel>> inspectors;

    Workspaces()
    {
        bench::isolateGit(root.path());
        for (int i = 0; i < workspaceCount; ++i) {
            const QString remote = root.filePath(QStringLiteral("remote%1.git").arg(i));
            const QString clone = root.filePath(QStringLiteral("ws%1").arg(i));
            bench::git(root.path(), {"init", "-q", "--bare", remote});
            bench::git(root.path(), {"init", "-q", clone});
            bench::appendTo(clone + "/README.md", "hello\n");
            bench::git(clone, {"add", "-A"});
            bench::git(clone, {"commit", "-q", "-m", "first"});
            bench::git(clone, {"remote", "add", "origin", remote});
            bench::git(clone, {"push", "-q", "-u", "origin", "main"});
            auto inspector = std::make_unique<GitActionsModel>();
            inspector->setBackgroundFetch([] { return true; });
            inspector->show(QUuid::createUuid(), clone);
            inspectors.push_back(std::move(inspector));
        }
    }
    bool anyFetching() const
    {
        for (const auto &inspector : inspectors)
            if (inspector->isRunning(GitActionsModel::Action::fetch))
                return true;
        return false;
    }
};

Workspaces &workspaces()
{
    static Workspaces made;
    return made;
}

void BM_FetchBeat_TwentyWorkspaces(benchmark::State &state)
{
    Workspaces &open = workspaces();
    const quint64 before = ChildProcess::startedCount();
    for (auto _ : state) {
        BackgroundClock::instance().run(BackgroundClock::Beat::fetch);
        while (open.anyFetching())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    const double perBeat = double(ChildProcess::startedCount() - before) / double(state.iterations());
    // A fetch beat every five minutes, the pull-request beat runs no git of its own here.
    const double beatsPerMinute = 60.0 / BackgroundClock::intervalSeconds(BackgroundClock::Beat::fetch);
    state.counters["git_per_beat"] = perBeat;
    state.counters["git_per_minute"] = perBeat * beatsPerMinute;
    state.counters["timers"] = BackgroundClock::instance().timerCount();
}

} // namespace

BENCHMARK(BM_FetchBeat_TwentyWorkspaces)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
