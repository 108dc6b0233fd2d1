// The project page over a large project: 2,000 branches (half of them stale) and 50 worktrees,
// 30 of them with a workspace. Prints the time to the page's first paint, to the git lists, to
// every hygiene figure, a return visit within the freshness time, and an on-request du.
// Runs offscreen unless QT_QPA_PLATFORM says otherwise.
#include "core/NotificationCenter.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/project/ProjectPage.h"
#include "source_control/overview/ProjectOverviewViewModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace corvane;

namespace {

constexpr int branchCount = 2000;
constexpr int worktreeCount = 50;
constexpr int adoptedCount = 30;
constexpr int rounds = 5;

QByteArray git(const QString &folder, const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("git"), arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(120000);
    if (process.exitCode() != 0)
        std::fprintf(stderr, "git %s: %s\n", qPrintable(arguments.join(' ')), process.readAllStandardError().constData());
    return process.readAllStandardOutput().trimmed();
}

QString makeRepository(const QString &root)
{
    const QString repo = root + "/big";
    git(root, {"init", "-q", "-b", "main", repo});
    git(repo, {"commit", "-q", "--allow-empty", "-m", "now"});
    const QByteArray head = git(repo, {"rev-parse", "HEAD"});
    const QByteArray old = QDateTime::currentDateTimeUtc().addDays(-200).toString(Qt::ISODate).toUtf8();
    qputenv("GIT_COMMITTER_DATE", old);
    qputenv("GIT_AUTHOR_DATE", old);
    const QByteArray stale = git(repo, {"commit-tree", "-m", "old", "-p", QString::fromUtf8(head), "HEAD^{tree}"});
    qunsetenv("GIT_COMMITTER_DATE");
    qunsetenv("GIT_AUTHOR_DATE");
    QByteArray refs;
    for (int i = 0; i < branchCount; ++i)
        refs += "create refs/heads/topic/" + QByteArray::number(i) + " " + (i % 2 ? stale : head) + "\n";
    git(repo, {"update-ref", "--stdin"}, refs);
    for (int i = 0; i < worktreeCount; ++i)
        git(repo, {"worktree", "add", "-q", "-b", QStringLiteral("wt/%1").arg(i), root + QStringLiteral("/wt-%1").arg(i)});
    return repo;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

bool waitFor(const std::function<bool()> &done, int ms = 120000)
{
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir dir;
    qputenv("HOME", dir.path().toUtf8());
    qputenv("GIT_CONFIG_NOSYSTEM", "1");
    qputenv("GIT_AUTHOR_NAME", "Bench");
    qputenv("GIT_AUTHOR_EMAIL", "bench@example.com");
    qputenv("GIT_COMMITTER_NAME", "Bench");
    qputenv("GIT_COMMITTER_EMAIL", "bench@example.com");
    QApplication app(argc, argv);

    QElapsedTimer setup;
    setup.start();
    const QString repo = makeRepository(dir.path());
    std::printf("setup: %d branches, %d worktrees in %.1f s\n", branchCount, worktreeCount, setup.elapsed() / 1000.0);

    auto store = Store::open(dir.filePath("store.sqlite")).value();
    NotificationCenter center;
    WorkspaceLifecycleService lifecycle(store->mainContext(), center);
    auto project = lifecycle.createProject("big", repo, std::nullopt);
    auto other = lifecycle.createProject("other", dir.path(), std::nullopt);
    for (int i = 0; i < adoptedCount; ++i)
        lifecycle.adoptWorktree(*project, GitWorktree{dir.path() + QStringLiteral("/wt-%1").arg(i), QStringLiteral("wt/%1").arg(i), false});

    QList<double> paint, lists, figures, revisit, disk;
    for (int round = 0; round < rounds; ++round) {
        ProjectOverviewViewModel model(store->mainContext(), lifecycle, center);
        QWidget window;
        auto *page = new ProjectPage(model, &window);
        window.resize(1200, 900);
        page->resize(window.size());
        window.show();
        QCoreApplication::processEvents();

        QElapsedTimer timer;
        timer.start();
        model.setProject(project);
        window.repaint();
        paint << timer.nsecsElapsed() / 1e6;
        waitFor([&] { return !model.isLoadingGit(); });
        lists << timer.nsecsElapsed() / 1e6;
        waitFor([&] { return model.isIdle(); });
        figures << timer.nsecsElapsed() / 1e6;

        // Away and back within the freshness time: git lists again, no measuring.
        model.setProject(other);
        waitFor([&] { return model.isIdle(); });
        const int runs = model.hygieneRuns();
        timer.restart();
        model.setProject(project);
        window.repaint();
        waitFor([&] { return model.isIdle(); });
        revisit << timer.nsecsElapsed() / 1e6;
        if (model.hygieneRuns() != runs)
            std::printf("unexpected: the return visit measured again\n");

        timer.restart();
        model.loadDiskUsage();
        waitFor([&] { return model.isIdle(); });
        disk << timer.nsecsElapsed() / 1e6;

        if (round == rounds - 1) {
            std::printf("figures:");
            for (const HygieneFigure &figure : model.figures())
                std::printf(" %s=%s;", qPrintable(figure.title), qPrintable(figure.error.value_or(figure.value.value_or("-"))));
            std::printf("\nhealth: %s, branches listed: %d, worktrees: %d\n", qPrintable(model.healthWord()),
                        int(model.branches().size()), int(model.worktrees().size()));
        }
    }
    std::printf("first paint (median of %d): %.1f ms\n", rounds, median(paint));
    std::printf("branches and worktrees listed: %.1f ms\n", median(lists));
    std::printf("every figure in: %.1f ms\n", median(figures));
    std::printf("return visit within 600 s (no measuring): %.1f ms\n", median(revisit));
    std::printf("disk usage on request (du over the project and 50 worktrees): %.1f ms\n", median(disk));
    return 0;
}
