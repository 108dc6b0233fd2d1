// Cold start of the real application to its first shown window, and its resident memory at
// that moment and after a second of idling. Each iteration starts a fresh `corvane` process
// with "--measure-startup" on a store made by an earlier start (so it measures a normal start,
// not the first one). Runs on the platform in QT_QPA_PLATFORM (offscreen unless set; use
// xvfb-run for a real X server).
#include <benchmark/benchmark.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

namespace {

struct Measurement
{
    double startupMs = 0;
    double rssAtShowKb = 0;
    double rssIdleKb = 0;
};

Measurement runOnce(const QTemporaryDir &home)
{
    QProcess app;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_DATA_HOME", home.filePath("data"));
    env.insert("XDG_CONFIG_HOME", home.filePath("config"));
    if (!env.contains("QT_QPA_PLATFORM"))
        env.insert("QT_QPA_PLATFORM", "offscreen");
    app.setProcessEnvironment(env);
    QElapsedTimer clock;
    clock.start();
    app.start(QStringLiteral(CORVANE_APP_PATH), {"--measure-startup"});
    Measurement m;
    // From exec to the first shown window, dynamic linking and toolkit start included.
    QByteArray seen;
    while (!seen.contains("window-shown") && app.waitForReadyRead(30000))
        seen += app.readAllStandardOutput();
    m.startupMs = double(clock.nsecsElapsed()) / 1e6;
    app.waitForFinished(30000);
    seen += app.readAllStandardOutput();
    for (const QByteArray &line : seen.split('\n')) {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() != 2)
            continue;
        if (parts[0] == "rss-kb-at-show") m.rssAtShowKb = parts[1].toDouble();
        if (parts[0] == "rss-kb-idle") m.rssIdleKb = parts[1].toDouble();
    }
    return m;
}

void BM_ColdStartToShownWindow(benchmark::State &state)
{
    QTemporaryDir home;
    runOnce(home); // the first start creates the store and the default profile
    Measurement total;
    for (auto _ : state) {
        const Measurement m = runOnce(home);
        state.SetIterationTime(m.startupMs / 1000.0);
        total.startupMs += m.startupMs;
        total.rssAtShowKb = std::max(total.rssAtShowKb, m.rssAtShowKb);
        total.rssIdleKb = std::max(total.rssIdleKb, m.rssIdleKb);
    }
    state.counters["startup_ms"] = total.startupMs / double(state.iterations());
    state.counters["rss_MB_at_show"] = total.rssAtShowKb / 1024.0;
    state.counters["rss_MB_idle"] = total.rssIdleKb / 1024.0;
}

BENCHMARK(BM_ColdStartToShownWindow)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
