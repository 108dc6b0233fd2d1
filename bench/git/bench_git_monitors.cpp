// The repository monitors on a tree of 20,000 files in 2,000 folders: how long FileSystemMonitor
// takes to watch it, how many inotify watches that costs, and how long a change takes to become
// a signal (the 0.5 s debounce included, so the figure beyond it is printed too). Also the delay
// from a HEAD replacement to GitStateMonitor's signal.
#include "BenchTree.h"

#include "core/NotificationCenter.h"
#include "source_control/FileSystemMonitor.h"
#include "source_control/GitStateMonitor.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>

using namespace corvane;

namespace {

constexpr int kFolders = 2000;
constexpr int kFilesPerFolder = 10;

struct Tree
{
    QTemporaryDir dir;
    QString path;
    QStringList folders;

    Tree()
    {
        bench::isolateGit(dir.path());
        path = dir.filePath("tree");
        QDir().mkpath(path);
        folders = bench::makeTree(path, kFolders, kFilesPerFolder);
        bench::git(path, {"init", "-q"});
        bench::git(path, {"commit", "-q", "--allow-empty", "-m", "start"});
    }
};

Tree &tree()
{
    static Tree t;
    return t;
}

// Sleeps in the event loop until `done` holds; everything that can make it hold is an event.
template <typename Done>
void spinUntil(Done done)
{
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void BM_FileSystemMonitor_Setup(benchmark::State &state)
{
    NotificationCenter center;
    InotifyHub hub;
    int watches = 0;
    std::vector<double> blocked; // time start() held the calling thread
    for (auto _ : state) {
        FileSystemMonitor monitor(tree().path, center, &hub);
        bool ready = false;
        QObject::connect(&monitor, &FileSystemMonitor::ready, [&ready] { ready = true; });
        QElapsedTimer clock;
        clock.start();
        monitor.start();
        blocked.push_back(clock.nsecsElapsed() / 1e6);
        spinUntil([&] { return ready; });
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
        watches = monitor.watchCount();
    }
    std::sort(blocked.begin(), blocked.end());
    state.counters["start_blocks_ms"] = blocked[blocked.size() / 2];
    state.counters["inotify_watches"] = watches;
    state.counters["folders"] = kFolders + 1; // and the root
}

void BM_FileSystemMonitor_ChangeToSignal(benchmark::State &state)
{
    NotificationCenter center;
    InotifyHub hub;
    FileSystemMonitor monitor(tree().path, center, &hub);
    bool ready = false;
    int posts = 0;
    QObject::connect(&monitor, &FileSystemMonitor::ready, [&ready] { ready = true; });
    QObject::connect(&monitor, &FileSystemMonitor::changed, [&posts] { ++posts; });
    monitor.start();
    // A tree this large is finished on a worker thread, which ends with one catch-up post.
    spinUntil([&] { return ready && !monitor.isPostPending(); });
    std::vector<double> delays;
    int i = 0;
    for (auto _ : state) {
        const int before = posts;
        const QString folder = tree().folders[(i++ * 997) % kFolders];
        QElapsedTimer clock;
        clock.start();
        bench::appendTo(folder + "/f0.txt", "changed\n");
        spinUntil([&] { return posts > before; });
        const double seconds = clock.nsecsElapsed() / 1e9;
        state.SetIterationTime(seconds);
        delays.push_back(seconds * 1000);
    }
    std::sort(delays.begin(), delays.end());
    state.counters["median_ms"] = delays[delays.size() / 2];
    state.counters["beyond_debounce_ms"] = delays[delays.size() / 2] - double(FileSystemMonitor::debounceInterval.count());
}

void BM_FileSystemMonitor_NewFolderToSignal(benchmark::State &state)
{
    // A folder made after the start, then a file written in it: the second change's delay.
    NotificationCenter center;
    InotifyHub hub;
    FileSystemMonitor monitor(tree().path, center, &hub);
    bool ready = false;
    int posts = 0;
    QObject::connect(&monitor, &FileSystemMonitor::ready, [&ready] { ready = true; });
    QObject::connect(&monitor, &FileSystemMonitor::changed, [&posts] { ++posts; });
    monitor.start();
    spinUntil([&] { return ready && !monitor.isPostPending(); });
    int i = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QString folder = QStringLiteral("%1/d%2/new%3/deeper").arg(tree().path).arg(i % 50).arg(i);
        ++i;
        int before = posts;
        QDir().mkpath(folder);
        spinUntil([&] { return posts > before; });
        state.ResumeTiming();
        before = posts;
        QElapsedTimer clock;
        clock.start();
        bench::appendTo(folder + "/file.txt", "new\n");
        spinUntil([&] { return posts > before; });
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
    }
}

void BM_GitStateMonitor_HeadToSignal(benchmark::State &state)
{
    NotificationCenter center;
    InotifyHub hub;
    GitStateMonitor monitor(tree().path, center, &hub);
    int posts = 0;
    QObject::connect(&monitor, &GitStateMonitor::changed, [&posts] { ++posts; });
    monitor.start();
    const QString head = tree().path + "/.git/HEAD";
    int i = 0;
    for (auto _ : state) {
        spinUntil([&] { return monitor.isArmed(); });
        const int before = posts;
        QElapsedTimer clock;
        clock.start();
        // As git does it: a new file renamed over the old one.
        QFile lock(head + ".lock");
        if (lock.open(QIODevice::WriteOnly))
            lock.write(QByteArray("ref: refs/heads/branch") + QByteArray::number(i++) + "\n");
        lock.close();
        ::rename(QFile::encodeName(head + ".lock").constData(), QFile::encodeName(head).constData());
        spinUntil([&] { return posts > before; });
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
    }
}

} // namespace

BENCHMARK(BM_FileSystemMonitor_Setup)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileSystemMonitor_ChangeToSignal)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FileSystemMonitor_NewFolderToSignal)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GitStateMonitor_HeadToSignal)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    tree();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
