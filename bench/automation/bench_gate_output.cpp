// A quality gate that prints 200 MB: only its last 8 KB are kept, so Corvane's memory stays
// flat however much a gate prints, and reading the pipe costs little next to printing it.
// Figures: the wall time against the same command with its output sent to /dev/null and piped
// to cat (all three through the gate runner), the CPU time Corvane spent reading, and how far
// the process's peak resident memory rose.
#include "automation/QualityGateRunner.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>

#include <algorithm>

using namespace corvane;

namespace {

const QString kPrint200MB = QStringLiteral("awk 'BEGIN { for (i = 1; i <= 2800000; i++) printf \"ok %d - parses the header of record %d without a trailing newline\\n\", i, i }'");

// The peak resident set so far, in MiB (VmHWM).
double peakResidentMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
    return 0;
}

ExecutionOutcome runGate(const QString &command)
{
    QualityGate gate;
    gate.name = QStringLiteral("print");
    gate.command = command;
    GateExecution execution(gate, QStringLiteral("/tmp"));
    ExecutionOutcome outcome;
    QEventLoop loop;
    QObject::connect(&execution, &GateExecution::finished, &loop, [&](const ExecutionOutcome &o) {
        outcome = o;
        loop.quit();
    });
    execution.start();
    loop.exec();
    return outcome;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

// Each round runs the gate three ways, in turn: its output sent to /dev/null; piped to cat, the
// cheapest reader there is, which shows what a pipe itself costs the writer; and read by the
// gate runner. Rounds interleave the three so that a machine whose speed drifts (a shared VM)
// skews them alike; the figures are medians over rounds. The iteration time is the runner's.
void BM_GatePrinting200MB(benchmark::State &state)
{
    const QStringList commands{QStringLiteral("(%1) > /dev/null").arg(kPrint200MB),
                               QStringLiteral("(%1) | cat > /dev/null").arg(kPrint200MB), kPrint200MB};
    runGate(QStringLiteral("true")); // the first launch pays for loading; not counted
    const double before = peakResidentMiB();
    QList<double> seconds[3];
    QList<double> againstDevNull, againstCat;
    qsizetype tail = 0;
    int round = 0;
    for (auto _ : state) {
        double took[3] = {};
        for (int k = 0; k < 3; ++k) {
            const int arm = (k + round) % 3;
            const ExecutionOutcome outcome = runGate(commands[arm]);
            if (outcome.exitCode != 0)
                state.SkipWithError("the gate failed");
            took[arm] = outcome.duration;
            seconds[arm].append(outcome.duration);
            if (arm == 2)
                tail = outcome.outputTail.toUtf8().size();
        }
        state.SetIterationTime(took[2]);
        againstDevNull.append(took[2] / took[0]);
        againstCat.append(took[2] / took[1]);
        ++round;
    }
    state.counters["devnull_ms"] = median(seconds[0]) * 1000;
    state.counters["cat_ms"] = median(seconds[1]) * 1000;
    state.counters["runner_ms"] = median(seconds[2]) * 1000;
    state.counters["runner_vs_devnull"] = median(againstDevNull);
    state.counters["runner_vs_cat"] = median(againstCat);
    state.counters["tail_bytes"] = double(tail);
    state.counters["peak_rss_growth_MiB"] = peakResidentMiB() - before;
}

} // namespace

BENCHMARK(BM_GatePrinting200MB)->Iterations(9)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
