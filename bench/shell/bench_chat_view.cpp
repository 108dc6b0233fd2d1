// The chat view over a chat of 10,000 stored messages: opening it to its first painted frame
// (loading from the store included), and 5,000 streamed text deltas into a new reply, with the
// longest main-thread step (delta, event loop turn, reload, layout and paint) reported, and how
// often the row list was rebuilt and row widgets made while streaming.
#include "agent/AgentAdapter.h"
#include "agent/session/ChatController.h"
#include "agent/session/SessionManager.h"
#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/chat/ChatView.h"
#include "shell/chat/TimelineView.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

using namespace corvane;

namespace {

struct Fixture
{
    QTemporaryDir dir;
    std::shared_ptr<Store> store;
    NotificationCenter center;
    std::unique_ptr<PreferencesStore> prefs;
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<SessionManager> sessions;
    // No agent is started: the chat is only shown and fed.
    ChatController controller{[](AgentType) { return std::unique_ptr<AgentAdapter>(); }};
    QUuid chatId;

    explicit Fixture(int messages)
    {
        store = Store::open(dir.filePath("Corvane.store")).value();
        prefs = std::make_unique<PreferencesStore>(dir.filePath("preferences.json"));
        settings = std::make_unique<AppSettings>(*prefs, center, [] { return SystemUserNames{"Bench", "bench"}; });
        sessions = std::make_unique<SessionManager>(*store, center);
        StoreContext &ctx = store->mainContext();
        Project project;
        project.name = "repo";
        project.path = dir.filePath("repo");
        Workspace workspace;
        workspace.name = "repo";
        workspace.projectId = project.id;
        Chat chat;
        chat.name = "Long chat";
        chat.projectId = project.id;
        chat.workspaceId = workspace.id;
        chatId = chat.id;
        ctx.insert(project);
        ctx.insert(workspace);
        ctx.insert(chat);
        const QDateTime start = QDateTime::currentDateTime().addDays(-1);
        for (int i = 0; i < messages; ++i) {
            Message m;
            m.chatId = chat.id;
            m.timestamp = start.addMSecs(i * 10);
            switch (i % 6) {
            case 0: m.role = MessageRole::user; m.content = QStringLiteral("Please look at file %1").arg(i); break;
            case 1:
            case 5:
                m.role = MessageRole::assistant;
                m.content = QStringLiteral("## Step %1\n\nLooking at **it** now, see `main.cpp`:\n\n- one\n- two\n").arg(i);
                break;
            default:
                m.role = MessageRole::tool;
                m.contentType = MessageContentType::toolComplete;
                m.toolName = i % 6 == 2 ? QStringLiteral("Read") : QStringLiteral("Grep");
                m.content = QStringLiteral("Read a.cpp\n120 lines");
                break;
            }
            ctx.insert(m);
        }
        (void)ctx.save();
    }
};

void BM_OpenChat10k(benchmark::State &state)
{
    Fixture f(10000);
    ChatView view(*f.sessions, f.controller, *f.store, *f.settings);
    view.resize(900, 800);
    view.show();
    QApplication::processEvents();
    int rows = 0;
    for (auto _ : state) {
        view.setChat(f.chatId);
        view.repaint();
        state.PauseTiming();
        rows = view.timelineModel().rowCount();
        view.setChat({});
        f.sessions->closeSession(f.chatId);
        QApplication::processEvents();
        state.ResumeTiming();
    }
    state.counters["rows"] = rows;
}

void BM_Stream5000Deltas(benchmark::State &state)
{
    Fixture f(10000);
    ChatView view(*f.sessions, f.controller, *f.store, *f.settings);
    view.resize(900, 800);
    view.show();
    view.setChat(f.chatId);
    QApplication::processEvents();
    ChatSession *session = view.session();
    session->setSaveInterval(2500);
    qint64 longestFrameNs = 0, longestDeltaNs = 0;
    int rebuilds = 0, reloads = 0, rowsMade = 0, layouts = 0;
    for (auto _ : state) {
        const int rebuildsBefore = view.timelineModel().rebuildCount();
        const int reloadsBefore = view.timelineModel().reloadCount();
        const int rowsBefore = view.timeline()->rowsCreated();
        const int layoutsBefore = view.timeline()->layoutPasses();
        session->didStartThinking();
        QApplication::processEvents();
        QElapsedTimer step;
        QElapsedTimer pace;
        for (int i = 0; i < 5000; ++i) {
            // About a thousand deltas a second, faster than claude streams: the view gets every
            // turn of the event loop in between, as in the app.
            pace.start();
            step.start();
            session->didReceiveText(i % 40 == 39 ? QStringLiteral("word\n\n") : QStringLiteral("word "));
            longestDeltaNs = qMax(longestDeltaNs, step.nsecsElapsed());
            do {
                step.start();
                QApplication::processEvents();
                longestFrameNs = qMax(longestFrameNs, step.nsecsElapsed());
            } while (pace.nsecsElapsed() < 1'000'000);
        }
        session->didComplete({});
        QApplication::processEvents();
        rebuilds = view.timelineModel().rebuildCount() - rebuildsBefore;
        reloads = view.timelineModel().reloadCount() - reloadsBefore;
        rowsMade = view.timeline()->rowsCreated() - rowsBefore;
        layouts = view.timeline()->layoutPasses() - layoutsBefore;
    }
    // A frame: one turn of the event loop (gate, reload, the row's refill and measure, layout,
    // paint). A delta: the session taking the text (its throttled store save included).
    state.counters["longest_frame_ms"] = double(longestFrameNs) / 1e6;
    state.counters["longest_delta_ms"] = double(longestDeltaNs) / 1e6;
    state.counters["rebuilds"] = rebuilds;
    state.counters["reloads"] = reloads;
    state.counters["rows_made"] = rowsMade;
    state.counters["layout_passes"] = layouts;
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

// Ten workspaces with two chats each, every chat open in a view of its own (as twenty tabs
// would hold them), each chat 300 messages long: the resident memory of the whole process.
void BM_TwentyChatsOpen(benchmark::State &state)
{
    Fixture f(0);
    StoreContext &ctx = f.store->mainContext();
    const auto project = ctx.fetchFirst<Project>().value();
    QList<QUuid> chats;
    for (int w = 0; w < 10; ++w) {
        Workspace workspace;
        workspace.name = QStringLiteral("ws %1").arg(w);
        workspace.projectId = project->id;
        ctx.insert(workspace);
        for (int c = 0; c < 2; ++c) {
            Chat chat;
            chat.name = QStringLiteral("chat %1.%2").arg(w).arg(c);
            chat.projectId = project->id;
            chat.workspaceId = workspace.id;
            ctx.insert(chat);
            chats << chat.id;
            for (int i = 0; i < 300; ++i) {
                Message m;
                m.chatId = chat.id;
                m.timestamp = QDateTime::currentDateTime().addSecs(i - 1000);
                m.role = i % 2 ? MessageRole::assistant : MessageRole::user;
                m.content = QStringLiteral("## Reply %1\n\nSome **bold** text and `code`, then a list:\n\n- a\n- b\n").arg(i);
                ctx.insert(m);
            }
        }
    }
    (void)ctx.save();
    const double before = residentMegabytes();
    for (auto _ : state) {
        std::vector<std::unique_ptr<ChatView>> views;
        for (const QUuid &chat : chats) {
            views.push_back(std::make_unique<ChatView>(*f.sessions, f.controller, *f.store, *f.settings));
            views.back()->resize(900, 800);
            views.back()->show();
            views.back()->setChat(chat);
            QApplication::processEvents();
        }
        state.counters["rss_mb_all_open"] = residentMegabytes();
        state.counters["rss_mb_before"] = before;
    }
}

} // namespace

BENCHMARK(BM_TwentyChatsOpen)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenChat10k)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Stream5000Deltas)->Iterations(1)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
