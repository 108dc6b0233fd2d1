// The terminal under load, on real pseudo-terminals with real programs:
// - `cat` of a 50 MB text file read from a bare pty with nothing done with the bytes, against
//   the same `cat` in a session drawn by a shown view (parsing, scrollback, frames painted), and
//   the emulation alone fed the same bytes from memory, to say where the time goes;
// - the resident memory of ten terminal tabs each holding a full scrollback of 10,000 lines;
// - the time from a key reaching the view to its echo by bash in the screen's cells, and to the
//   frame that shows it, keys typed 40 ms apart.
#include "shell/terminal/TerminalView.h"
#include "tools/terminal/Pty.h"
#include "tools/terminal/TerminalScreen.h"
#include "tools/terminal/TerminalSession.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QKeyEvent>
#include <QRandomGenerator>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>

#include <malloc.h>

#include <functional>
#include <memory>
#include <vector>

using namespace corvane;

namespace {

constexpr qint64 catBytes = 50LL * 1024 * 1024;

const char *const words[] = {"build", "src/tools/terminal/TerminalScreen.cpp", "warning:", "unused", "variable", "the",
                             "of", "commit", "origin/main", "0x7ffd3a2c", "OK", "PASS", "ms", "error:", "-Wall",
                             "QString", "return", "{", "}", "=>", "request", "GET", "/api/v1/items", "200", "user"};
const char *const colours[] = {"\x1b[31m", "\x1b[32m", "\x1b[1;33m", "\x1b[34m", "\x1b[35m", "\x1b[36m",
                               "\x1b[38;5;208m", "\x1b[1m", "\x1b[38;2;120;200;80m"};

// One line of printable ASCII between `minimum` and `maximum` characters, words separated by
// spaces; `coloured` lines put a few words in SGR colours, as compilers, git and ls do.
QByteArray textLine(QRandomGenerator &random, int minimum, int maximum, bool coloured)
{
    const int target = minimum + int(random.bounded(maximum - minimum + 1));
    QByteArray line;
    int visible = 0;
    while (visible < target) {
        QByteArray word = words[random.bounded(int(std::size(words)))];
        if (visible + word.size() + 1 > target)
            word = QByteArray(target - visible - 1 > 0 ? target - visible - 1 : 1, 'x');
        if (visible > 0) {
            line += ' ';
            ++visible;
        }
        const bool paint = coloured && random.bounded(4) == 0;
        if (paint)
            line += colours[random.bounded(int(std::size(colours)))];
        line += word;
        if (paint)
            line += "\x1b[0m";
        visible += int(word.size());
    }
    return line;
}

struct CatFile
{
    QTemporaryDir dir;
    QString path;
    qint64 size = 0;

    CatFile()
    {
        path = dir.filePath(QStringLiteral("output.txt"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write %s", qPrintable(path));
        QRandomGenerator random(42);
        QByteArray block;
        for (int i = 0; size < catBytes; ++i) {
            block += textLine(random, 76, 84, i % 4 == 0);
            block += '\n';
            if (block.size() > 1 << 20) {
                size += file.write(block);
                block.clear();
            }
        }
        size += file.write(block);
    }
};

CatFile &catFile()
{
    static CatFile made;
    return made;
}

QStringList childEnvironment()
{
    return {QStringLiteral("TERM=xterm-256color"), QStringLiteral("LANG=C.UTF-8"),
            QStringLiteral("PATH=/usr/bin:/bin")};
}

double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    return -1;
}

// What the process holds, not what malloc keeps for later: freed memory is handed back first.
double heldMegabytes()
{
    QApplication::processEvents();
    ::malloc_trim(0);
    return residentMegabytes();
}

// A terminal view that says when a frame was painted and how long painting took.
class PaintTimedView : public TerminalView
{
public:
    using TerminalView::TerminalView;
    std::function<void()> afterPaint;
    qint64 paintNs = 0;
    int frames = 0;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        QElapsedTimer timer;
        timer.start();
        TerminalView::paintEvent(event);
        paintNs += timer.nsecsElapsed();
        ++frames;
        if (afterPaint)
            afterPaint();
    }
};

void showAt80x24(TerminalView &view)
{
    view.resize(800, 480);
    view.show();
    QApplication::processEvents();
}

// ---- cat throughput -------------------------------------------------------------------------

double bareCatSeconds = 0; // the best bare run, for the ratio

double catOnBarePty()
{
    Pty pty;
    qint64 received = 0;
    bool done = false;
    QObject::connect(&pty, &Pty::output, [&](const QByteArray &bytes) { received += bytes.size(); });
    QObject::connect(&pty, &Pty::finished, [&](int) { done = true; });
    QElapsedTimer timer;
    timer.start();
    if (!pty.start(QStringLiteral("/bin/cat"), {catFile().path}, childEnvironment(), QDir::tempPath(), 24, 80))
        qFatal("no pty");
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    // The terminal turns each \n into \r\n.
    if (received < catFile().size)
        qFatal("read %lld of %lld bytes", received, catFile().size);
    bareCatSeconds = bareCatSeconds == 0 ? seconds : qMin(bareCatSeconds, seconds);
    return seconds;
}

void BM_CatBarePty(benchmark::State &state)
{
    for (auto _ : state)
        state.SetIterationTime(catOnBarePty());
    state.SetBytesProcessed(state.iterations() * catFile().size);
    state.counters["seconds_best"] = bareCatSeconds;
}

// Each run follows a bare one, so that the ratio compares runs under the same load of the
// machine.
void BM_CatInShownTerminal(benchmark::State &state)
{
    double best = 0;
    qint64 paintNs = 0;
    int frames = 0;
    int scrollback = 0;
    for (auto _ : state) {
        catOnBarePty();
        TerminalSession session(QStringLiteral("cat"), QDir::tempPath());
        PaintTimedView view(session);
        showAt80x24(view);
        bool done = false;
        QElapsedTimer timer;
        timer.start();
        session.startShell(QStringLiteral("/bin/cat"), {catFile().path});
        // The session starts its program again when it exits; the run ends with the first one.
        Pty *pty = session.findChild<Pty *>();
        QObject::connect(pty, &Pty::finished, [&](int) { done = true; });
        while (!done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const double seconds = double(timer.nsecsElapsed()) / 1e9;
        state.SetIterationTime(seconds);
        best = best == 0 ? seconds : qMin(best, seconds);
        paintNs = view.paintNs;
        frames = view.frames;
        scrollback = session.screen().scrollbackSize();
        session.terminate();
    }
    state.SetBytesProcessed(state.iterations() * catFile().size);
    state.counters["seconds_best"] = best;
    state.counters["bare_seconds_best"] = bareCatSeconds;
    state.counters["ratio_to_bare"] = best / bareCatSeconds;
    state.counters["paint_seconds"] = double(paintNs) / 1e9;
    state.counters["frames"] = frames;
    state.counters["scrollback"] = scrollback;
}

// The emulation and scrollback alone, the file's bytes (with the terminal's \r) fed from memory
// in the reads a pty gives: what the shown terminal spends beyond the pty itself.
void BM_FeedScreenOnly(benchmark::State &state)
{
    QFile file(catFile().path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read the cat file");
    QByteArray bytes = file.readAll();
    bytes.replace("\n", "\r\n");
    constexpr qsizetype chunk = 4096;
    for (auto _ : state) {
        TerminalScreen screen(24, 80);
        for (qsizetype at = 0; at < bytes.size(); at += chunk)
            screen.feed(QByteArray::fromRawData(bytes.constData() + at, qMin(chunk, bytes.size() - at)));
        benchmark::DoNotOptimize(screen.scrollbackSize());
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}

// ---- memory of ten full scrollbacks ---------------------------------------------------------

// Output as it comes in a working terminal: compiler and test logs, ls -l, git log, with colour.
QByteArray sessionOutput(int seed, int lines)
{
    QRandomGenerator random{quint32(seed)};
    QByteArray out;
    for (int i = 0; i < lines; ++i) {
        switch (random.bounded(5)) {
        case 0:
            out += "-rw-r--r-- 1 user user " + QByteArray::number(random.bounded(1 << 20)) + " Mar 14 10:2"
                   + QByteArray::number(random.bounded(10)) + " \x1b[01;34m" + textLine(random, 20, 50, false)
                   + "\x1b[0m";
            break;
        case 1:
            out += "\x1b[33m" + QByteArray::number(random.generate(), 16).left(7) + "\x1b[m " + textLine(random, 55, 90, false);
            break;
        default:
            out += textLine(random, 60, 100, i % 3 == 0);
            break;
        }
        out += "\r\n";
    }
    return out;
}

void BM_TenTabsFullScrollback(benchmark::State &state)
{
    constexpr int tabs = 10;
    constexpr int lines = 10000;
    // The font and glyph caches a first painted terminal loads are the window's, not the tabs'.
    {
        TerminalSession warm(QStringLiteral("warm"), QDir::tempPath());
        warm.screen().feed(sessionOutput(1, 100));
        PaintTimedView view(warm);
        showAt80x24(view);
        view.repaint();
    }
    QTabWidget window;
    window.resize(820, 520);
    window.show();
    QApplication::processEvents();
    for (auto _ : state) {
        const double idle = heldMegabytes();
        const double idleRaw = residentMegabytes();
        std::vector<std::unique_ptr<TerminalSession>> sessions;
        for (int i = 0; i < tabs; ++i) {
            sessions.push_back(std::make_unique<TerminalSession>(QStringLiteral("Terminal %1").arg(i + 1), QDir::tempPath()));
            window.addTab(new TerminalView(*sessions.back()), sessions.back()->name());
        }
        for (int i = 0; i < tabs; ++i) {
            window.setCurrentIndex(i);
            QApplication::processEvents();
        }
        const double empty = heldMegabytes();
        for (int i = 0; i < tabs; ++i) {
            window.setCurrentIndex(i);
            const QByteArray output = sessionOutput(100 + i, lines + 200);
            for (qsizetype at = 0; at < output.size(); at += 4096) {
                sessions[size_t(i)]->screen().feed(output.mid(at, 4096));
                QApplication::processEvents();
            }
        }
        QApplication::processEvents();
        const double full = heldMegabytes();
        const double fullRaw = residentMegabytes();
        int stored = 0;
        for (const auto &session : sessions)
            stored += session->screen().scrollbackSize();
        state.counters["idle_mb"] = idle;
        state.counters["ten_tabs_empty_above_idle_mb"] = empty - idle;
        state.counters["ten_tabs_full_above_idle_mb"] = full - idle;
        state.counters["ten_tabs_full_above_idle_untrimmed_mb"] = fullRaw - idleRaw;
        state.counters["scrollback_lines"] = stored;
        state.counters["bytes_per_line"] = (full - empty) * 1024 * 1024 / stored;
        while (window.count() > 0) {
            QWidget *view = window.widget(0);
            window.removeTab(0);
            delete view;
        }
    }
}

// ---- keystroke to echo ----------------------------------------------------------------------

void keyTo(QWidget *view, int key, Qt::KeyboardModifiers modifiers, const QString &text)
{
    QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
    QApplication::sendEvent(view, &press);
    QKeyEvent release(QEvent::KeyRelease, key, modifiers, text);
    QApplication::sendEvent(view, &release);
}

void BM_KeystrokeToEcho(benchmark::State &state)
{
    constexpr int keys = 200;
    constexpr int keyIntervalMs = 40;
    TerminalSession session(QStringLiteral("bash"), QDir::tempPath());
    session.startShell(QStringLiteral("/bin/bash"), {QStringLiteral("--noprofile"), QStringLiteral("--norc"), QStringLiteral("-i")});
    PaintTimedView view(session);
    showAt80x24(view);
    view.activateWindow();
    view.setFocus();
    // Waits block for events; this wakes them up to check their clocks. The times themselves are
    // taken where the echo and the paint happen.
    QTimer wake;
    wake.start(5);
    TerminalScreen &screen = session.screen();
    auto cursorLine = [&] { return screen.lineText(screen.cursor().y()); };
    auto waitFor = [&](const QString &line) {
        QElapsedTimer timeout;
        timeout.start();
        while (cursorLine() != line) {
            if (timeout.elapsed() > 10000)
                qFatal("the shell never showed \"%s\" (it shows \"%s\")", qPrintable(line), qPrintable(cursorLine()));
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    };
    session.sendCommand(QStringLiteral("PS1='$ '"));
    waitFor(QStringLiteral("$"));

    QElapsedTimer clock;
    QString expected;
    qint64 echoNs = -1;
    qint64 paintedNs = -1;
    QObject::connect(&screen, &TerminalScreen::damaged, [&] {
        if (echoNs < 0 && cursorLine() == expected)
            echoNs = clock.nsecsElapsed();
    });
    view.afterPaint = [&] {
        if (echoNs >= 0 && paintedNs < 0)
            paintedNs = clock.nsecsElapsed();
    };
    double echoSum = 0, echoMax = 0, paintSum = 0, paintMax = 0;
    int measured = 0;
    for (auto _ : state) {
        QString typed;
        for (int i = 0; i < keys; ++i) {
            if (typed.size() == 30) {
                keyTo(&view, Qt::Key_U, Qt::ControlModifier, QStringLiteral("\x15"));
                typed.clear();
                waitFor(QStringLiteral("$"));
                QElapsedTimer settle; // the clearing frame is painted before the next key
                settle.start();
                while (settle.elapsed() < keyIntervalMs)
                    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            }
            const QChar c = QLatin1Char(char('a' + i % 26));
            typed += c;
            expected = QStringLiteral("$ ") + typed;
            echoNs = -1;
            paintedNs = -1;
            clock.start();
            keyTo(&view, Qt::Key_A + i % 26, Qt::NoModifier, QString(c));
            while (echoNs < 0 || paintedNs < 0) {
                if (clock.elapsed() > 10000)
                    qFatal("no echo of %s", qPrintable(expected));
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            }
            const double echoMs = double(echoNs) / 1e6;
            const double paintMs = double(paintedNs) / 1e6;
            echoSum += echoMs;
            echoMax = qMax(echoMax, echoMs);
            paintSum += paintMs;
            paintMax = qMax(paintMax, paintMs);
            ++measured;
            // Keys 40 ms apart, a fast typist: each key's echo comes after a quiet frame.
            while (clock.elapsed() < keyIntervalMs)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    }
    state.counters["keys"] = measured;
    state.counters["echo_mean_ms"] = echoSum / measured;
    state.counters["echo_max_ms"] = echoMax;
    state.counters["painted_mean_ms"] = paintSum / measured;
    state.counters["painted_max_ms"] = paintMax;
    session.terminate();
}

} // namespace

BENCHMARK(BM_CatBarePty)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CatInShownTerminal)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FeedScreenOnly)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TenTabsFullScrollback)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeystrokeToEcho)->Iterations(1)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
