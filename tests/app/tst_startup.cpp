#include "app/StartupSequence.h"
#include "core/Broadcasts.h"
#include "core/Paths.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/Message.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/ProjectAction.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

using namespace corvane;

class StartupTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;

    std::shared_ptr<Store> start()
    {
        auto store = startup::openStore(paths::storeFile());
        if (!store)
            qFatal("%s", qPrintable(store.error().message));
        startup::runMigrations(*store.value());
        return store.value();
    }

private slots:
    void init() { m_env = std::make_unique<test::TestEnvironment>(); }
    void cleanup() { m_env.reset(); }

    void firstStartMakesTheDefaultProfile()
    {
        auto store = start();
        StoreContext &ctx = store->mainContext();
        auto profiles = ctx.fetchOrEmpty<Profile>();
        QCOMPARE(profiles.size(), 1);
        QCOMPARE(profiles[0]->name, QString("Default"));
        QVERIFY(profiles[0]->isDefault);
        QCOMPARE(profiles[0]->configDirPath, QDir::homePath() + "/.claude");
        QCOMPARE(profiles[0]->codexHomeDir, std::optional<QString>(QDir::homePath() + "/.codex"));
    }

    void orphansAreRepairedAndProfilesFilledIn()
    {
        QUuid orphanChat, plainProject, secondProfile;
        {
            auto store = Store::open(paths::storeFile());
            QVERIFY(store.ok());
            StoreContext &ctx = (*store)->mainContext();
            Profile other;
            other.name = "Work";
            other.sortOrder = 0;
            other.configDirPath = "/somewhere";
            secondProfile = ctx.insert(other)->id; // a profile, but none marked default
            Project project;
            project.name = "app";
            project.path = "/repo";
            project.runCommand = "npm run dev";
            plainProject = ctx.insert(project)->id;
            Chat chat;
            chat.name = "Old chat";
            chat.projectId = project.id;
            chat.gitBranch = "feature/x";
            chat.usesWorktree = true;
            chat.worktreePath = "wt";
            orphanChat = ctx.insert(chat)->id;
            QVERIFY(ctx.save().ok());
        }
        auto store = start();
        StoreContext &ctx = store->mainContext();
        auto chat = ctx.get<Chat>(orphanChat);
        QVERIFY(chat->workspaceId);
        auto workspace = ctx.get<Workspace>(*chat->workspaceId);
        QCOMPARE(workspace->name, QString("Old chat"));
        QCOMPARE(workspace->gitBranch, std::optional<QString>("feature/x"));
        QVERIFY(workspace->usesWorktree);
        QCOMPARE(workspace->projectId, chat->projectId);

        auto profile = ctx.get<Profile>(secondProfile);
        QVERIFY(profile->isDefault);
        QCOMPARE(ctx.get<Project>(plainProject)->profileId, std::optional<QUuid>(secondProfile));
        // The marked profile is default now, so its codex home is the user's own.
        QCOMPARE(profile->codexHomeDir, std::optional<QString>(QDir::homePath() + "/.codex"));

        auto actions = ctx.fetchOrEmpty<ProjectAction>();
        QCOMPARE(actions.size(), 1);
        QCOMPARE(actions[0]->name, QString("Run"));
        QCOMPARE(actions[0]->symbolName, QString("play.fill"));
        QCOMPARE(actions[0]->script, QString("npm run dev"));
    }

    void nonDefaultProfilesGetACodexFolderOfTheirOwn()
    {
        QUuid id;
        {
            auto store = start();
            Profile work;
            work.name = "Work";
            work.configDirPath = "/c";
            work.sortOrder = 1;
            id = store->mainContext().insert(work)->id;
            QVERIFY(store->mainContext().save().ok());
        }
        auto store = start();
        const QString expected = paths::profilesRoot() + "/" + id.toString(QUuid::WithoutBraces).toUpper() + "/codex";
        QCOMPARE(store->mainContext().get<Profile>(id)->codexHomeDir, std::optional<QString>(expected));
        QVERIFY(QFileInfo(expected).isDir());
    }

    void aProjectWithActionsGetsNoRunAction()
    {
        {
            auto store = start();
            StoreContext &ctx = store->mainContext();
            Project project;
            project.runCommand = "make run";
            ctx.insert(project);
            ProjectAction action;
            action.name = "Serve";
            action.projectId = project.id;
            ctx.insert(action);
            Project empty;
            empty.runCommand = QString();
            ctx.insert(empty);
            QVERIFY(ctx.save().ok());
        }
        auto store = start();
        QCOMPARE(store->mainContext().count<ProjectAction>().valueOr(-1), 1);
    }

    void activityDaysAreBackfilled()
    {
        QUuid quiet, busy;
        const QDateTime created(QDate(2026, 1, 10), QTime(9, 0));
        {
            auto store = Store::open(paths::storeFile());
            StoreContext &ctx = (*store)->mainContext();
            Chat a;
            a.createdAt = created;
            quiet = ctx.insert(a)->id;
            Chat b;
            b.createdAt = created;
            busy = ctx.insert(b)->id;
            for (int day : {0, 0, 3, 5}) {
                Message m;
                m.chatId = b.id;
                m.timestamp = created.addDays(day).addSecs(60);
                ctx.insert(m);
            }
            QVERIFY(ctx.save().ok());
        }
        auto store = start();
        QObject receiver;
        int posts = 0;
        NotificationCenter center;
        center.addObserver(broadcast::chatActivityDaysDidBackfill, [&](const Notification &) { ++posts; });
        startup::startActivityBackfill(store, &receiver, center);
        QTRY_COMPARE(posts, 1);
        StoreContext &ctx = store->mainContext();
        QCOMPARE(ctx.count<ChatActivityDay>(where::eq("chatId", quiet)).valueOr(-1), 1);
        QCOMPARE(ctx.count<ChatActivityDay>(where::eq("chatId", busy)).valueOr(-1), 3);
        QCOMPARE(ctx.get<ChatActivityDay>(ctx.fetchOrEmpty<ChatActivityDay>(Query(where::eq("chatId", quiet)))[0]->id)->day,
                 created.date().startOfDay());

        // A second run finds everything done and posts nothing.
        startup::startActivityBackfill(store, &receiver, center);
        QTest::qWait(300);
        QCOMPARE(posts, 1);
    }

    void aSecondStartWritesNothing()
    {
        {
            auto store = start();
            StoreContext &ctx = store->mainContext();
            Project project;
            project.runCommand = "make";
            ctx.insert(project);
            Chat chat;
            chat.projectId = project.id;
            ctx.insert(chat);
            QVERIFY(ctx.save().ok());
        }
        { auto repaired = start(); } // does the one-off work; closing folds the log into the file
        const QString wal = paths::storeFile() + "-wal";
        auto store = start();
        QVERIFY(QFileInfo::exists(wal));
        QCOMPARE(QFileInfo(wal).size(), 0); // opened in WAL mode, not one page written
        store->mainContext().insert(Chat{});
        QVERIFY(store->mainContext().save().ok());
        QVERIFY(QFileInfo(wal).size() > 0); // and a real write would have shown
    }
};

QTEST_GUILESS_MAIN(StartupTest)
#include "tst_startup.moc"
