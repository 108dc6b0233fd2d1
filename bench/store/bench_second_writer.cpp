// The window's thread while another process writes to the same store: a child process (this
// program with --writer, using the same store code as corvane-cli) writes 10,000 messages into
// one chat in batches, while the window's thread streams a reply into another chat, saving at
// every frame as a chat session does, and reads its newest rows as the timeline does.
//
// Prints, for the window's thread as it is (saves never wait for the other writer) and as it was
// (saves wait up to five seconds for the lock): the longest event-loop stall, the 99th percentile
// of the gaps between 1 ms timer ticks, how many saves were put off and the longest time one
// took to land, and how long the child's writes took.
#include "core/Log.h"
#include "core/records/Message.h"
#include "core/store/Connection.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/StoreFixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace corvane;

namespace {

constexpr int kMessages = 10000;
constexpr int kBatch = 100;

int runWriter(const QString &path, const QUuid &chatId)
{
    auto store = Store::open(path);
    if (!store) {
        std::fprintf(stderr, "writer: %s\n", qPrintable(store.error().message));
        return 1;
    }
    StoreContext &ctx = store.value()->mainContext();
    QElapsedTimer clock;
    clock.start();
    const QDateTime base = QDateTime::currentDateTime();
    for (int i = 0; i < kMessages; ++i) {
        Message message;
        message.role = i % 2 ? MessageRole::assistant : MessageRole::user;
        message.content = QStringLiteral("Batch message %1 with a line of ordinary length to store and index").arg(i);
        message.timestamp = base.addMSecs(i);
        message.chatId = chatId;
        ctx.settle(ctx.insert(message));
        if ((i + 1) % kBatch == 0) {
            if (Status saved = ctx.save(); !saved) {
                std::fprintf(stderr, "writer: %s\n", qPrintable(saved.error().message));
                return 1;
            }
        }
    }
    std::printf("%lld\n", clock.elapsed());
    return 0;
}

struct Figures
{
    qint64 longestStallMs = 0;
    double p99GapMs = 0;
    int frames = 0;
    int deferredSaves = 0;
    qint64 longestLandingMs = 0;
    qint64 writerMs = 0;
    qint64 windowMessages = 0;
    qint64 writerMessages = 0;
    qint64 longestSaveMs = 0;
    qint64 longestFetchMs = 0;
};

Figures runWindow(const QString &program, bool responsive)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("bench.store"));
    auto store = Store::open(path).value();
    if (responsive)
        store->keepResponsive(QThread::currentThread());
    StoreContext &ctx = store->mainContext();
    const test::InsertedPlace place = test::insertPlace(ctx, dir.path(), QStringLiteral("Window chat"));
    Chat other;
    other.name = QStringLiteral("Automation chat");
    other.projectId = place.projectId;
    other.workspaceId = place.workspaceId;
    const QUuid otherId = ctx.insert(other)->id;
    (void)ctx.save();

    Figures figures;
    QList<qint64> gaps;
    QElapsedTimer tickClock;
    QTimer ticker;
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout, [&] { gaps.append(tickClock.restart()); });

    // A streamed reply: the newest row grows at every frame, a new one starts every 20 frames.
    std::shared_ptr<Message> streaming;
    QElapsedTimer deferredSince;
    QObject::connect(&ctx, &StoreContext::saved, [&] {
        if (deferredSince.isValid())
            figures.longestLandingMs = std::max(figures.longestLandingMs, deferredSince.elapsed());
        deferredSince.invalidate();
    });
    QTimer frame;
    frame.setInterval(16);
    QObject::connect(&frame, &QTimer::timeout, [&] {
        if (!streaming || figures.frames % 20 == 0) {
            if (streaming)
                streaming->isComplete = true;
            Message message;
            message.role = MessageRole::assistant;
            message.isComplete = false;
            message.chatId = place.chatId;
            streaming = ctx.insert(message);
        }
        streaming->content += QStringLiteral("word ");
        ++figures.frames;
        QElapsedTimer call;
        call.start();
        (void)ctx.save();
        figures.longestSaveMs = std::max(figures.longestSaveMs, call.restart());
        if (ctx.isSaveDeferred() && !deferredSince.isValid()) {
            deferredSince.start();
            ++figures.deferredSaves;
        }
        Query newest(where::eq("chatId", place.chatId));
        newest.orderBy("timestamp", false);
        newest.limit = 50;
        (void)ctx.fetch<Message>(newest);
        figures.longestFetchMs = std::max(figures.longestFetchMs, call.elapsed());
    });

    QProcess writer;
    QEventLoop loop;
    QObject::connect(&writer, &QProcess::finished, &loop, &QEventLoop::quit);
    writer.start(program, {QStringLiteral("--writer"), path, otherId.toString(QUuid::WithoutBraces)});
    writer.waitForStarted();
    tickClock.start();
    ticker.start();
    frame.start();
    loop.exec();
    frame.stop();
    ticker.stop();
    if (streaming)
        streaming->isComplete = true;
    (void)ctx.save();
    QElapsedTimer settle;
    settle.start();
    while (ctx.isSaveDeferred() && settle.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);

    figures.writerMs = QString::fromUtf8(writer.readAllStandardOutput()).trimmed().toLongLong();
    if (writer.exitCode() != 0)
        std::fprintf(stderr, "%s", writer.readAllStandardError().constData());
    std::sort(gaps.begin(), gaps.end());
    figures.longestStallMs = gaps.isEmpty() ? 0 : gaps.last();
    figures.p99GapMs = gaps.isEmpty() ? 0 : double(gaps.at(int(gaps.size() * 0.99)));
    figures.windowMessages = ctx.count<Message>(where::eq("chatId", place.chatId)).valueOr(-1);
    figures.writerMessages = ctx.count<Message>(where::eq("chatId", otherId)).valueOr(-1);
    return figures;
}

void print(const char *label, const Figures &f)
{
    std::printf("%-34s longest stall %5lld ms, p99 gap %4.0f ms, %4d frames, %3d saves put off (longest %4lld ms to land); "
                "longest save call %3lld ms, fetch %3lld ms; writer: %d messages in %lld ms; stored: window %lld, writer %lld\n",
                label, f.longestStallMs, f.p99GapMs, f.frames, f.deferredSaves, f.longestLandingMs, f.longestSaveMs,
                f.longestFetchMs, kMessages, f.writerMs, f.windowMessages, f.writerMessages);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    setLogStream(nullptr); // the figures only
    const QStringList args = QCoreApplication::arguments();
    if (args.value(1) == QLatin1String("--writer"))
        return runWriter(args.value(2), QUuid::fromString(args.value(3)));
    const QString self = QCoreApplication::applicationFilePath();
    print("window thread never waits (now):", runWindow(self, true));
    print("window thread waits (before):", runWindow(self, false));
    return 0;
}
