// Status of a large repository through GitService against the bare git command, in one run:
// 20,000 tracked files in 2,000 folders, 500 of them changed. GitService's figure includes
// everything a caller pays: the queue, the child process, reading the pipes, parsing, and the
// hop of the result to the caller's context. The bare figure is git started with posix_spawn and
// its output read to the end, nothing else. Prints the ratio last.
#include "BenchTree.h"

#include "source_control/GitExecutable.h"
#include "source_control/GitService.h"
#include "source_control/inspector/InspectorViewModel.h"

#include <benchmark/benchmark.h>

#include <thread>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

using namespace corvane;

namespace {

constexpr int kFolders = 2000;
constexpr int kFilesPerFolder = 10;
constexpr int kChanged = 500;

struct Repository
{
    QTemporaryDir dir;
    QString path;

    Repository()
    {
        bench::isolateGit(dir.path());
        path = dir.filePath("repo");
        QDir().mkpath(path);
        const QStringList folders = bench::makeTree(path, kFolders, kFilesPerFolder);
        bench::git(path, {"init", "-q"});
        bench::git(path, {"add", "-A"});
        bench::git(path, {"commit", "-q", "-m", "tree"});
        for (int i = 0; i < kChanged; ++i)
            bench::appendTo(QStringLiteral("%1/f%2.txt").arg(folders[i * kFolders / kChanged]).arg(i % kFilesPerFolder),
                            "changed\n");
    }
};

Repository &repository()
{
    static Repository repo;
    return repo;
}

// The bare command: spawn, read standard output to its end, wait. Returns the bytes read.
qint64 bareStatus(const QString &directory, const std::vector<std::string> &arguments)
{
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addchdir_np(&actions, QFile::encodeName(directory).constData());
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const QByteArray program = QFile::encodeName(gitExecutable());
    posix_spawn(&pid, program.constData(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    qint64 total = 0;
    char buffer[65536];
    for (ssize_t got; (got = ::read(out[0], buffer, sizeof buffer)) > 0;)
        total += got;
    ::close(out[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return total;
}

const std::vector<std::string> bareArguments{"git", "status", "--porcelain=v2", "--branch", "-z"};

// One status call the way a view model makes it: a fresh GitService, the result handed back
// through the event loop.
int serviceStatus(const QString &directory)
{
    QObject context;
    int files = -1;
    GitService(directory).status().then(&context, [&files](const GitResult<StatusSummary> &result) {
        files = int(result->files.size());
    });
    while (files < 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return files;
}

void BM_Status_GitService(benchmark::State &state)
{
    const QString path = repository().path;
    serviceStatus(path); // git's caches warm
    int files = 0;
    for (auto _ : state)
        files = serviceStatus(path);
    state.counters["changed_files"] = files;
}

void BM_Status_BareGit(benchmark::State &state)
{
    const QString path = repository().path;
    bareStatus(path, bareArguments);
    qint64 bytes = 0;
    for (auto _ : state)
        bytes = bareStatus(path, bareArguments);
    state.counters["output_bytes"] = double(bytes);
}

// Exactly "git status --porcelain=v2", for reference: no branch header, paths quoted.
void BM_Status_BareGitPlainV2(benchmark::State &state)
{
    const QString path = repository().path;
    const std::vector<std::string> arguments{"git", "status", "--porcelain=v2"};
    for (auto _ : state)
        bareStatus(path, arguments);
}

// The two alternated, so a neighbour's load on the shared cores falls on both alike; the ratio
// of the medians is the figure to quote.
void BM_Status_Interleaved(benchmark::State &state)
{
    const QString path = repository().path;
    std::vector<double> ours, bare;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        bareStatus(path, bareArguments);
        bare.push_back(clock.nsecsElapsed() / 1e6);
        clock.restart();
        serviceStatus(path);
        ours.push_back(clock.nsecsElapsed() / 1e6);
    }
    const auto median = [](std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    state.counters["bare_ms"] = median(bare);
    state.counters["service_ms"] = median(ours);
    state.counters["ratio"] = median(ours) / median(bare);
}

// The inspector's whole refresh (status, line counts of both diffs, the distance from the
// default branch, new files' lines counted) until its view model has the answer, against the
// same git commands run bare, each chain on its own thread as the refresh runs them side by side.
void bareRefresh(const QString &path)
{
    auto chain = [&path](std::vector<std::vector<std::string>> commands) {
        return std::thread([&path, commands] {
            for (const auto &command : commands)
                bareStatus(path, command);
        });
    };
    std::thread status = chain({{"git", "status", "--porcelain=v2", "--branch", "-z"}});
    std::thread stats = chain({{"git", "diff", "--numstat", "-z"}, {"git", "diff", "--cached", "--numstat", "-z"}});
    std::thread ahead = chain({{"git", "rev-list", "--count", "origin/main..HEAD"},
                               {"git", "rev-list", "--count", "origin/master..HEAD"},
                               {"git", "rev-list", "--count", "HEAD"}});
    status.join();
    stats.join();
    ahead.join();
}

void panelRefresh(InspectorViewModel &model)
{
    const int before = model.refreshCount();
    model.refreshStatus();
    while (model.refreshCount() == before)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void BM_PanelRefresh_Interleaved(benchmark::State &state)
{
    const QString path = repository().path;
    NotificationCenter center;
    InspectorViewModel model(center);
    model.setAutoRefreshSetting([] { return false; }); // only the refreshes asked for here
    model.setWorkingDirectory(path);
    panelRefresh(model);
    std::vector<double> ours, bare;
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        bareRefresh(path);
        bare.push_back(clock.nsecsElapsed() / 1e6);
        clock.restart();
        panelRefresh(model);
        ours.push_back(clock.nsecsElapsed() / 1e6);
    }
    const auto median = [](std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    state.counters["bare_ms"] = median(bare);
    state.counters["panel_ms"] = median(ours);
    state.counters["ratio"] = median(ours) / median(bare);
    state.counters["changed_files"] = double(model.modifiedFiles().size());
}

} // namespace

BENCHMARK(BM_PanelRefresh_Interleaved)->Iterations(30)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Status_GitService)->Iterations(40)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Status_BareGit)->Iterations(40)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Status_BareGitPlainV2)->Iterations(40)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Status_Interleaved)->Iterations(40)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    repository();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
