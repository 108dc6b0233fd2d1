// Session import at scale: listing 2,000 session logs of 5 MB each for one project (each has
// 60 KB of real lines and a sparse hole up to its size, so the disk holds little), and importing
// one session of 20,000 messages through the window's view model while measuring how long the
// GUI thread's event loop ever waited.
#include "accounts/import/ImportService.h"
#include "accounts/import/ImportWindowViewModel.h"
#include "core/records/Project.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/SessionLogs.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace corvane;
namespace logs = corvane::test::logs;

namespace {

constexpr int logCount = 2000;
constexpr qint64 logSize = 5 * 1024 * 1024;
constexpr int longSessionMessages = 20000;

// Peak resident size so far, in KB; clear_refs resets it so each phase is measured alone.
qint64 peakRssKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    return -1;
}
qint64 currentRssKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    return -1;
}
// CPU time of the whole process so far (all threads), in ms: on a shared machine the wall time
// also counts the other builders.
double cpuMs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

void resetPeakRss()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
}

QByteArray sessionHead(int index)
{
    QByteArray bytes = logs::claudeUser(QStringLiteral("Task %1: make the importer quick on long histories").arg(index));
    int turn = 0;
    while (bytes.size() < 60 * 1024) {
        bytes += logs::claudeText(QStringLiteral("Step %1 of the answer, with some words to make the line look real.").arg(turn),
                                  QStringLiteral("claude-sonnet-4-6"));
        bytes += logs::claudeToolUse(QStringLiteral("Bash"), {{"command", QStringLiteral("make -j2 target-%1").arg(turn)}});
        bytes += logs::claudeToolResult();
        ++turn;
    }
    return bytes;
}

bool writeSparse(const QString &path, const QByteArray &head)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    const int fd = ::open(QFile::encodeName(path).constData(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    if (fd < 0)
        return false;
    const bool ok = ::write(fd, head.constData(), size_t(head.size())) == head.size() && ::ftruncate(fd, logSize) == 0;
    ::close(fd);
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QString project = dir.filePath(QStringLiteral("work/big.project"));
    QDir().mkpath(project);
    const QString claudeRoot = dir.filePath(QStringLiteral("home/.claude/projects"));
    const QString folder = logs::claudeFolder(claudeRoot, project);

    // 2,000 logs of 5 MB; the lines after the first 60 KB would be a hole of zero bytes, which the
    // list never reaches.
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < logCount; ++i) {
        // The head differs a little per log so nothing is shared between files by accident.
        const QByteArray head = sessionHead(i);
        if (!writeSparse(folder + QLatin1Char('/') + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".jsonl"), head)) {
            std::fprintf(stderr, "cannot write the logs in %s\n", qPrintable(folder));
            return 1;
        }
    }
    std::printf("made %d logs of %lld MB each (60 KB of lines each) in %.0f ms\n", logCount, logSize / (1024 * 1024),
                double(timer.nsecsElapsed()) / 1e6);

    const ImportService service({{claudeRoot}, {dir.filePath(QStringLiteral("home/.codex/sessions"))}});
    for (int round = 0; round < 3; ++round) {
        resetPeakRss();
        const qint64 before = currentRssKb();
        const double cpuBefore = cpuMs();
        timer.restart();
        const auto sessions = service.discoverSessions(project);
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        std::printf("list %d sessions (round %d): %.0f ms wall, %.0f ms CPU, peak RSS growth %lld KB (%.1f KB per log)\n",
                    int(sessions.size()), round + 1, ms, cpuMs() - cpuBefore, peakRssKb() - before,
                    double(peakRssKb() - before) / logCount);
        if (sessions.size() != logCount) {
            std::fprintf(stderr, "expected %d sessions\n", logCount);
            return 1;
        }
    }

    // One session of 20,000 messages: users, replies and tool calls in turn.
    const QString longId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QByteArray longLog;
    for (int i = 0; i < longSessionMessages; ++i) {
        switch (i % 3) {
        case 0: longLog += logs::claudeUser(QStringLiteral("Question %1 about the importer").arg(i)); break;
        case 1: longLog += logs::claudeText(QStringLiteral("Answer %1, a paragraph of reasonable length to stand for a reply.").arg(i)); break;
        default: longLog += logs::claudeToolUse(QStringLiteral("Read"), {{"file_path", QStringLiteral("/src/file%1.cpp").arg(i)}}); break;
        }
    }
    const QString longProject = dir.filePath(QStringLiteral("work/long"));
    QDir().mkpath(longProject);
    logs::writeFile(logs::claudeFolder(claudeRoot, longProject) + QLatin1Char('/') + longId + QStringLiteral(".jsonl"), longLog);

    auto store = Store::open(dir.filePath(QStringLiteral("Corvane.store"))).value();
    Project record;
    record.name = QStringLiteral("long");
    record.path = longProject;
    store->mainContext().insert(record);
    (void)store->mainContext().save();

    ImportWindowViewModel model(store, record.id, {{claudeRoot}, {}});
    QEventLoop loop;
    QObject::connect(&model, &ImportWindowViewModel::loaded, &loop, &QEventLoop::quit);
    model.load();
    loop.exec();
    if (model.sessions().size() != 1)
        return 1;
    model.selectAll();

    // A timer that should fire every millisecond: the longest gap between two ticks is the
    // longest time the GUI thread could not answer.
    qint64 longestStallNs = 0;
    QElapsedTimer sinceTick;
    QTimer tick;
    tick.setInterval(1);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        longestStallNs = std::max(longestStallNs, sinceTick.nsecsElapsed());
        sinceTick.restart();
    });
    QObject::connect(&model, &ImportWindowViewModel::importFinished, &loop, &QEventLoop::quit);
    resetPeakRss();
    const qint64 before = currentRssKb();
    timer.restart();
    sinceTick.start();
    tick.start();
    model.importSelected();
    loop.exec();
    const double importMs = double(timer.nsecsElapsed()) / 1e6;
    tick.stop();
    const qint64 messages = store->newContext()->count<Message>().valueOr(-1);
    std::printf("import 1 session of %lld messages (%.1f MB log) through the view model: %.0f ms, "
                "longest GUI event-loop stall %.1f ms, peak RSS growth %lld KB%s\n",
                messages, double(longLog.size()) / (1024 * 1024), importMs, double(longestStallNs) / 1e6,
                peakRssKb() - before, model.errorMessage() ? " (with errors!)" : "");
    return messages == longSessionMessages ? 0 : 1;
}
