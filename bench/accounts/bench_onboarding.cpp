// The first-run checklist's checks on this machine: how long a full revalidation takes to
// settle, and how long the window's thread is held while it runs (the longest gap between
// ticks of a 1 ms timer). Claude's own sign-in check is left out: it is a claude process of a
// second or more, which runs beside the window and is measured with the agent tools.
#include "accounts/onboarding/DesktopServices.h"
#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "accounts/onboarding/OnboardingShell.h"
#include "accounts/onboarding/OnboardingValidator.h"

#include <benchmark/benchmark.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>

using namespace corvane;

namespace {

bool settled(const OnboardingChecklistViewModel &model)
{
    for (const auto &row : model.items())
        if (row.state == OnboardingChecklistItem::State::checking)
            return false;
    return true;
}

void BM_RevalidateAllRows(benchmark::State &state)
{
    auto *validator = new OnboardingValidator(nullptr);
    OnboardingChecklistViewModel model(validator);
    double longestStallMs = 0;
    double callMs = 0;
    for (auto _ : state) {
        QElapsedTimer clock;
        QElapsedTimer sinceTick;
        double stall = 0;
        QTimer ticker;
        ticker.setInterval(1);
        QObject::connect(&ticker, &QTimer::timeout, [&] {
            stall = std::max(stall, double(sinceTick.nsecsElapsed()) / 1e6);
            sinceTick.restart();
        });
        clock.start();
        model.revalidateAll();
        callMs = std::max(callMs, double(clock.nsecsElapsed()) / 1e6);
        sinceTick.start();
        ticker.start();
        QEventLoop loop;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            if (settled(model))
                loop.quit();
        });
        poll.start(1);
        loop.exec();
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        longestStallMs = std::max(longestStallMs, stall);
    }
    state.counters["longest_stall_ms"] = longestStallMs;
    state.counters["revalidate_call_ms"] = callMs;
}
BENCHMARK(BM_RevalidateAllRows)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

// The lookup of one missing tool through every folder of a long PATH and nvm's versions.
void BM_MissingToolLookup(benchmark::State &state)
{
    QStringList path;
    for (int i = 0; i < 30; ++i)
        path << QStringLiteral("/tmp/corvane-bench-nowhere-%1").arg(i);
    const QStringList folders = onboarding::toolFolders(qEnvironmentVariable("HOME"), path.join(':') + ":/usr/bin:/bin");
    const QStringList checkPaths{QStringLiteral("/opt/homebrew/bin/corvane-bench-tool"), QStringLiteral("/usr/local/bin/corvane-bench-tool")};
    for (auto _ : state)
        benchmark::DoNotOptimize(onboarding::dependencyPresent(checkPaths, folders));
}
BENCHMARK(BM_MissingToolLookup)->Unit(benchmark::kMicrosecond);

void BM_AudioInputQuery(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(onboarding::hasAudioInput());
}
BENCHMARK(BM_AudioInputQuery)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    // The very first question to the audio system starts it up; that cost is paid once.
    QElapsedTimer first;
    first.start();
    onboarding::hasAudioInput();
    std::printf("first audio input query: %.1f ms\n", double(first.nsecsElapsed()) / 1e6);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
