// What each `codex exec --json` line means, on hand-made lines for the edges and on transcripts
// captured from the real codex (tests/support/fakemodel/capture_codex_fixtures.sh).
#include "agent/codex/CodexOutputParser.h"

#include <QFile>
#include <QTest>

using namespace corvane;
using codexoutput::Outcome;

namespace {

QStringList described(const QByteArray &lines)
{
    QStringList out;
    for (const QByteArray &line : lines.split('\n')) {
        const codexoutput::Line decoded = codexoutput::decodeLine(line);
        if (decoded.event)
            out << describe(*decoded.event);
    }
    return out;
}

} // namespace

class CodexOutputParserTest : public QObject
{
    Q_OBJECT

private slots:
    void lines_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("outcome");
        QTest::addColumn<QString>("event");

        const int decoded = int(Outcome::decoded), ignored = int(Outcome::ignored), skipped = int(Outcome::skipped);
        QTest::newRow("thread started") << QByteArray(R"({"type":"thread.started","thread_id":"t-1"})") << decoded
                                        << "threadStarted(t-1)";
        QTest::newRow("thread started without id")
            << QByteArray(R"({"type":"thread.started"})") << skipped << "";
        QTest::newRow("turn started") << QByteArray(R"({"type":"turn.started"})") << decoded << "turnStarted";
        QTest::newRow("turn completed keeps usage")
            << QByteArray(R"({"type":"turn.completed","usage":{"input_tokens":7,"output_tokens":2}})") << decoded
            << R"(turnCompleted({"input_tokens":7,"output_tokens":2}))";
        QTest::newRow("turn completed, usage not a map")
            << QByteArray(R"({"type":"turn.completed","usage":3})") << decoded << "turnCompleted(no usage)";
        QTest::newRow("turn failed, nested message")
            << QByteArray(R"({"type":"turn.failed","error":{"message":"quota exceeded"}})") << decoded
            << R"(turnFailed("quota exceeded"))";
        QTest::newRow("turn failed, top-level message")
            << QByteArray(R"({"type":"turn.failed","message":"boom"})") << decoded << R"(turnFailed("boom"))";
        QTest::newRow("turn failed, no message")
            << QByteArray(R"({"type":"turn.failed"})") << decoded << R"(turnFailed("Codex turn failed"))";
        QTest::newRow("turn failed, HTTP body as message")
            << QByteArray("{\"type\":\"turn.failed\",\"error\":{\"message\":\"{\\\"error\\\": {\\\"message\\\": \\\"Bad key\\\"}}\"}}")
            << decoded << R"(turnFailed("Bad key"))";
        QTest::newRow("error line is a notice")
            << QByteArray(R"({"type":"error","message":"Reconnecting... 1/5"})") << decoded
            << R"(notice("Reconnecting... 1/5"))";
        QTest::newRow("agent message")
            << QByteArray(R"({"type":"item.completed","item":{"id":"item_1","type":"agent_message","text":"Hi"}})")
            << decoded << R"(text("Hi"))";
        QTest::newRow("empty agent message")
            << QByteArray(R"({"type":"item.completed","item":{"id":"item_1","type":"agent_message","text":""}})")
            << ignored << "";
        QTest::newRow("reasoning")
            << QByteArray(R"({"type":"item.completed","item":{"id":"item_0","type":"reasoning","text":"hmm"}})")
            << ignored << "";
        QTest::newRow("codex warning item")
            << QByteArray(R"({"type":"item.completed","item":{"id":"item_0","type":"error","message":"no metadata"}})")
            << ignored << "";
        QTest::newRow("command started")
            << QByteArray(R"({"type":"item.started","item":{"id":"c1","type":"command_execution","command":"ls","status":"in_progress"}})")
            << decoded << R"(toolStarted(Shell, c1, {"command":"ls"}))";
        QTest::newRow("command exit 2 with output")
            << QByteArray(R"({"type":"item.completed","item":{"id":"c1","type":"command_execution","aggregated_output":"x","exit_code":2}})")
            << decoded << R"(toolResult(c1, "x\n[exit 2]"))";
        QTest::newRow("command succeeded")
            << QByteArray(R"({"type":"item.completed","item":{"id":"c1","type":"command_execution","aggregated_output":"ok\n","exit_code":0,"status":"completed"}})")
            << decoded << R"(toolResult(c1, "ok\n"))";
        QTest::newRow("command failed without code")
            << QByteArray(R"({"type":"item.completed","item":{"id":"c1","type":"command_execution","status":"failed"}})")
            << decoded << R"(toolResult(c1, "[exit ?]"))";
        QTest::newRow("command exit code as a fraction counts as missing")
            << QByteArray(R"({"type":"item.completed","item":{"id":"c1","type":"command_execution","aggregated_output":"y","exit_code":1.5}})")
            << decoded << R"(toolResult(c1, "y"))";
        QTest::newRow("file change with changes list")
            << QByteArray(R"({"type":"item.started","item":{"id":"f1","type":"file_change","changes":[{"path":"/w/a.txt","kind":"add"},{"path":"/w/b.txt","kind":"update"}],"status":"in_progress"}})")
            << decoded
            << R"(toolStarted(Edit, f1, {"changes":[{"kind":"add","path":"/w/a.txt"},{"kind":"update","path":"/w/b.txt"}],"file_path":"/w/a.txt"}))";
        QTest::newRow("file change finished, one line per file")
            << QByteArray(R"({"type":"item.completed","item":{"id":"f1","type":"file_change","changes":[{"path":"/w/a.txt","kind":"add"},{"path":"/w/b.txt","kind":"update"}]}})")
            << decoded << "toolResult(f1, \"/w/a.txt (completed)\\n/w/b.txt (completed)\")";
        QTest::newRow("file change with a bare path")
            << QByteArray(R"({"type":"item.completed","item":{"id":"f1","type":"file_change","path":"a.txt","status":"failed"}})")
            << decoded << "toolResult(f1, \"a.txt (failed)\")";
        QTest::newRow("mcp call")
            << QByteArray(R"({"type":"item.started","item":{"id":"m1","type":"mcp_tool_call","name":"lookup","arguments":{"q":1}}})")
            << decoded << R"(toolStarted(lookup, m1, {"q":1}))";
        QTest::newRow("mcp call without a name")
            << QByteArray(R"({"type":"item.started","item":{"id":"m1","type":"mcp_tool_call"}})") << decoded
            << "toolStarted(mcp, m1, {})";
        QTest::newRow("web search")
            << QByteArray(R"({"type":"item.started","item":{"id":"w1","type":"web_search","query":"qt"}})") << decoded
            << R"(toolStarted(WebSearch, w1, {"query":"qt"}))";
        QTest::newRow("unknown item") << QByteArray(R"({"type":"item.completed","item":{"id":"x","type":"todo_list"}})")
                                      << ignored << "";
        QTest::newRow("item without id")
            << QByteArray(R"({"type":"item.completed","item":{"type":"agent_message","text":"Hi"}})") << skipped << "";
        QTest::newRow("item not an object") << QByteArray(R"({"type":"item.started","item":[]})") << skipped << "";
        QTest::newRow("unknown type") << QByteArray(R"({"type":"session.configured"})") << ignored << "";
        QTest::newRow("not JSON") << QByteArray("Reading additional input from stdin...") << skipped << "";
        QTest::newRow("JSON array") << QByteArray("[1,2]") << skipped << "";
        QTest::newRow("type not text") << QByteArray(R"({"type":5})") << skipped << "";
        QTest::newRow("cut-off line") << QByteArray(R"({"type":"item.completed","item":{"id")") << skipped << "";
        QTest::newRow("not UTF-8") << QByteArray("{\"type\":\"turn.started\",\"x\":\"\xff\"}") << skipped << "";
        QTest::newRow("blank") << QByteArray("   \r") << ignored << "";
        QTest::newRow("carriage return and spaces around")
            << QByteArray("  {\"type\":\"turn.started\"}\r") << decoded << "turnStarted";
    }

    void lines()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, outcome);
        QFETCH(QString, event);
        const codexoutput::Line decoded = codexoutput::decodeLine(line);
        QCOMPARE(int(decoded.outcome), outcome);
        QCOMPARE(decoded.event ? describe(*decoded.event) : QString(), event);
    }

    void transcripts_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("expected");
        const QString thread = QStringLiteral("threadStarted(*)");
        QTest::newRow("plain text") << "plain_text.jsonl"
                                    << QStringList{thread, "turnStarted", R"(text("Hello from the fake model."))",
                                                   R"(turnCompleted({"cache_write_input_tokens":0,"cached_input_tokens":0,"input_tokens":100,"output_tokens":20,"reasoning_output_tokens":0}))"};
        QTest::newRow("shell command")
            << "shell_command.jsonl"
            << QStringList{thread, "turnStarted",
                           R"(toolStarted(Shell, item_1, {"command":"/bin/bash -lc 'echo hi from the shell'"}))",
                           R"(toolResult(item_1, "hi from the shell\n"))", R"(text("The command printed hi."))", "turnCompleted(*)"};
        QTest::newRow("failed command")
            << "failed_command.jsonl"
            << QStringList{thread, "turnStarted",
                           R"(toolStarted(Shell, item_0, {"command":"/bin/bash -lc 'echo broken >&2; exit 3'"}))",
                           R"(toolResult(item_0, "broken\n[exit 3]"))", R"(text("The command failed."))", "turnCompleted(*)"};
        QTest::newRow("file change")
            << "file_change.jsonl"
            << QStringList{thread, "turnStarted",
                           R"(toolStarted(Edit, item_0, {"changes":[{"kind":"add","path":"/WORK/ws/notes.txt"}],"file_path":"/WORK/ws/notes.txt"}))",
                           "toolResult(item_0, \"/WORK/ws/notes.txt (completed)\")", R"(text("Created notes.txt."))",
                           "turnCompleted(*)"};
        QTest::newRow("failed turn") << "failed_turn.jsonl"
                                     << QStringList{thread, "turnStarted", R"(notice("The fake model refuses this request."))",
                                                    R"(turnFailed("The fake model refuses this request."))"};
        QTest::newRow("resumed thread") << "resumed.jsonl"
                                        << QStringList{thread, "turnStarted", R"(text("Answer to the second question."))",
                                                       "turnCompleted(*)"};
        QTest::newRow("interrupted") << "interrupted.jsonl" << QStringList{thread, "turnStarted"};
    }

    void transcripts()
    {
        QFETCH(QString, file);
        QFETCH(QStringList, expected);
        QFile fixture(QStringLiteral(CODEX_FIXTURES_DIR "/") + file);
        QVERIFY2(fixture.open(QIODevice::ReadOnly), qPrintable(fixture.fileName()));
        QStringList actual = described(fixture.readAll());
        // Thread ids and usage figures differ per capture; a trailing "*" compares the prefix only.
        QCOMPARE(actual.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            if (expected[i].endsWith(QLatin1String("*)")))
                QVERIFY2(actual[i].startsWith(expected[i].chopped(2)), qPrintable(actual[i]));
            else
                QCOMPARE(actual[i], expected[i]);
        }
    }
};

QTEST_GUILESS_MAIN(CodexOutputParserTest)
#include "tst_codex_output_parser.moc"
