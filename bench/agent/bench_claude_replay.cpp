// A recorded claude stream of 50,000+ lines (real transcripts, repeated turn after turn)
// replayed through the decoder, the chat session and the store, against a bare JSON parse of
// the same lines. Reports the ratio, the main-thread time per streamed delta, and how many
// saves the session made (the 2.5 s throttle keeps streaming text from saving per delta).
#include "agent/claude/ClaudeStreamDecoder.h"
#include "agent/session/ChatSession.h"
#include "core/Log.h"
#include "core/records/Chat.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

using namespace corvane;

namespace {

QList<QByteArray> recordedStream()
{
    QList<QByteArray> turn;
    for (const char *name : {"tool_uses", "multibyte_text", "two_text_blocks", "thinking_text", "plain_text"}) {
        QFile file(QStringLiteral(CORVANE_FIXTURES "/%1.jsonl").arg(QLatin1String(name)));
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

void forward(ChatSession &session, const ClaudeEvent &e, int &deltas)
{
    using K = ClaudeEvent::Kind;
    switch (e.kind) {
    case K::initialized: session.didInitialize(e.info); break;
    case K::thinkingStarted: session.didStartThinking(); break;
    case K::text: ++deltas; session.didReceiveText(e.text); break;
    case K::toolStarted: session.didStartTool(e.name, e.id, e.input); break;
    case K::toolResult: session.didReceiveToolResult(e.id, e.text); break;
    case K::result: session.didComplete(e.result); break;
    default: break;
    }
}

void BM_ReplayThroughSession(benchmark::State &state)
{
    const QList<QByteArray> stream = recordedStream();
    setLogStream(nullptr);
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir dir;
        auto store = Store::open(dir.filePath("bench.store")).value();
        Chat chat;
        store->mainContext().insert(chat);
        (void)store->mainContext().save();
        ChatSession session(chat.id, "bench", dir.path(), *store);
        ClaudeStreamDecoder decoder;
        int deltas = 0;
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        for (const QByteArray &line : stream)
            for (const ClaudeEvent &e : decoder.decode(line).events)
                forward(session, e, deltas);
        const double ns = double(clock.nsecsElapsed());
        state.counters["lines"] = double(stream.size());
        state.counters["us_per_delta"] = ns / 1000.0 / std::max(1, deltas);
        state.counters["store_saves"] = session.saveCount();
        state.counters["deltas"] = deltas;
    }
}

void BM_BareJsonParse(benchmark::State &state)
{
    const QList<QByteArray> stream = recordedStream();
    for (auto _ : state)
        for (const QByteArray &line : stream)
            benchmark::DoNotOptimize(QJsonDocument::fromJson(line).isObject());
}

BENCHMARK(BM_ReplayThroughSession)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareJsonParse)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
