// The pure readers of session logs: what the head of a log tells, what a whole log turns into,
// how the window's edge and bad bytes are treated, and the list's filters and groups.
#include "accounts/import/ClaudeSessionImporter.h"
#include "accounts/import/CodexSessionImporter.h"
#include "accounts/import/ImportFilters.h"
#include "accounts/import/SessionLogText.h"
#include "support/SessionLogs.h"

#include <QTest>
#include <QTimeZone>

using namespace corvane;
namespace logs = corvane::test::logs;

class SessionLogsTest : public QObject
{
    Q_OBJECT

    static ImportableSession session(const QString &id, const QDateTime &modified, const QString &prompt = QStringLiteral("fix it"),
                                     std::optional<QString> model = std::nullopt)
    {
        ImportableSession s;
        s.id = id;
        s.modified = modified;
        s.firstPrompt = prompt;
        s.model = std::move(model);
        return s;
    }

private slots:
    void claudeHeader_data()
    {
        QTest::addColumn<QByteArray>("log");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("model");

        QTest::newRow("content blocks") << logs::claudeUser("Fix the build\nplease") + logs::claudeText("On it")
                                        << "Fix the build\nplease" << 2 << "claude-sonnet-4-6";
        QTest::newRow("plain string, as claude 2.1 writes it") << logs::claudeUserString("hello there\n") << "hello there" << 1 << "";
        QTest::newRow("record's own content first")
            << logs::line({{"type", "user"}, {"content", "own text"}, {"message", QJsonObject{{"content", logs::textBlocks("inner")}}}})
            << "own text" << 1 << "";
        QTest::newRow("tool results are no prompt") << logs::claudeToolResult() + logs::claudeUser("second") << "second" << 2 << "";
        QTest::newRow("notes claude adds itself are no prompt")
            << logs::line({{"type", "user"}, {"isMeta", true}, {"message", QJsonObject{{"content", "Caveat: ..."}}}})
                   + logs::claudeUserString("<command-name>/clear</command-name>") + logs::claudeUser("real one")
            << "real one" << 3 << "";
        QTest::newRow("every typed record counts, bad lines do not")
            << logs::line({{"type", "queue-operation"}}) + "not json\n\n[1,2]\n" + logs::line({{"type", 3}})
                   + logs::claudeUser("q") + logs::line({{"type", "attachment"}})
            << "q" << 3 << "";
        QTest::newRow("result's model wins over later replies")
            << logs::claudeUser("q") + logs::line({{"type", "result"}, {"model", "claude-opus-4-8"}}) + logs::claudeText("a")
            << "q" << 3 << "claude-opus-4-8";
        QTest::newRow("replies claude made up name no model")
            << logs::claudeUser("q") + logs::claudeText("API Error", "<synthetic>") + logs::claudeText("a", "claude-haiku-4-5")
            << "q" << 3 << "claude-haiku-4-5";
        QTest::newRow("no user text: no session") << logs::claudeText("alone") << "" << 1 << "claude-sonnet-4-6";
        QTest::newRow("long prompt cut to 200") << logs::claudeUser(QString(300, u'x')) << QString(200, u'x') << 1 << "";
    }
    void claudeHeader()
    {
        QFETCH(QByteArray, log);
        QFETCH(QString, prompt);
        QFETCH(int, count);
        QFETCH(QString, model);
        const ClaudeHeader header = claudelog::scanHeader(log);
        QCOMPARE(header.firstPrompt, prompt);
        QCOMPARE(header.messageCount, count);
        QCOMPARE(header.model.value_or(QString()), model);
    }

    void claudeHeaderTakesTheFirstUserTimestamp()
    {
        const auto header = claudelog::scanHeader(logs::claudeToolResult() + logs::claudeUser("a", "2026-01-02T03:04:05.678Z")
                                                  + logs::claudeUser("b", "2026-02-02T03:04:05Z"));
        QVERIFY(header.started);
        QCOMPARE(header.started->toUTC(), QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC));
    }

    void claudeMessages()
    {
        const QByteArray log = logs::claudeUser("Run the tests") + logs::line({{"type", "result"}, {"model", "m"}})
            + logs::claudeAssistant(QJsonArray{QJsonObject{{"type", "thinking"}, {"thinking", "hmm"}},
                                               QJsonObject{{"type", "text"}, {"text", ""}},
                                               QJsonObject{{"type", "text"}, {"text", "Running them."}}})
            + logs::claudeToolUse("Bash", {{"command", "make test"}, {"file_path", "/x"}})
            + logs::claudeToolUse("Write", {{"file_path", "/repo/a.txt"}})
            + logs::claudeToolUse("", {{"pattern", "*.cpp"}})
            + logs::claudeToolUse("TodoWrite", {{"command", 3}})
            + logs::claudeToolResult() + "{\"type\": \"user\", truncated";
        const QDateTime now = QDateTime::currentDateTime();
        const QList<Message> messages = claudelog::parseLog(log, now);
        QStringList seen;
        for (const Message &m : messages)
            seen << QStringLiteral("%1|%2|%3|%4").arg(toRaw(m.role), toRaw(m.contentType), m.content, m.toolName.value_or("-"));
        QCOMPARE(seen, QStringList({"user|text|Run the tests|-", "assistant|text|Running them.|-",
                                    "tool|toolComplete|Bash: make test|Bash", "tool|toolComplete|Write: /repo/a.txt|Write",
                                    "tool|toolComplete|Tool|Tool", "tool|toolComplete|TodoWrite|TodoWrite"}));
        // The log's own times are not carried over: all are the import's, in order, none later than now.
        for (int i = 1; i < messages.size(); ++i)
            QVERIFY(messages[i - 1].timestamp < messages[i].timestamp);
        QVERIFY(messages.last().timestamp <= now);
        QCOMPARE(messages.first().timestamp.date(), now.date());
        for (const Message &m : messages)
            QVERIFY(m.isComplete && !m.metadata && !m.chatId);
    }

    void codexHeader_data()
    {
        QTest::addColumn<QByteArray>("log");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("model");

        const QByteArray meta = logs::codexMeta("s-1", "/repo");
        QTest::newRow("user message") << meta + logs::codexMessage("developer", "rules") + logs::codexMessage("user", "Add a test")
                                             + logs::codexMessage("assistant", "Done") + logs::codexCall("shell", "{}")
                                      << "Add a test" << 3 << "";
        QTest::newRow("context codex adds is no prompt")
            << meta + logs::codexMessage("user", "<environment_context>\n  <cwd>/repo</cwd>\n</environment_context>")
                   + logs::codexMessage("user", "# AGENTS.md instructions for /repo\n...") + logs::codexMessage("user", "Real question")
            << "Real question" << 3 << "";
        QTest::newRow("user event when no message yet") << meta + logs::codexUserEvent("From the event") + logs::codexMessage("user", "later")
                                                        << "From the event" << 1 << "";
        QTest::newRow("model from the turn, as codex 0.169 writes it")
            << meta + logs::codexTurnContext("gpt-5.5") + logs::codexMessage("user", "q") << "q" << 1 << "gpt-5.5";
        QTest::newRow("records without payload are skipped")
            << meta + logs::line({{"type", "response_item"}}) + logs::line({{"payload", QJsonObject{{"role", "user"}}}})
                   + logs::codexMessage("user", "q")
            << "q" << 1 << "";
    }
    void codexHeader()
    {
        QFETCH(QByteArray, log);
        QFETCH(QString, prompt);
        QFETCH(int, count);
        QFETCH(QString, model);
        const CodexHeader header = codexlog::scanHeader(log);
        QCOMPARE(header.id, QStringLiteral("s-1"));
        QCOMPARE(header.cwd, std::optional<QString>("/repo"));
        QCOMPARE(header.firstPrompt, prompt);
        QCOMPARE(header.messageCount, count);
        QCOMPARE(header.model.value_or(QString()), model);
    }

    void codexMessages()
    {
        const QString longArguments = QStringLiteral("{\"cmd\": \"") + QString(150, u'a') + QStringLiteral("\"}");
        const QByteArray log = logs::codexMeta("s-1", "/repo") + logs::codexMessage("developer", "rules")
            + logs::codexMessage("user", "<environment_context></environment_context>") + logs::codexMessage("user", "Build it")
            + logs::codexCall("exec_command", longArguments) + logs::codexCall("", "") + logs::codexMessage("assistant", "")
            + logs::codexMessage("assistant", "Built.") + logs::line({{"type", "response_item"}, {"payload", QJsonObject{
                  {"type", "reasoning"}, {"summary", QJsonArray()}}}});
        const QList<Message> messages = codexlog::parseLog(log, QDateTime::currentDateTime());
        QStringList seen;
        for (const Message &m : messages)
            seen << QStringLiteral("%1|%2|%3").arg(toRaw(m.role), m.content, m.toolName.value_or("-"));
        QCOMPARE(seen, QStringList({"user|Build it|-", "tool|exec_command: " + longArguments.left(100) + "|exec_command",
                                    "tool|Tool|Tool", "assistant|Built.|-"}));
    }

    void windowEdge_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("truncated");
        QTest::addColumn<QByteArray>("expected"); // "!" for no text at all

        const QByteArray cut = QByteArray("{\"a\": \"caf\xc3"); // the window ends inside "\xc3\xa9"
        QTest::newRow("character cut by the window: only that line goes") << "{}\n" + cut << true << QByteArray("{}\n");
        QTest::newRow("line cut by the window") << QByteArray("{}\n{\"b\": 1") << true << QByteArray("{}\n");
        QTest::newRow("whole file, last line without newline") << QByteArray("{}\n{\"b\": 1}") << false << QByteArray("{}\n{\"b\": 1}");
        QTest::newRow("invalid UTF-8 inside the window") << QByteArray("{\"a\": \"\xff\"}\n{}\n") << true << QByteArray("!");
        QTest::newRow("a cut character at the end of a whole file is bad input") << "{}\n" + cut << false << QByteArray("!");
        QTest::newRow("no complete line at all") << QByteArray("{\"a\": 1") << true << QByteArray("");
    }
    void windowEdge()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, truncated);
        QFETCH(QByteArray, expected);
        const auto text = sessionlog::completeText({bytes, truncated});
        if (expected == "!")
            QVERIFY(!text);
        else
            QCOMPARE(text.value_or("!"), expected);
    }

    void uuidNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("lower") << "0e7be799-6db7-4a03-84ca-d3107f62d291" << true;
        QTest::newRow("upper") << "0E7BE799-6DB7-4A03-84CA-D3107F62D291" << true;
        QTest::newRow("braces") << "{0e7be799-6db7-4a03-84ca-d3107f62d291}" << false;
        QTest::newRow("notes") << "notes" << false;
        QTest::newRow("no dashes") << "0e7be7996db74a0384cad3107f62d2910000" << false;
        QTest::newRow("dash moved") << "0e7be79-96db7-4a03-84ca-d3107f62d291" << false;
        QTest::newRow("not hex") << "0e7be799-6db7-4a03-84ca-d3107f62d29g" << false;
    }
    void uuidNames()
    {
        QFETCH(QString, name);
        QFETCH(bool, accepted);
        QCOMPARE(sessionlog::isStrictUuid(name), accepted);
    }

    void folderNames_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("claude");
        QTest::addColumn<QString>("slashOnly");
        QTest::newRow("plain") << "/Users/a/b" << "-Users-a-b" << "-Users-a-b";
        QTest::newRow("dot") << "/a/b.c" << "-a-b-c" << "-a-b.c";
        QTest::newRow("space and underscore") << "/tmp/my.proj_x y" << "-tmp-my-proj-x-y" << "-tmp-my.proj_x y";
        // One "-" per UTF-16 unit, as claude 2.1 does: an emoji takes two.
        QTest::newRow("accent and emoji") << QString::fromUtf8("/tmp/caf\xc3\xa9-\xf0\x9f\x98\x80") << "-tmp-caf----"
                                          << QString::fromUtf8("-tmp-caf\xc3\xa9-\xf0\x9f\x98\x80");
    }
    void folderNames()
    {
        QFETCH(QString, path);
        QFETCH(QString, claude);
        QFETCH(QString, slashOnly);
        QCOMPARE(claudelog::projectFolderName(path), claude);
        QCOMPARE(claudelog::slashOnlyFolderName(path), slashOnly);
    }

    void filters_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<int>("date");
        QTest::addColumn<QString>("model"); // empty: all models
        QTest::addColumn<QStringList>("ids");
        QTest::newRow("nothing") << "" << int(DateFilter::all) << "" << QStringList({"now", "yday", "5d", "20d", "old"});
        QTest::newRow("search, any case") << "BUILD" << int(DateFilter::all) << "" << QStringList({"yday", "old"});
        QTest::newRow("today") << "" << int(DateFilter::today) << "" << QStringList({"now"});
        QTest::newRow("this week") << "" << int(DateFilter::thisWeek) << "" << QStringList({"now", "yday", "5d"});
        QTest::newRow("this month") << "" << int(DateFilter::thisMonth) << "" << QStringList({"now", "yday", "5d", "20d"});
        QTest::newRow("model: sessions without one drop out") << "" << int(DateFilter::all) << "m1" << QStringList({"now", "20d"});
        QTest::newRow("all three") << "fix" << int(DateFilter::thisWeek) << "m1" << QStringList({"now"});
    }
    void filters()
    {
        QFETCH(QString, search);
        QFETCH(int, date);
        QFETCH(QString, model);
        QFETCH(QStringList, ids);
        const QDateTime now(QDate(2026, 5, 20), QTime(12, 0));
        const QList<ImportableSession> all{session("now", now.addSecs(-60), "fix tests", "m1"),
                                           session("yday", now.addDays(-1), "Build docs", "m2"),
                                           session("5d", now.addDays(-5), "refactor"),
                                           session("20d", now.addDays(-20), "fix lint", "m1"),
                                           session("old", now.addMonths(-3), "build again", "m2")};
        QStringList got;
        for (const auto &s : filterSessions(all, search, DateFilter(date), model.isEmpty() ? std::nullopt : std::optional(model), now))
            got << s.id;
        QCOMPARE(got, ids);
    }

    void groups()
    {
        const QDateTime now(QDate(2026, 5, 20), QTime(12, 0));
        const QList<ImportableSession> all{session("a", now.addSecs(-30)), session("b", now.addDays(-40)),
                                           session("c", now.addDays(-1)), session("d", now.addSecs(-60)),
                                           session("e", now.addDays(-6)), session("f", now.addDays(-25))};
        QStringList got;
        for (const SessionGroup &group : groupSessions(all, now)) {
            QStringList ids;
            for (const auto &s : group.sessions)
                ids << s.id;
            got << dateGroupLabel(group.group) + ":" + ids.join(",");
        }
        QCOMPARE(got, QStringList({"Today:a,d", "Yesterday:c", "This Week:e", "This Month:f", "Older:b"}));
        QVERIFY(groupSessions({}, now).isEmpty());
    }

    void models()
    {
        const QDateTime now = QDateTime::currentDateTime();
        QCOMPARE(availableModels({session("a", now, "p", "zeta"), session("b", now), session("c", now, "p", "alpha"),
                                  session("d", now, "p", "zeta")}),
                 QStringList({"alpha", "zeta"}));
    }
};

QTEST_GUILESS_MAIN(SessionLogsTest)
#include "tst_session_logs.moc"
