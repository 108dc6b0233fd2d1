// The project page's view model on real repositories: figures measured and coloured, the ten
// minute freshness, failures as readable texts, and the actions (delete stale branches, stop a
// lingering listener, adopt, prune) checked on disk and in /proc.
#include "HygieneRepo.h"
#include "core/process/ChildProcess.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/overview/HygieneRules.h"
#include "source_control/overview/ProjectOverviewViewModel.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/PortListener.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

bool waitIdle(ProjectOverviewViewModel &model, int ms = 30000)
{
    return QTest::qWaitFor([&] { return model.isIdle(); }, ms);
}

QStringList figureTexts(const ProjectOverviewViewModel &model)
{
    QStringList out;
    for (const HygieneFigure &f : model.figures())
        out << f.title + "=" + f.value.value_or("-") + "/" + hygiene::colorName(f.color) + (f.error ? "!" : "");
    return out;
}

} // namespace

class ProjectOverviewTest : public QObject
{
    Q_OBJECT

private:
    test::GitSandbox m_sandbox;
    std::shared_ptr<Store> m_store;
    NotificationCenter m_center;
    std::unique_ptr<WorkspaceLifecycleService> m_lifecycle;
    std::unique_ptr<ProjectOverviewViewModel> m_model;
    QDateTime m_now;
    int m_case = 0;

    StoreContext &context() { return m_store->mainContext(); }

    std::shared_ptr<Project> addProject(const QString &folder)
    {
        return m_lifecycle->createProject(QFileInfo(folder).fileName(), folder, std::nullopt);
    }

private slots:
    void init()
    {
        m_store = Store::open(m_sandbox.path(QStringLiteral("store%1.sqlite").arg(++m_case))).value();
        m_lifecycle = std::make_unique<WorkspaceLifecycleService>(context(), m_center);
        m_model = std::make_unique<ProjectOverviewViewModel>(context(), *m_lifecycle, m_center);
        m_now = QDateTime::currentDateTime();
        m_model->setClock([this] { return m_now; });
        m_model->setStopGraceMs(1500);
    }

    void cleanup()
    {
        m_model.reset();
        m_lifecycle.reset();
        m_store.reset();
    }

    void figuresOfADirtyProject()
    {
        const test::HygieneRepo repo = test::makeHygieneRepo(m_sandbox, "dirty");
        auto project = addProject(repo.repo);
        GitWorktree used{repo.usedWorktree, QStringLiteral("used"), false};
        m_lifecycle->adoptWorktree(*project, used);
        test::PortListener listener;
        QVERIFY(listener.start(repo.orphanWorktree));
        // What Corvane's own wrapper runs (an agent, say) works here too, and is not lingering.
        ChildProcess agent;
        agent.start(ProcessCommand{QStringLiteral("/bin/sleep"), {QStringLiteral("60")}, repo.repo});
        QTRY_VERIFY(agent.isRunning() && agent.processId() > 0);

        m_model->setProject(project);
        // The first paint has the store's part before any measurement lands.
        QCOMPARE(m_model->recentWorkspaces().size(), 1);
        QCOMPARE(m_model->healthWord(), QStringLiteral("..."));
        QVERIFY(m_model->isLoadingHygiene());
        QVERIFY(waitIdle(*m_model));

        QCOMPARE(figureTexts(*m_model), (QStringList{
            "Disk Usage=-/green", "Stashes=2/yellow", "Uncommitted Files=2/yellow", "Stale Branches=4/red",
            "Lingering Processes=1/red", "Outdated Dependencies=-/green", "Worktrees Without Workspace=1/yellow"}));
        QCOMPARE(m_model->healthWord(), QStringLiteral("Poor"));
        const HygieneDetails &details = m_model->hygieneDetails();
        QCOMPARE(details.zombieProcesses.first().id, listener.process.processId());
        QCOMPARE(details.zombieProcesses.first().name, QStringLiteral("python3"));
        QCOMPARE(details.staleBranches.first().daysSinceLastCommit, 120);
        QCOMPARE(m_model->currentBranch(), QStringLiteral("main"));
        QCOMPARE(m_model->worktrees().size(), 2);
        QCOMPARE(m_model->orphanWorktrees().first().path, repo.orphanWorktree);
        QCOMPARE(m_model->branches().size(), 8); // main, fresh, used, orphan and four old ones

        // Cached on the record, and saved: another context reads the same.
        auto stored = m_store->newContext()->get<Project>(project->id);
        QCOMPARE(stored->hygieneStaleBranchCount, 4);
        QCOMPARE(stored->hygieneZombieCount, 1);
        QVERIFY(stored->hygieneCheckedAt);

        // Disk usage only on request, over the project and its worktrees.
        m_model->loadDiskUsage();
        QVERIFY(waitIdle(*m_model));
        QVERIFY(hygiene::diskUsageBytes(*project->hygieneDiskUsage).value_or(0) > 0);

        // Stop: the listener ends, and the scan that follows finds nothing.
        m_model->stopProcesses(details.zombieProcesses);
        QVERIFY(m_model->isStoppingProcesses());
        QVERIFY(listener.process.waitForFinished(5000));
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(project->hygieneZombieCount, 0);
        QVERIFY(agent.isRunning());

        // Delete the stale branches: git no longer has them.
        m_model->deleteBranches({repo.staleBranches.begin(), repo.staleBranches.end()});
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(project->hygieneStaleBranchCount, 0);
        QVERIFY(!m_sandbox.git(repo.repo, {"branch", "--list", "old/*"}).trimmed().size());

        // Adopt the orphan worktree: it has a workspace now.
        m_model->adoptWorktree(m_model->orphanWorktrees().first());
        QVERIFY(m_model->orphanWorktrees().isEmpty());
        QCOMPARE(m_model->figure(HygieneFigureKind::orphanWorktrees).value, QStringLiteral("0"));
    }

    void freshForTenMinutes()
    {
        auto first = addProject(test::makeHygieneRepo(m_sandbox, "fresh", 1, 0, 0).repo);
        auto second = addProject(m_sandbox.makeRepository("other"));
        m_model->setProject(first);
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->hygieneRuns(), 1);

        m_model->setProject(second);
        QVERIFY(waitIdle(*m_model));
        m_now = m_now.addSecs(599);
        m_model->setProject(first); // back within ten minutes: the figures stand, details too
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->hygieneRuns(), 2);
        QCOMPARE(m_model->hygieneDetails().staleBranches.size(), 1);

        m_model->refreshAll(); // whatever the age
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->hygieneRuns(), 3);

        m_now = m_now.addSecs(601);
        m_model->setProject(first);
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->hygieneRuns(), 4);
    }

    void failuresReadAsTexts()
    {
        // A folder that is not a repository, nor has its dependencies' registry in reach.
        const QString folder = m_sandbox.path("plain");
        QDir().mkpath(folder);
        m_sandbox.write(folder + "/package.json", R"({"name":"p","version":"1.0.0","dependencies":{"left-pad":"^1.0.0"}})");
        qputenv("npm_config_registry", "http://127.0.0.1:9/");
        qputenv("npm_config_fetch_retries", "0");
        auto project = addProject(folder);
        m_model->setProject(project);
        m_model->checkDependencies();
        QVERIFY(waitIdle(*m_model, 120000));
        qunsetenv("npm_config_registry");
        qunsetenv("npm_config_fetch_retries");

        for (HygieneFigureKind kind : {HygieneFigureKind::stashes, HygieneFigureKind::uncommitted, HygieneFigureKind::staleBranches}) {
            const HygieneFigure figure = m_model->figure(kind);
            QVERIFY2(figure.error && figure.error->contains("not a git repository"), qPrintable(figure.error.value_or("none")));
            QVERIFY(!figure.value);
        }
        const HygieneFigure outdated = m_model->figure(HygieneFigureKind::outdated);
        QVERIFY2(outdated.error && !outdated.value, qPrintable(outdated.error.value_or("none")));
        QCOMPARE(m_model->figure(HygieneFigureKind::lingering).value, QStringLiteral("0"));

        // Without a package.json there is nothing to report, and nothing made up.
        QFile::remove(folder + "/package.json");
        m_model->checkDependencies();
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->figure(HygieneFigureKind::outdated).value, QStringLiteral("No package.json"));
        QVERIFY(!project->hygieneOutdatedDepsCount);
    }

    void pruneAndRemoveWorktrees()
    {
        const test::HygieneRepo repo = test::makeHygieneRepo(m_sandbox, "prune", 0, 0, 0);
        auto project = addProject(repo.repo);
        m_model->setProject(project);
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->orphanWorktrees().size(), 2);

        QVERIFY(QDir(repo.usedWorktree).removeRecursively()); // gone behind git's back
        m_model->pruneWorktrees();
        QVERIFY(waitIdle(*m_model));
        QCOMPARE(m_model->worktrees().size(), 1);

        const auto removed = test::await(m_model->removeWorktree(repo.orphanWorktree, true));
        QVERIFY(removed && removed->isDone());
        QVERIFY(waitIdle(*m_model));
        QVERIFY(m_model->worktrees().isEmpty());
        QVERIFY(!QFileInfo::exists(repo.orphanWorktree));
    }
};

QTEST_GUILESS_MAIN(ProjectOverviewTest)
#include "tst_project_overview.moc"
