#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/Workspace.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "core/window/SidebarTree.h"
#include "core/window/WindowNavigator.h"
#include "core/window/WindowStateModel.h"
#include "support/TestEnvironment.h"

#include <QTest>

#include <functional>
#include <memory>

using namespace corvane;

namespace {

// A store, preferences and one window's logic, with one project holding a workspace "New
// Workspace" with its "Chat 1".
struct Fixture
{
    test::TestEnvironment env;
    std::shared_ptr<Store> store;
    std::unique_ptr<PreferencesStore> preferences;
    NotificationCenter center;
    std::unique_ptr<WindowStateModel> state;
    std::unique_ptr<WindowNavigator> navigator;
    std::shared_ptr<Workspace> workspace;

    Fixture()
    {
        store = Store::open(env.path("store.sqlite")).value();
        reopenWindow();
        workspace = addProject(QStringLiteral("repo"));
    }

    std::shared_ptr<Workspace> addProject(const QString &name)
    {
        Project project;
        project.name = name;
        project.path = env.path(name);
        Workspace made;
        made.name = QStringLiteral("New Workspace");
        made.projectId = project.id;
        context().insert(project);
        auto inserted = context().insert(made);
        addChat(inserted->id, QStringLiteral("Chat 1"), 0);
        return inserted;
    }

    std::shared_ptr<Chat> addChat(const QUuid &workspaceId, const QString &name, qint64 sortOrder)
    {
        Chat chat;
        chat.name = name;
        chat.sortOrder = sortOrder;
        chat.workspaceId = workspaceId;
        chat.projectId = context().get<Workspace>(workspaceId)->projectId;
        auto inserted = context().insert(chat);
        [&] { QVERIFY(context().save()); }();
        return inserted;
    }

    StoreContext &context() { return store->mainContext(); }

    // A new window on the same store and preferences, as after a restart.
    void reopenWindow()
    {
        navigator.reset();
        state.reset();
        preferences = std::make_unique<PreferencesStore>(env.path("settings.json"));
        state = std::make_unique<WindowStateModel>(*preferences);
        navigator = std::make_unique<WindowNavigator>(context(), *state, nullptr);
    }

    QList<std::shared_ptr<Chat>> chats() { return navigator->openChats(workspace->id); }

    void archive(const std::shared_ptr<Chat> &chat)
    {
        chat->statusRaw = QStringLiteral("archived");
        QVERIFY(context().save());
    }
};

using Step = std::function<void(Fixture &)>;

} // namespace

Q_DECLARE_METATYPE(Step)

class WindowNavigationTest : public QObject
{
    Q_OBJECT

private slots:
    void showingAChatMakesItTheWorkspacesActiveChat()
    {
        Fixture f;
        const auto second = f.addChat(f.workspace->id, QStringLiteral("Chat 2"), 1);
        f.navigator->showChat(second->id);
        QCOMPARE(f.state->content(), ContentState::workspace(f.workspace->id));
        QCOMPARE(f.state->selectedChatIdInWorkspace(), std::optional(second->id));
        QCOMPARE(f.navigator->currentChatId(), std::optional(second->id));

        // Saved: a fresh context reads it, and showing the workspace again picks the same chat.
        auto other = f.store->newContext();
        QCOMPARE(other->get<Workspace>(f.workspace->id)->activeChatId, std::optional(second->id));
        f.navigator->showProject(*f.workspace->projectId);
        f.navigator->showWorkspace(f.workspace->id);
        QCOMPARE(f.state->selectedChatIdInWorkspace(), std::optional(second->id));
    }

    void followingRecordsThatGoAway_data()
    {
        QTest::addColumn<Step>("change");
        QTest::addColumn<bool>("empty");
        QTest::addColumn<int>("selectedChat"); // index into the open chats left, -1 for none
        QTest::newRow("shown workspace archived") << Step([](Fixture &f) {
            f.workspace->statusRaw = QStringLiteral("archived");
            QVERIFY(f.context().save());
        }) << true << -1;
        QTest::newRow("project deleted with its workspaces") << Step([](Fixture &f) {
            f.context().remove(f.context().get<Project>(*f.workspace->projectId));
            QVERIFY(f.context().save());
        }) << true << -1;
        QTest::newRow("selected chat archived, the next one is selected") << Step([](Fixture &f) {
            f.archive(f.context().get<Chat>(*f.state->selectedChatIdInWorkspace()));
        }) << false << 0;
        QTest::newRow("every chat archived leaves the workspace without one") << Step([](Fixture &f) {
            for (const auto &chat : f.chats())
                f.archive(chat);
        }) << false << -1;
        QTest::newRow("chat deleted in another context") << Step([](Fixture &f) {
            auto other = f.store->newContext();
            other->remove(other->get<Chat>(*f.state->selectedChatIdInWorkspace()));
            QVERIFY(other->save());
        }) << false << 0;
    }

    void followingRecordsThatGoAway()
    {
        QFETCH(Step, change);
        QFETCH(bool, empty);
        QFETCH(int, selectedChat);
        Fixture f;
        const auto second = f.addChat(f.workspace->id, QStringLiteral("Chat 2"), 1);
        f.navigator->showChat(second->id);
        f.state->setInspectorCollapsed(false);
        change(f);
        f.navigator->reconcile();
        QCOMPARE(f.state->content().isEmpty(), empty);
        if (empty) {
            QVERIFY(f.state->isInspectorCollapsed());
            QCOMPARE(f.state->selectedWorkspaceId(), std::nullopt);
            return;
        }
        const auto open = f.chats();
        QCOMPARE(f.state->selectedChatIdInWorkspace(),
                 selectedChat < 0 ? std::nullopt : std::optional(open.at(selectedChat)->id));
    }

    void restoreAfterRestart_data()
    {
        QTest::addColumn<Step>("before");
        QTest::addColumn<bool>("restored");
        QTest::newRow("workspace still there") << Step([](Fixture &) {}) << true;
        QTest::newRow("workspace deleted while closed") << Step([](Fixture &f) {
            f.context().remove(f.context().get<Workspace>(f.workspace->id));
            QVERIFY(f.context().save());
        }) << false;
        QTest::newRow("stored content unreadable") << Step([](Fixture &f) {
            f.preferences->setString(windowStateKey::content, QStringLiteral("workspace:{broken"));
        }) << false;
    }

    void restoreAfterRestart()
    {
        QFETCH(Step, before);
        QFETCH(bool, restored);
        Fixture f;
        f.navigator->showWorkspace(f.workspace->id);
        f.state->setSidebarCollapsed(true);
        before(f);
        f.reopenWindow();
        f.navigator->restore();
        QVERIFY(f.state->isSidebarCollapsed());
        if (restored) {
            QCOMPARE(f.state->content(), ContentState::workspace(f.workspace->id));
            QCOMPARE(f.state->selectedChatIdInWorkspace(), std::optional(f.chats().first()->id));
        } else {
            QVERIFY(f.state->content().isEmpty());
            QCOMPARE(f.state->selectedChatIdInWorkspace(), std::nullopt);
        }
    }

    void profilePageSelection()
    {
        Fixture f;
        Profile profile;
        profile.name = QStringLiteral("Work");
        profile.lastActiveWorkspaceId = QUuid::createUuid(); // a workspace deleted long ago
        const auto stored = f.context().insert(profile);
        QVERIFY(f.context().save());
        f.navigator->showWorkspace(f.workspace->id);
        f.navigator->selectProfile(stored->id);
        QVERIFY(f.state->content().isEmpty());
        QCOMPARE(f.state->selectedWorkspaceId(), std::nullopt);
        QCOMPARE(f.state->activeProfileId(), std::optional(stored->id));

        // While the profile is active, the shown workspace becomes its last one.
        f.navigator->showWorkspace(f.workspace->id);
        QCOMPARE(f.store->newContext()->get<Profile>(stored->id)->lastActiveWorkspaceId, std::optional(f.workspace->id));
        f.navigator->showEmpty();
        f.navigator->selectProfile(stored->id);
        QCOMPARE(f.state->selectedWorkspaceId(), std::optional(f.workspace->id));
        QCOMPARE(f.state->selectedChatIdInWorkspace(), std::optional(f.chats().first()->id));
    }

    void closingAndSessions()
    {
        Fixture f;
        f.navigator->showTool(QStringLiteral("pulse"));
        QCOMPARE(f.navigator->closeShownWorkspace(), std::nullopt);
        QCOMPARE(f.state->content(), ContentState::tool(QStringLiteral("pulse")));

        f.navigator->showWorkspace(f.workspace->id);
        const QUuid chat = *f.navigator->currentChatId();
        f.navigator->sessionChanged(QUuid::createUuid(), false);
        QVERIFY(!f.state->content().isEmpty());
        f.navigator->sessionChanged(chat, true);
        QVERIFY(!f.state->content().isEmpty());
        f.navigator->sessionChanged(chat, false);
        QVERIFY(f.state->content().isEmpty());

        f.navigator->showWorkspace(f.workspace->id);
        QCOMPARE(f.navigator->closeShownWorkspace(), std::optional(f.workspace->id));
        QVERIFY(f.state->content().isEmpty());
    }

    void projectForNewWorkspace()
    {
        Fixture f;
        const auto second = f.addProject(QStringLiteral("second"));
        const QUuid first = *f.workspace->projectId;
        const QList<QUuid> projects{first, *second->projectId};
        f.navigator->showEmpty();
        QCOMPARE(f.navigator->projectForNewWorkspace(std::nullopt, projects), std::optional(first));
        f.navigator->showWorkspace(second->id);
        QCOMPARE(f.navigator->projectForNewWorkspace(std::nullopt, projects), second->projectId);
        QCOMPARE(f.navigator->projectForNewWorkspace(first, projects), std::optional(first));
        QCOMPARE(f.navigator->projectForNewWorkspace(QUuid::createUuid(), projects), second->projectId);
        QCOMPARE(f.navigator->projectForNewWorkspace(std::nullopt, {}), std::nullopt);
    }

    void sidebarTreeListsWhatIsLiveInOrder()
    {
        Fixture f;
        const auto other = f.addProject(QStringLiteral("other"));
        f.addChat(f.workspace->id, QStringLiteral("Chat 0"), -1);
        f.archive(f.addChat(f.workspace->id, QStringLiteral("Archived"), 5));
        Workspace gone;
        gone.name = QStringLiteral("Gone");
        gone.projectId = f.workspace->projectId;
        gone.statusRaw = QStringLiteral("archived");
        f.context().insert(gone);
        Chat loose; // a chat of the project itself, not of a workspace
        loose.name = QStringLiteral("Loose");
        loose.projectId = f.workspace->projectId;
        f.context().insert(loose);
        f.workspace->name = QStringLiteral("Renamed");
        f.workspace->automationStatusRaw = QStringLiteral("awaitingUserReview");
        QVERIFY(f.context().save());

        // Projects in the order given; only those given.
        const auto projects = QList{f.context().get<Project>(*other->projectId), f.context().get<Project>(*f.workspace->projectId)};
        const auto tree = readSidebarTree(f.context(), projects);
        QCOMPARE(tree.size(), 2);
        QCOMPARE(tree[0].name, QStringLiteral("other"));
        QCOMPARE(tree[1].workspaces.size(), 1);
        QCOMPARE(tree[1].workspaces[0].name, QStringLiteral("Renamed"));
        QCOMPARE(tree[1].workspaces[0].label(), QStringLiteral("Renamed \u00B7 Review Required")); // where its run stands
        QStringList chats;
        for (const auto &chat : tree[1].workspaces[0].chats)
            chats << chat.name;
        QCOMPARE(chats, (QStringList{"Chat 0", "Chat 1"}));
        QCOMPARE(readSidebarTree(f.context(), {projects[0]}).size(), 1);
        QVERIFY(readSidebarTree(f.context(), {}).isEmpty());
    }
};

QTEST_GUILESS_MAIN(WindowNavigationTest)
#include "tst_window_navigation.moc"
