// The side-by-side diff's rows for two files of 10,000 lines. "Scattered": 1,000 lines changed
// one by one across the file (rewritten, so each change is a removal and an insertion).
// "Shuffled lines": 1,000 lines moved elsewhere, so every changed line still exists on the other
// side and the search cannot set them aside. The rows are computed on a worker in the
// application; this measures the computation itself.
#include "source_control/diff/LineDiff.h"

#include <benchmark/benchmark.h>

#include <QRandomGenerator>
#include <QStringList>

using namespace corvane;

namespace {

QStringList codeLines(int count)
{
    QStringList lines;
    lines.reserve(count);
    for (int i = 0; i < count; ++i)
        lines << QStringLiteral("    result += compute(%1, value_%2); // step %1").arg(i).arg(i % 97);
    return lines;
}

void measureRows(benchmark::State &state, const QStringList &before, const QStringList &after)
{
    const QString oldText = before.join('\n'), newText = after.join('\n');
    qsizetype rows = 0;
    for (auto _ : state)
        rows = diff::rows(oldText, newText).size();
    state.counters["rows"] = double(rows);
}

void BM_ScatteredChanges(benchmark::State &state)
{
    const QStringList before = codeLines(10000);
    QStringList after = before;
    for (int i = 5; i < after.size(); i += 10)
        after[i] += QStringLiteral(" // changed");
    measureRows(state, before, after);
}
BENCHMARK(BM_ScatteredChanges)->Unit(benchmark::kMillisecond);

void BM_MovedLines(benchmark::State &state)
{
    const QStringList before = codeLines(10000);
    QStringList after = before;
    QRandomGenerator random(3);
    for (int moved = 0; moved < 1000; ++moved) {
        const QString line = after.takeAt(random.bounded(after.size()));
        after.insert(random.bounded(after.size() + 1), line);
    }
    measureRows(state, before, after);
}
BENCHMARK(BM_MovedLines)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
