// The main window over stores of growing size: building and showing a window in process, the
// sidebar's rebuild after a save, and the real application's cold start to a shown main window
// (onboarding done) on the same store. Runs offscreen unless QT_QPA_PLATFORM says otherwise.
#include "agent/session/ChatSession.h"
#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/window/MainWindow.h"
#include "shell/window/SidebarView.h"
#include "core/window/WindowStateModel.h"
#include "source_control/workspaces/SidebarViewModel.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <memory>

using namespace corvane;

namespace {

constexpr int workspacesPerProject = 10;
constexpr int chatsPerWorkspace = 5;

// An application data folder as the real application lays it out, with `projects` projects of
// ten workspaces of five chats each, and onboarding done.
struct Home
{
    QTemporaryDir dir;
    std::shared_ptr<Store> store;
    std::unique_ptr<PreferencesStore> preferences;
    NotificationCenter center;
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<WorkspaceLifecycleService> lifecycle;

    explicit Home(int projects)
    {
        store = Store::open(dir.filePath("data/Corvane/Corvane.store")).value();
        StoreContext &context = store->mainContext();
        QUuid lastWorkspace;
        for (int p = 0; p < projects; ++p) {
            Project project;
            project.name = QStringLiteral("project-%1").arg(p);
            project.path = dir.filePath(project.name);
            project.sortOrder = p;
            for (int w = 0; w < workspacesPerProject; ++w) {
                Workspace workspace;
                workspace.name = QStringLiteral("Workspace %1").arg(w);
                workspace.sortOrder = w;
                workspace.projectId = project.id;
                lastWorkspace = workspace.id;
                for (int c = 0; c < chatsPerWorkspace; ++c) {
                    Chat chat;
                    chat.name = QStringLiteral("Chat %1").arg(c + 1);
                    chat.sortOrder = c;
                    chat.workspaceId = workspace.id;
                    chat.projectId = project.id;
                    context.insert(chat);
                }
                context.insert(workspace);
            }
            context.insert(project);
        }
        if (!context.save())
            std::abort();
        preferences = std::make_unique<PreferencesStore>(dir.filePath("config/Corvane/settings.json"));
        preferences->setBoolean(QStringLiteral("hasCompletedOnboarding"), true);
        if (!lastWorkspace.isNull())
            preferences->setString(QStringLiteral("windowState.content"),
                                   QStringLiteral("workspace:") + lastWorkspace.toString(QUuid::WithoutBraces));
        settings = std::make_unique<AppSettings>(*preferences, center, [] { return SystemUserNames{}; });
    }

    WindowServices services()
    {
        if (!lifecycle)
            lifecycle = std::make_unique<WorkspaceLifecycleService>(store->mainContext(), center);
        return {store->mainContext(), *preferences, *settings, center, *lifecycle};
    }
};

void BM_OpenMainWindow(benchmark::State &state)
{
    Home home(int(state.range(0)));
    for (auto _ : state) {
        auto window = std::make_unique<MainWindow>(home.services(), 1);
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
        QApplication::processEvents();
        benchmark::DoNotOptimize(window.get());
    }
}
BENCHMARK(BM_OpenMainWindow)->Arg(1)->Arg(20)->Arg(100)->Unit(benchmark::kMillisecond);

void BM_SidebarReload(benchmark::State &state)
{
    Home home(int(state.range(0)));
    MainWindow window(home.services(), 1);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.show();
    for (auto _ : state) {
        window.sidebarModel().loadProjects();
        QApplication::processEvents();
    }
}
BENCHMARK(BM_SidebarReload)->Arg(1)->Arg(20)->Arg(100)->Unit(benchmark::kMillisecond);

// Five chats streaming at once into a window whose sidebar lists 100 projects, 1,000 workspaces
// and 5,000 chats: 5,000 text deltas each through the chat sessions (which save their chat with
// every new row: a tool row every 250 deltas), the window's event loop turned after every round
// of five. Reports the longest step (deltas, saves, the window's reaction) and how often the
// sidebar was rebuilt.
void BM_FiveChatsStreaming(benchmark::State &state)
{
    Home home(100);
    MainWindow window(home.services(), 1);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.show();
    QApplication::processEvents();
    // The shown workspace's five chats: open in its tabs, so the window holds their records and
    // hears of every save.
    QList<QUuid> chatIds;
    const QUuid shown = window.state().content().id;
    for (const auto &chat : home.store->mainContext().fetchOrEmpty<Chat>(Query(where::eq("workspaceId", shown))))
        chatIds << chat->id;
    for (auto _ : state) {
        std::vector<std::unique_ptr<ChatSession>> sessions;
        for (const QUuid &id : chatIds)
            sessions.push_back(std::make_unique<ChatSession>(id, QStringLiteral("Streaming"), home.dir.path(), *home.store));
        for (auto &session : sessions)
            static_cast<AgentStreamDelegate &>(*session).didStartThinking();
        const int rebuildsBefore = window.sidebar()->rebuildCount();
        qint64 longestNs = 0;
        QElapsedTimer step;
        for (int delta = 0; delta < 5000; ++delta) {
            step.start();
            for (auto &session : sessions) {
                AgentStreamDelegate &agent = *session;
                if (delta % 250 == 249) {
                    const QString id = QStringLiteral("tool-%1").arg(delta);
                    agent.didStartTool(QStringLiteral("Read"), id, {{"file_path", "/src/a.cpp"}});
                    agent.didReceiveToolResult(id, QStringLiteral("12 lines"));
                }
                agent.didReceiveText(QStringLiteral("word "));
            }
            QApplication::processEvents();
            longestNs = std::max(longestNs, step.nsecsElapsed());
        }
        state.counters["longest_step_ms"] = double(longestNs) / 1e6;
        state.counters["sidebar_rebuilds"] = window.sidebar()->rebuildCount() - rebuildsBefore;
        for (auto &session : sessions)
            session->cleanup();
    }
}
BENCHMARK(BM_FiveChatsStreaming)->Iterations(1)->Unit(benchmark::kMillisecond);

// The real application, from exec to "window-shown", on a store of this size.
void BM_ColdStartToMainWindow(benchmark::State &state)
{
    Home home(int(state.range(0)));
    home.store.reset();
    for (auto _ : state) {
        QProcess app;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_DATA_HOME", home.dir.filePath("data"));
        env.insert("XDG_CONFIG_HOME", home.dir.filePath("config"));
        app.setProcessEnvironment(env);
        QElapsedTimer clock;
        clock.start();
        app.start(QStringLiteral(CORVANE_APP_PATH), {"--measure-startup"});
        QByteArray seen;
        while (!seen.contains("window-shown") && app.waitForReadyRead(30000))
            seen += app.readAllStandardOutput();
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        app.waitForFinished(30000);
    }
}
BENCHMARK(BM_ColdStartToMainWindow)->Arg(1)->Arg(100)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
