// The timeline rows built from messages as the chat session stores them, and the list model's
// gate: which events rebuild, which only redraw one row, and how often it reloads.
#include "presentation/timeline/ChatTimelineModel.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace corvane;

namespace {

MessagePtr row(MessageRole role, MessageContentType type, const QString &content, const QString &tool = {})
{
    auto m = std::make_shared<Message>();
    m->role = role;
    m->contentType = type;
    m->content = content;
    if (!tool.isEmpty())
        m->toolName = tool;
    return m;
}

// One letter per message, the way the session writes them:
// u user, a assistant, k thinking, t tool start, o tool output, c tool complete,
// p permission request, g permission granted, s subagent card, e error, x sign-in error, n plan card.
QList<MessagePtr> messagesFrom(const QString &letters)
{
    QList<MessagePtr> out;
    for (QChar c : letters) {
        switch (c.toLatin1()) {
        case 'u': out << row(MessageRole::user, MessageContentType::text, "hi"); break;
        case 'a': out << row(MessageRole::assistant, MessageContentType::text, "reply"); break;
        case 'k': out << row(MessageRole::thinking, MessageContentType::thinking, "Thinking..."); break;
        case 't': out << row(MessageRole::tool, MessageContentType::toolStart, "Read a.txt", "Read"); break;
        case 'o': out << row(MessageRole::tool, MessageContentType::toolOutput, "out", "Bash"); break;
        case 'c': out << row(MessageRole::tool, MessageContentType::toolComplete, "Read b\nok", "Read"); break;
        case 'p': out << row(MessageRole::system, MessageContentType::permissionRequest, "Bash: ls", "Bash"); break;
        case 'g': out << row(MessageRole::system, MessageContentType::permissionGranted, "Bash: ls", "Bash"); break;
        case 's': out << row(MessageRole::tool, MessageContentType::subagentCard, "Explore", "Explore"); break;
        case 'e': out << row(MessageRole::system, MessageContentType::error, "Error: boom"); break;
        case 'x': out << row(MessageRole::system, MessageContentType::authError, "Error: not logged in"); break;
        case 'n': out << row(MessageRole::system, MessageContentType::planCard, "plan"); break;
        }
    }
    return out;
}

// "a t [ttc] p": singles by their letter, groups in brackets.
QString describe(const QList<ChatDisplayItem> &items, const QList<MessagePtr> &messages, const QString &letters)
{
    auto letterOf = [&](const MessagePtr &m) { return letters.at(messages.indexOf(m)); };
    QStringList out;
    for (const ChatDisplayItem &item : items) {
        if (item.kind == ChatDisplayItem::Kind::single) {
            out << QString(letterOf(item.message));
        } else {
            QString group = QStringLiteral("[");
            for (const MessagePtr &m : item.group.messages)
                group += letterOf(m);
            out << group + QLatin1Char(']');
        }
    }
    return out.join(QLatin1Char(' '));
}

} // namespace

class TestChatTimeline : public QObject
{
    Q_OBJECT

private slots:
    void grouping_data()
    {
        QTest::addColumn<QString>("letters");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no messages") << "" << "";
        QTest::newRow("one tool between texts stays single") << "ata" << "a t a";
        QTest::newRow("permission request splits tools") << "tpt" << "t p t";
        QTest::newRow("three tools group") << "uttta" << "u [ttt] a";
        QTest::newRow("output and complete rows group") << "toc" << "[toc]";
        QTest::newRow("subagent card with tool role stands alone") << "tst" << "t s t";
        QTest::newRow("error and plan break runs") << "ttettn" << "[tt] e [tt] n";
        QTest::newRow("thinking row between runs") << "ttktt" << "[tt] k [tt]";
        QTest::newRow("run at the end is flushed") << "ugtt" << "u g [tt]";
    }

    void grouping()
    {
        QFETCH(QString, letters);
        QFETCH(QString, expected);
        const auto messages = messagesFrom(letters);
        QCOMPARE(describe(buildDisplayItems(messages), messages, letters), expected);
    }

    void groupKeepsItsIdWhileItGrows()
    {
        auto messages = messagesFrom("uttt");
        messages[2]->toolName.reset();
        auto items = buildDisplayItems(messages);
        QCOMPARE(items.size(), 2);
        QCOMPARE(items[1].id(), messages[1]->id);
        QCOMPARE(items[1].group.uniqueToolNames(), (QStringList{"Read", "Tool"}));
        messages << row(MessageRole::tool, MessageContentType::toolStart, "Bash: ls", "Bash");
        items = buildDisplayItems(messages);
        QCOMPARE(items[1].id(), messages[1]->id);
        QCOMPARE(items[1].group.messages.size(), 4);
        QCOMPARE(items[1].group.uniqueToolNames(), (QStringList{"Read", "Tool", "Bash"}));
    }

    void fingerprintIgnoresContent()
    {
        auto messages = messagesFrom("uak");
        const auto before = displayItemsFingerprint(messages);
        messages[1]->content += "more text";
        messages[1]->isComplete = false;
        QCOMPARE(displayItemsFingerprint(messages), before);
        messages[2]->contentType = MessageContentType::text;
        QVERIFY(displayItemsFingerprint(messages) != before);
    }

    void rowKinds_data()
    {
        QTest::addColumn<QString>("letter");
        QTest::addColumn<int>("kind");
        QTest::newRow("user") << "u" << int(RowKind::userBubble);
        QTest::newRow("assistant") << "a" << int(RowKind::assistantText);
        QTest::newRow("thinking") << "k" << int(RowKind::thinking);
        QTest::newRow("tool") << "t" << int(RowKind::tool);
        QTest::newRow("permission request") << "p" << int(RowKind::permissionCard);
        QTest::newRow("permission granted") << "g" << int(RowKind::permissionCard);
        QTest::newRow("subagent") << "s" << int(RowKind::subagentCard);
        QTest::newRow("error note") << "e" << int(RowKind::systemNote);
        QTest::newRow("plan") << "n" << int(RowKind::planCard);
        QTest::newRow("sign-in error") << "x" << int(RowKind::authErrorPrompt);
    }

    void rowKinds()
    {
        QFETCH(QString, letter);
        QFETCH(int, kind);
        QCOMPARE(int(rowKind(ChatDisplayItem::single(messagesFrom(letter).first()))), kind);
    }

    void toolDetails()
    {
        auto write = row(MessageRole::tool, MessageContentType::toolComplete, "Write a.txt\nFile created", "Write");
        write->metadata = QJsonDocument(QJsonObject{{"file_path", "a.txt"}, {"content", "one\ntwo"}}).toJson();
        const ToolDetail w = toolDetail(*write);
        QCOMPARE(w.kind, ToolDetail::Kind::diff);
        QCOMPARE(w.oldText, QString());
        QCOMPARE(w.newText, QStringLiteral("one\ntwo"));
        QCOMPARE(w.summary, QStringLiteral("Write a.txt"));

        auto edit = row(MessageRole::tool, MessageContentType::toolComplete, "Edit a.txt", "Edit");
        edit->metadata = QJsonDocument(QJsonObject{{"old_string", "x"}, {"new_string", "y"}}).toJson();
        const ToolDetail e = toolDetail(*edit);
        QCOMPARE(e.kind, ToolDetail::Kind::diff);
        QCOMPARE(e.oldText, QStringLiteral("x"));
        QCOMPARE(e.newText, QStringLiteral("y"));

        auto bash = row(MessageRole::tool, MessageContentType::toolComplete, "Bash: ls\na\nb", "Bash");
        const ToolDetail b = toolDetail(*bash);
        QCOMPARE(b.kind, ToolDetail::Kind::output);
        QCOMPARE(b.output, QStringLiteral("a\nb"));

        auto brokenWrite = row(MessageRole::tool, MessageContentType::toolStart, "Write", "Write");
        brokenWrite->metadata = QByteArray("not json");
        QCOMPARE(toolDetail(*brokenWrite).kind, ToolDetail::Kind::output);
    }

    void userBubbleAttachments()
    {
        const auto content = userBubbleContent(QStringLiteral("Look at these\n[Image: shot.png]\n[PDF: spec.pdf]\n[File: a [1].txt]\n[Note: kept]"));
        QCOMPARE(content.text, QStringLiteral("Look at these\n[Note: kept]"));
        QCOMPARE(content.attachments.size(), 3);
        QCOMPARE(content.attachments[0], (UserBubbleContent::Attachment{"Image", "shot.png"}));
        QCOMPARE(content.attachments[2], (UserBubbleContent::Attachment{"File", "a [1].txt"}));
    }

    void streamingDeltaRedrawsOneRowWithoutRebuild()
    {
        auto messages = messagesFrom("uatta");
        ChatTimelineModel model;
        model.resetMessages(messages);
        QCOMPARE(model.rowCount(), 4);
        const int rebuilds = model.rebuildCount();
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy updated(&model, &ChatTimelineModel::timelineUpdated);
        messages.last()->isComplete = false;
        for (int i = 0; i < 20; ++i) {
            messages.last()->content += QStringLiteral(" token");
            model.messageChanged(messages.last()->id);
        }
        model.flush();
        QTRY_VERIFY(!model.hasScheduledUpdate());
        QCOMPARE(model.rebuildCount(), rebuilds);
        QVERIFY(inserted.isEmpty());
        QVERIFY(!changed.isEmpty());
        for (const auto &args : changed)
            QCOMPARE(args.at(0).toModelIndex().row(), 3);
        const auto change = updated.last().at(0).value<TimelineChange>();
        QVERIFY(!change.rebuilt);
        QCOMPARE(change.updatedRows, QList<int>{3});
        QCOMPARE(model.data(model.index(3), ChatTimelineModel::IsStreamingRole).toBool(), true);
    }

    void twoUpdatesTenMillisecondsApartReloadOnce()
    {
        auto messages = messagesFrom("ua");
        ChatTimelineModel model;
        model.resetMessages(messages);
        model.setMessages(messages); // first event after a quiet time reloads at once
        QCOMPARE(model.reloadCount(), 1);
        QElapsedTimer sinceReload;
        sinceReload.start();
        model.messageChanged(messages[1]->id);
        QTest::qWait(10);
        model.messageChanged(messages[1]->id);
        QCOMPARE(model.reloadCount(), 1);
        QVERIFY(model.hasScheduledUpdate());
        QTRY_COMPARE(model.reloadCount(), 2);
        QVERIFY(sinceReload.nsecsElapsed() >= ChatTimelineModel::kReloadIntervalNs - 1'000'000);
        QTest::qWait(60);
        QCOMPARE(model.reloadCount(), 2);
    }

    void structuralChangesAreRanges()
    {
        auto messages = messagesFrom("uak");
        ChatTimelineModel model;
        model.resetMessages(messages);
        QSignalSpy updated(&model, &ChatTimelineModel::timelineUpdated);
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        auto next = [&] {
            model.flush();
            return updated.isEmpty() ? TimelineChange() : updated.takeLast().at(0).value<TimelineChange>();
        };

        // A tool row arrives before the thinking row, which stays last.
        auto tool = row(MessageRole::tool, MessageContentType::toolStart, "Read a", "Read");
        messages.insert(2, tool);
        model.setMessages(messages);
        TimelineChange change = next();
        QVERIFY(change.rebuilt);
        QCOMPARE(change.insertedFirst, 2);
        QCOMPARE(change.insertedCount, 1);
        QCOMPARE(change.removedCount, 0);
        QCOMPARE(model.rowOfMessage(messages[3]->id), 3);

        // A second tool joins it: the row becomes a group with the same id, redrawn in place.
        messages.insert(3, row(MessageRole::tool, MessageContentType::toolStart, "Bash: ls", "Bash"));
        model.setMessages(messages);
        change = next();
        QCOMPARE(change.insertedCount, 0);
        QCOMPARE(change.removedCount, 0);
        QCOMPARE(change.updatedRows, QList<int>{2});
        QCOMPARE(model.itemAt(2).kind, ChatDisplayItem::Kind::toolGroup);
        QCOMPARE(model.itemAt(2).id(), tool->id);
        QCOMPARE(model.data(model.index(2), ChatTimelineModel::GroupSizeRole).toInt(), 2);

        // The turn ends: the thinking row goes, the tools complete.
        messages.removeLast();
        for (const auto &m : messages)
            if (m->role == MessageRole::tool)
                m->contentType = MessageContentType::toolComplete;
        model.setMessages(messages);
        change = next();
        QCOMPARE(change.removedFirst, 3);
        QCOMPARE(change.removedCount, 1);
        QCOMPARE(change.updatedRows, QList<int>{2});
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(removed.size(), 1);
        QCOMPARE(inserted.size(), 1);

        // Completion alone (no new rows) is still noticed on a new message list.
        messages[1]->isComplete = false;
        model.resetMessages(messages);
        messages[1]->isComplete = true;
        model.setMessages(messages);
        change = next();
        QVERIFY(!change.rebuilt);
        QCOMPARE(change.updatedRows, QList<int>{1});
    }
};

QTEST_GUILESS_MAIN(TestChatTimeline)
#include "tst_chat_timeline.moc"
