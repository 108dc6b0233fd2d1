// The timeline of a 10,000-message chat: building its display items, and 5,000 streamed text
// deltas on the last reply through the list model's gate. Reports the main-thread cost per
// delta and how many rebuilds and reloads the deltas caused (the fingerprint leaves content
// out, so a growing reply should rebuild nothing), and the cost of one reload when the gate
// lets one through.
#include "presentation/timeline/ChatTimelineModel.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>

using namespace corvane;

namespace {

MessagePtr make(MessageRole role, MessageContentType type, const QString &content, const QString &tool = {})
{
    auto m = std::make_shared<Message>();
    m->role = role;
    m->contentType = type;
    m->content = content;
    if (!tool.isEmpty())
        m->toolName = tool;
    return m;
}

// Turns as a session writes them: a prompt, a reply, three tool rows, a permission card now
// and then, a closing reply.
QList<MessagePtr> chat(int count)
{
    QList<MessagePtr> messages;
    messages.reserve(count);
    for (int turn = 0; messages.size() < count; ++turn) {
        messages << make(MessageRole::user, MessageContentType::text, QStringLiteral("Please look at file %1").arg(turn));
        messages << make(MessageRole::assistant, MessageContentType::text, QStringLiteral("Looking at it now."));
        messages << make(MessageRole::tool, MessageContentType::toolComplete, QStringLiteral("Read a.cpp\n120 lines"), "Read");
        messages << make(MessageRole::tool, MessageContentType::toolComplete, QStringLiteral("Grep foo\n3 matches"), "Grep");
        if (turn % 5 == 0)
            messages << make(MessageRole::system, MessageContentType::permissionGranted, QStringLiteral("Bash: make"), "Bash");
        messages << make(MessageRole::tool, MessageContentType::toolComplete, QStringLiteral("Bash: make\nok"), "Bash");
        messages << make(MessageRole::assistant, MessageContentType::text, QStringLiteral("Done: the build passes."));
    }
    messages.resize(count);
    return messages;
}

void BM_BuildDisplayItems10k(benchmark::State &state)
{
    const auto messages = chat(10000);
    qsizetype rows = 0;
    for (auto _ : state) {
        const auto items = buildDisplayItems(messages);
        rows = items.size();
    }
    state.counters["rows"] = double(rows);
}

void BM_Fingerprint10k(benchmark::State &state)
{
    const auto messages = chat(10000);
    for (auto _ : state)
        benchmark::DoNotOptimize(displayItemsFingerprint(messages).hash);
}

// 5,000 deltas as fast as they come, with the event loop turning between them as it does in
// the app: the gate lets at most one reload through per 1/30 s.
void BM_StreamDeltasThroughGate(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto messages = chat(10000);
        auto reply = make(MessageRole::assistant, MessageContentType::text, QString(), {});
        reply->isComplete = false;
        messages << reply;
        ChatTimelineModel model;
        model.resetMessages(messages);
        const int rebuildsBefore = model.rebuildCount();
        const int reloadsBefore = model.reloadCount();
        state.ResumeTiming();
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 5000; ++i) {
            reply->content += QStringLiteral("token ");
            model.messageChanged(reply->id);
            QCoreApplication::processEvents();
        }
        model.flush();
        const double ns = double(clock.nsecsElapsed());
        state.counters["us_per_delta"] = ns / 1000.0 / 5000;
        state.counters["rebuilds"] = model.rebuildCount() - rebuildsBefore;
        state.counters["reloads"] = model.reloadCount() - reloadsBefore;
        state.counters["wall_ms"] = ns / 1e6;
    }
}

// The worst case the gate protects against: every delta forced into a reload.
void BM_ReloadPerDelta(benchmark::State &state)
{
    auto messages = chat(10000);
    auto reply = make(MessageRole::assistant, MessageContentType::text, QString(), {});
    reply->isComplete = false;
    messages << reply;
    ChatTimelineModel model;
    model.resetMessages(messages);
    const int rebuildsBefore = model.rebuildCount();
    for (auto _ : state) {
        reply->content += QStringLiteral("token ");
        model.messageChanged(reply->id);
        model.flush();
    }
    state.counters["rebuilds"] = model.rebuildCount() - rebuildsBefore;
}

// A new message (a tool row) arriving in the 10,000-message chat: a rebuild and a one-row insert.
void BM_AppendMessageReload(benchmark::State &state)
{
    auto messages = chat(10000);
    ChatTimelineModel model;
    model.resetMessages(messages);
    for (auto _ : state) {
        messages << make(MessageRole::user, MessageContentType::text, QStringLiteral("next"));
        model.setMessages(messages);
        model.flush();
    }
    state.counters["rows"] = double(model.rowCount());
}

BENCHMARK(BM_BuildDisplayItems10k)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fingerprint10k)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StreamDeltasThroughGate)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReloadPerDelta)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AppendMessageReload)->Iterations(200)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
