// A turn replayed through the real chat session engine (events as the claude client delivers
// them, rows saved in a real store) and shown through the timeline model: the rows it makes,
// what a streamed reply costs, and the same rows again from the stored records.
#include "agent/AgentStreamDelegate.h"
#include "agent/session/ChatSession.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/store/Store.h"
#include "core/store/Query.h"
#include "core/store/StoreContext.h"
#include "presentation/timeline/ChatTimelineModel.h"
#include "support/TestEnvironment.h"

#include <QtTest>

using namespace corvane;

namespace {

QStringList rowKinds(const ChatTimelineModel &model)
{
    static const char *names[] = {"user", "assistant", "note", "auth", "permission", "plan", "subagent",
                                  "thinking", "tool", "group"};
    QStringList out;
    for (int row = 0; row < model.rowCount(); ++row)
        out << names[model.data(model.index(row), ChatTimelineModel::RowKindRole).toInt()];
    return out;
}

} // namespace

class TestTimelineFromSession : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::TestEnvironment> m_env;
    std::shared_ptr<Store> m_store;
    QUuid m_chatId;

private slots:
    void init()
    {
        m_env = std::make_unique<test::TestEnvironment>();
        auto store = Store::open(m_env->path("timeline.store"));
        QVERIFY2(store.ok(), qPrintable(store ? QString() : store.error().message));
        m_store = store.value();
        Chat chat;
        m_chatId = m_store->mainContext().insert(chat)->id;
        QVERIFY(m_store->mainContext().save().ok());
    }

    void cleanup()
    {
        m_store.reset();
        m_env.reset();
    }

    void turnBecomesRows()
    {
        ChatSession session(m_chatId, "Timeline", m_env->root(), *m_store);
        AgentStreamDelegate &events = session;
        ChatTimelineModel model;
        model.resetMessages(session.messages());

        events.didStartThinking();
        events.didReceiveText(QStringLiteral("Let me"));
        model.setMessages(session.messages());
        model.flush();
        QCOMPARE(rowKinds(model), (QStringList{"assistant", "thinking"})); // thinking stays last

        // The reply streams: its row is redrawn, the list is never rebuilt.
        const int rebuilds = model.rebuildCount();
        const QUuid replyId = session.messages().first()->id;
        for (int i = 0; i < 200; ++i) {
            events.didReceiveText(QStringLiteral(" look"));
            model.messageChanged(replyId);
        }
        model.flush();
        QCOMPARE(model.rebuildCount(), rebuilds);
        QVERIFY(model.data(model.index(0), ChatTimelineModel::ContentRole).toString().endsWith(QLatin1String("look look")));
        QVERIFY(model.data(model.index(0), ChatTimelineModel::IsStreamingRole).toBool());

        events.didStartTool("Read", "t1", {{"file_path", "/src/a.cpp"}});
        events.didStartTool("Grep", "t2", {{"pattern", "foo"}});
        events.didStartTool("Edit", "t3", {{"file_path", "/src/a.cpp"}, {"old_string", "a"}, {"new_string", "b"}});
        AgentPermissionRequest request;
        request.requestId = "r1";
        request.toolName = "Bash";
        request.toolUseId = "t4";
        request.toolInput = {{"command", "make"}};
        events.didRequestPermission(request);
        events.didReceiveToolResult("t1", "120 lines");
        events.didReceiveToolResult("t2", "3 matches");
        events.didReceiveToolResult("t3", "ok");
        model.setMessages(session.messages());
        model.flush();
        QCOMPARE(rowKinds(model), (QStringList{"assistant", "group", "permission", "thinking"}));
        QCOMPARE(model.data(model.index(0), ChatTimelineModel::IsStreamingRole).toBool(), false);
        const ChatDisplayItem group = model.itemAt(1); // a copy: a reload replaces the items
        QCOMPARE(group.group.uniqueToolNames(), (QStringList{"Read", "Grep", "Edit"}));
        const ToolDetail edit = toolDetail(*group.group.messages[2]);
        QCOMPARE(edit.kind, ToolDetail::Kind::diff);
        QCOMPARE(edit.newText, QStringLiteral("b"));

        AgentResult result;
        result.text = QStringLiteral("Let me look");
        events.didComplete(result);
        model.setMessages(session.messages());
        model.flush();
        QCOMPARE(rowKinds(model), (QStringList{"assistant", "group", "permission"}));
        for (const MessagePtr &m : group.group.messages)
            QCOMPARE(m->contentType, MessageContentType::toolComplete);

        // The stored records, read back in their order, give the same rows.
        auto stored = m_store->newContext()->fetch<Message>(
            Query(where::eq("chatId", m_chatId)).orderBy(QStringLiteral("timestamp")));
        QVERIFY(stored.ok());
        QList<MessagePtr> fromStore;
        for (const auto &m : stored.value())
            fromStore << m;
        ChatTimelineModel reopened;
        reopened.resetMessages(fromStore);
        QCOMPARE(rowKinds(reopened), rowKinds(model));
        QCOMPARE(reopened.itemAt(1).id(), model.itemAt(1).id());
    }
};

QTEST_GUILESS_MAIN(TestTimelineFromSession)
#include "tst_timeline_from_session.moc"
