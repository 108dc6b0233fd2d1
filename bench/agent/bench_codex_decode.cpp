// Recorded codex output (real transcripts, repeated to 50,000+ lines) through the line decoder,
// against a bare JSON parse of the same lines: what reading codex costs beyond parsing it.
#include "agent/codex/CodexOutputParser.h"
#include "core/Log.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QJsonDocument>

using namespace corvane;

namespace {

QList<QByteArray> recordedStream()
{
    QList<QByteArray> turn;
    for (const char *name : {"shell_command", "file_change", "failed_command", "plain_text", "failed_turn"}) {
        QFile file(QStringLiteral(CORVANE_CODEX_FIXTURES "/%1.jsonl").arg(QLatin1String(name)));
        if (file.open(QIODevice::ReadOnly))
            for (const QByteArray &line : file.readAll().split('\n'))
                if (!line.trimmed().isEmpty())
                    turn.append(line);
    }
    QList<QByteArray> stream;
    while (stream.size() < 50000 && !turn.isEmpty())
        stream += turn;
    return stream;
}

void decode(benchmark::State &state)
{
    const QList<QByteArray> stream = recordedStream();
    qint64 events = 0;
    for (auto _ : state)
        for (const QByteArray &line : stream)
            events += codexoutput::decodeLine(line).event.has_value();
    state.SetItemsProcessed(state.iterations() * stream.size());
    state.counters["events"] = double(events) / double(state.iterations());
}

void parseOnly(benchmark::State &state)
{
    const QList<QByteArray> stream = recordedStream();
    for (auto _ : state)
        for (const QByteArray &line : stream)
            benchmark::DoNotOptimize(QJsonDocument::fromJson(line));
    state.SetItemsProcessed(state.iterations() * stream.size());
}

} // namespace

BENCHMARK(decode)->Unit(benchmark::kMillisecond);
BENCHMARK(parseOnly)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    setLogStream(nullptr);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
