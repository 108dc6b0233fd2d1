// Reading every definition file: 1,000 skills and commands (half folders with a page, half
// command files) and 200 flows and subagents, spread over the user's folders and four projects.
// A reload lists, reads and parses the files and mirrors them into the store on a worker
// thread; the main thread only publishes the list. Figures: the wall time of the three reloads
// run together, and the main thread's share.
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "core/store/Store.h"
#include "planning/SkillsService.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

using namespace corvane;

namespace {

constexpr int kSkills = 1000;
constexpr int kFlowsAndAgents = 200;
constexpr int kProjects = 4;

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(path.section('/', 0, -2));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

struct Tree
{
    QTemporaryDir dir;
    QStringList projects;

    Tree()
    {
        qputenv("HOME", dir.path().toUtf8());
        QStringList bases{dir.path() + "/.claude"};
        for (int p = 0; p < kProjects; ++p) {
            projects << dir.path() + QStringLiteral("/project%1").arg(p);
            bases << projects.last() + "/.claude";
        }
        const QByteArray body = QByteArray("Steps to follow.\n\n").repeated(40);
        for (int i = 0; i < kSkills; ++i) {
            const QString base = bases[i % bases.size()];
            const QByteArray header = QStringLiteral("---\nname: skill-%1\ndescription: Does thing %1\n"
                                                     "allowed-tools: [Bash(git add:*, git status:*), Read]\n---\n\n")
                                          .arg(i).toUtf8();
            if (i % 2) {
                write(QStringLiteral("%1/commands/cmd-%2.md").arg(base).arg(i), header + body);
            } else {
                write(QStringLiteral("%1/skills/skill-%2/SKILL.md").arg(base).arg(i), header + body);
                write(QStringLiteral("%1/skills/skill-%2/reference.md").arg(base).arg(i), body);
            }
        }
        for (int i = 0; i < kFlowsAndAgents / 2; ++i) {
            const QString project = projects[i % kProjects];
            write(QStringLiteral("%1/.corvane/flows/flow-%2.md").arg(project).arg(i),
                  QStringLiteral("---\nname: flow-%1\nagents: [planner, reviewer]\ngates: [test]\n---\n\n").arg(i).toUtf8() + body);
            write(QStringLiteral("%1/.claude/agents/agent-%2.md").arg(project).arg(i),
                  QStringLiteral("---\nname: agent-%1\ntools: Read, Grep\n---\n\n").arg(i).toUtf8() + body);
        }
    }
};

Tree &tree()
{
    static Tree t;
    return t;
}

struct Services
{
    std::shared_ptr<Store> store;
    AutomationFlowsService flows;
    AgentDefinitionsService agents;
    SkillsService skills;

    explicit Services(std::shared_ptr<Store> s) : store(s), flows(s), agents(s), skills(s) {}

    // Wall time of the three reloads run together; `mainThread` gets what the main thread spent.
    double reloadAll(double &mainThread)
    {
        int waiting = 3;
        QList<DefinitionService *> all{&flows, &agents, &skills};
        QList<QMetaObject::Connection> links;
        for (DefinitionService *service : all)
            links << QObject::connect(service, &DefinitionService::reloaded, [&waiting] { --waiting; });
        QElapsedTimer clock;
        clock.start();
        for (DefinitionService *service : all)
            service->reload(tree().projects);
        while (waiting > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const double wall = clock.nsecsElapsed() / 1e6;
        mainThread = 0;
        for (DefinitionService *service : all)
            mainThread += service->lastMainThreadTime().count() / 1e6;
        for (const auto &link : links)
            QObject::disconnect(link);
        return wall;
    }
};

void BM_FirstScan(benchmark::State &state)
{
    double main = 0;
    int n = 0;
    for (auto _ : state) {
        QTemporaryDir storeDir;
        Services services(Store::open(storeDir.filePath("bench.store")).value());
        state.SetIterationTime(services.reloadAll(main) / 1000);
        n = services.skills.skills().size() + services.flows.flows().size() + services.agents.agents().size();
    }
    state.counters["definitions"] = n;
    state.counters["main_thread_ms"] = main;
}

void BM_Rescan(benchmark::State &state)
{
    QTemporaryDir storeDir;
    Services services(Store::open(storeDir.filePath("bench.store")).value());
    double main = 0;
    services.reloadAll(main);
    for (auto _ : state)
        state.SetIterationTime(services.reloadAll(main) / 1000);
    state.counters["main_thread_ms"] = main;
}

} // namespace

BENCHMARK(BM_FirstScan)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rescan)->Iterations(10)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    tree();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
