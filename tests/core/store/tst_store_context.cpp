#include "core/records/AgentDefinition.h"
#include "core/records/AutomationFlow.h"
#include "core/records/AutomationRun.h"
#include "core/records/Chat.h"
#include "core/records/Issue.h"
#include "core/records/Message.h"
#include "core/records/Project.h"
#include "core/records/SkillVersion.h"
#include "core/records/Workspace.h"
#include "core/MainThread.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <sqlite3.h>

using namespace corvane;

class StoreContextTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    QString m_path;

    std::shared_ptr<Store> openStore()
    {
        auto store = Store::open(m_path);
        if (!store)
            qFatal("%s", qPrintable(store.error().message));
        return store.value();
    }

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        m_path = m_env->path("Corvane.store");
    }
    void cleanup() { m_env.reset(); }

    void valuesRoundTripThroughReopen()
    {
        const QDateTime when = QDateTime::fromMSecsSinceEpoch(1767225600123); // with milliseconds
        Project project;
        project.name = "Ünïcode ✓";
        project.path = "/home/me/src/app";
        project.createdAt = when;
        project.hygieneStashCount = 0; // present and zero is not absent
        project.runCommand = QString(); // present and empty is not absent either
        Workspace workspace;
        workspace.name = "feature";
        workspace.projectId = project.id;
        workspace.terminalHeightStorage = 212.5;
        workspace.inspectorTabRaw = 2;
        AutomationFlow flow;
        flow.name = "Build";
        flow.filePath = "/x/flow.md";
        flow.availableAgentNames = {"reviewer", "tester"};
        flow.enabledGateNames = QStringList(); // an empty list, not "every gate"
        AgentDefinition agent;
        agent.name = "reviewer";
        agent.filePath = "/x/agent.md";
        SkillVersion version;
        version.files = {{"SKILL.md", "---\nname: x\n---\n"}, {"notes.md", "ß"}};
        Message message;
        message.content = QString::fromUtf8("emoji 😀 and CJK 漢字");
        message.role = MessageRole::assistant;
        message.contentType = MessageContentType::toolStart;
        message.timestamp = when;
        MessageMetadata metadata;
        metadata.taskContext = TaskContextReference{"Fix it", "bug", "high"};
        message.setMetadataValue(metadata);
        {
            auto store = openStore();
            StoreContext &ctx = store->mainContext();
            ctx.insert(project);
            ctx.insert(workspace);
            ctx.insert(flow);
            ctx.insert(agent);
            ctx.insert(version);
            ctx.insert(message);
            QVERIFY(ctx.save().ok());
        }
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        auto p = ctx.get<Project>(project.id);
        QVERIFY(p);
        QCOMPARE(p->name, project.name);
        QCOMPARE(p->createdAt, when);
        QCOMPARE(p->hygieneStashCount, std::optional<qint64>(0));
        QVERIFY(p->runCommand.has_value());
        QVERIFY(!p->currentBranch.has_value());
        auto w = ctx.get<Workspace>(workspace.id);
        QCOMPARE(w->terminalHeightStorage, std::optional<double>(212.5));
        QCOMPARE(w->updatedAt(), w->createdAt);
        auto f = ctx.get<AutomationFlow>(flow.id);
        QCOMPARE(f->availableAgentNames, flow.availableAgentNames);
        QVERIFY(f->enabledGateNames.has_value());
        QVERIFY(f->enabledGateNames->isEmpty());
        QVERIFY(!ctx.get<AgentDefinition>(agent.id)->allowedTools.has_value());
        QCOMPARE(ctx.get<SkillVersion>(version.id)->files, version.files);
        auto m = ctx.get<Message>(message.id);
        QCOMPARE(m->content, message.content);
        QCOMPARE(m->role, MessageRole::assistant);
        QCOMPARE(m->contentType, MessageContentType::toolStart);
        QCOMPARE(m->metadataValue()->taskContext->issueTitle, QString("Fix it"));
        QVERIFY(!m->metadataValue()->attachments.has_value());
    }

    void unknownRawValuesReadAsDefaults_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("check");
        QTest::newRow("chat agent type") << "UPDATE Chat SET agentTypeRaw = 'gemini'" << "agent";
        QTest::newRow("message role") << "UPDATE Message SET role = 'narrator'" << "role";
        QTest::newRow("message content type") << "UPDATE Message SET contentType = 'hologram'" << "contentType";
        QTest::newRow("issue fields") << "UPDATE Issue SET statusRaw = 'x', typeRaw = 'y', priorityRaw = 'z'" << "issue";
        QTest::newRow("run status") << "UPDATE AutomationRun SET statusRaw = 'dreaming', reviewVerdictRaw = 'meh'" << "run";
    }

    void unknownRawValuesReadAsDefaults()
    {
        QFETCH(QString, sql);
        QFETCH(QString, check);
        Chat chat;
        chat.setAgentType(AgentType::codex);
        Message message;
        message.role = MessageRole::tool;
        message.contentType = MessageContentType::error;
        message.chatId = chat.id;
        Issue issue;
        issue.setStatus(IssueStatus::done);
        AutomationRun run;
        run.setStatus(AutomationRunStatus::done);
        {
            auto store = openStore();
            store->mainContext().insert(chat);
            store->mainContext().insert(message);
            store->mainContext().insert(issue);
            store->mainContext().insert(run);
            QVERIFY(store->mainContext().save().ok());
            sqlite3 *db = nullptr;
            sqlite3_open(m_path.toUtf8().constData(), &db);
            QCOMPARE(sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, nullptr), SQLITE_OK);
            sqlite3_close(db);
        }
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        if (check == "agent")
            QCOMPARE(ctx.get<Chat>(chat.id)->agentType(), AgentType::claudeCode);
        if (check == "role")
            QCOMPARE(ctx.get<Message>(message.id)->role, MessageRole::user);
        if (check == "contentType")
            QCOMPARE(ctx.get<Message>(message.id)->contentType, MessageContentType::text);
        if (check == "issue") {
            auto i = ctx.get<Issue>(issue.id);
            QCOMPARE(i->status(), IssueStatus::backlog);
            QCOMPARE(i->type(), IssueType::task);
            QCOMPARE(i->priority(), IssuePriority::medium);
            QCOMPARE(i->statusRaw, QString("x")); // the raw text itself is kept for a later version
        }
        if (check == "run") {
            auto r = ctx.get<AutomationRun>(run.id);
            QCOMPARE(r->status(), AutomationRunStatus::idle);
            QVERIFY(!r->isClosed());
            QVERIFY(!r->reviewVerdict().has_value());
        }
    }

    // An edit stays in its context until saved: fetching there returns the context's own
    // instance, edit and all; the save then reaches other contexts and is announced.
    void editsAreSavedOnlyWhenSaving()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        auto chat = ctx.insert(Chat{});
        QVERIFY(ctx.hasChanges());
        QVERIFY(ctx.save().ok());
        QVERIFY(!ctx.hasChanges());
        auto other = store->newContext();
        auto otherCopy = other->get<Chat>(chat->id);
        QSignalSpy merged(other.get(), &StoreContext::merged);
        QSignalSpy didSave(store.get(), &Store::didSave);
        chat->name = "renamed";
        QVERIFY(ctx.hasChanges());
        auto again = ctx.fetchFirst<Chat>(Query(where::eq("id", chat->id)));
        QVERIFY(again.ok());
        QCOMPARE(again->get(), chat.get());
        QCOMPARE(store->newContext()->get<Chat>(chat->id)->name, QString()); // not saved yet
        QCOMPARE(otherCopy->name, QString());

        QVERIFY(ctx.save().ok());
        QCOMPARE(didSave.count(), 1);
        QCOMPARE(merged.count(), 1);
        QCOMPARE(otherCopy->name, QString("renamed"));
        QVERIFY(didSave.at(0).at(0).value<StoreChanges>().updated.value("Chat").contains(chat->id));
    }

    void aFailedSaveKeepsChangesPending()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        Chat chat;
        Message message;
        message.chatId = chat.id; // the chat is not in the store yet
        ctx.insert(message);
        const Status failed = ctx.save();
        QVERIFY(!failed.ok());
        QVERIFY(failed.error().message.contains("FOREIGN KEY"));
        QVERIFY(ctx.hasChanges());
        QCOMPARE(ctx.count<Message>().valueOr(-1), 0);
        // The next save repeats the work, now with its parent.
        ctx.insert(chat);
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.count<Message>().valueOr(-1), 1);
    }

    void rollbackRestoresAndForgets()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        auto kept = ctx.insert(Chat{});
        kept->name = "saved name";
        QVERIFY(ctx.save().ok());
        kept->name = "edited";
        auto fresh = ctx.insert(Chat{});
        ctx.remove(kept);
        ctx.rollback();
        QCOMPARE(kept->name, QString("saved name"));
        QVERIFY(!ctx.hasChanges());
        QVERIFY(!ctx.get<Chat>(fresh->id));
        QVERIFY(ctx.get<Chat>(kept->id));
    }

    void fetchFiltersSortsAndPages()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        Chat chat;
        ctx.insert(chat);
        const QDateTime base = QDateTime::currentDateTime();
        for (int i = 0; i < 10; ++i) {
            Message m;
            m.chatId = chat.id;
            m.content = QString::number(i);
            m.timestamp = base.addSecs(i / 2); // pairs share a time stamp: insertion order breaks ties
            ctx.insert(m);
        }
        Message elsewhere;
        ctx.insert(elsewhere);
        QVERIFY(ctx.save().ok());

        auto page = ctx.fetch<Message>(Query(where::eq("chatId", chat.id)).orderBy("timestamp").limitTo(4).skip(3));
        QVERIFY(page.ok());
        QStringList contents;
        for (const auto &m : *page)
            contents << m->content;
        QCOMPARE(contents, QStringList({"3", "4", "5", "6"}));
        QCOMPARE(ctx.count<Message>(where::eq("chatId", chat.id)).valueOr(-1), 10);
        QCOMPARE(ctx.count<Message>(where::isNull("chatId")).valueOr(-1), 1);
        QCOMPARE(ctx.count<Message>(where::in("content", QStringList{"1", "2", "zz"})).valueOr(-1), 2);
        QCOMPARE(ctx.count<Message>(!where::eq("content", QString("1"))).valueOr(-1), 10);

        auto bad = ctx.fetch<Message>(Query(where::eq("nonsense", 1)));
        QVERIFY(!bad.ok());
        QVERIFY(bad.error().message.contains("nonsense"));
    }

    void cascadesAreReportedByEntity()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        auto chat = ctx.insert(Chat{});
        Message m;
        m.chatId = chat->id;
        ctx.insert(m);
        QVERIFY(ctx.save().ok());
        QSignalSpy saved(&ctx, &StoreContext::saved);
        ctx.remove(chat);
        QVERIFY(ctx.save().ok());
        const auto changes = saved.at(0).at(0).value<StoreChanges>();
        QVERIFY(changes.touches("Chat"));
        QVERIFY(changes.touches("Message")); // removed by the cascade
        QCOMPARE(ctx.count<Message>().valueOr(-1), 0);
    }

    void backgroundContextsUseTheirOwnConnection()
    {
        auto store = openStore();
        auto chat = store->mainContext().insert(Chat());
        QVERIFY(store->mainContext().save().ok());
        QSignalSpy didSave(store.get(), &Store::didSave);

        // A worker thread writes: messages, and the chat the main context holds.
        auto writeInBackground = [&](int round) {
            QThread thread;
            bool ok = false;
            QObject::connect(&thread, &QThread::started, [&] {
                auto ctx = store->newContext();
                for (int i = 0; i < 50; ++i) {
                    Message m;
                    m.chatId = chat->id;
                    ctx->insert(m);
                }
                ctx->get<Chat>(chat->id)->name = QStringLiteral("round %1").arg(round);
                ok = ctx->save().ok();
                thread.quit();
            });
            thread.start();
            return thread.wait(10000) && ok;
        };
        QVERIFY(writeInBackground(1));
        QTRY_COMPARE(didSave.count(), 1);
        QTRY_COMPARE(chat->name, QStringLiteral("round 1")); // merged into the held record
        QCOMPARE(store->mainContext().count<Message>().valueOr(-1), 50);
        // Reading (a merge, a count) leaves no transaction open: the main thread can still write
        // after the worker wrote again.
        QVERIFY(writeInBackground(2));
        QTRY_COMPARE(chat->name, QStringLiteral("round 2"));
        QVERIFY(writeInBackground(3));
        chat->name = QStringLiteral("main");
        const Status saved = store->mainContext().save();
        QVERIFY2(saved.ok(), saved ? "" : qPrintable(saved.error().message));
    }

    void aStoreLeftToBackgroundWorkDiesOnTheMainThread()
    {
        // The window closes while a scan still holds the store: the scan's end must not destroy
        // the store (a QObject with timers) on the pool thread.
        auto store = openStore();
        QThread *diedOn = nullptr;
        connect(store.get(), &QObject::destroyed, this, [&] { diedOn = QThread::currentThread(); }, Qt::DirectConnection);
        auto owner = std::make_unique<QObject>();
        bool done = false;
        runInBackground(owner.get(), [store] {
            QThread::msleep(100);
            return store->newContext()->count<Chat>().valueOr(-1);
        }, [&](int) { done = true; });
        store.reset();
        owner.reset();
        QTRY_VERIFY(diedOn != nullptr);
        QCOMPARE(diedOn, thread());
        QVERIFY(!done);
    }

    void heldRecordsArePrunedWhenNobodyHoldsThem()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        Chat chat;
        ctx.insert(chat);
        for (int i = 0; i < 100; ++i) {
            Message m;
            m.chatId = chat.id;
            ctx.insert(m);
        }
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.registeredCount(), 0); // nobody holds them: saved and forgotten
        auto held = ctx.fetch<Message>();
        QCOMPARE(held->size(), 100);
        (*held)[0]->content = "edited, then let go";
        held = ctx.fetch<Message>(Query(where::eq("id", (*held)[1]->id)));
        QVERIFY(ctx.hasChanges()); // the edit survives although the caller let go of the record
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.count<Message>(where::eq("content", QString("edited, then let go"))).valueOr(-1), 1);
    }
    void settledRecordsAreNoLongerCompared()
    {
        auto store = openStore();
        StoreContext &ctx = store->mainContext();
        auto chat = ctx.insert(Chat{});
        Message m;
        m.chatId = chat->id;
        auto done = ctx.insert(m);
        m.id = QUuid::createUuid();
        auto live = ctx.insert(m);
        QVERIFY(ctx.save().ok());
        live->content = "still streaming";
        ctx.settle(live); // pending change: stays tracked
        ctx.settle(done);
        QVERIFY(ctx.hasChanges());
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.count<Message>(where::eq("content", QString("still streaming"))).valueOr(-1), 1);
        done->content = "edited after settling";
        QVERIFY(!ctx.hasChanges());
        ctx.remove(done); // a settled record can still be deleted
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.count<Message>().valueOr(-1), 1);
    }
    void writesThroughAnotherConnectionAreNoticed()
    {
        // A second Store on the same file stands in for corvane-cli writing while the window runs.
        auto store = openStore();
        QSignalSpy noticed(store.get(), &Store::changedElsewhere);
        store->watchOtherWriters(20);
        QTest::qWait(60);
        store->mainContext().insert(Chat{});
        QVERIFY(store->mainContext().save().ok());
        QTest::qWait(100);
        QCOMPARE(noticed.count(), 0); // our own main-thread saves are told through didSave
        auto other = Store::open(store->path()).value();
        other->mainContext().insert(Chat{});
        QVERIFY(other->mainContext().save().ok());
        QTRY_COMPARE(noticed.count(), 1);
    }
};

QTEST_GUILESS_MAIN(StoreContextTest)
#include "tst_store_context.moc"
