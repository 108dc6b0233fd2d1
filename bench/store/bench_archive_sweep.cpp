// The retention sweep over 10,000 archived chats of 10 messages each: how long the sweep takes
// from start to its report, and the longest the main thread went without running its event loop
// meanwhile (a 1 ms timer notes every gap), which is what a user would feel as a frozen window.
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "source_control/retention/ArchiveCleanupService.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace corvane;

namespace {

constexpr int kChats = 10000;
constexpr int kMessagesPerChat = 10;

void seed(StoreContext &ctx, const QDateTime &archivedAt)
{
    Project project;
    project.name = QStringLiteral("bench");
    project.path = QStringLiteral("/tmp/bench");
    Workspace workspace;
    workspace.name = QStringLiteral("live");
    workspace.projectId = project.id;
    ctx.insert(project);
    ctx.insert(workspace);
    for (int i = 0; i < kChats; ++i) {
        Chat chat;
        chat.name = QStringLiteral("Chat %1").arg(i);
        chat.projectId = project.id;
        chat.workspaceId = workspace.id;
        chat.statusRaw = QStringLiteral("archived");
        chat.archivedAt = archivedAt;
        ctx.insert(chat);
        for (int m = 0; m < kMessagesPerChat; ++m) {
            Message message;
            message.chatId = chat.id;
            message.role = m % 2 ? MessageRole::assistant : MessageRole::user;
            message.content = QStringLiteral("Message %1 of chat %2: some words for the search index to hold.").arg(m).arg(i);
            ctx.insert(message);
        }
        if (i % 1000 == 999)
            (void)ctx.save();
    }
    (void)ctx.save();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // With a path, only seeds a store there (to look at it with other tools).
    const QString path = argc > 1 ? QString::fromLocal8Bit(argv[1]) : dir.filePath(QStringLiteral("sweep.store"));
    auto store = Store::open(path).value();
    {
        auto seeding = store->newContext();
        QElapsedTimer seedTime;
        seedTime.start();
        seed(*seeding, now.addDays(-40));
        std::printf("seeded %d archived chats with %d messages each in %lld ms\n", kChats, kMessagesPerChat,
                    static_cast<long long>(seedTime.elapsed()));
    }
    if (argc > 1)
        return 0;

    WorkspaceLifecycleService lifecycle(store->mainContext());
    ArchiveCleanupService cleanup(lifecycle, [] {
        return ArchiveCleanupService::Retentions{ArchiveRetention::thirtyDays, ArchiveRetention::thirtyDays};
    });

    QElapsedTimer sinceTick;
    qint64 longestStall = 0;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        longestStall = std::max(longestStall, sinceTick.restart());
    });

    QEventLoop loop;
    SweepReport report;
    QObject::connect(&cleanup, &ArchiveCleanupService::sweepFinished, [&](const SweepReport &r) {
        report = r;
        loop.quit();
    });
    QElapsedTimer sweepTime;
    sweepTime.start();
    sinceTick.start();
    ticker.start(1);
    QTimer::singleShot(0, &cleanup, [&cleanup] { cleanup.sweep(); });
    loop.exec();
    const qint64 elapsed = sweepTime.elapsed();
    ticker.stop();

    auto check = store->newContext();
    std::printf("swept %lld chats in %lld ms (%lld chats and %lld messages left)\n",
                static_cast<long long>(report.deleted.size()), static_cast<long long>(elapsed),
                static_cast<long long>(check->count<Chat>().value()), static_cast<long long>(check->count<Message>().value()));
    std::printf("longest main-thread stall during the sweep: %lld ms\n", static_cast<long long>(longestStall));
    return report.deleted.size() == kChats ? 0 : 1;
}
