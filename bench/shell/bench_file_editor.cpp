// Opening a 5 MB source file in the editor beside the chats: from the open (reading and decoding
// the file included) to the editor's first painted frame, then to the whole text loaded, with the
// longest turn of the event loop meanwhile (the window answers between pieces); and a keystroke
// at the end of that file to its painted frame, the buffer's copy of the text included.
#include "core/NotificationCenter.h"
#include "shell/editor/CodeEditor.h"
#include "shell/editor/FileEditorView.h"
#include "tools/editor/OpenFileService.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;

namespace {

QString writeSource(const QTemporaryDir &dir, qint64 bytes)
{
    const QString path = dir.filePath(QStringLiteral("big.cpp"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(path));
    qint64 written = 0;
    for (int line = 0; written < bytes; ++line)
        written += file.write(QStringLiteral("    int value%1 = compute(%1, \"ünïcode\"); // line %1\n").arg(line).toUtf8());
    return path;
}

// Counts the paints of a widget, to wait for the first one.
struct PaintCounter : QObject
{
    int paints = 0;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return false;
    }
};

void BM_Open5MBToFirstPaint(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = writeSource(dir, 5 * 1024 * 1024);
    NotificationCenter center;
    const QUuid workspace = QUuid::createUuid();
    for (auto _ : state) {
        OpenFileService files(center);
        FileEditorView view(files, workspace);
        view.resize(1000, 800);
        view.show();
        QApplication::processEvents();
        PaintCounter counter;
        view.editor()->viewport()->installEventFilter(&counter);
        QElapsedTimer clock;
        clock.start();
        files.open(path, workspace);
        while (counter.paints == 0)
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        state.counters["first_lines"] = view.editor()->blockCount();
        state.PauseTiming();
        qint64 longestTurn = 0;
        while (view.isLoading()) {
            QElapsedTimer turn;
            turn.start();
            QApplication::processEvents();
            longestTurn = std::max(longestTurn, turn.nsecsElapsed());
        }
        state.counters["all_loaded_ms"] = double(clock.nsecsElapsed()) / 1e6;
        state.counters["longest_turn_ms"] = double(longestTurn) / 1e6;
        state.counters["lines"] = view.editor()->blockCount();
        state.ResumeTiming();
    }
}

void BM_KeystrokeIn5MB(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString path = writeSource(dir, 5 * 1024 * 1024);
    NotificationCenter center;
    const QUuid workspace = QUuid::createUuid();
    OpenFileService files(center);
    FileEditorView view(files, workspace);
    view.resize(1000, 800);
    view.show();
    files.open(path, workspace);
    while (view.isLoading())
        QApplication::processEvents();
    view.editor()->moveCursor(QTextCursor::End);
    QApplication::processEvents();
    PaintCounter counter;
    view.editor()->viewport()->installEventFilter(&counter);
    qint64 longest = 0;
    for (auto _ : state) {
        const int before = counter.paints;
        QElapsedTimer clock;
        clock.start();
        QTest::keyClick(view.editor(), Qt::Key_X);
        while (counter.paints == before)
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        longest = std::max(longest, clock.nsecsElapsed());
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
    }
    state.counters["longest_ms"] = double(longest) / 1e6;
    view.flush();
    state.counters["dirty"] = files.activeFile(workspace)->isDirty();
}

} // namespace

BENCHMARK(BM_Open5MBToFirstPaint)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeystrokeIn5MB)->Iterations(50)->UseManualTime()->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
