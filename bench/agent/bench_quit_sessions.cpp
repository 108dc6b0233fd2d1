// Quitting with many live claude sessions: twenty chats each finish a turn against the real
// claude and the scripted model stand-in, then the application's shutdown runs at once, right
// after the last turn. Reports the time from shutdown to every agent gone, and how many of the
// twenty session files claude left behind (all of them, or the next start cannot resume).
#include "agent/AgentModelCatalogue.h"
#include "agent/claude/ClaudeSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/SessionManager.h"
#include "core/NotificationCenter.h"
#include "core/process/ProcessReaper.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/FakeModel.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDirIterator>
#include <QElapsedTimer>

using namespace corvane;

namespace {

constexpr int kChats = 20;


int sessionFiles(const QString &configDir)
{
    int count = 0;
    QDirIterator it(configDir + QStringLiteral("/projects"), {QStringLiteral("*.jsonl")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++count;
    }
    return count;
}

void BM_QuitWithLiveSessions(benchmark::State &state)
{
    if (test::FakeModel::claudePath().isEmpty()) {
        state.SkipWithError("the pinned claude is not installed: run scripts/setup.sh");
        return;
    }
    for (auto _ : state) {
        test::TestEnvironment env;
        test::FakeModel model(QStringLiteral("two_turns.json"));
        if (!model.isRunning()) {
            state.SkipWithError(qPrintable(model.error()));
            return;
        }
        auto store = Store::open(env.path(QStringLiteral("Corvane.store"))).value();
        NotificationCenter center;
        SessionManager sessions(*store, center);
        ChatController controller([&](AgentType) -> std::unique_ptr<AgentAdapter> {
            auto client = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, test::FakeModel::claudePath()));
            client->setExtraEnvironment(model.claudeEnvironment());
            return client;
        });
        const auto sonnet = *AgentModelCatalogue::byId(QStringLiteral("claude:claude-sonnet-4-6"));

        QList<QUuid> chats;
        for (int i = 0; i < kChats; ++i) {
            const QString folder = env.path(QStringLiteral("repo%1").arg(i));
            QDir().mkpath(folder);
            chats << test::insertPlace(store->mainContext(), folder, QStringLiteral("Chat %1").arg(i), std::nullopt,
                                        QStringLiteral("repo %1").arg(i)).chatId;
        }
        (void)store->mainContext().save();
        int completed = 0;
        for (int i = 0; i < kChats; ++i) {
            ChatSession *session = sessions.session(chats[i], QStringLiteral("Chat %1").arg(i),
                                                    env.path(QStringLiteral("repo%1").arg(i)));
            QObject::connect(session, &ChatSession::turnCompleted, [&completed] { ++completed; });
            (void)controller.sendMessage(*session, QStringLiteral("Please answer the first question"), {}, sonnet,
                                         PermissionMode::acceptAll);
        }
        QDeadlineTimer deadline(180000);
        while (completed < kChats && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        if (completed < kChats) {
            state.SkipWithError("not every turn completed within three minutes");
            return;
        }

        // Right after the last turn, as a user who quits at once.
        QElapsedTimer clock;
        clock.start();
        sessions.shutdown();
        const bool allEnded = ProcessReaper::shared().drain();
        const double exitMs = double(clock.nsecsElapsed()) / 1e6;
        state.SetIterationTime(exitMs / 1000.0);
        state.counters["exit_ms"] = exitMs;
        state.counters["all_ended"] = allEnded ? 1 : 0;
        state.counters["session_files"] = sessionFiles(model.configDir());
        state.counters["sessions"] = kChats;
    }
}
BENCHMARK(BM_QuitWithLiveSessions)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("CORVANE_SOURCE_DIR"))
        qputenv("CORVANE_SOURCE_DIR", CORVANE_SOURCE_DIR);
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
