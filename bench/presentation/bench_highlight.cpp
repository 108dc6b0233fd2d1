// highlight.js in Qt's engine on a 200-line C++ block (the size agents paste), the one-off
// engine load, and the Markdown renderer on a long reply: cold, cached, re-parsed per
// streamed delta the way a growing reply is, and laid out for its height.
#include "presentation/highlight/HighlightEngine.h"
#include "presentation/highlight/HighlightTheme.h"
#include "presentation/markdown/MarkdownDocument.h"
#include "presentation/markdown/MarkdownRenderer.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QGuiApplication>

using namespace corvane;

namespace {

QString cppBlock(int lines)
{
    QFile file(QStringLiteral(CORVANE_FIXTURES "/sample.cpp"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList sample = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    QStringList out;
    while (out.size() < lines)
        out << sample[out.size() % sample.size()];
    return out.join(QLatin1Char('\n'));
}

QString longReply()
{
    QString reply;
    for (int i = 0; i < 20; ++i) {
        reply += QStringLiteral("## Step %1\n\nThe change touches `src/file%1.cpp` and **keeps** the old *behaviour*; "
                                "see [the notes](https://example.com/%1).\n\n- first point\n- second point with `code`\n"
                                "1. numbered\n2. numbered again\n\n| File | Lines |\n|---|---:|\n| a.cpp | 12 |\n| b.h | 3 |\n\n"
                                "```cpp\nint f%1(int x) { return x * %1; }\n```\n\n").arg(i);
    }
    return reply;
}

void BM_EngineLoad(benchmark::State &state)
{
    for (auto _ : state) {
        HighlightEngine engine;
        if (!engine.load()) {
            state.SkipWithError("highlight.js not installed");
            return;
        }
    }
}

void BM_Highlight200LineCpp(benchmark::State &state)
{
    HighlightEngine engine;
    const auto theme = HighlightTheme::named(QStringLiteral("atom-one-dark"));
    if (!engine.load() || !theme) {
        state.SkipWithError("highlight.js not installed");
        return;
    }
    const QString code = cppBlock(200);
    qsizetype runs = 0;
    for (auto _ : state) {
        auto result = engine.highlight(code, QStringLiteral("cpp"), *theme);
        runs = result ? result->runs.size() : 0;
    }
    state.counters["runs"] = double(runs);
    state.counters["chars"] = double(code.size());
}

void BM_MarkdownLongReplyCold(benchmark::State &state)
{
    const QString reply = longReply();
    for (auto _ : state) {
        MarkdownRenderer::clearCaches();
        benchmark::DoNotOptimize(MarkdownRenderer::blocks(reply, false, 14).size());
    }
    state.counters["chars"] = double(reply.size());
}

void BM_MarkdownLongReplyCached(benchmark::State &state)
{
    const QString reply = longReply();
    for (auto _ : state)
        benchmark::DoNotOptimize(MarkdownRenderer::blocks(reply, false, 14).size());
}

// A reply growing by 8-character deltas: every delta re-parses the whole text (the block list
// is not cached while streaming), the inline cache keeps finished lines cheap.
void BM_MarkdownStreamingPerDelta(benchmark::State &state)
{
    const QString reply = longReply();
    MarkdownRenderer::clearCaches();
    qsizetype length = 8;
    for (auto _ : state) {
        benchmark::DoNotOptimize(MarkdownRenderer::blocks(reply.left(length), true, 14).size());
        length = length + 8 > reply.size() ? 8 : length + 8;
    }
    state.counters["reply_chars"] = double(reply.size());
}

// What a row delegate pays on a height-cache miss: the reply laid out in a QTextDocument.
void BM_MarkdownHeightForWidth(benchmark::State &state)
{
    const auto blocks = MarkdownRenderer::blocks(longReply(), false, 14);
    const auto fonts = FontRamp::forSize(14);
    int height = 0;
    for (auto _ : state)
        height = markdowndocument::heightForWidth(blocks, *fonts, MarkdownPalette::light(), 600);
    state.counters["height_px"] = height;
}

BENCHMARK(BM_EngineLoad)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Highlight200LineCpp)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MarkdownLongReplyCold)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MarkdownLongReplyCached)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MarkdownStreamingPerDelta)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MarkdownHeightForWidth)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
